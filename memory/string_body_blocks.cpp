// The blocks of string bodies. Each thread keeps a few free blocks of every size, in front of the pool of the
// process, which has a lock.
#include "memory/spin_lock.h"
#include "memory/thread_state.h"
#include "platform/fork.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/poison.h>
#include <tarnkit/pool_allocators.h>

#include <algorithm>
#include <bit>
#include <mutex>

namespace Tarn {

namespace {

constexpr int kLeastBlock = 32;
constexpr int kLargestBlock = kLeastBlock << (kBlockCaches - 1);

// Blocks move between a thread and the pool in batches, large enough to make the cost of the lock small, and
// small enough that a thread keeps little memory unused.
constexpr int kBatchSize = 4096;
constexpr int kLargestBatch = 64;

constexpr int batchOf(int index) { return std::min(kBatchSize / (kLeastBlock << index), kLargestBatch); }
static_assert(batchOf(kBlockCaches - 1) > 1);

// The most blocks that a thread keeps.
constexpr int limitOf(int index) { return 2 * batchOf(index); }

constinit CSpinLock poolLock;

CBlockManager& poolOf(int index) { return GetStringBodyPool().ClassOf(kLeastBlock << index); }

// The cache of the smallest blocks that have room for `size` bytes.
int cacheFor(int size) {
    return static_cast<int>(
        std::bit_width(static_cast<unsigned>(std::max(size, kLeastBlock) - 1) / kLeastBlock));
}

std::size_t sizeOf(int index) { return static_cast<std::size_t>(kLeastBlock << index); }

void push(CThreadState& state, int index, void* block) {
    CBlockCache& cache = state.bodies[index];
    auto* const freed = static_cast<CBlockCache::CFreeBlock*>(block);
    freed->next = cache.first;
    cache.first = freed;
    cache.count++;
    Poison(block, sizeOf(index));
}

void* pop(CThreadState& state, int index) {
    CBlockCache& cache = state.bodies[index];
    CBlockCache::CFreeBlock* const block = cache.first;
    Unpoison(block, sizeOf(index));
    cache.first = block->next;
    cache.count--;
    return block;
}

// Allocates a block and fills the thread's empty cache. The cache hands out its blocks in the order in which
// the pool allocated them.
[[gnu::noinline]] void* popRefilled(int index) {
    CThreadState* const state = ObtainThreadState();
    std::lock_guard guard(poolLock);
    CBlockManager& pool = poolOf(index);
    void* const first = pool.Alloc();
    if (state == nullptr)
        return first;
    void* blocks[kLargestBatch];
    int count = 0;
    try {
        while (count < batchOf(index) - 1) {
            blocks[count] = pool.Alloc();
            count++;
        }
    } catch (CMemoryException* e) {
        e->Delete(); // the first block is enough for now
    }
    while (count > 0)
        push(*state, index, blocks[--count]);
    return first;
}

// Returns all but `kept` blocks to the pool.
[[gnu::noinline]] void giveBack(CThreadState& state, int index, int kept) {
    std::lock_guard guard(poolLock);
    while (state.bodies[index].count > kept)
        poolOf(index).Free(pop(state, index));
}

} // namespace

void* AllocStringBody(int size, int& actualSize) {
    if (size > kLargestBlock) {
        actualSize = size;
        return ProcessHeap::Alloc(size);
    }
    const int index = cacheFor(size);
    actualSize = kLeastBlock << index;
    CThreadState* const state = FindThreadState();
    if (state != nullptr && state->bodies[index].first != nullptr) [[likely]]
        return pop(*state, index);
    return popRefilled(index);
}

void FreeStringBody(void* body, int actualSize) {
    if (actualSize > kLargestBlock) {
        ProcessHeap::Free(body);
        return;
    }
    const int index = cacheFor(actualSize);
    CThreadState* const state = ObtainThreadState();
    if (state == nullptr) {
        std::lock_guard guard(poolLock);
        poolOf(index).Free(body);
        return;
    }
    push(*state, index, body);
    if (state->bodies[index].count > limitOf(index)) [[unlikely]]
        giveBack(*state, index, batchOf(index));
}

void AttachBodyBlocks() { Platform::KeepUsableAfterFork<poolLock>(); }

void ReturnBodyBlocks(CThreadState& state) {
    for (int index = 0; index < kBlockCaches; index++)
        if (state.bodies[index].count > 0)
            giveBack(state, index, 0);
}

} // namespace Tarn
