// Heaps, virtual memory and thread-local storage.
#include "tests/platform/codes.h"

namespace Tarn::Platform {

namespace {

/// The answer of `VirtualQuery` for an address: the state, the protection and the region's protection; then,
/// in pages from `start`, where the pages in this state and their region start; then the number of those
/// pages.
std::vector<Int64> queried(const char* address, const char* start) {
    MEMORY_BASIC_INFORMATION record;
    EXPECT_EQ(Platform::VirtualQuery(address, &record, sizeof(record)), sizeof(record));
    const auto page = static_cast<Int64>(GetPageSize());
    return {Int64{record.State},
            Int64{record.Protect},
            Int64{record.AllocationProtect},
            (static_cast<const char*>(record.BaseAddress) - start) / page,
            (static_cast<const char*>(record.AllocationBase) - start) / page,
            static_cast<Int64>(record.RegionSize) / page};
}

DWORD codeOf(const auto& result) { return result ? ERROR_SUCCESS : GetLastError(); }

constexpr std::size_t kMoreThanThereIs = SIZE_MAX / 4 * 3;

TEST(Heap, AllocatesAlignedBlocksOfAnySizeOrFails) {
    const HANDLE own = HeapCreate(0x20000);
    for (const HANDLE heap : {GetProcessHeap(), own}) {
        for (const std::size_t size : {0u, 1u, 100'000u, 10'000'000u}) {
            void* const block = HeapAlloc(heap, size);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % (2 * sizeof(void*)), 0u);
            std::memset(block, 0xAA, size);
            EXPECT_TRUE(HeapFree(heap, block));
        }
        EXPECT_EQ(HeapAlloc(heap, kMoreThanThereIs), nullptr);
        EXPECT_EQ(HeapAlloc(heap, SIZE_MAX), nullptr);
        EXPECT_TRUE(HeapFree(heap, nullptr));
    }
    EXPECT_TRUE(HeapDestroy(own));
    EXPECT_TRUE(orWines(false, true, HeapCreate(kMoreThanThereIs) == nullptr));
}

TEST(Heap, ReturnsAllItsMemoryWhenItIsDestroyed) {
    const HANDLE heap = HeapCreate(0x20000);
    std::vector<const char*> blocks;
    for (std::size_t size = 16; size < 5'000'000; size += 1 + size / 10)
        blocks.push_back(static_cast<const char*>(HeapAlloc(heap, size)));
    EXPECT_EQ(queried(blocks[0], blocks[0])[0], MEM_COMMIT);
    ASSERT_TRUE(HeapDestroy(heap));
    for (const char* block : blocks)
        EXPECT_EQ(queried(block, block)[0], MEM_FREE);
    static char notAHeap[0x1000];
    expectEach(ERROR_INVALID_HANDLE,
               {orWines(ERROR_SUCCESS, ERROR_INVALID_HANDLE, codeOf(HeapDestroy(nullptr))),
                codeOf(HeapDestroy(GetProcessHeap())), codeOf(HeapDestroy(notAHeap))});
}

TEST(VirtualMemory, IsReservedCommittedAndReturnedPageByPage) {
    const std::size_t page = GetPageSize();
    const auto base = static_cast<char*>(VirtualAlloc(nullptr, 4 * page - 1, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(base) % page, 0u);
    EXPECT_EQ(queried(base + 1, base), (std::vector<Int64>{MEM_RESERVE, 0, PAGE_NOACCESS, 0, 0, 4}));
    for (int round = 0; round < 2; round++) {
        // The range is widened to the two pages that it overlaps.
        EXPECT_EQ(VirtualAlloc(base + 2 * page - 1, 2, MEM_COMMIT, PAGE_READWRITE), base + page);
        EXPECT_EQ(queried(base + 2 * page, base),
                  (std::vector<Int64>{MEM_COMMIT, PAGE_READWRITE, PAGE_NOACCESS, 2, 0, 1}));
        EXPECT_TRUE(base[page] == 0 && base[3 * page - 1] == 0) << "decommitting discards the contents";
        base[page] = base[3 * page - 1] = 1;
        EXPECT_EQ(VirtualAlloc(base + page, page, MEM_COMMIT, PAGE_READWRITE), base + page);
        EXPECT_EQ(base[page], 1) << "committing again keeps the contents";
        EXPECT_TRUE(VirtualFree(round == 0 ? base + page : base, round == 0 ? 2 * page : 0, MEM_DECOMMIT));
        EXPECT_EQ(queried(base + page, base)[0], MEM_RESERVE);
    }
    EXPECT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
    EXPECT_EQ(queried(base, base)[0], MEM_FREE);
    const auto ready = static_cast<char*>(VirtualAlloc(nullptr, 1, MEM_COMMIT, PAGE_READWRITE));
    ready[page - 1] = 1;
    EXPECT_TRUE(VirtualFree(ready, 0, MEM_RELEASE));
}

TEST(VirtualMemory, RefusesBadArgumentsAndUnknownAddresses) {
    const std::size_t page = GetPageSize();
    char* const base = static_cast<char*>(VirtualAlloc(nullptr, 2 * page, MEM_RESERVE, PAGE_READWRITE));
    const auto reserve = [](std::size_t size, DWORD type, DWORD protection) {
        return codeOf(VirtualAlloc(nullptr, size, type, protection));
    };
    MEMORY_BASIC_INFORMATION record;
    expectEach(ERROR_INVALID_PARAMETER,
               {reserve(0, MEM_RESERVE, PAGE_NOACCESS), reserve(page, 0x2, PAGE_READWRITE),
                reserve(page, MEM_COMMIT, 0), codeOf(VirtualFree(base, page, MEM_RELEASE)),
                codeOf(VirtualFree(base, 0, MEM_COMMIT))});
    expectEach(ERROR_INVALID_ADDRESS,
               {codeOf(VirtualFree(base + page, 0, MEM_RELEASE)),
                codeOf(VirtualAlloc(base + page, page + 1, MEM_COMMIT, PAGE_READWRITE)),
                codeOf(VirtualAlloc(base, page, MEM_RESERVE, PAGE_READWRITE))});
    EXPECT_EQ(VirtualAlloc(nullptr, kMoreThanThereIs, MEM_RESERVE, PAGE_NOACCESS), nullptr);
    EXPECT_EQ(codeOf(Platform::VirtualQuery(base, &record, sizeof(record) - 1)), ERROR_BAD_LENGTH);
    EXPECT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
    expectEach(ERROR_INVALID_ADDRESS, {orWines(ERROR_INVALID_PARAMETER, ERROR_INVALID_ADDRESS,
                                               codeOf(VirtualFree(base, 0, MEM_RELEASE)))});
}

TEST(ThreadLocalStorage, EachThreadHasItsOwnValues) {
    constexpr DWORD kNever = 0xFFFF;
    int values[2];
    const DWORD index = TlsAlloc();
    const auto read = [&] {
        SetLastError(ERROR_INVALID_PARAMETER);
        void* const value = TlsGetValue(index);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS)
            << "reading clears the last error, so a stored null is not a failure";
        return value;
    };
    EXPECT_TRUE(TlsSetValue(index, &values[0]));
    std::thread([&] {
        EXPECT_EQ(read(), nullptr);
        EXPECT_TRUE(TlsSetValue(index, &values[1]));
        EXPECT_EQ(read(), &values[1]);
    }).join();
    EXPECT_EQ(read(), &values[0]);
    EXPECT_TRUE(TlsFree(index));
    expectEach(ERROR_INVALID_PARAMETER, {codeOf(TlsFree(index)), codeOf(TlsFree(kNever)),
                                         codeOf(TlsSetValue(kNever, values)), codeOf(TlsGetValue(kNever))});

    const DWORD again = TlsAlloc();
    EXPECT_EQ(TlsGetValue(again), nullptr) << "even if the index was in use before";
    EXPECT_TRUE(TlsFree(again));
}

} // namespace

} // namespace Tarn::Platform
