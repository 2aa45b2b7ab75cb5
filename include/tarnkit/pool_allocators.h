// Three allocators for memory whose shape is known in advance, all over page-granular virtual memory:
// COneBlockAllocator, one buffer that grows in place; CBlockManager, a pool of equal blocks; CStackManager, a
// mark-and-release stack. CSizeClassAllocator is the pool of the string bodies, built from block managers.
//
// Each object owns its memory and gives it back to the system only in its destructor; resets keep it for
// reuse. None of them locks: one thread at a time for each object. Blocks are aligned to `kAllocationUnit`.
// Running out of memory is the memory exception.
#pragma once

#include <tarnkit/layout.h>
#include <tarnkit/memory_manager.h>

#include <climits>

namespace Tarn {

/// `value` rounded up to a multiple of `unit` for positive values; others are cut toward zero. The memory
/// exception when an `int` cannot hold the result.
constexpr int RoundUp(int value, int unit) {
    if (value < 1)
        return value / unit * unit;
    const int units = (value - 1) / unit + 1;
    if (units > INT_MAX / unit)
        ThrowMemoryException();
    return units * unit;
}

/// Adds to a sum of sizes, which wraps around: where pointers have 64 bits more may be out than an `int`
/// counts.
constexpr void AddToSum(int& sum, int value) {
    sum = static_cast<int>(static_cast<unsigned>(sum) + static_cast<unsigned>(value));
}

/// One contiguous buffer that grows in place up to a size reserved at the start; its address never changes.
class TARNKIT_API COneBlockAllocator {
public:
    /// Reserves `size` bytes, at least 1, rounded up to the granule of ten system pages.
    explicit COneBlockAllocator(int size = 0x100000);
    /// Throws the memory exception when the system refuses to take the region back.
    virtual ~COneBlockAllocator() noexcept(false);

    COneBlockAllocator(const COneBlockAllocator&) = delete;
    COneBlockAllocator& operator=(const COneBlockAllocator&) = delete;

    void* GetPtr() const { return base; }

    /// Makes the first `size` bytes usable. Beyond the reserved size: the memory exception, nothing changed.
    void SetSize(int size) {
        if (size > committedSize)
            commit(size);
        allocatedSize = size;
    }

    /// Sets the size to 0; the memory stays committed.
    void Reset() { allocatedSize = 0; }

    int AllocatedSize() const { return allocatedSize; }
    int ReservedSize() const { return reservedSize; }
    int FreeSize() const { return reservedSize - allocatedSize; }

private:
    void* base = nullptr;
    int allocatedSize = 0;
    int committedSize = 0;
    int reservedSize = 0;

    friend struct CLayout<COneBlockAllocator>;

    void commit(int size);
};
TARNKIT_LAYOUT(COneBlockAllocator, 20, base, allocatedSize, committedSize, reservedSize);

/// A pool of equal-sized blocks carved out of large pages, with a last-in, first-out free list.
class TARNKIT_API CBlockManager final : public IMemoryManager {
public:
    /// Blocks of `size` bytes, from pages of about `pageSize` bytes each.
    constexpr CBlockManager(int size, int pageSize)
        : blockSize(size),
          alignedBlockSize(RoundUp(size < kAllocationUnit ? kAllocationUnit : size, kAllocationUnit)),
          pageDataSize(RoundUp(pageSize - kAllocationUnit > alignedBlockSize ? pageSize - kAllocationUnit
                                                                             : alignedBlockSize,
                               alignedBlockSize)) {}
    constexpr ~CBlockManager() noexcept(false) override {
        if (pages != nullptr || sparePages != nullptr)
            releaseAllMemory();
    }

    CBlockManager(const CBlockManager&) = delete;
    CBlockManager& operator=(const CBlockManager&) = delete;

    /// One block; asserts that `size` is the block size. A block cannot stand in for a larger one: where the
    /// assertion returns, that is the memory exception.
    void* Alloc(int size) override {
        if (size != blockSize) {
            GenAssert(u"alloc.h", 620);
            if (size > alignedBlockSize)
                ThrowMemoryException();
        }
        return doAlloc();
    }
    void* Alloc() { return doAlloc(); }

    /// Puts a block of this pool on the free list; null is ignored.
    void Free(void* ptr) override {
        if (ptr == nullptr)
            return;
        auto* block = static_cast<CFreeBlock*>(ptr);
        block->next = freeBlocks;
        freeBlocks = block;
        AddToSum(freeBlocksSize, blockSize);
        AddToSum(allocatedBlocksSize, -blockSize);
    }

    /// Takes back all blocks at once; their pages are kept for reuse.
    void Reset();
    void ResetWithoutDump() { Reset(); }

    /// Library-internal: gives the pages back to the system, unless a block is still out. The pool stays
    /// usable.
    void ReleaseIfUnused();

    int BlockSize() const { return blockSize; }
    /// Bytes in the free list and in blocks handed out, counted in units of the block size.
    int FreeBlocksSize() const { return freeBlocksSize; }
    int AllocatedBlocksSize() const { return allocatedBlocksSize; }

private:
    struct CFreeBlock {
        CFreeBlock* next;
    };
    // A page: the link, then from `kAllocationUnit` on the blocks.
    struct CPage {
        CPage* next;
    };

    CFreeBlock* freeBlocks = nullptr;
    CPage* pages = nullptr;
    CPage* sparePages = nullptr;
    int used = 0;
    int freeBlocksSize = 0;
    int blockSize;
    int alignedBlockSize;
    int pageDataSize;
    int allocatedBlocksSize = 0;

    friend struct CLayout<CBlockManager>;

