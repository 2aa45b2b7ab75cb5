// The blocks of string bodies. Each thread keeps a few free blocks of every size. What it has too many of it
// puts aside in batches, which any thread takes up again, so that texts may be made on one thread and dropped
// on another. Behind both stands the pool of the process. Batches and pool share a lock.
#include "memory/spin_lock.h"
#include "memory/thread_state.h"
#include "platform/fork.h"
#include "platform/platform.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/poison.h>
#include <tarnkit/pool_allocators.h>

#include <algorithm>
#include <bit>
#include <mutex>
#include <utility>

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

using CFreeBlock = CBlockCache::CFreeBlock;

// What the first block of a batch holds.
struct CBatch : CFreeBlock {
    CBatch* older;
    int count;
};
static_assert(sizeof(CBatch) <= kLeastBlock);

// The batches that were put aside, for each size of block: 64 KB at most.
struct CBatches {
    static constexpr int kMost = 16;

    CBatch* newest = nullptr;
    int count = 0;
};
constinit CBatches batches[kBlockCaches];

// Free blocks are poisoned, but for the time of these calls.
CFreeBlock* nextOf(CFreeBlock* block) {
    Unpoison(block, sizeof *block);
    CFreeBlock* const next = block->next;
    Poison(block, sizeof *block);
    return next;
}
void setNext(CFreeBlock* block, CFreeBlock* next) {
    Unpoison(block, sizeof *block);
    block->next = next;
    Poison(block, sizeof *block);
}

void push(CThreadState& state, int index, void* block) {
    CBlockCache& cache = state.bodies[index];
    auto* const freed = static_cast<CFreeBlock*>(block);
    freed->next = cache.first;
    cache.first = freed;
    cache.count++;
    Poison(block, sizeOf(index));
}

void* pop(CThreadState& state, int index) {
    CBlockCache& cache = state.bodies[index];
    CFreeBlock* const block = cache.first;
    Unpoison(block, sizeOf(index));
    cache.first = block->next;
    cache.count--;
    return block;
}

// The three below are called with the lock held.

void freeToPool(int index, CFreeBlock* first) {
    while (first != nullptr) {
        CFreeBlock* const block = std::exchange(first, nextOf(first));
        Unpoison(block, sizeOf(index));
        poolOf(index).Free(block);
    }
}

void putAside(int index, CFreeBlock* first, int count) {
    CBatches& spare = batches[index];
    if (spare.count == CBatches::kMost)
        return freeToPool(index, first);
    auto* const batch = static_cast<CBatch*>(first);
    Unpoison(batch, sizeof *batch);
    batch->older = std::exchange(spare.newest, batch);
    batch->count = count;
    Poison(batch, sizeof *batch);
    spare.count++;
}

// Takes up the batch that was put aside last: the first of its blocks, and their number. Null if there is
// none.
CFreeBlock* takeUp(int index, int& count) {
    CBatches& spare = batches[index];
    CBatch* const batch = spare.newest;
    if (batch == nullptr)
        return nullptr;
    Unpoison(batch, sizeof *batch);
    spare.newest = batch->older;
    count = batch->count;
    Poison(batch, sizeof *batch);
    spare.count--;
    return batch;
}

// Allocates a block and fills the thread's empty cache. What comes from the pool is handed out in the order
// in which the pool allocated it.
[[gnu::noinline]] void* popRefilled(int index) {
    CThreadState* const state = ObtainThreadState();
    std::lock_guard guard(poolLock);
    CBlockManager& pool = poolOf(index);
    if (state == nullptr)
        return pool.Alloc();
    CBlockCache& cache = state->bodies[index];
    cache.first = takeUp(index, cache.count);
    if (cache.first != nullptr)
        return pop(*state, index);
    void* const first = pool.Alloc();
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

// Puts all blocks of a thread aside but the `kept` that were freed last.
[[gnu::noinline]] void giveBack(CThreadState& state, int index, int kept) {
    CBlockCache& cache = state.bodies[index];
    CFreeBlock* last = nullptr;
    CFreeBlock* rest = cache.first;
    for (int i = 0; i < kept; i++)
        rest = nextOf(last = rest);
    if (last == nullptr)
        cache.first = nullptr;
    else
        setNext(last, nullptr);
    std::lock_guard guard(poolLock);
    putAside(index, rest, cache.count - kept);
    cache.count = kept;
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

void* GrowStringBody(void* body, int actualSize, int size) {
    return actualSize > kLargestBlock
               ? Platform::HeapReAlloc(Platform::GetProcessHeap(), body, static_cast<std::size_t>(size))
               : nullptr;
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

void ReturnSpareBodyBlocks() {
    std::lock_guard guard(poolLock);
    for (int index = 0, count; index < kBlockCaches; index++)
        while (CFreeBlock* const first = takeUp(index, count))
            freeToPool(index, first);
}

void AttachBodyBlocks() { Platform::KeepUsableAfterFork<poolLock>(); }

void ReturnBodyBlocks(CThreadState& state) {
    for (int index = 0; index < kBlockCaches; index++)
        if (state.bodies[index].count > 0)
            giveBack(state, index, 0);
}

} // namespace Tarn
