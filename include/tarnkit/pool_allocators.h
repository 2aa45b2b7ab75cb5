/// \file
/// Allocators for memory whose pattern of use is known in advance. All of them take whole pages of virtual
/// memory: `COneBlockAllocator` is one buffer that grows in place, `CBlockManager` a pool of blocks of one
/// size, `CStackManager` a stack that is released down to a mark. `CSizeClassAllocator`, made of block
/// managers, serves the bodies of strings.
///
/// An allocator owns its memory and returns it to the system only in its destructor; a reset keeps it for
/// reuse. None of them locks: use each object on one thread at a time. Blocks are aligned to
/// `kAllocationUnit`. Running out of memory is the memory exception. Under the address sanitizer, bytes that
/// belong to no block cannot be accessed (poison.h).
///
/// \code
/// Tarn::CStackManager stack;
/// Tarn::CStackManagerState mark;
/// stack.GetState(mark);
/// auto* scratch = static_cast<double*>(stack.Alloc(1000 * sizeof(double)));
/// Calculate(scratch);
/// stack.Reset(mark); // releases everything allocated since the mark
/// \endcode
#pragma once

#include <tarnkit/layout.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/poison.h>

#include <climits>

namespace Tarn {

/// Rounds a positive `value` up to a multiple of `unit`; other values are rounded toward zero. Throws the
/// memory exception when the result does not fit an `int`.
constexpr int RoundUp(int value, int unit) {
    if (value < 1)
        return value / unit * unit;
    const int units = (value - 1) / unit + 1;
    if (units > INT_MAX / unit)
        ThrowMemoryException();
    return units * unit;
}

/// Adds to a sum of sizes. The sum wraps around: where pointers have 64 bits, more bytes may be in use than
/// an `int` can count.
constexpr void AddToSum(int& sum, int value) {
    sum = static_cast<int>(static_cast<unsigned>(sum) + static_cast<unsigned>(value));
}

/// One contiguous buffer that grows in place up to a size reserved at the start; its address never changes.
class TARNKIT_API COneBlockAllocator {
public:
    /// Reserves `size` bytes, at least 1, rounded up to the granule of ten system pages.
    explicit COneBlockAllocator(int size = 0x100000);
    /// Throws the memory exception when the system fails to release the memory, unless another exception is
    /// in flight.
    virtual ~COneBlockAllocator() noexcept(false);

    COneBlockAllocator(const COneBlockAllocator&) = delete;
    COneBlockAllocator& operator=(const COneBlockAllocator&) = delete;

    /// The start of the buffer.
    void* GetPtr() const { return base; }

    /// Makes the first `size` bytes usable. Throws the memory exception, and changes nothing, when that is
    /// more than the reserved size or when there is no memory.
    void SetSize(int size) {
        if (size > committedSize)
            commit(size);
        allocatedSize = size;
    }

    /// Sets the size to 0, but keeps the memory.
    void Reset() { allocatedSize = 0; }

    /// In bytes: the size that was set.
    int AllocatedSize() const { return allocatedSize; }
    /// In bytes: the largest size that can be set.
    int ReservedSize() const { return reservedSize; }
    /// In bytes: what the size can grow by.
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

/// A pool of blocks of one size, cut from large pages. The block freed last is reused first.
class TARNKIT_API CBlockManager final : public IMemoryManager {
public:
    /// Blocks of `size` bytes, from pages of about `pageSize` bytes each.
    constexpr CBlockManager(int size, int pageSize)
        : blockSize(size),
          alignedBlockSize(RoundUp(size < kAllocationUnit ? kAllocationUnit : size, kAllocationUnit)),
          pageDataSize(RoundUp(pageSize - kAllocationUnit > alignedBlockSize ? pageSize - kAllocationUnit
                                                                             : alignedBlockSize,
                               alignedBlockSize)) {}
    /// Asserts when the system fails to release a page, unless another exception is in flight.
    constexpr ~CBlockManager() noexcept(false) override {
        if (pages != nullptr || sparePages != nullptr)
            releaseAllMemory();
    }

