#include <tarnkit/pool_allocators.h>

#include "platform/platform.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <utility>

namespace Tarn {

namespace {

constexpr int kGranulePages = 10; // the unit of COneBlockAllocator's sizes, in system pages

int granule() {
    static const int size = kGranulePages * static_cast<int>(Platform::GetPageSize());
    return size;
}

// Releases every page of a list, even after the system has refused one; returns false if it refused any.
template<class Page>
bool releaseList(Page* list) {
    bool isReleased = true;
    while (Page* page = list) {
        list = page->next;
        isReleased &= CVirtualMemoryManager::TryFree(page);
    }
    return isReleased;
}

void assertReleased(bool isReleased) {
    if (!isReleased)
        GenAssert(u"PrivateAllocators", 133);
}

// For destructors, which must not throw while another exception is in flight.
void assertReleasedIfPossible(bool isReleased) {
    if (std::uncaught_exceptions() == 0)
        assertReleased(isReleased);
}

} // namespace

COneBlockAllocator::COneBlockAllocator(int size) {
    if (size < 1)
        GenAssert(u"ALLOC", 140);
    reservedSize = RoundUp(size, granule());
    base =
        Platform::VirtualAlloc(nullptr, static_cast<std::size_t>(reservedSize), MEM_RESERVE, PAGE_NOACCESS);
    if (base == nullptr)
        ThrowMemoryException();
}

COneBlockAllocator::~COneBlockAllocator() noexcept(false) {
    const bool isDecommitted =
        Platform::VirtualFree(base, static_cast<std::size_t>(reservedSize), MEM_DECOMMIT) != FALSE;
    const bool isReleased = Platform::VirtualFree(base, 0, MEM_RELEASE) != FALSE;
    if ((!isDecommitted || !isReleased) && std::uncaught_exceptions() == 0)
        ThrowMemoryException();
}

void COneBlockAllocator::commit(int size) {
    if (size > reservedSize)
        ThrowMemoryException();
    const int newCommitted = RoundUp(size, granule());
    void* end = static_cast<char*>(base) + committedSize;
    const auto missing = static_cast<std::size_t>(newCommitted - committedSize);
    if (Platform::VirtualAlloc(end, missing, MEM_COMMIT, PAGE_READWRITE) != end)
        ThrowMemoryException();
    committedSize = newCommitted;
}

void CBlockManager::allocPage() {
    if (CPage* spare = sparePages) {
        sparePages = spare->next;
        spare->next = pages;
        pages = spare;
    } else {
        if (pageDataSize > INT_MAX - kAllocationUnit)
            ThrowMemoryException();
        auto* fresh = static_cast<CPage*>(GetLargeBlockManager().Alloc(pageDataSize + kAllocationUnit));
        fresh->next = pages;
        pages = fresh;
        close(fresh);
    }
    used = 0;
}

void CBlockManager::AllocAll(void** blocks, int count) {
    int done = 0;
    CFreeBlock* first = freeBlocks;
    for (; done < count && first != nullptr; done++) {
        Unpoison(first, sizeof(CFreeBlock));
        blocks[done] = opened(std::exchange(first, first->next));
    }
    freeBlocks = first;
    AddToSum(freeBlocksSize, -done * blockSize);
    AddToSum(allocatedBlocksSize, done * blockSize);
    try {
        for (; done < count; done++)
            blocks[done] = doAlloc();
    } catch (...) {
        while (done > 0)
            Free(blocks[--done]);
        throw;
    }
}

void CBlockManager::FreeAll(void* const* blocks, int count) {
    CFreeBlock* first = freeBlocks; // not a member that the writes below might change
    for (int i = 0; i < count; i++) {
        Unpoison(blocks[i], static_cast<std::size_t>(alignedBlockSize));
        auto* const block = static_cast<CFreeBlock*>(blocks[i]);
        block->next = std::exchange(first, block);
        Poison(block, static_cast<std::size_t>(alignedBlockSize));
    }
    freeBlocks = first;
    AddToSum(freeBlocksSize, count * blockSize);
    AddToSum(allocatedBlocksSize, -count * blockSize);
}

void CBlockManager::Reset() {
    freeBlocks = nullptr;
    used = 0;
    freeBlocksSize = 0;
    allocatedBlocksSize = 0;
    while (CPage* page = pages) {
        pages = page->next;
        page->next = sparePages;
        sparePages = page;
        close(page);
    }
}

void CBlockManager::ReleaseIfUnused() {
    if (allocatedBlocksSize != 0)
        return;
    Reset();
    assertReleased(releaseList(std::exchange(sparePages, nullptr)));
}

void CBlockManager::releaseAllMemory() {
    const bool arePagesReleased = releaseList(pages);
    assertReleasedIfPossible(releaseList(sparePages) && arePagesReleased);
}

void CStackManager::allocateBlock(unsigned needed) {
    if (needed > INT_MAX - sizeof(CBlock))
        ThrowMemoryException();
    const int dataSize = std::max(static_cast<int>(needed), minimalBlockDataSize);
    CBlock* block = freeList;
    if (block != nullptr && block->capacity >= dataSize) {
        freeList = block->next;
    } else {
        constexpr int header = sizeof(CBlock);
        block = static_cast<CBlock*>(GetLargeBlockManager().Alloc(dataSize + header));
        block->capacity = dataSize;
        Poison(block->data(), static_cast<std::size_t>(dataSize));
    }
    block->used = 0;
    block->next = current;
    current = block;
}

void CStackManager::freeBlocks(CBlock* from, CBlock* to, int usedInLast) {
    while (from != nullptr && from != to) {
        CBlock* block = from;
        from = block->next;
        block->next = freeList;
        freeList = block;
        Poison(block->data(), static_cast<std::size_t>(block->capacity));
    }
    if (to != nullptr) {
        to->used = usedInLast;
        Poison(to->data() + usedInLast, static_cast<std::size_t>(to->capacity - usedInLast));
    }
    current = to;
}

void CStackManager::Reset(const CStackManagerState& state) {
    if (state.block == nullptr && state.used != 0)
        GenAssert(u"ALLOC", 105);
    freeBlocks(current, static_cast<CBlock*>(state.block), state.used);
    allocatedSize = state.allocatedSize;
}

void CStackManager::releaseAllMemory() {
    const bool areUsedOnesReleased = releaseList(current);
    assertReleasedIfPossible(releaseList(freeList) && areUsedOnesReleased);
}

void* CSizeClassAllocator::Alloc(int size, int& actualSize) {
    if (size > 512) {
        void* block = ProcessHeap::Alloc(size);
        actualSize = size;
        return block;
    }
    CBlockManager& blocks = ClassOf(size);
    void* block = blocks.Alloc();
    actualSize = blocks.BlockSize();
    return block;
}

void CSizeClassAllocator::Free(void* ptr, int actualSize) {
    if (actualSize > 512)
        ProcessHeap::Free(ptr);
    else
        ClassOf(actualSize).Free(ptr);
}

void CSizeClassAllocator::ReleaseIfUnused() {
    for (CBlockManager* blocks : {&blocks32, &blocks64, &blocks128, &blocks256, &blocks512})
        blocks->ReleaseIfUnused();
}

CBlockManager& CSizeClassAllocator::ClassOf(int size) {
    return size <= 32    ? blocks32
           : size <= 64  ? blocks64
           : size <= 128 ? blocks128
           : size <= 256 ? blocks256
                         : blocks512;
}

} // namespace Tarn
