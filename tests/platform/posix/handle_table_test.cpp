#include "platform/posix/support/handle_table.h"

#include "tests/support/testing.h"

namespace Tarn::Platform::Posix {

TEST(HandleTable, KnowsOpenHandlesFromClosedOnes) {
    HandleTable<int> table;
    std::map<void*, int> open;
    std::vector<void*> closed = {nullptr, INVALID_HANDLE_VALUE, HKEY_CURRENT_USER};
    std::minstd_rand random(20260119);
    for (int step = 0; step < 5000; step++) {
        ASSERT_TRUE(open.emplace(table.Open(step), step).second) << "step " << step;
        const auto chosen = std::next(open.begin(), static_cast<long>(random() % open.size()));
        ASSERT_EQ(*table.Find(chosen->first), chosen->second) << "step " << step;
        if (random() % 10 != 0) {
            table.Close(chosen->first);
            closed.push_back(chosen->first);
            open.erase(chosen);
        }
        ASSERT_EQ(table.Find(closed[random() % closed.size()]), nullptr) << "step " << step;
    }
    table.Release(); // does nothing while a handle is open
    for (const auto& [handle, entry] : open) {
        EXPECT_EQ(*table.Find(handle), entry);
        table.Close(handle);
    }
    table.Release();
}

} // namespace Tarn::Platform::Posix
