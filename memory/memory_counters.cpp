#include <tarnkit/memory_manager.h>
#include <tarnkit/pool_allocators.h>

#include <algorithm>

namespace Tarn {

namespace {

constinit CMemoryCounters counters{};

void registerAlloc(int size, int& count, int& total, int& current, int& peak) {
    AddToSum(count, 1);
    AddToSum(total, size);
    AddToSum(current, size);
    peak = std::max(peak, current);
}

void registerFree(int size, int& count, int& current) {
    AddToSum(current, static_cast<int>(0U - static_cast<unsigned>(size)));
    AddToSum(count, 1);
}

} // namespace

void RegisterHeapAlloc(int size) {
    registerAlloc(size, counters.HeapAllocCount, counters.HeapAllocSize, counters.HeapCurrentSize,
                  counters.HeapPeakSize);
}

void RegisterHeapFree(int size) { registerFree(size, counters.HeapFreeCount, counters.HeapCurrentSize); }

void RegisterStackAlloc(int size) {
    registerAlloc(size, counters.StackAllocCount, counters.StackAllocSize, counters.StackCurrentSize,
                  counters.StackPeakSize);
}

void RegisterStackFree(int size) { registerFree(size, counters.StackFreeCount, counters.StackCurrentSize); }

void GetCurrentMemoryCounters(CMemoryCounters& result) { result = counters; }

void ResetMemoryCounters() { counters = {}; }

} // namespace Tarn
