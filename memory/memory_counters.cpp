#include <tarnkit/memory_manager.h>

#include <atomic>

namespace Tarn {

namespace {

// The counters of one kind of memory. All threads count; nothing else depends on the order in which they do.
// The sums wrap around.
struct CCounters {
    std::atomic<int> allocCount{0};
    std::atomic<int> allocSize{0};
    std::atomic<int> currentSize{0};
    std::atomic<int> peakSize{0};
    std::atomic<int> freeCount{0};

    void RegisterAlloc(int size) {
        add(allocCount, 1);
        add(allocSize, size);
        const int current = add(currentSize, size);
        int peak = peakSize.load(std::memory_order_relaxed);
        while (peak < current && !peakSize.compare_exchange_weak(peak, current, std::memory_order_relaxed)) {
        }
    }
    void RegisterFree(int size) {
        add(currentSize, static_cast<int>(0U - static_cast<unsigned>(size)));
        add(freeCount, 1);
    }
    void Reset() {
        for (std::atomic<int>* counter : {&allocCount, &allocSize, &currentSize, &peakSize, &freeCount})
            counter->store(0, std::memory_order_relaxed);
    }

private:
    // Returns the new value.
    static int add(std::atomic<int>& counter, int value) {
        const int old = counter.fetch_add(value, std::memory_order_relaxed);
        return static_cast<int>(static_cast<unsigned>(old) + static_cast<unsigned>(value));
    }
};

constinit CCounters heap;
constinit CCounters stack;

} // namespace

void RegisterHeapAlloc(int size) { heap.RegisterAlloc(size); }
void RegisterHeapFree(int size) { heap.RegisterFree(size); }
void RegisterStackAlloc(int size) { stack.RegisterAlloc(size); }
void RegisterStackFree(int size) { stack.RegisterFree(size); }

void GetCurrentMemoryCounters(CMemoryCounters& counters) {
    counters.HeapAllocCount = heap.allocCount;
    counters.HeapAllocSize = heap.allocSize;
    counters.StackAllocCount = stack.allocCount;
    counters.StackAllocSize = stack.allocSize;
    counters.HeapCurrentSize = heap.currentSize;
    counters.HeapPeakSize = heap.peakSize;
    counters.StackCurrentSize = stack.currentSize;
    counters.StackPeakSize = stack.peakSize;
    counters.HeapFreeCount = heap.freeCount;
    counters.StackFreeCount = stack.freeCount;
}

void ResetMemoryCounters() {
    heap.Reset();
    stack.Reset();
}

} // namespace Tarn
