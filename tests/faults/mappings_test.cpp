// Heaps and virtual memory where the system maps no more memory, or has no mapping left to split.
#include "platform/platform.h"

#include "tests/faults/interposer.h"
#include "tests/support/testing.h"

#include <cerrno>
#include <sys/mman.h>

namespace Tarn::Platform {
namespace {

constexpr std::size_t kRoom = 5'000'000;

class CMappings : public CCallHook {
public:
    int Before(CCall& call) override {
        const std::size_t size = call.arguments[1];
        const bool maps = call.name == "mmap64", unmaps = call.name == "munmap";
        if ((maps && size > room) || (unmaps && !canSplit))
            return ENOMEM;
        room += unmaps ? size : maps ? 0 - size : 0;
        return 0;
    }

    std::size_t room = 0;
    bool canSplit = false;
};

TEST(PrivateHeap, MakesDoWithTheMemoryThatThereIs) {
    const HANDLE heap = HeapCreate(0x20000);
    std::vector<void*> blocks;
    {
        CMappings few;
        few.room = kRoom;
        few.canSplit = true;
        const CHookedCalls hooked(few);
        EXPECT_EQ(HeapAlloc(heap, 2 * kRoom), nullptr);
        while (void* const block = HeapAlloc(heap, 10'000))
            blocks.push_back(block);
        EXPECT_TRUE(HeapFree(heap, blocks.back()));
        EXPECT_EQ(HeapAlloc(heap, 10'000), blocks.back());
    }
    EXPECT_GT(blocks.size() * 10'000, kRoom * 3 / 4) << "with smaller segments if a large one does not fit";
    EXPECT_NE(HeapAlloc(heap, 200'000), nullptr);
    EXPECT_TRUE(HeapDestroy(heap));
}

TEST(VirtualMemory, CanBeFreedWhenTheSystemHasNoMappingLeftToSplit) {
    constexpr std::size_t kSize = 0x10000;
    void* blocks[32];
    unsigned char isResident = 0;
    for (void*& block : blocks)
        block = std::memset(VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE), 1, kSize);
    CMappings none;
    {
        const CHookedCalls hooked(none);
        for (std::size_t i = 1; i < std::size(blocks); i += 2) {
            EXPECT_TRUE(VirtualFree(blocks[i], 0, MEM_RELEASE));
            EXPECT_FALSE(VirtualFree(blocks[i], 0, MEM_RELEASE));
            EXPECT_EQ(mincore(blocks[i], 1, &isResident), 0) << "its addresses are kept";
            EXPECT_EQ(isResident & 1, 0) << "its memory is not";
        }
        blocks[1] = VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE);
    }
    const auto again = static_cast<char*>(blocks[1]);
    ASSERT_TRUE(again != nullptr && again[0] == 0 && again[kSize - 1] == 0);
    CMappings some;
    some.canSplit = true;
    {
        const CHookedCalls hooked(some);
        VirtualFree(again, 0, MEM_RELEASE);
        for (std::size_t i = 0; i < std::size(blocks); i += 2)
            VirtualFree(blocks[i], 0, MEM_RELEASE);
    }
    EXPECT_EQ(some.room, std::size(blocks) * kSize) << "unmapped as soon as that is possible";
}

} // namespace
} // namespace Tarn::Platform
