#include <tarnkit/memory_manager.h>

#include <algorithm>

namespace Tarn {

namespace {

constinit CMemoryCounters counters{};

// Sums wrap like the 32-bit counters of the platform, without the undefined behaviour of a signed overflow.
void add(int& counter, int value) {
    counter = static_cast<int>(static_cast<unsigned>(counter) + static_cast<unsigned>(value));
}

void registerAlloc(int size, int& count, int& total, int& current, int& peak) {
    add(count, 1);
    add(total, size);
    add(current, size);
    peak = std::max(peak, current);
}

void registerFree(int size, int& count, int& current) {
    add(current, static_cast<int>(0U - static_cast<unsigned>(size)));
    add(count, 1);
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
