// What the private heaps of the POSIX port promise beyond the calls.
#include "tests/platform/codes.h"

#include <algorithm>
#include <cstdio>
#include <random>
#include <sys/resource.h>

namespace Tarn::Platform {

namespace {

constexpr std::size_t kLarge = 200'000; // for a block in a segment

TEST(PrivateHeap, UnitesFreedBlocksForLargerOnes) {
    const HANDLE heap = HeapCreate(0x20000);
    std::minstd_rand random(1);
    std::vector<char*> blocks;
    std::size_t total = 0;
    for (int round = 0; round < 3; round++) {
        for (int i = 0; i < 30'000; i++) {
            const std::size_t size = random() % 600;
            blocks.push_back(static_cast<char*>(HeapAlloc(heap, size)));
            total += size;
        }
        const auto [first, last] = std::minmax_element(blocks.begin(), blocks.end());
        char* const begin = *first;
        char* const end = *last;
        std::shuffle(blocks.begin(), blocks.end(), random);
        for (char* block : blocks)
            ASSERT_TRUE(HeapFree(heap, block));
        blocks.clear();
        int outside = 0;
        for (; total > 2 * kLarge; total -= 2 * kLarge) {
            blocks.push_back(static_cast<char*>(HeapAlloc(heap, kLarge)));
            outside += blocks.back() < begin || blocks.back() > end;
        }
        EXPECT_EQ(outside, 0) << "half of the room holds them";
    }
    EXPECT_TRUE(HeapDestroy(heap));
}

TEST(PrivateHeap, FindsFreeRoomLargerThanAnySegmentThatItAdds) {
    const HANDLE heap = HeapCreate(0x6000000);
    std::vector<void*> blocks(400);
    for (void*& block : blocks)
        block = HeapAlloc(heap, kLarge);
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

/// The bytes of memory that this process may address, for the life of the object.
class AddressLimit {
public:
    explicit AddressLimit(std::size_t more) {
        getrlimit(RLIMIT_AS, &old);
        std::size_t pages = 0;
        std::FILE* file = std::fopen("/proc/self/statm", "r");
        EXPECT_EQ(std::fscanf(file, "%zu", &pages), 1);
        std::fclose(file);
        rlimit fresh = old;
        fresh.rlim_cur = pages * GetPageSize() + more;
        setrlimit(RLIMIT_AS, &fresh);
    }
    ~AddressLimit() { setrlimit(RLIMIT_AS, &old); }

private:
    rlimit old;
};

TEST(PrivateHeap, MakesDoWithTheMemoryThatThereIs) {
    constexpr std::size_t kRoom = 5'000'000;
    const HANDLE heap = HeapCreate(0x20000);
    std::vector<void*> blocks;
    blocks.reserve(1000);
    {
        AddressLimit limit(kRoom);
        void* const tooLarge = HeapAlloc(heap, 2 * kRoom);
        HeapFree(heap, tooLarge);
        const CCapability kMemoryLimit{tooLarge == nullptr ? nullptr : "a process gets more than its limit"};
        TARNKIT_TEST_NEEDS(kMemoryLimit);
        while (void* const block = HeapAlloc(heap, 10'000))
            blocks.push_back(block);
        EXPECT_GT(blocks.size() * 10'000, kRoom * 3 / 4) << "smaller pieces where no large one is left";
        EXPECT_TRUE(HeapFree(heap, blocks.back()));
        EXPECT_EQ(HeapAlloc(heap, 10'000), blocks.back());
    }
    EXPECT_NE(HeapAlloc(heap, kLarge), nullptr);
    EXPECT_TRUE(HeapDestroy(heap));
}

} // namespace

} // namespace Tarn::Platform
