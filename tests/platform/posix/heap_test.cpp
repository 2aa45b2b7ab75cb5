// What the POSIX port guarantees for private heaps and virtual memory beyond the documented calls.
#include "tests/platform/codes.h"

#include <cstdio>
#include <sys/mman.h>
#include <sys/resource.h>

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

/// Limits the memory of this process to what it has mapped plus `more` bytes, for the life of the object.
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
        EXPECT_GT(blocks.size() * 10'000, kRoom * 3 / 4)
            << "with smaller segments if a large one does not fit";
        EXPECT_TRUE(HeapFree(heap, blocks.back()));
        EXPECT_EQ(HeapAlloc(heap, 10'000), blocks.back());
    }
    EXPECT_NE(HeapAlloc(heap, kLarge), nullptr);
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

/// Splits a new mapping until the system refuses. Null if the system does not refuse or, as an emulator may,
/// still unmaps parts.
void* useUpMappings(std::size_t* size) {
    const std::size_t page = GetPageSize();
    *size = 200'000 * page;
    auto* const start = static_cast<char*>(
        mmap(nullptr, *size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    for (char* next = start + page; next < start + *size; next += 2 * page)
        if (mprotect(next, page, PROT_READ) != 0)
            return munmap(next + page, page) != 0 ? start : nullptr;
    return nullptr;
}

bool hasMemory(void* address) {
    unsigned char isResident = 0;
    return mincore(address, 1, &isResident) == 0 && (isResident & 1) != 0;
}

#ifdef __SANITIZE_THREAD__
constexpr bool kIsSanitizedForThreads = true;
#else
constexpr bool kIsSanitizedForThreads = false;
#endif

enum TOutcome { asPromised, mappingsNotUsedUp, notFreed, notReused, notUnmapped };

// Runs in a child process, which must neither allocate nor report in the usual way once its mappings are used
// up.
TOutcome freeWithoutMappings() {
    constexpr std::size_t kSize = 0x10000;
    void* blocks[32];
    for (void*& block : blocks)
        block = std::memset(VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE), 1, kSize);
    std::size_t splitSize = 0;
    void* const split = useUpMappings(&splitSize);
    if (split == nullptr)
        return mappingsNotUsedUp;
    for (std::size_t i = 1; i < std::size(blocks); i += 2)
        if (!VirtualFree(blocks[i], 0, MEM_RELEASE) || VirtualFree(blocks[i], 0, MEM_RELEASE) ||
            hasMemory(blocks[i]))
            return notFreed;
    const auto again = static_cast<char*>(VirtualAlloc(nullptr, kSize, MEM_COMMIT, PAGE_READWRITE));
    if (again == nullptr || again[0] != 0 || again[kSize - 1] != 0)
        return notReused;
    munmap(split, splitSize);
    VirtualFree(again, 0, MEM_RELEASE);
    for (std::size_t i = 0; i < std::size(blocks); i += 2)
        VirtualFree(blocks[i], 0, MEM_RELEASE);
    for (void* block : blocks)
        if (unsigned char unused = 0; mincore(block, 1, &unused) == 0)
            return notUnmapped;
    return asPromised;
}

TEST(VirtualMemory, CanBeFreedWhenTheSystemHasNoMappingLeftToSplit) {
    int result = mappingsNotUsedUp;
    if (!kIsSanitizedForThreads) // the sanitizer itself fails without mappings
        result = RunInChild(freeWithoutMappings);
    const CCapability kMappingLimit{result != mappingsNotUsedUp ? nullptr : "mappings cannot be used up"};
    TARNKIT_TEST_NEEDS(kMappingLimit);
    EXPECT_EQ(result, asPromised);
}

} // namespace

} // namespace Tarn::Platform
