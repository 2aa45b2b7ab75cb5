// Allocation: every pair of rivals takes the same blocks, writes to each, and gives them back in the same
// order. "Each" takes and frees one block at a time, "many" takes a thousand and frees them shuffled.
#include "malloc_memory.h"

#include <tarnkit/pool_allocators.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

constexpr int kBlocks = 1000;
constexpr int kBlockSize = 64;
constexpr int kPageSize = 0x10000;
constexpr int kLargestSize = 256;

// Sizes as they come in a program: most are small.
std::vector<int> mixedSizes() {
    std::mt19937 random(1);
    std::vector<int> sizes(kBlocks);
    for (int& size : sizes)
        size = 8 + static_cast<int>(random() % 8) * static_cast<int>(random() % (kLargestSize / 8));
    return sizes;
}

std::vector<int> equalSizes() { return std::vector<int>(kBlocks, kBlockSize); }

std::vector<std::size_t> shuffledOrder() {
    std::vector<std::size_t> order(kBlocks);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937(2));
    return order;
}

// The rivals.

struct Runtime {
    void* Take(int size) { return std::malloc(static_cast<std::size_t>(size)); }
    void Give(void* block, int) { std::free(block); }
};

struct Routed {
    void* Take(int size) { return Tarn::doAlloc(static_cast<unsigned>(size)); }
    void Give(void* block, int) { Tarn::doFree(block); }
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

struct Stack {
    Tarn::CStackManager stack;

    void* Take(int size) { return stack.Alloc(size); }
    void Release() { stack.Reset(); }
};

// Has its memory from the start, as the stack has it from its second round on.
struct StandardStack {
    std::vector<char, MallocAllocator<char>> room = decltype(room)(kBlocks * (kLargestSize + 16));
    MallocResource memory;
    std::pmr::monotonic_buffer_resource stack{room.data(), room.size(), &memory};

    void* Take(int size) { return stack.allocate(static_cast<std::size_t>(size)); }
    void Release() { stack.release(); }
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

template<class Rival, std::vector<int> (*sizes)()>
void each(benchmark::State& state) {
    Rival rival;
    const std::vector<int> wanted = sizes();
    for (auto _ : state)
        for (const int size : wanted)
            rival.Give(takeAndTouch(rival, size), size);
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

template<class Rival, std::vector<int> (*sizes)()>
void many(benchmark::State& state) {
    Rival rival;
    const std::vector<int> wanted = sizes();
    const std::vector<std::size_t> order = shuffledOrder();
    std::vector<void*> blocks(kBlocks);
    for (auto _ : state) {
        for (std::size_t i = 0; i < kBlocks; i++)
            blocks[i] = takeAndTouch(rival, wanted[i]);
        for (const std::size_t i : order)
            rival.Give(blocks[i], wanted[i]);
    }
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

template<class Rival>
void stacked(benchmark::State& state) {
    Rival rival;
    const std::vector<int> sizes = mixedSizes();
    for (auto _ : state) {
        for (const int size : sizes)
            takeAndTouch(rival, size);
        rival.Release();
    }
    state.SetItemsProcessed(state.iterations() * kBlocks);
}

} // namespace

BENCHMARK(each<BlockPool, equalSizes>)->Name("equal/each/CBlockManager");
BENCHMARK(each<Runtime, equalSizes>)->Name("equal/each/malloc");
BENCHMARK(each<StandardPool, equalSizes>)->Name("equal/each/std::pmr");
BENCHMARK(many<BlockPool, equalSizes>)->Name("equal/many/CBlockManager");
BENCHMARK(many<Runtime, equalSizes>)->Name("equal/many/malloc");
BENCHMARK(many<StandardPool, equalSizes>)->Name("equal/many/std::pmr");

BENCHMARK(each<Routed, mixedSizes>)->Name("mixed/each/doAlloc");
BENCHMARK(each<Runtime, mixedSizes>)->Name("mixed/each/malloc");
BENCHMARK(many<Routed, mixedSizes>)->Name("mixed/many/doAlloc");
BENCHMARK(many<Runtime, mixedSizes>)->Name("mixed/many/malloc");

BENCHMARK(stacked<Stack>)->Name("stacked/CStackManager");
BENCHMARK(stacked<StandardStack>)->Name("stacked/std::pmr");