    CBlockManager(const CBlockManager&) = delete;
    CBlockManager& operator=(const CBlockManager&) = delete;

    /// Returns a block. Asserts that `size` is the block size; where the assertion returns, a size that does
    /// not fit a block is the memory exception.
    void* Alloc(int size) override {
        if (size != blockSize) {
            GenAssert(u"alloc.h", 620);
            if (size < 0 || size > alignedBlockSize)
                ThrowMemoryException();
        }
        return doAlloc();
    }
    /// Returns a block.
    void* Alloc() { return doAlloc(); }

    /// Takes back a block of this pool; ignores null.
    void Free(void* ptr) override {
        if (ptr == nullptr)
            return;
        Unpoison(static_cast<char*>(ptr) + blockSize, static_cast<std::size_t>(alignedBlockSize - blockSize));
        auto* block = static_cast<CFreeBlock*>(ptr);
        block->next = freeBlocks;
        freeBlocks = block;
        Poison(ptr, static_cast<std::size_t>(alignedBlockSize));
        AddToSum(freeBlocksSize, blockSize);
        AddToSum(allocatedBlocksSize, -blockSize);
    }

    ///@{
    /// Library-internal: the same for several blocks. All of them are returned, or none and the memory
    /// exception.
    void AllocAll(void** blocks, int count);
    void FreeAll(void* const* blocks, int count);
    ///@}

    /// Takes back all blocks at once; their pages are kept for reuse.
    void Reset();
    /// The same.
    void ResetWithoutDump() { Reset(); }

    /// Library-internal: returns the pages to the system unless a block is in use. The pool stays usable.
    void ReleaseIfUnused();

    /// In bytes.
    int BlockSize() const { return blockSize; }
    ///@{
    /// The total size, in bytes, of the blocks that were freed and of those in use.
    int FreeBlocksSize() const { return freeBlocksSize; }
    int AllocatedBlocksSize() const { return allocatedBlocksSize; }
    ///@}

private:
    struct CFreeBlock {
        CFreeBlock* next;
    };
    // A page: the link, then, from `kAllocationUnit` on, the blocks.
    struct CPage {
        CPage* next;

        char* data() { return reinterpret_cast<char*>(this) + kAllocationUnit; }
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
            Unpoison(block, sizeof(CFreeBlock));
            freeBlocks = block->next;
            AddToSum(freeBlocksSize, -blockSize);
            AddToSum(allocatedBlocksSize, blockSize);
            return opened(block);
        }
        if (pages == nullptr || alignedBlockSize > pageDataSize - used)
            allocPage();
        void* block = pages->data() + used;
        used += alignedBlockSize;
        AddToSum(allocatedBlocksSize, blockSize);
        return opened(block);
    }

    // Makes the block accessible, but not the padding that aligns the next one.
    void* opened(void* block) const {
        Poison(block, static_cast<std::size_t>(alignedBlockSize));
        Unpoison(block, static_cast<std::size_t>(blockSize));
        return block;
    }

    void close(CPage* page) const { Poison(page->data(), static_cast<std::size_t>(pageDataSize)); }
    void allocPage();
    void releaseAllMemory();
};
TARNKIT_LAYOUT(CBlockManager, 40, freeBlocks, pages, sparePages, used, freeBlocksSize, blockSize,
               alignedBlockSize, pageDataSize, allocatedBlocksSize);

/// A mark to which a stack manager can be released.
struct CStackManagerState {
    void* block;       ///< the block that was current; null when there was none
    int used;          ///< the number of bytes used in it
    int allocatedSize; ///< the manager's allocated size
};
TARNKIT_LAYOUT(CStackManagerState, 12, block, used, allocatedSize);

/// A stack: freeing a single block does nothing; `Reset` releases all blocks down to a mark.
class TARNKIT_API CStackManager final : public IMemoryManager {
public:
    /// Memory is taken in pieces of at least `blockSize` bytes, headers included.
    constexpr explicit CStackManager(int blockSize = 0x10000)
        : minimalBlockDataSize(blockSize - static_cast<int>(sizeof(CBlock))) {}
    /// Asserts when the system fails to release a piece, unless another exception is in flight.
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

