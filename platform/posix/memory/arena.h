// The memory of a private heap (private_heap.h), or of a part of one, that is returned to the system as a
// whole.
//
// Blocks are in segments. Each segment is a separate mapping, as large as all earlier ones together, up to
// a limit. A new block is cut off the top, the part of the newest segment that nothing has used yet. A freed
// block is united with its free neighbours, which it finds by a word in front of each block and one at the
// end of each free block; it then becomes part of the top again or goes into a bin for its size. A bitmap of
// the bins finds a block that fits in constant time. A segment that has become free goes back to the system;
// one such segment is kept. If small blocks of a size are in demand, one that is freed is set aside for the
// next request, until a large free block comes about or is requested. A block too large for a segment is a
// separate mapping. Large segments ask for huge pages. Destroying an arena unmaps its segments and large
// blocks without looking at what is in them.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/poison.h"
#include "platform/posix/memory/arena_lock.h"

namespace Tarn::Platform::Posix {

class Arena {
public:
    /// Blocks remember the number of their arena.
    static constexpr unsigned kMostArenas = 16;

    /// Null when there is no memory. `extra` bytes behind the arena are the caller's, as long as it exists.
    static Arena* Create(std::size_t initialSize, unsigned number, std::size_t extra = 0);

    /// Returns whether the system freed all memory.
    bool Destroy();

    /// The number of the arena that a block comes from; -1 for a block that is visibly free already.
    TARNKIT_UNCHECKED_ACCESS static int NumberOf(void* memory) {
        // Other threads may be changing the flag for the previous block. (`std::atomic_ref` has functions of
        // its own, which would be checked.)
        const std::size_t value = __atomic_load_n(static_cast<std::size_t*>(memory) - 1, __ATOMIC_RELAXED);
        return (value & kInUse) == 0 ? -1 : static_cast<int>(value >> kNumberShift & (kMostArenas - 1));
    }

    /// Aligned to two words; null when there is no memory.
    void* Alloc(std::size_t size) noexcept;

    /// Returns false if the system does not free a large block, and for a block that is visibly free already.
    bool Free(void* memory) noexcept;

    /// The number of blocks in use.
    int Count();

    /// Everything else takes this lock.
    ArenaLock lock;

private:
    static constexpr std::size_t kWord = sizeof(std::size_t);
    static constexpr std::size_t kGranule =
        2 * kWord; // the alignment of callers' memory, and the unit of sizes
    static constexpr std::size_t kLeastBlock = 2 * kGranule;

    // Flags in a header. Sizes are multiples of the granule and do not use these bits.
    static constexpr std::size_t kInUse = 1;
    static constexpr std::size_t kPreviousInUse =
        2; // if clear, the word in front is the size of the previous block
    static constexpr std::size_t kOwnMapping = 4; // if the block is not in use, it is set aside
    static constexpr std::size_t kEndOfSegment =
        kInUse | kOwnMapping; // with the address of the segment in place of a size
    static constexpr std::size_t kFlags = kInUse | kPreviousInUse | kOwnMapping;
    // Of the arena's number in the header of a block in use, whose size is far less.
    static constexpr int kNumberShift = 24;

    struct Segment {
        Segment* older;
        std::size_t size;
    };

    struct LargeBlock {
        LargeBlock* next;
        LargeBlock* previous;
        std::size_t size;
        std::size_t header; // like that of a block
    };

    // A block. The caller's memory begins with the second word.
    struct Block {
        std::size_t header; // the distance to the header of the next block, flags, and the arena while in use
        Block* next;        // in its bin, while it is free
        Block* previous;
    };

    static constexpr unsigned kBins = 192;
    static constexpr unsigned kBinsOfAMap = 64;
    static constexpr unsigned kSizesAside = 32;

    Arena(Segment* first, std::size_t used, unsigned number);

