// A private heap of the POSIX port: a few arenas, each with a lock, so any thread may allocate and free.
//
// The thread that creates the heap uses the first arena. Other threads have one of their own, or share it
// with few others, so that threads seldom wait for each other or pass memory to and fro. A block returns to
// the arena that it came from.
#pragma once

#include "platform/posix/memory/arena.h"

namespace Tarn::Platform::Posix {

class PrivateHeap {
public:
    /// Null when there is no memory.
    static PrivateHeap* Create(std::size_t initialSize);

    /// Returns false, and does nothing, if there is no such heap. `isAllReleased` says whether the system
    /// freed all memory.
    static bool Destroy(void* heap, bool* isAllReleased);

    /// The number of blocks in use; 0 if there is no such heap.
    static int Count(void* heap);

    /// Aligned to two words; null when there is no memory.
    void* Alloc(std::size_t size);

    /// Returns false if the system does not free a large block, and for a block that is visibly free already.
    bool Free(void* memory);

    /// Take and give back the locks of all heaps.
    static void LockAll();
    static void UnlockAll();

private:
    static constexpr unsigned kArenas = 8;
    static_assert(kArenas <= Arena::kMostArenas);

    explicit PrivateHeap(Arena* first);

    static PrivateHeap** linkTo(void* heap);
    template<class Action>
    void forEachArena(Action action);
    Arena* arenaOfThread();
    Arena* addArena(unsigned number);
    void* allocElsewhere(std::size_t size);

    static PrivateHeap* heaps;

    const unsigned numberOfCreator;
    PrivateHeap* nextHeap = nullptr;
    ArenaLock arenasLock;                     // for adding one
    std::atomic<Arena*> arenas[kArenas] = {}; // each null until it is needed; the heap itself is in the first
};

} // namespace Tarn::Platform::Posix
