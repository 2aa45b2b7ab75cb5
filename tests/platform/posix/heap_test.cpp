// What the private heaps of the POSIX port promise beyond the calls.
#include "tests/platform/codes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

constexpr std::size_t kLarge = 200'000; // for a block in a segment

TEST(PrivateHeap, UnitesFreedBlocksForLargerOnes) {
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

TEST(PrivateHeap, GivesFreeSegmentsBackAndKeepsOneForTheNextBlocks) {
    constexpr std::size_t kSize = 20'000, kMostKept = 50'000'000;
    const HANDLE heap = HeapCreate(0x20000);
    std::vector<void*> blocks(10'000);
    for (int round = 0; round < 2; round++) {
        for (void*& block : blocks)
            block = HeapAlloc(heap, kSize);
        std::shuffle(blocks.begin(), blocks.end(), std::minstd_rand(2));
        for (void* block : blocks)
            ASSERT_TRUE(HeapFree(heap, block));
        std::size_t kept = 0;
        constexpr std::size_t kStep = 20;
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

/// What `action` returns in a process of its own.
int resultInChild(int (*action)()) {
    const pid_t child = fork();
    if (child == 0)
        _exit(action());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Splits a mapping of this process until the system splits no more; null if it goes on and on.
char* useUpMappings(std::size_t* size) {
    constexpr std::size_t kMost = 200'000;
    const std::size_t page = GetPageSize();
    *size = kMost * page;
    void* const start = mmap(nullptr, *size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    for (std::size_t i = 1; i < kMost; i += 2)
        if (mprotect(static_cast<char*>(start) + i * page, page, PROT_READ) != 0)
            return static_cast<char*>(start);
    return nullptr;
}

enum Outcome { asPromised, notUsedUp, refused, freedTwice, keptPages, notServedAgain, notClean, keptRange };

// Without a test's usual expectations: a child at its limit must not allocate.
Outcome freeWithoutMappings() {
    constexpr std::size_t kSize = 0x10000;
    constexpr int kBlocks = 32;
    void* blocks[kBlocks];
    for (void*& block : blocks)
        block = std::memset(VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE), 1, kSize);
    std::size_t splitSize = 0;
    char* const split = useUpMappings(&splitSize);
    if (split == nullptr)
        return notUsedUp;
    unsigned char isResident = 0;
    for (int i = 1; i < kBlocks; i += 2) {
        if (!VirtualFree(blocks[i], 0, MEM_RELEASE))
            return refused;
        if (VirtualFree(blocks[i], 0, MEM_RELEASE))
            return freedTwice;
        if (mincore(blocks[i], 1, &isResident) == 0 && isResident % 2 != 0)
            return keptPages;
    }
    const auto again = static_cast<char*>(VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE));
    if (again == nullptr || again[0] != 0 || again[kSize - 1] != 0)
        return again == nullptr ? notServedAgain : notClean;
    munmap(split, splitSize);
    VirtualFree(again, 0, MEM_RELEASE);
    for (int i = 0; i < kBlocks; i += 2)
        VirtualFree(blocks[i], 0, MEM_RELEASE);
    for (void* block : blocks)
        if (mincore(block, 1, &isResident) == 0)
            return keptRange;
    return asPromised;
}

TEST(VirtualMemory, TakesFreedMemoryBackWhenTheSystemHasNoMappingLeftToSplit) {
    const int outcome = resultInChild([] { return int{freeWithoutMappings()}; });
    const CCapability kMappingLimit{outcome != notUsedUp ? nullptr : "the system has too many mappings"};
    TARNKIT_TEST_NEEDS(kMappingLimit);
    EXPECT_EQ(outcome, asPromised);
}

} // namespace

} // namespace Tarn::Platform
