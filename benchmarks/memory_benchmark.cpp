// Allocation. All rivals of a benchmark allocate the same blocks, write to each, and free them in the same
// order. "Each" allocates and frees one block at a time, "many" allocates a thousand and frees them in random
// order; a "phase" allocates a hundred thousand and drops all of them at its end.
#include "malloc_memory.h"

#include <tarnkit/heap_manager.h>
#include <tarnkit/pool_allocators.h>

#include <benchmark/benchmark.h>
#include <boost/pool/pool.hpp>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr int kBlocks = 1000;
constexpr int kBlockSize = 64;
constexpr int kPageSize = 0x10000;
constexpr int kLargestSize = 256;
constexpr int kPhaseBlocks = 100'000;

struct EqualSizes {
    int operator[](int) const { return kBlockSize; }
};

// Sizes as in real programs: most are small.
struct MixedSizes {
    std::vector<int> sizes = std::vector<int>(kBlocks);

    MixedSizes() {
        std::mt19937 random(1);
        for (int& size : sizes)
            size = 8 + static_cast<int>(random() % 8) * static_cast<int>(random() % (kLargestSize / 8));
    }
    int operator[](int index) const { return sizes[static_cast<std::size_t>(index)]; }
};

std::vector<int> shuffledOrder() {
    std::vector<int> order(kBlocks);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(2));
    return order;
}

// The rivals.

struct Runtime {
    void* Take(int size) { return std::malloc(static_cast<std::size_t>(size)); }
    void Give(void* block, int) { std::free(block); }
};

// mimalloc, which is loaded so that it does not replace `malloc`.
struct Mimalloc {
    void* Take(int size) { return alloc(static_cast<std::size_t>(size)); }
    void Give(void* block, int) { release(block); }

    template<class Function>
    static Function* Symbol(const char* name) {
        static void* const module = dlopen("libmimalloc.so", RTLD_NOW | RTLD_LOCAL);
        if (void* symbol = module == nullptr ? nullptr : dlsym(module, name))
            return reinterpret_cast<Function*>(symbol);
        std::fputs("memory: mimalloc cannot be loaded\n", stderr);
        std::exit(1);
    }
    void* (*const alloc)(std::size_t) = Symbol<void*(std::size_t)>("mi_malloc");
    void (*const release)(void*) = Symbol<void(void*)>("mi_free");
};

// Shows the cost of any allocator that keeps a word in front of each block and aligns the block.
template<class Rival>
struct Padded {
    Rival rival;

    void* Take(int size) {
        char* block = static_cast<char*>(rival.Take(size + Tarn::kAllocationPrefix));
        *reinterpret_cast<void**>(block) = this;
        return block + Tarn::kAllocationPrefix;
    }
    void Give(void* block, int size) {
        rival.Give(static_cast<char*>(block) - Tarn::kAllocationPrefix, size);
    }
};

struct Routed {
    void* Take(int size) { return Tarn::doAlloc(static_cast<unsigned>(size)); }
    void Give(void* block, int) { Tarn::doFree(block); }
};

// Allocates as `new` does while a private heap is the thread's current manager. All threads share the heap.
struct RoutedToHeap : Routed {
    static Tarn::CHeapManager& Heap() {
        static Tarn::CHeapManager heap;
        static const bool isCreated = (heap.Create(), true);
        static_cast<void>(isCreated);
        return heap;
    }
    Tarn::CMemoryManagerSwitcher switcher{&Heap()};
};

// While another thread has a manager of its own.
struct RoutedBesideSwitcher : Routed {
    std::barrier<> isOver{2};
    std::thread other;

    RoutedBesideSwitcher() {
        std::barrier isSwitched(2);
        other = std::thread([&] {
            const Tarn::CMemoryManagerSwitcher switcher(&RoutedToHeap::Heap());
            isSwitched.arrive_and_wait();
            isOver.arrive_and_wait();
        });
        isSwitched.arrive_and_wait();
    }
    ~RoutedBesideSwitcher() {
        isOver.arrive_and_wait();
        other.join();
    }
};

struct BlockPool {
    Tarn::CBlockManager blocks{kBlockSize, kPageSize};

    void* Take(int) { return blocks.Alloc(); }
    void Give(void* block, int) { blocks.Free(block); }
};

struct StandardPool {
    MallocResource memory;
    std::pmr::unsynchronized_pool_resource blocks{&memory};

    void* Take(int size) { return blocks.allocate(static_cast<std::size_t>(size)); }
    void Give(void* block, int size) { blocks.deallocate(block, static_cast<std::size_t>(size)); }
};

struct BoostPool {
    boost::pool<boost::default_user_allocator_malloc_free> blocks{kBlockSize};

    void* Take(int) { return blocks.malloc(); }
    void Give(void* block, int) { blocks.free(block); }
};

struct Stack {
    Tarn::CStackManager stack;

    void* Take(int size) { return stack.Alloc(size); }
    void Release() { stack.Reset(); }
};

// Has all its memory from the start, as the stack does from its second round on.
struct StandardStack {
    std::vector<char, MallocAllocator<char>> room = decltype(room)(kBlocks * (kLargestSize + 16));
    MallocResource memory;
    std::pmr::monotonic_buffer_resource stack{room.data(), room.size(), &memory};

    void* Take(int size) { return stack.allocate(static_cast<std::size_t>(size)); }
    void Release() { stack.release(); }
};

// The rivals in phases. Each ends a phase in its own way.

struct PhaseInRuntime {
    std::vector<void*, MallocAllocator<void*>> blocks = decltype(blocks)(kPhaseBlocks);
    std::size_t count = 0;