    static unsigned binOf(std::size_t size);
    static unsigned firstBinThatFits(std::size_t size);
    static constexpr std::size_t blockSizeFor(std::size_t size) {
        return std::max((size + kWord + kGranule - 1) / kGranule * kGranule, kLeastBlock);
    }
    // Other threads may be reading the header, for the number.
    TARNKIT_UNCHECKED_ACCESS static void setHeader(Block* block, std::size_t header) {
        __atomic_store_n(&block->header, header, __ATOMIC_RELAXED);
    }
    Block* takeAside(std::size_t size);
    bool setAside(Block* block);
    void* allocOther(std::size_t size);
    bool freeOther(Block* block);
    void uniteAside();
    void putIntoBin(Block* block, std::size_t size);
    void takeFromBin(Block* block);
    Block* takeFree(std::size_t size);
    Block* cutOffTop(std::size_t size);
    bool addSegment(std::size_t size);
    void startTop(Segment* segment, std::size_t used);
    void retireTop();
    void unite(Block* block);
    static Block* firstBlock(Segment* segment, std::size_t used);
    static Segment* segmentFilledBy(Block* block, std::size_t size);
    static bool isFree(Segment* segment);
    bool releaseSegment(Segment* segment);
    bool unmapSegment(Segment* segment);
    void* allocLarge(std::size_t size);
    bool freeLarge(LargeBlock* block);

    const std::size_t mark; // the number, as it stands in the headers
    int blocksInUse = 0;
    std::uint32_t isInDemand = 0; // a bit for each size that was requested after a block was last set aside
    std::uint32_t isAside = 0;    // and for each that has a block set aside
    Block* aside[kSizesAside];
    Segment* segments; // newest first
    std::size_t segmentsSize;
    LargeBlock* largeBlocks = nullptr;
    char* top; // where the next block begins
    char* topEnd;
    std::uint64_t maps[kBins / kBinsOfAMap] = {}; // a bit for each bin that is not empty
    Block* bins[kBins] = {};
    Segment* spareSegment = nullptr; // the segment that was kept when it was free; may be in use again
};

TARNKIT_UNCHECKED_ACCESS inline Arena::Block* Arena::takeAside(std::size_t size) {
    if (size > (kSizesAside - 1) * kGranule - kWord)
        return nullptr;
    const std::size_t index = blockSizeFor(size) / kGranule;
    const std::uint32_t bit = std::uint32_t{1} << index;
    isInDemand |= bit;
    if ((isAside & bit) == 0)
        return nullptr;
    isAside -= bit;
    Block* const block = aside[index];
    setHeader(block, (block->header - kOwnMapping) | kInUse | mark);
    return block;
}

// Blocks that are freed while nothing is allocated are united, so that their segments become free.
TARNKIT_UNCHECKED_ACCESS inline bool Arena::setAside(Block* block) {
    const std::size_t header = block->header & ~(kInUse | mark);
    const std::size_t index = header / kGranule;
    if (index >= kSizesAside || (isInDemand >> index & 1) == 0 || (header & kOwnMapping) != 0)
        return false;
    const std::uint32_t bit = std::uint32_t{1} << index;
    isInDemand -= bit;
    isAside |= bit;
    aside[index] = block;
    setHeader(block, header | kOwnMapping);
    Poison(&block->next, index * kGranule - kWord);
    return true;
}

inline void* Arena::Alloc(std::size_t size) noexcept {
    lock.lock();
    void* memory;
    if (Block* const block = takeAside(size)) [[likely]] {
        memory = &block->next;
        Unpoison(memory, size);
    } else {
        memory = allocOther(size);
    }
    blocksInUse += memory != nullptr;
    lock.unlock();
    return memory;
}

TARNKIT_UNCHECKED_ACCESS inline bool Arena::Free(void* memory) noexcept {
    auto* const block = reinterpret_cast<Block*>(static_cast<std::size_t*>(memory) - 1);
    lock.lock();
    const bool isFreed = (block->header & kInUse) != 0 && (setAside(block) || freeOther(block));
    blocksInUse -= isFreed;
    lock.unlock();
    return isFreed;
}

} // namespace Tarn::Platform::Posix
