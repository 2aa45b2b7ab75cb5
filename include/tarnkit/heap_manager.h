/// \file
/// `CHeapManager`: a private heap for a phase of work.
///
/// A program creates the heap, makes it the current manager with `CMemoryManagerSwitcher`, works, and
/// destroys the heap, which frees every block of the phase at once. The manager counts the blocks in use and
/// the references taken with `IncRef`, and keeps a heap that is in use unless it is destroyed by force. Once
/// the heap is destroyed, its blocks are invalid; freeing one is undefined behaviour. Any thread may allocate
/// and free; `Create` and `Destroy` must not run while the heap is being used.
///
/// On Windows the heap is one of the system's. On POSIX it is an arena of a few, ever larger pieces of
/// memory: blocks are cut from the newest piece one after the other, freed blocks are united with free
/// neighbours and found again by their size in constant time, and the largest blocks have memory of their
/// own. A piece that has become free returns to the system, except for one that is kept for the next blocks.
/// Destroying the heap returns all pieces without looking at the blocks in them.
///
/// \code
/// Tarn::CHeapManager heap;
/// heap.Create();
/// {
///     Tarn::CMemoryManagerSwitcher switcher(&heap);
///     BuildReport(); // whatever it allocates and does not free...
/// }
/// heap.Destroy(true); // ...ends here
/// \endcode
#pragma once

#include <tarnkit/memory_manager.h>

#include <atomic>

namespace Tarn {

/// A private heap; see the top of this header.
class TARNKIT_API CHeapManager final : public IMemoryManager {
public:
    constexpr CHeapManager() = default;
    /// Calls `Destroy(true)`. While another exception is in flight a failure is not reported.
    ~CHeapManager() noexcept(false) override;

    CHeapManager(const CHeapManager&) = delete;
    CHeapManager& operator=(const CHeapManager&) = delete;

    /// Creates the heap; throws the memory exception when there is no memory for one. A heap that exists
    /// stays as it is; if it is in use at this moment, even `Destroy(true)` will keep it as long as it is in
    /// use.
    void Create();

    /// Destroys the heap if it is unused or, by force, if it was unused at the last `Create`; otherwise does
    /// nothing. Asserts when the system could not destroy the heap; even then the manager no longer has one.
    void Destroy(bool force);

    /// The system's handle of the heap; null while there is none.
    void* Handle() const { return heap; }

    /// A reference keeps `Destroy(false)` from destroying the heap, just as a block in use does.
    void IncRef() { references.fetch_add(1, std::memory_order_relaxed); }
    /// Takes the reference back.
    void DecRef() { references.fetch_sub(1, std::memory_order_release); }

    /// May be called only between `Create` and `Destroy`.
    void* Alloc(int size) override;
    /// Ignores null.
    void Free(void* ptr) override;

    /// Does nothing: the place where a diagnostic build would report the blocks in use.
    void Dump() const {}
    /// Traces the handle and the number of blocks in use and references.
    void DumpExt() const;

private:
    void* heap = nullptr;
    bool isDestroyedInUse = false;   // whether force destroys the heap while it is in use
    std::atomic<int> references = 0; // with the blocks in use, where the system's heaps do not count them

    friend struct CLayout<CHeapManager>;

    bool destroyHeap(bool force);
    int countUses() const;
};
TARNKIT_LAYOUT(CHeapManager, 16, heap, isDestroyedInUse, references);

} // namespace Tarn