    void* Take(int size) { return blocks[count++] = std::malloc(static_cast<std::size_t>(size)); }
    void End() {
        for (void* block : blocks)
            std::free(block);
        count = 0;
    }
};

struct PhaseInHeap {
    Tarn::CHeapManager heap;

    PhaseInHeap() { heap.Create(); }
    void* Take(int size) { return heap.Alloc(size); }
    void End() {
        heap.Destroy(true);
        heap.Create();
    }
};

// Allocates as `new` does while the heap is the current manager.
struct RoutedPhaseInHeap : PhaseInHeap {
    Tarn::CMemoryManagerSwitcher switcher{&heap};

    void* Take(int size) { return Tarn::doAlloc(static_cast<unsigned>(size)); }
};

// The races.

template<class Rival>
void* takeAndTouch(Rival& rival, int size) {
    void* block = rival.Take(size);
    *static_cast<int*>(block) = size;
    benchmark::DoNotOptimize(block);
    benchmark::ClobberMemory();
    return block;
}

template<class Rival, class Sizes>
void each(benchmark::State& state) {
    Rival rival;
    const Sizes sizes;
    for (auto _ : state)
        for (int i = 0; i < kBlocks; i++)
            rival.Give(takeAndTouch(rival, sizes[i]), sizes[i]);
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

template<class Rival, class Sizes>
void many(benchmark::State& state) {
    Rival rival;
    const Sizes sizes;
    const std::vector<int> order = shuffledOrder();
    static std::array<void*, kBlocks> blocks;
    for (auto _ : state) {
        for (int i = 0; i < kBlocks; i++)
            blocks[static_cast<std::size_t>(i)] = takeAndTouch(rival, sizes[i]);
        for (const int i : order)
            rival.Give(blocks[static_cast<std::size_t>(i)], sizes[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

template<class Rival>
void stacked(benchmark::State& state) {
    Rival rival;
    const MixedSizes sizes;
    for (auto _ : state) {
        for (int i = 0; i < kBlocks; i++)
            takeAndTouch(rival, sizes[i]);
        rival.Release();
    }
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

template<class Rival>
void phase(benchmark::State& state) {
    std::vector<int, MallocAllocator<int>> sizes(kPhaseBlocks);
    std::mt19937 random(3);
    for (int& size : sizes)
        size = 16 + static_cast<int>(random() % (512 - 16 + 1));
    {
        Rival rival; // may redirect all allocations while it lives
        for (auto _ : state) {
            for (const int size : sizes)
                takeAndTouch(rival, size);
            rival.End();
        }
    }
    state.SetItemsProcessed(state.iterations() * kPhaseBlocks);
}

} // namespace

BENCHMARK(each<BlockPool, EqualSizes>)->Name("equal/each/CBlockManager");
BENCHMARK(each<Runtime, EqualSizes>)->Name("equal/each/malloc");
BENCHMARK(each<StandardPool, EqualSizes>)->Name("equal/each/std::pmr");
BENCHMARK(each<BoostPool, EqualSizes>)->Name("equal/each/boost");
BENCHMARK(many<BlockPool, EqualSizes>)->Name("equal/many/CBlockManager");
BENCHMARK(many<Runtime, EqualSizes>)->Name("equal/many/malloc");
BENCHMARK(many<StandardPool, EqualSizes>)->Name("equal/many/std::pmr");
BENCHMARK(many<BoostPool, EqualSizes>)->Name("equal/many/boost");

BENCHMARK(each<Routed, MixedSizes>)->Name("mixed/each/doAlloc");
BENCHMARK(each<Runtime, MixedSizes>)->Name("mixed/each/malloc");
BENCHMARK(each<Mimalloc, MixedSizes>)->Name("mixed/each/mimalloc");
BENCHMARK(many<Mimalloc, MixedSizes>)->Name("mixed/many/mimalloc");
BENCHMARK(each<Padded<Mimalloc>, MixedSizes>)->Name("mixed/each/padded-mimalloc");
BENCHMARK(many<Padded<Mimalloc>, MixedSizes>)->Name("mixed/many/padded-mimalloc");
BENCHMARK(each<Padded<Runtime>, MixedSizes>)->Name("mixed/each/padded-malloc");
BENCHMARK(many<Padded<Runtime>, MixedSizes>)->Name("mixed/many/padded-malloc");
BENCHMARK(many<Routed, MixedSizes>)->Name("mixed/many/doAlloc");
BENCHMARK(many<Runtime, MixedSizes>)->Name("mixed/many/malloc");

BENCHMARK(each<RoutedToHeap, MixedSizes>)->Name("mixed/each/doAlloc-CHeapManager");
BENCHMARK(each<Runtime, MixedSizes>)->Name("mixed/each/2/malloc")->Threads(2);
BENCHMARK(each<Routed, MixedSizes>)->Name("mixed/each/2/doAlloc")->Threads(2);
BENCHMARK(each<RoutedBesideSwitcher, MixedSizes>)->Name("mixed/each/2/doAlloc-beside-switcher")->Threads(2);
BENCHMARK(each<RoutedToHeap, MixedSizes>)->Name("mixed/each/2/doAlloc-CHeapManager")->Threads(2);

BENCHMARK(stacked<Stack>)->Name("stacked/CStackManager");
BENCHMARK(stacked<StandardStack>)->Name("stacked/std::pmr");

BENCHMARK(phase<PhaseInHeap>)->Name("phase/CHeapManager");
BENCHMARK(phase<RoutedPhaseInHeap>)->Name("phase/doAlloc");
BENCHMARK(phase<PhaseInRuntime>)->Name("phase/malloc");
