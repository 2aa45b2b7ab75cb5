// Heaps, virtual memory and thread-local storage.
//
// The process heap is the C runtime's; the others are arenas (private_heap.h). A region of virtual memory is
// an anonymous mapping; a table of the live regions lets `VirtualFree` find the size itself and refuse what
// was never handed out.
#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/memory/leak_checker.h"
#include "platform/posix/memory/private_heap.h"
#include "platform/posix/support/last_error.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

std::size_t pageSize() {
    static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

struct Region {
    std::size_t size;
    DWORD protection; // that it was made with
};

// The live regions by their start. Never destroyed: memory is given back while the process ends, too.
class Regions {
public:
    static Regions& Get() {
        alignas(Regions) static std::byte storage[sizeof(Regions)];
        static Regions* const regions = ::new (storage) Regions;
        return *regions;
    }

    bool Add(void* start, Region region) {
        std::lock_guard guard(lock);
        try {
            regions.emplace(reinterpret_cast<std::uintptr_t>(start), region);
            Posix::ShowToLeakChecker(start, region.size);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    /// The region that starts at `start`, which is forgotten; one without a size when there is none.
    Region Take(void* start) {
        std::lock_guard guard(lock);
        const auto found = regions.find(reinterpret_cast<std::uintptr_t>(start));
        if (found == regions.end())
            return {};
        const Region region = found->second;
        regions.erase(found);
        Posix::HideFromLeakChecker(start, region.size);
        return region;
    }

    /// The start of the region that an address lies in; 0, and no size, when there is none.
    std::uintptr_t Find(std::uintptr_t address, Region* region) {
        std::lock_guard guard(lock);
        auto next = regions.upper_bound(address);
        *region = {};
        if (next == regions.begin() || address - (--next)->first >= next->second.size)
            return 0;
        *region = next->second;
        return next->first;
    }

    /// Whether the whole range lies in one region.
    bool Holds(void* address, std::size_t size) {
        Region region;
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        const std::uintptr_t start = Find(place, &region);
        return start != 0 && size <= region.size - (place - start);
    }

private:
    using Entry = std::pair<const std::uintptr_t, Region>;

    std::mutex lock;
    std::map<std::uintptr_t, Region, std::less<>, Posix::Allocator<Entry>> regions;
};

constinit char processHeap = 0; // whose address is the handle

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

void* mapNewRegion(std::size_t size, bool isCommitted, DWORD protection) {
    const std::size_t wholePages = (size + pageSize() - 1) / pageSize() * pageSize();
    if (size == 0 || wholePages < size) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const int access = isCommitted && protection == PAGE_READWRITE ? PROT_READ | PROT_WRITE : PROT_NONE;
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (isCommitted ? 0 : MAP_NORESERVE);
    void* start = mmap(nullptr, wholePages, access, flags, -1, 0);
    if (start == MAP_FAILED) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (!Regions::Get().Add(start, {wholePages, protection})) {
        munmap(start, wholePages);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return start;
}

// Widens a range to whole pages.
void coverWholePages(void*& address, std::size_t& size) {
    const auto first = reinterpret_cast<std::uintptr_t>(address) / pageSize() * pageSize();
    const auto end = reinterpret_cast<std::uintptr_t>(address) + size;
    size = (end - first + pageSize() - 1) / pageSize() * pageSize();
    address = reinterpret_cast<void*>(first);
}

} // namespace

HANDLE GetProcessHeap() { return &processHeap; }

HANDLE HeapCreate(std::size_t initialSize) {
    HANDLE heap = Posix::PrivateHeap::Create(initialSize);
    if (heap == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return heap;
}

BOOL HeapDestroy(HANDLE heap) {
    bool isAllReleased;
    if (!Posix::PrivateHeap::Destroy(heap, &isAllReleased))
        return fail(ERROR_INVALID_HANDLE);
    return isAllReleased ? TRUE : fail(ERROR_NOT_ENOUGH_MEMORY);
}

void* HeapAlloc(HANDLE heap, std::size_t size) {
    return heap == &processHeap ? std::malloc(size == 0 ? 1 : size)
                                : static_cast<Posix::PrivateHeap*>(heap)->Alloc(size);
}

BOOL HeapFree(HANDLE heap, void* block) {
    if (block == nullptr)
        return TRUE;
    if (heap == &processHeap)
        std::free(block);
    else if (!static_cast<Posix::PrivateHeap*>(heap)->Free(block))
        return fail(ERROR_INVALID_PARAMETER);
    return TRUE;
}

void* VirtualAlloc(void* address, std::size_t size, DWORD type, DWORD protection) {
    const bool isReserve = (type & MEM_RESERVE) != 0;
    const bool isCommit = (type & MEM_COMMIT) != 0;
    if ((!isReserve && !isCommit) || (protection != PAGE_READWRITE && protection != PAGE_NOACCESS)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (address == nullptr)
        return mapNewRegion(size, isCommit, protection);
    coverWholePages(address, size);
    if (isReserve || !Regions::Get().Holds(address, size)) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return nullptr;
    }
    if (mprotect(address, size, protection == PAGE_READWRITE ? PROT_READ | PROT_WRITE : PROT_NONE) != 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return address;
}

BOOL VirtualFree(void* address, std::size_t size, DWORD type) {
    if (type == MEM_RELEASE) {
        if (size != 0)
            return fail(ERROR_INVALID_PARAMETER);
        const Region region = Regions::Get().Take(address);
        if (region.size == 0)
            return fail(ERROR_INVALID_ADDRESS);
        if (munmap(address, region.size) != 0) {
            // The system may have no room to record the hole: the region stays.
            Regions::Get().Add(address, region);
            return fail(ERROR_NOT_ENOUGH_MEMORY);
        }
        return TRUE;
    }
    if (type != MEM_DECOMMIT)
        return fail(ERROR_INVALID_PARAMETER);
    if (size == 0) { // the region from its start
        Region region;
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        if (Regions::Get().Find(place, &region) == place)
            size = region.size;
    }
    coverWholePages(address, size);
    if (size == 0 || !Regions::Get().Holds(address, size))
        return fail(ERROR_INVALID_ADDRESS);
    // A fresh mapping in place drops the contents and the memory behind them.
    void* fresh =
        mmap(address, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0);
    return fresh == MAP_FAILED ? fail(ERROR_NOT_ENOUGH_MEMORY) : TRUE;
}

std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t size) {
    if (size < sizeof(MEMORY_BASIC_INFORMATION)) {
        SetLastError(ERROR_BAD_LENGTH);
        return 0;
    }
    std::FILE* maps = std::fopen("/proc/self/maps", "re");
    if (maps == nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return 0;
    }
    const auto place = reinterpret_cast<std::uintptr_t>(address) / pageSize() * pageSize();
    Region region;
    const std::uintptr_t start = Regions::Get().Find(place, &region);
    std::uintptr_t freeFrom = 0;
    std::uintptr_t freeTo = UINTPTR_MAX;
    *information = {};
    char line[512];
    while (std::fgets(line, sizeof(line), maps) != nullptr) {
        unsigned long first = 0;
        unsigned long end = 0;
        char access[5] = {};
        if (std::sscanf(line, "%lx-%lx %4s", &first, &end, access) != 3)
            continue;
        if (place >= end) {
            freeFrom = end;
        } else if (place < first) {
            freeTo = first;
            break;
        } else {
            const bool isCommitted = access[0] != '-' || access[1] != '-' || access[2] != '-';
            // The system joins what lies side by side, and splits what is committed in part.
            if (start != 0 && end - start > region.size)
                end = start + region.size;
            information->AllocationBase = reinterpret_cast<void*>(start != 0 ? start : first);
            information->AllocationProtect = region.protection;
            information->RegionSize = end - place;
            information->State = isCommitted ? MEM_COMMIT : MEM_RESERVE;
            information->Protect = isCommitted ? PAGE_READWRITE : 0;
            break;
        }
    }
    std::fclose(maps);
    information->BaseAddress = reinterpret_cast<void*>(place);
    if (information->State == 0 && start != 0) { // an emulator does not show what is only reserved
        information->AllocationBase = reinterpret_cast<void*>(start);
        information->AllocationProtect = region.protection;
        information->RegionSize = std::min(freeTo, start + region.size) - place;
        information->State = MEM_RESERVE;
    }
    if (information->State == 0) {
        information->BaseAddress = reinterpret_cast<void*>(place > freeFrom ? place : freeFrom);
        information->RegionSize = freeTo - place;
        information->State = MEM_FREE;
    }
    return sizeof(MEMORY_BASIC_INFORMATION);
}

DWORD GetPageSize() { return static_cast<DWORD>(pageSize()); }

// Thread-local storage: each thread has one array of values. An index that is freed and handed out again must
// read null in every thread, so each value remembers the life of the index that it was set in.
namespace {

constexpr DWORD kTlsIndexes = 64; // the number that every system of this kind guarantees a process

struct TlsValue {
    void* value;
    std::uint32_t life;
};

// The current life of each index: odd while it is in use, so never that of a value that was not set.
constinit std::array<std::atomic<std::uint32_t>, kTlsIndexes> lives{};
// Read by every allocation: a fixed offset from the thread pointer instead of a call.
[[gnu::tls_model("initial-exec")]] constinit thread_local TlsValue values[kTlsIndexes]{};

bool isInUse(std::uint32_t life) { return life % 2 == 1; }

} // namespace

DWORD TlsAlloc() {
    for (DWORD index = 0; index < kTlsIndexes; index++) {
        std::uint32_t life = lives[index].load();
        if (!isInUse(life) && lives[index].compare_exchange_strong(life, life + 1))
            return index;
    }
    SetLastError(ERROR_NO_MORE_ITEMS);
    return TLS_OUT_OF_INDEXES;
}

BOOL TlsFree(DWORD index) {
    if (index >= kTlsIndexes)
        return fail(ERROR_INVALID_PARAMETER);
    std::uint32_t life = lives[index].load();
    return isInUse(life) && lives[index].compare_exchange_strong(life, life + 1)
               ? TRUE
               : fail(ERROR_INVALID_PARAMETER);
}

void* TlsGetValue(DWORD index) {
    if (index >= kTlsIndexes) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    Posix::lastError = ERROR_SUCCESS;
    const TlsValue& slot = values[index];
    return slot.life == lives[index].load(std::memory_order_relaxed) ? slot.value : nullptr;
}

BOOL TlsSetValue(DWORD index, void* value) {
    if (index >= kTlsIndexes)
        return fail(ERROR_INVALID_PARAMETER);
    values[index] = {value, lives[index].load(std::memory_order_relaxed)};
    return TRUE;
}

} // namespace Tarn::Platform
