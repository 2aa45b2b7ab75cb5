// Heaps and virtual memory.
#include "platform/heap_blocks.h"
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HANDLE GetProcessHeap() { return ::GetProcessHeap(); }

HANDLE HeapCreate(std::size_t initialSize) { return ::HeapCreate(0, initialSize, 0); }

BOOL HeapDestroy(HANDLE heap) { return ::HeapDestroy(heap); }

void* HeapAlloc(HANDLE heap, std::size_t size) { return ::HeapAlloc(heap, 0, size); }

BOOL HeapFree(HANDLE heap, void* block) { return ::HeapFree(heap, 0, block); }

void* HeapReAlloc(HANDLE heap, void* block, std::size_t size) { return ::HeapReAlloc(heap, 0, block, size); }

int CountHeapBlocks(HANDLE) { return 0; }

void* VirtualAlloc(void* address, std::size_t size, DWORD type, DWORD protection) {
    return ::VirtualAlloc(address, size, type, protection);
}

BOOL VirtualFree(void* address, std::size_t size, DWORD type) { return ::VirtualFree(address, size, type); }

std::size_t VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, std::size_t size) {
    return ::VirtualQuery(address, information, size);
}

std::size_t GetRegionSize(void* start) {
    MEMORY_BASIC_INFORMATION region;
    const bool isKnown = ::VirtualQuery(start, &region, sizeof(region)) == sizeof(region);
    return isKnown && region.AllocationBase == start && region.State == MEM_COMMIT ? region.RegionSize : 0;
}

void* GrowRegion(void*, std::size_t) { return nullptr; }

DWORD GetPageSize() {
    SYSTEM_INFO information;
    ::GetSystemInfo(&information);
    return information.dwPageSize;
}

} // namespace Tarn::Platform
