// A private heap of the POSIX port: an arena that is returned to the system as a whole.
//
// Blocks are in segments. Each segment is a separate mapping, as large as all earlier ones together, up to
// a limit. A new block is cut off the top, the part of the newest segment that nothing has used yet. A freed
// block is united with its free neighbours, which it finds by a word in front of each block and one at the
// end of each free block; it then becomes part of the top again or goes into a bin for its size. A bitmap of
// the bins finds a block that fits in constant time. A segment that has become free goes back to the system;
// one such segment is kept. A block too large for a segment is a separate mapping. Large segments ask for
// huge pages. Destroying a heap unmaps its segments and large blocks without looking at what is in them. Each
// heap has a lock, so any thread may allocate and free.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

namespace Tarn::Platform::Posix {

class PrivateHeap {
public:
    /// Null when there is no memory.
    static PrivateHeap* Create(std::size_t initialSize);

    /// Returns false, and does nothing, if there is no such heap. `isAllReleased` says whether the system
    /// freed all memory.
    static bool Destroy(void* heap, bool* isAllReleased);

    /// Aligned to two words; null when there is no memory.
    void* Alloc(std::size_t size);

    /// Returns false if the system does not free a large block, and for a block that is visibly free already.
    bool Free(void* memory);

private:
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
        std::size_t header; // the distance to the header of the next block, and flags
        Block* next;        // in its bin, while it is free
        Block* previous;
    };

    static constexpr unsigned kBins = 192;
    static constexpr unsigned kBinsOfAMap = 64;

    explicit PrivateHeap(Segment* first);

    static unsigned binOf(std::size_t size);
    static unsigned firstBinThatFits(std::size_t size);
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
    bool unmapAll();

    std::mutex lock;
    PrivateHeap* nextHeap = nullptr;
    Segment* segments; // newest first
    std::size_t segmentsSize;
    LargeBlock* largeBlocks = nullptr;
    char* top; // where the next block begins
    char* topEnd;
    std::uint64_t maps[kBins / kBinsOfAMap] = {}; // a bit for each bin that is not empty
    Block* bins[kBins] = {};
    Segment* spareSegment = nullptr; // the segment that was kept when it was free; may be in use again
};

} // namespace Tarn::Platform::Posix
