#include "tests/support/memory_in_use.h"

#include <windows.h>

namespace Tarn {

std::size_t MemoryInUse() {
    std::size_t size = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(GetProcessHeap());
    while (HeapWalk(GetProcessHeap(), &entry))
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            size += entry.cbData;
    HeapUnlock(GetProcessHeap());
    return size;
}

} // namespace Tarn
