// What the library keeps for each thread and must reach fast: the current memory manager, free blocks for
// string bodies, and the arrays of the thread storages.
//
// A thread gets a state when there is something to remember for it. When the thread ends, its blocks return
// to the pool and its arrays are freed. A destructor that uses the library later than that gives the thread a
// new state.
#pragma once

#include "platform/thread_pointer.h"

#include <tarnkit/memory_manager.h>

namespace Tarn {

/// Free blocks of one size, the last one freed first.
struct CBlockCache {
    struct CFreeBlock {
        CFreeBlock* next;
    };

    CFreeBlock* first = nullptr;
    int count = 0;
};

/// One for each size of block in the pool of string bodies.
inline constexpr int kBlockCaches = 5;

struct CListedThreadSlots;

struct CThreadState {
    IMemoryManager* currentManager = nullptr;
    CBlockCache bodies[kBlockCaches];
    CListedThreadSlots* slots = nullptr; ///< the thread's arrays, one for each storage that it has used
};

/// The calling thread's state; null while it has none.
inline CThreadState* FindThreadState() { return static_cast<CThreadState*>(Platform::GetThreadPointer()); }

/// Makes the state of a thread that has none; null when there is no memory for it.
CThreadState* MakeThreadState();

/// The calling thread's state, made when there is none; null when there is no memory for it.
inline CThreadState* ObtainThreadState() {
    CThreadState* const state = FindThreadState();
    return state != nullptr ? state : MakeThreadState();
}

/// Called when the library is loaded: from now on threads can have a state.
void AttachThreadStates();

/// Called when the library is unloaded: disposes of the calling thread's state. Other threads may still be
/// running while the process ends, and keep theirs.
void DetachThreadStates();

/// Called when the library is loaded: the pool of string bodies will be usable in a forked child.
void AttachBodyBlocks();

/// Puts the free blocks of a thread that ends at the disposal of others.
void ReturnBodyBlocks(CThreadState& state);

/// Called when the library is unloaded: gives what threads have put aside back to the pool.
void ReturnSpareBodyBlocks();

/// Frees the arrays of a thread that ends.
void FreeThreadSlots(CThreadState& state);

} // namespace Tarn
