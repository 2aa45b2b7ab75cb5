#include "platform/posix/memory/arena.h"

#include "platform/poison.h"
#include "platform/posix/memory/leak_checker.h"
#include "platform/posix/memory/pages.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <utility>

namespace Tarn::Platform::Posix {

namespace {

constexpr std::size_t kLargestBlock = 0x40000; // in a segment; larger ones are mappings of their own

constexpr std::size_t kHugePage = 0x200000;
constexpr std::size_t kLeastSegment = 0x10000;
constexpr std::size_t kLargeFreeBlock = kLeastSegment / 2;
constexpr std::size_t kLargestSegment = 0x1000000; // except for the first of a heap that begins with more

// One bin for each small size, then a number of bins between each power of two and the next.
constexpr unsigned kExactBins = 64;
constexpr int kExactBits = 6;
constexpr unsigned kBinsOfAPower = 8;
constexpr int kBinBits = 3;

constexpr std::size_t roundUp(std::size_t size, std::size_t unit) { return (size + unit - 1) / unit * unit; }

// The exponent of the largest power of two that is not above a number.
constexpr int powerOf(std::size_t number) { return static_cast<int>(std::bit_width(number)) - 1; }

template<class T>
T* at(void* start, std::size_t offset) {
    return reinterpret_cast<T*>(static_cast<char*>(start) + offset);
}

// Aligned to huge pages. Where the system has them, each takes only one page fault.
void* mapHugePages(std::size_t size) {
    void* const start = MapPages(size + kHugePage);
    if (start == nullptr)
        return nullptr;
    const auto place = reinterpret_cast<std::uintptr_t>(start);
    const std::size_t before = roundUp(place, kHugePage) - place;
    void* const aligned = at<void>(start, before);
    if (before != 0)
        UnmapPages(start, before);
    UnmapPages(at<char>(aligned, size), kHugePage - before);
    madvise(aligned, size, MADV_HUGEPAGE);
    return aligned;
}

void* mapSegment(std::size_t size) {
    void* start = size < kHugePage ? MapPages(size) : mapHugePages(size);
    if (start != nullptr)
        ShowToLeakChecker(start, size);
    return start;
}

bool unmap(void* start, std::size_t size) {
    HideFromLeakChecker(start, size);
    if (UnmapPages(start, size))
        return true;
    ShowToLeakChecker(start, size);
    return false;
}

} // namespace

Arena* Arena::Create(std::size_t initialSize, unsigned number, std::size_t extra) {
    if (initialSize > SIZE_MAX / 2)
        return nullptr;
    const std::size_t size =
        roundUp(std::max(initialSize, kLeastSegment), initialSize < kHugePage ? kLeastSegment : kHugePage);
    void* start = mapSegment(size);
    if (start == nullptr)
        return nullptr;
    auto* const segment = ::new (start) Segment{nullptr, size};
    return ::new (at<void>(start, sizeof(Segment)))
        Arena(segment, sizeof(Segment) + sizeof(Arena) + extra, number);
}

Arena::Arena(Segment* first, std::size_t used, unsigned number)
    : mark(number << kNumberShift), segments(first), segmentsSize(first->size) {
    startTop(first, used);
}

// The place for the first block of a segment whose first `used` bytes are taken: one word in front of a
// granule.
Arena::Block* Arena::firstBlock(Segment* segment, std::size_t used) {
    return at<Block>(segment, roundUp(used + kWord, kGranule) - kWord);
}

// Unmaps the oldest segment last, because the arena itself is in it.
bool Arena::Destroy() {
    bool isAllReleased = true;
    while (LargeBlock* block = largeBlocks) {
        largeBlocks = block->next;
        isAllReleased &= unmap(block, block->size);
    }
    for (Segment* segment = segments; segment != nullptr;) {
        Segment* const older = segment->older;
        isAllReleased &= unmap(segment, segment->size);
        segment = older;
    }
    return isAllReleased;
}

int Arena::Count() {
    std::lock_guard guard(lock);
    return blocksInUse;
}

// With the lock.
TARNKIT_UNCHECKED_ACCESS void* Arena::allocOther(std::size_t size) {
    if (size > kLargestBlock - kWord)
        return allocLarge(size);
    const std::size_t blockSize = blockSizeFor(size);
    if (blockSize > kLargeFreeBlock)
        uniteAside();
    Block* block = takeFree(blockSize);
    if (block == nullptr)
        block = cutOffTop(blockSize);
    if (block == nullptr)
        return nullptr;
    Unpoison(at<void>(block, kWord), size);
    return at<void>(block, kWord);
}

// With the lock.
TARNKIT_UNCHECKED_ACCESS bool Arena::freeOther(Block* block) {
    if ((block->header & kOwnMapping) != 0)
        return freeLarge(at<LargeBlock>(block, 0 - offsetof(LargeBlock, header)));
    setHeader(block, block->header & ~(kInUse | mark));
    Poison(at<void>(block, kWord), (block->header & ~kFlags) - kWord);
    unite(block);
    return true;
}

TARNKIT_UNCHECKED_ACCESS void Arena::uniteAside() {
    isInDemand = 0;
    while (isAside != 0) {
        const int index = std::countr_zero(isAside);
        isAside &= isAside - 1;
        setHeader(aside[index], aside[index]->header - kOwnMapping);
        unite(aside[index]);
    }
}

// Unites a block that has just been freed with its free neighbours. The result becomes part of the top if it
// touches it, and is returned to the system with its segment if it fills one that is not kept.
TARNKIT_UNCHECKED_ACCESS void Arena::unite(Block* block) {
    std::size_t size = block->header & ~kFlags;
    if ((block->header & kPreviousInUse) == 0) {
        const std::size_t previousSize = *at<std::size_t>(block, 0 - kWord);
        block = at<Block>(block, 0 - previousSize);
        takeFromBin(block);
        size += previousSize;
    }
    if (at<char>(block, size) == top) {
        top = at<char>(block, 0);
        return;
    }
    Block* const behind = at<Block>(block, size);
    if ((behind->header & (kInUse | kOwnMapping)) == 0) {
        takeFromBin(behind);
        size += behind->header & ~kFlags;
    } else {
        setHeader(behind, behind->header & ~kPreviousInUse);
    }
    if (size > kLargeFreeBlock) [[unlikely]] {
        if (Segment* const filled = segmentFilledBy(block, size); filled != nullptr && releaseSegment(filled))
            return;
        putIntoBin(block, size);
        if (isAside != 0)
            uniteAside();
        return;
    }
    putIntoBin(block, size);
}

// The segment that a free block fills; null if it fills none. Never the oldest segment, which contains the
// arena itself.
TARNKIT_UNCHECKED_ACCESS Arena::Segment* Arena::segmentFilledBy(Block* block, std::size_t size) {
    const std::size_t header = at<Block>(block, size)->header;
    if ((header & kEndOfSegment) != kEndOfSegment)
        return nullptr;
    auto* const segment = reinterpret_cast<Segment*>(header & ~kFlags);
    return block == firstBlock(segment, sizeof(Segment)) ? segment : nullptr;
}

// Returns a free segment to the system if another one is free already. The larger of the two is kept, so that
// a heap whose size goes up and down a little does not call the system each time. False if `segment` is kept.
TARNKIT_UNCHECKED_ACCESS bool Arena::releaseSegment(Segment* segment) {
    if (spareSegment == nullptr || spareSegment == segment || !isFree(spareSegment)) {
        spareSegment = segment;
        return false;
    }
    if (segment->size <= spareSegment->size)
        return unmapSegment(segment);
    Segment* const smaller = std::exchange(spareSegment, segment);
    Block* const block = firstBlock(smaller, sizeof(Segment));
    takeFromBin(block);
    if (!unmapSegment(smaller))
        putIntoBin(block, block->header & ~kFlags);
    return false;
}

bool Arena::unmapSegment(Segment* segment) {
    Segment* const older = segment->older;
    const std::size_t size = segment->size;
    if (!unmap(segment, size))
        return false;
    Segment** link = &segments;
    while (*link != segment)
        link = &(*link)->older;
    *link = older;
    segmentsSize -= size;
    return true;
}

TARNKIT_UNCHECKED_ACCESS bool Arena::isFree(Segment* segment) {
    Block* const block = firstBlock(segment, sizeof(Segment));
    return (block->header & kInUse) == 0 && segmentFilledBy(block, block->header & ~kFlags) == segment;
}

// Sizes in the same bin differ by less than an eighth. The last bin has every size above those that can be
// requested.
unsigned Arena::binOf(std::size_t size) {
    const std::size_t granules = size / kGranule;
    if (granules < kExactBins)
        return static_cast<unsigned>(granules);
    const int power = powerOf(granules);
    const auto part = static_cast<unsigned>(granules >> (power - kBinBits)) - kBinsOfAPower;
    const unsigned bin = kExactBins + static_cast<unsigned>(power - kExactBits) * kBinsOfAPower + part;
    return std::min(bin, kBins - 1);
}

// All blocks in this bin and in the following ones are large enough.
unsigned Arena::firstBinThatFits(std::size_t size) {
    const std::size_t granules = size / kGranule;
    if (granules < kExactBins)
        return static_cast<unsigned>(granules);
    const std::size_t step = std::size_t{1} << (powerOf(granules) - kBinBits);
    return binOf((granules + step - 1) * kGranule);
}

// The previous block is in use; otherwise it would be part of this one.
TARNKIT_UNCHECKED_ACCESS [[gnu::always_inline]] inline void Arena::putIntoBin(Block* block,
                                                                              std::size_t size) {
    block->header = size | kPreviousInUse;
    *at<std::size_t>(block, size - kWord) = size;
    const unsigned bin = binOf(size);
    block->previous = nullptr;
    block->next = bins[bin];
    if (block->next != nullptr)
        block->next->previous = block;
    bins[bin] = block;
    maps[bin / kBinsOfAMap] |= std::uint64_t{1} << bin % kBinsOfAMap;
}

TARNKIT_UNCHECKED_ACCESS [[gnu::always_inline]] inline void Arena::takeFromBin(Block* block) {
    if (block->next != nullptr)
        block->next->previous = block->previous;
    if (block->previous != nullptr) {
        block->previous->next = block->next;
        return;
    }
    const unsigned bin = binOf(block->header & ~kFlags);
    bins[bin] = block->next;
    if (block->next == nullptr)
        maps[bin / kBinsOfAMap] &= ~(std::uint64_t{1} << bin % kBinsOfAMap);
}

// Takes a free block and puts back the part that is not needed; null when none fits.
TARNKIT_UNCHECKED_ACCESS [[gnu::always_inline]] inline Arena::Block* Arena::takeFree(std::size_t size) {
    const unsigned first = firstBinThatFits(size);
    unsigned index = first / kBinsOfAMap;
    std::uint64_t map = maps[index] & ~std::uint64_t{0} << first % kBinsOfAMap;
    while (map == 0) {
        if (++index == kBins / kBinsOfAMap)
            return nullptr;
        map = maps[index];
    }
    Block* const block = bins[index * kBinsOfAMap + static_cast<unsigned>(std::countr_zero(map))];
    takeFromBin(block);
    const std::size_t foundSize = block->header & ~kFlags;
    if (foundSize - size >= kLeastBlock) {
        putIntoBin(at<Block>(block, size), foundSize - size);
        block->header = size | kPreviousInUse | kInUse | mark;
    } else {
        Block* const behind = at<Block>(block, foundSize);
        setHeader(behind, behind->header | kPreviousInUse);
        block->header |= kInUse | mark;
    }
    return block;
}

// (The block in front of the top is always in use.)
TARNKIT_UNCHECKED_ACCESS [[gnu::always_inline]] inline Arena::Block* Arena::cutOffTop(std::size_t size) {
    if (static_cast<std::size_t>(topEnd - top) < size && !addSegment(size))
        return nullptr;
    Block* const block = at<Block>(top, 0);
    top += size;
    block->header = size | kPreviousInUse | kInUse | mark;
    return block;
}

// Adds a segment with room for a block of `size`: as large as the heap so far or, if there is no memory for
// that, smaller.
bool Arena::addSegment(std::size_t size) {
    const std::size_t least = size + sizeof(Segment) + kGranule;
    std::size_t wanted = std::bit_ceil(std::max(std::min(segmentsSize, kLargestSegment), least));
    void* start = mapSegment(wanted);
    while (start == nullptr && wanted / 2 >= least) {
        wanted /= 2;
        start = mapSegment(wanted);
    }
    if (start == nullptr)
        return false;
    retireTop();
    segments = ::new (start) Segment{segments, wanted};
    segmentsSize += wanted;
    startTop(segments, sizeof(Segment));
    return true;
}

// The last word of a segment is reserved for the header that ends it.
void Arena::startTop(Segment* segment, std::size_t used) {
    top = at<char>(firstBlock(segment, used), 0);
    topEnd = at<char>(segment, segment->size - kWord);
    Poison(top, segment->size - static_cast<std::size_t>(top - at<char>(segment, 0)));
}

// Makes the rest of the top a free block, followed by the header that ends the segment, which is always in
// use.
TARNKIT_UNCHECKED_ACCESS void Arena::retireTop() {
    const auto size = static_cast<std::size_t>(topEnd - top);
    const std::size_t end = reinterpret_cast<std::uintptr_t>(segments) | kEndOfSegment;
    if (size < kLeastBlock) {
        at<Block>(top, 0)->header = end | kPreviousInUse;
    } else {
        at<Block>(topEnd, 0)->header = end;
        putIntoBin(at<Block>(top, 0), size);
    }
}

void* Arena::allocLarge(std::size_t size) {
    const std::size_t used = sizeof(LargeBlock) + size;
    const std::size_t wholePages = used < size ? 0 : WholePages(used);
    void* const start = wholePages == 0 ? nullptr : MapPages(wholePages);
    if (start == nullptr)
        return nullptr;
    ShowToLeakChecker(start, wholePages);
    Poison(at<char>(start, used), wholePages - used);
    auto* block = ::new (start) LargeBlock{largeBlocks, nullptr, wholePages, kInUse | kOwnMapping | mark};
    if (largeBlocks != nullptr)
        largeBlocks->previous = block;
    largeBlocks = block;
    return block + 1;
}

bool Arena::freeLarge(LargeBlock* block) {
    const LargeBlock freed = *block;
    if (!unmap(block, block->size))
        return false;
    if (freed.next != nullptr)
        freed.next->previous = freed.previous;
    (freed.previous != nullptr ? freed.previous->next : largeBlocks) = freed.next;
    return true;
}

} // namespace Tarn::Platform::Posix
