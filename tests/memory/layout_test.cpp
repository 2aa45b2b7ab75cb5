#include <tarnkit/memory_manager.h>

#include <gtest/gtest.h>

namespace {

using namespace Tarn;

struct CPair {
    int first;
    int second;
};

constexpr CFieldPlace wordAt(std::size_t offset) { return CFieldPlace::Of<int>(offset); }

TEST(Layout, FindsTheFirstFieldThatDiffersFromTheList) {
    EXPECT_EQ(MisplacedField<CPair>({wordAt(4), wordAt(0)}), 1) << "in another order";
    EXPECT_EQ(MisplacedField<CPair>({wordAt(0), CFieldPlace::Of<short>(4)}), 2) << "narrower";
    EXPECT_EQ(MisplacedField<CPair>({wordAt(0)}), 2) << "one field more than listed";
    EXPECT_EQ(MisplacedField<IMemoryManager>({wordAt(0)}), 1) << "in the place of the virtual table pointer";
}

} // namespace
