// What the POSIX port guarantees for private heaps beyond the documented calls.
#include "tests/platform/codes.h"

namespace Tarn::Platform {

namespace {

constexpr std::size_t kLarge = 200'000; // close to the largest block that fits into a segment

TEST(PrivateHeap, MergesFreedBlocksForLargerOnes) {
    const HANDLE heap = HeapCreate(0x4000000); // in one segment
    std::minstd_rand random(1);
    std::vector<char*> blocks;
    std::size_t total = 0;
    for (int round = 0; round < 3; round++) {
        for (int i = 0; i < 30'000; i++) {
            const std::size_t size = random() % 600;
            blocks.push_back(static_cast<char*>(HeapAlloc(heap, size)));
            total += size;
        }
        char* const begin = *std::min_element(blocks.begin(), blocks.end());
        char* const end = *std::max_element(blocks.begin(), blocks.end());
        std::shuffle(blocks.begin(), blocks.end(), random);
        for (char* block : blocks)
            ASSERT_TRUE(HeapFree(heap, block));
        blocks.clear();
        int outside = 0;
        for (; total > 2 * kLarge; total -= 2 * kLarge) {
            blocks.push_back(static_cast<char*>(HeapAlloc(heap, kLarge)));
            outside += blocks.back() < begin || blocks.back() > end;
        }
        EXPECT_EQ(outside, 0) << "they fit into half of the space";
    }
    EXPECT_TRUE(HeapDestroy(heap));
}

std::vector<void*> allocate(HANDLE heap, std::size_t count, std::size_t size) {
    std::vector<void*> blocks(count);
    std::generate(blocks.begin(), blocks.end(), [&] { return HeapAlloc(heap, size); });
    return blocks;
}

TEST(PrivateHeap, FindsFreeSpaceLargerThanAnySegmentThatItAdds) {
    const HANDLE heap = HeapCreate(0x6000000);
    const std::vector<void*> blocks = allocate(heap, 400, kLarge);
    HeapAlloc(heap, 1);
    for (void* block : blocks)
        HeapFree(heap, block);
    EXPECT_EQ(HeapAlloc(heap, kLarge), blocks[0]);
    EXPECT_TRUE(HeapDestroy(heap));
}

TEST(PrivateHeap, RefusesABlockThatIsFree) {
    const HANDLE heap = HeapCreate(0x20000);
    void* const blocks[] = {HeapAlloc(heap, 20), HeapAlloc(heap, 20), HeapAlloc(heap, 20)};
    for (void* block : {blocks[0], blocks[1], blocks[2]}) {
        EXPECT_TRUE(HeapFree(heap, block));
        EXPECT_FALSE(HeapFree(heap, block));
    }
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(HeapDestroy(heap));
}

TEST(PrivateHeap, ReturnsFreeSegmentsAndKeepsOneForTheNextBlocks) {
    constexpr std::size_t kSize = 20'000, kMostKept = 50'000'000, kStep = 20;
    const HANDLE heap = HeapCreate(0x20000);
    for (int round = 0; round < 2; round++) {
        std::vector<void*> blocks = allocate(heap, 10'000, kSize);
        std::shuffle(blocks.begin(), blocks.end(), std::minstd_rand(2));
        for (void* block : blocks)
            ASSERT_TRUE(HeapFree(heap, block));
        std::size_t kept = 0;
        for (std::size_t i = 0; i < blocks.size(); i += kStep) {
            MEMORY_BASIC_INFORMATION record;
            Platform::VirtualQuery(blocks[i], &record, sizeof(record));
            kept += record.State == MEM_FREE ? 0 : kStep * kSize;
        }
        EXPECT_LT(kept, kMostKept);
        EXPECT_GT(kept, kMostKept / 5);
    }
    EXPECT_TRUE(HeapDestroy(heap));
}

} // namespace

} // namespace Tarn::Platform