    void* doAlloc() {
        if (freeBlocks != nullptr) {
            CFreeBlock* block = freeBlocks;
            freeBlocks = block->next;
            AddToSum(freeBlocksSize, -blockSize);
            AddToSum(allocatedBlocksSize, blockSize);
            return block;
        }
        if (pages == nullptr || alignedBlockSize > pageDataSize - used)
            allocPage();
        void* block = reinterpret_cast<char*>(pages) + kAllocationUnit + used;
        used += alignedBlockSize;
        AddToSum(allocatedBlocksSize, blockSize);
        return block;
    }

    void allocPage();
    void releaseMemory(CPage* list);
    void releaseAllMemory();
};
TARNKIT_LAYOUT(CBlockManager, 40, freeBlocks, pages, sparePages, used, freeBlocksSize, blockSize,
               alignedBlockSize, pageDataSize, allocatedBlocksSize);

/// A position of a stack manager to come back to.
struct CStackManagerState {
    void* block;       ///< the current block at that time; null when there was none
    int used;          ///< the bytes used in it
    int allocatedSize; ///< the manager's allocated size
};
TARNKIT_LAYOUT(CStackManagerState, 12, block, used, allocatedSize);

/// A mark-and-release allocator: single frees do nothing, memory comes back by returning to a state.
class TARNKIT_API CStackManager final : public IMemoryManager {
public:
    /// `blockSize` is the size of a minimal block, its header included.
    constexpr explicit CStackManager(int blockSize = 0x10000)
        : minimalBlockDataSize(blockSize - static_cast<int>(sizeof(CBlock))) {}
    constexpr ~CStackManager() noexcept(false) override {
        if (current != nullptr || freeList != nullptr)
            releaseAllMemory();
    }

    CStackManager(const CStackManager&) = delete;
    CStackManager& operator=(const CStackManager&) = delete;

    void* Alloc(int size) override {
        constexpr unsigned unit = kAllocationUnit;
        if (size < 0)
            ThrowMemoryException();
        return doAlloc(size, (static_cast<unsigned>(size) + unit - 1) / unit * unit);
    }
    void Free(void*) override {}

    /// The sum of the sizes asked for since the last reset.
    int AllocatedSize() const { return allocatedSize; }

    void GetState(CStackManagerState& state) const {
        state = {current, current != nullptr ? current->used : 0, allocatedSize};
    }

    /// Releases everything allocated since `GetState`. States are restored last in, first out; one whose
    /// block is no longer in use is undefined. Asserts on a state with no block but bytes used.
    void Reset(const CStackManagerState& state);
    void ResetWithoutDump(const CStackManagerState& state) { Reset(state); }
    /// Releases everything; the blocks are kept for reuse.
    void Reset() { Reset(CStackManagerState{nullptr, 0, 0}); }
    void ResetWithoutDump() { Reset(); }

private:
    // The header of a block; its data follow.
    struct CBlock {
        CBlock* next;
        int capacity;
        int used;

        char* data() { return reinterpret_cast<char*>(this + 1); }
    };

    CBlock* current = nullptr;
    CBlock* freeList = nullptr;
    int allocatedSize = 0;
    int minimalBlockDataSize;

    friend struct CLayout<CStackManager>;
    friend struct CLayout<CBlock>;

    // An aligned size may be beyond what an `int` holds; it fits nowhere then.
    bool canAllocInCurrentBlock(unsigned size) const {
        return current != nullptr && size <= static_cast<unsigned>(current->capacity - current->used);
    }

    void* doAlloc(int size, unsigned alignedSize) {
        if (!canAllocInCurrentBlock(alignedSize))
            allocateBlock(alignedSize);
        AddToSum(allocatedSize, size);
        void* result = current->data() + current->used;
        current->used += static_cast<int>(alignedSize);
        return result;
    }

    // Makes a block current that has room for `needed` bytes.
    void allocateBlock(unsigned needed);
    void freeBlocks(CBlock* from, CBlock* to, int used);
    void releaseMemory(CBlock* blocks);
    void releaseAllMemory();
};
TARNKIT_LAYOUT(CStackManager, 20, current, freeList, allocatedSize, minimalBlockDataSize);
TARNKIT_LAYOUT(CStackManager::CBlock, 12, next, capacity, used);

/// The pool of the string bodies: block managers for blocks of 32 to 512 bytes, the process heap above.
/// Library-internal; strings take and return their bodies through it.
class TARNKIT_API CSizeClassAllocator {
public:
    constexpr CSizeClassAllocator() = default;

    /// A block of at least `size` bytes; `actualSize`, the size served, must be passed back to `Free`.
    void* Alloc(int size, int& actualSize);
    void Free(void* ptr, int actualSize);

    /// Gives back the pages of each size of which no block is out: a static object of a client may keep its
    /// strings for longer than the library lasts.
    void ReleaseIfUnused();

private:
    CBlockManager& classOf(int size);

    CBlockManager blocks32{32, 0x10000};
    CBlockManager blocks64{64, 0x10000};
    CBlockManager blocks128{128, 0x10000};
    CBlockManager blocks256{256, 0x10000};
    CBlockManager blocks512{512, 0x10000};

    friend struct CLayout<CSizeClassAllocator>;
};
TARNKIT_LAYOUT(CSizeClassAllocator, 200, blocks32, blocks64, blocks128, blocks256, blocks512);

/// The one instance that serves every string body of the process.
TARNKIT_API CSizeClassAllocator& GetStringBodyPool();

/// The blocks of 128 bytes behind the pages of Unicode sets.
TARNKIT_API CBlockManager& GetSetPagePool();

} // namespace Tarn