    /// The sum of the sizes of all allocations that are not released.
    int AllocatedSize() const { return allocatedSize; }

    /// Puts a mark here.
    void GetState(CStackManagerState& state) const {
        state = {current, current != nullptr ? current->used : 0, allocatedSize};
    }

    /// Releases everything allocated since `GetState`. Marks must be used last in, first out; using a mark
    /// that an earlier reset has passed is undefined behaviour. Asserts on a mark without a block but with
    /// bytes used.
    void Reset(const CStackManagerState& state);
    /// The same.
    void ResetWithoutDump(const CStackManagerState& state) { Reset(state); }
    /// Releases everything; the memory is kept for reuse.
    void Reset() { Reset(CStackManagerState{nullptr, 0, 0}); }
    /// The same.
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

    // An aligned size may exceed `INT_MAX`; it then fits nowhere.
    bool canAllocInCurrentBlock(unsigned size) const {
        return current != nullptr && size <= static_cast<unsigned>(current->capacity - current->used);
    }

    void* doAlloc(int size, unsigned alignedSize) {
        if (!canAllocInCurrentBlock(alignedSize))
            allocateBlock(alignedSize);
        AddToSum(allocatedSize, size);
        void* result = current->data() + current->used;
        current->used += static_cast<int>(alignedSize);
        Unpoison(result, static_cast<std::size_t>(size));
        return result;
    }

    // Makes a block current that has room for `needed` bytes.
    void allocateBlock(unsigned needed);
    void freeBlocks(CBlock* from, CBlock* to, int used);
    void releaseAllMemory();
};
TARNKIT_LAYOUT(CStackManager, 20, current, freeList, allocatedSize, minimalBlockDataSize);
TARNKIT_LAYOUT(CStackManager::CBlock, 12, next, capacity, used);

/// Library-internal: allocates the bodies of strings, from block managers up to 512 bytes and from the
/// process heap beyond.
class TARNKIT_API CSizeClassAllocator {
public:
    constexpr CSizeClassAllocator() = default;

    /// Returns a block of at least `size` bytes. `actualSize` receives its size, all of which may be used and
    /// which must be passed to `Free`.
    void* Alloc(int size, int& actualSize);
    /// `actualSize` is what `Alloc` gave.
    void Free(void* ptr, int actualSize);

    /// Returns to the system the pages of each block size that has no block in use. (Static objects of
    /// clients may keep strings for longer than the library lasts.)
    void ReleaseIfUnused();

    /// The pool that serves blocks of `size` bytes, 512 at most.
    CBlockManager& ClassOf(int size);

private:
    CBlockManager blocks32{32, 0x10000};
    CBlockManager blocks64{64, 0x10000};
    CBlockManager blocks128{128, 0x10000};
    CBlockManager blocks256{256, 0x10000};
    CBlockManager blocks512{512, 0x10000};

    friend struct CLayout<CSizeClassAllocator>;
};
TARNKIT_LAYOUT(CSizeClassAllocator, 200, blocks32, blocks64, blocks128, blocks256, blocks512);

/// The pool behind the string bodies of the process. It has no lock: bodies are allocated and freed with the
/// two functions below.
TARNKIT_API CSizeClassAllocator& GetStringBodyPool();

/// Library-internal: returns a block of at least `size` bytes for a string body. `actualSize` receives its
/// size, which must be passed to `FreeStringBody`. Any thread may free a block, whichever allocated it. Each
/// thread keeps up to 40 KB of free blocks, and the process up to 64 KB of each size that no thread needs.
void* AllocStringBody(int size, int& actualSize);
/// Takes back a block of `actualSize` bytes.
void FreeStringBody(void* body, int actualSize);
/// Makes a block larger than those of the pool larger still, which the system may be able to do without
/// copying it. Null, and nothing has changed, for other blocks and without memory.
void* GrowStringBody(void* body, int actualSize, int size);

} // namespace Tarn
