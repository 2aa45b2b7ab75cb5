// Heaps and virtual memory.
//
// The process heap is the C runtime's; other heaps are arenas (private_heap.h). A region of virtual memory is
// an anonymous mapping. A table of the regions in use gives `VirtualFree` their sizes and lets it refuse
// other addresses.
#include "platform/heap_blocks.h"
#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/memory/leak_checker.h"
#include "platform/posix/memory/pages.h"
#include "platform/posix/memory/private_heap.h"
#include "platform/posix/support/fork_handlers.h"
#include "platform/posix/support/last_error.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <sys/mman.h>
#include <utility>

namespace Tarn::Platform {

namespace {

using Posix::PageSize;

struct Region {
    std::size_t size;
    DWORD protection; // when it was allocated
};

// The regions in use, by their start. Never destroyed, because memory is freed until the very end of the
// process.
class Regions {
public:
    static Regions& Get() {
        alignas(Regions) static std::byte storage[sizeof(Regions)];
        static Regions* const regions = ::new (storage) Regions;
        return *regions;
    }

    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }

    bool Add(void* start, Region region) {
        std::lock_guard guard(*this);
        try {
            regions.emplace(reinterpret_cast<std::uintptr_t>(start), region);
            Posix::ShowToLeakChecker(start, region.size);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    /// Removes and returns the region that starts at `start`; one of size 0 if there is none.
    Region Take(void* start) {
        std::lock_guard guard(*this);
        const auto found = regions.find(reinterpret_cast<std::uintptr_t>(start));
        if (found == regions.end())
            return {};
        const Region region = found->second;
        regions.erase(found);
        Posix::HideFromLeakChecker(start, region.size);
        return region;
    }

    /// Makes the region that starts at `start` larger; null if there is none or the system cannot.
    void* Grow(void* start, std::size_t size) {
        std::lock_guard guard(*this);
        const auto found = regions.find(reinterpret_cast<std::uintptr_t>(start));
        if (found == regions.end() || found->second.protection != PAGE_READWRITE)
            return nullptr;
        const std::size_t oldSize = found->second.size;
        if (size <= oldSize)
            return start;
        void* const moved = mremap(start, oldSize, size, MREMAP_MAYMOVE);
        if (moved == MAP_FAILED)
            return nullptr;
        auto entry = regions.extract(found);
        entry.key() = reinterpret_cast<std::uintptr_t>(moved);
        entry.mapped().size = size;
        regions.insert(std::move(entry));
        Posix::HideFromLeakChecker(start, oldSize);
        Posix::ShowToLeakChecker(moved, size);
        return moved;
    }

    /// Returns the start of the region that contains an address; 0, and a region of size 0, if there is none.
    std::uintptr_t Find(std::uintptr_t address, Region* region) {
        std::lock_guard guard(*this);
        auto next = regions.upper_bound(address);
        *region = {};
        if (next == regions.begin() || address - (--next)->first >= next->second.size)
            return 0;
        *region = next->second;
        return next->first;
    }

    /// Whether the whole range is in one region.
    bool Holds(void* address, std::size_t size) {
        Region region;
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        const std::uintptr_t start = Find(place, &region);
        return start != 0 && size <= region.size - (place - start);
    }

private:
    using Entry = std::pair<const std::uintptr_t, Region>;

    std::mutex mutex;
    std::map<std::uintptr_t, Region, std::less<>, Posix::Allocator<Entry>> regions;
};

constinit char processHeap = 0; // its address is the handle

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

void* mapNewRegion(std::size_t size, bool isCommitted, DWORD protection) {
    const std::size_t wholePages = Posix::WholePages(size);
    if (wholePages == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void* start = isCommitted && protection == PAGE_READWRITE ? Posix::MapPages(wholePages)
                                                              : Posix::ReservePages(wholePages);
    if (start != nullptr && !Regions::Get().Add(start, {wholePages, protection})) {
        Posix::UnmapPages(start, wholePages);
        start = nullptr;
    }
    if (start == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return start;
}

// Widens a range to whole pages.
void coverWholePages(void*& address, std::size_t& size) {
    const auto first = reinterpret_cast<std::uintptr_t>(address) / PageSize() * PageSize();
    const auto end = reinterpret_cast<std::uintptr_t>(address) + size;
    size = (end - first + PageSize() - 1) / PageSize() * PageSize();
    address = reinterpret_cast<void*>(first);
}

} // namespace

constinit const Posix::ForkHandlers Posix::kRegionsAtFork = HoldDuringFork<Regions::Get>();

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

void* HeapReAlloc(HANDLE, void* block, std::size_t size) { return std::realloc(block, size); }

int CountHeapBlocks(HANDLE heap) { return Posix::PrivateHeap::Count(heap); }

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

namespace {

BOOL releaseRegion(void* address) {
    const Region region = Regions::Get().Take(address);
    if (region.size == 0)
        return fail(ERROR_INVALID_ADDRESS);
    if (!Posix::UnmapPages(address, region.size)) {
        Regions::Get().Add(address, region);
        return fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return TRUE;
}

BOOL decommit(void* address, std::size_t size) {
    if (size == 0) { // the whole region, given by its start
        Region region;
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        if (Regions::Get().Find(place, &region) == place)
            size = region.size;
    }
    coverWholePages(address, size);
    if (size == 0 || !Regions::Get().Holds(address, size))
        return fail(ERROR_INVALID_ADDRESS);
    // A new mapping in the same place discards the contents and their memory. If the process already has as
    // many mappings as it may have, the memory is discarded all the same, but the pages stay accessible.
    constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED;
    const bool isDone = mmap(address, size, PROT_NONE, kFlags, -1, 0) != MAP_FAILED ||
                        madvise(address, size, MADV_DONTNEED) == 0;
    return isDone ? TRUE : fail(ERROR_NOT_ENOUGH_MEMORY);
}

} // namespace

std::size_t GetRegionSize(void* start) {
    Region region;
    const auto place = reinterpret_cast<std::uintptr_t>(start);
    const bool isStart = Regions::Get().Find(place, &region) == place;
    return isStart && region.protection == PAGE_READWRITE ? region.size : 0;
}

void* GrowRegion(void* start, std::size_t size) {
    const std::size_t wholePages = Posix::WholePages(size);
    return wholePages == 0 ? nullptr : Regions::Get().Grow(start, wholePages);
}

BOOL VirtualFree(void* address, std::size_t size, DWORD type) {
    if (type == MEM_RELEASE)
        return size == 0 ? releaseRegion(address) : fail(ERROR_INVALID_PARAMETER);
    return type == MEM_DECOMMIT ? decommit(address, size) : fail(ERROR_INVALID_PARAMETER);
}

namespace {

// A mapping, or the gap between two mappings.
struct Stretch {
    std::uintptr_t start = 0;
    std::uintptr_t end = UINTPTR_MAX;
    bool isMapped = false;
    bool isAccessible = false;
};

// Reads the next mapping of the system's list; false at its end.
bool readMapping(std::FILE* list, Stretch* mapping) {
    char line[512];
    while (std::fgets(line, sizeof(line), list) != nullptr) {
        unsigned long start, end;
        char access[5];
        if (std::sscanf(line, "%lx-%lx %4s", &start, &end, access) == 3) {
            *mapping = {start, end, true, std::strncmp(access, "---", 3) != 0};
            return true;
        }
    }
    return false;
}

// Finds the mapping or gap that contains `place`; false if the system does not tell.
bool findStretch(std::uintptr_t place, Stretch* found) {
    std::FILE* list = std::fopen("/proc/self/maps", "re");
    if (list == nullptr)
        return false;
    *found = {};
    Stretch mapping;
    while (readMapping(list, &mapping)) {
        if (place < mapping.start) {
            found->end = mapping.start;
            break;
        }
        if (place < mapping.end) {
            *found = mapping;
            break;
        }
        found->start = mapping.end;
    }
    std::fclose(list);
    return true;
}

} // namespace

std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t size) {
    if (size < sizeof(MEMORY_BASIC_INFORMATION)) {
        SetLastError(ERROR_BAD_LENGTH);
        return 0;
    }
    const auto place = reinterpret_cast<std::uintptr_t>(address) / PageSize() * PageSize();
    Stretch stretch;
    if (!findStretch(place, &stretch)) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return 0;
    }
    Region region;
    const std::uintptr_t regionStart = Regions::Get().Find(place, &region);
    // The system joins adjacent mappings, and emulators do not list what is only reserved.
    if (regionStart != 0)
        stretch = {regionStart, std::min(stretch.end, regionStart + region.size), true, stretch.isAccessible};
    *information = {};
    information->BaseAddress = reinterpret_cast<void*>(place);
    information->RegionSize = stretch.end - place;
    information->State = MEM_FREE;
    if (stretch.isMapped) {
        information->AllocationBase = reinterpret_cast<void*>(stretch.start);
        information->AllocationProtect = region.protection;
        information->State = stretch.isAccessible ? MEM_COMMIT : MEM_RESERVE;
        information->Protect = stretch.isAccessible ? PAGE_READWRITE : 0;
    }
    return sizeof(MEMORY_BASIC_INFORMATION);
}

DWORD GetPageSize() { return static_cast<DWORD>(PageSize()); }

} // namespace Tarn::Platform
