// CHeapManager: a private heap for a phase of work.
//
// A program creates the heap, makes it the current manager with `CMemoryManagerSwitcher`, works, and destroys
// it, which frees every block of the phase at once. The manager counts the blocks that are out, and the
// references that someone took, and keeps a heap that is still in use unless it is told by force. Blocks of a
// heap that is gone are invalid; freeing one is undefined. Blocks may be taken and freed on any thread;
// `Create` and `Destroy` must not run while the heap is used.
//
// The heap is the platform's. Where the platform is POSIX it is an arena of few, ever larger pieces of
// memory: blocks are cut off the newest piece one behind the other; freed ones unite with free neighbours and
// are found again by their size in constant time; the largest have memory of their own. Destroying it gives
// the pieces back to the system and looks at no block in them.
#pragma once

#include <tarnkit/memory_manager.h>

#include <atomic>

namespace Tarn {

class TARNKIT_API CHeapManager final : public IMemoryManager {
public:
    constexpr CHeapManager() = default;
    /// `Destroy(true)`; while an exception is on its way, a failure is not reported.
    ~CHeapManager() noexcept(false) override;

    CHeapManager(const CHeapManager&) = delete;
    CHeapManager& operator=(const CHeapManager&) = delete;

    /// Makes the heap; throws the memory exception when there is no room for one. When the heap exists it
    /// stays as it is, and whether force may destroy it in use is settled anew: it may if it is unused now.
    void Create();

    /// Destroys the heap if nothing refers to it or, by force, if nothing did at the last `Create`; otherwise
    /// does nothing. Asserts when the system refuses; the heap is forgotten then, too.
    void Destroy(bool force);

    /// The platform's handle; null while there is no heap.
    void* Handle() const { return heap; }

    /// A reference keeps an ordinary `Destroy` from destroying the heap, just as a block does.
    void IncRef() { references.fetch_add(1, std::memory_order_relaxed); }
    void DecRef() { references.fetch_sub(1, std::memory_order_release); }

    /// Only between `Create` and `Destroy`.
    void* Alloc(int size) override;
    /// Null does nothing.
    void Free(void* ptr) override;

    /// Reports the blocks that are still out in builds that keep account of them; in this one, nothing.
    void Dump() const {}
    /// Traces the handle and the number of blocks and references.
    void DumpExt() const;

private:
    void* heap = nullptr;
    bool isDestroyedInUse = false; // settled by `Create`: whether force destroys what is referred to
    std::atomic<int> references = 0;

    friend struct CLayout<CHeapManager>;

    bool destroyHeap(bool force);
};
TARNKIT_LAYOUT(CHeapManager, 16, heap, isDestroyedInUse, references);

} // namespace Tarn
