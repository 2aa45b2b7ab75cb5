/// \file
/// Memory managers, and the functions that choose one for each allocation.
///
/// Every allocation made with `new`, `alloc_new` or a container of the library goes through `doAlloc`, which
/// asks a memory manager for the block and stores a pointer to that manager in front of it. `doFree` follows
/// this pointer, so a block returns to its own manager on any thread and whichever manager is current by
/// then.
///
/// Each thread has its own current manager, changed for a scope by `CMemoryManagerSwitcher`; null stands for
/// the default manager. A manager must outlive every block taken from it. Running out of memory is reported
/// by the memory exception (`CMemoryException*`), never by null unless a function says so. Any thread may
/// call anything here at any time, even from static objects; but a manager that is not thread-safe must only
/// be current where no other thread frees its blocks at the same time.
///
/// \code
/// Tarn::CHeapManager heap;
/// heap.Create();
/// {
///     Tarn::CMemoryManagerSwitcher switcher(&heap);
///     BuildIndex(); // its allocations come from `heap`
/// }
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/failures.h>
#include <tarnkit/layout.h>

#include <cstddef>

namespace Tarn {

/// Allocates blocks of memory and takes them back.
class TARNKIT_API IMemoryManager {
public:
    constexpr IMemoryManager() = default;
    constexpr virtual ~IMemoryManager() noexcept(false) {}

    /// Returns a block of at least `size` bytes, aligned to `kAllocationUnit`. Throws the memory exception
    /// when there is no memory, and for a negative size unless the manager asserts on it (CBlockManager).
    virtual void* Alloc(int size) = 0;

    /// Takes back a block that this manager's `Alloc` returned.
    virtual void Free(void* ptr) = 0;

protected:
    ///@{
    /// Managers are copied as parts of other objects only.
    constexpr IMemoryManager(const IMemoryManager&) = default;
    constexpr IMemoryManager& operator=(const IMemoryManager&) = default;
    ///@}
};
TARNKIT_LAYOUT(IMemoryManager, 4);

/// Allocates from the C runtime's heap. The default manager is of this class.
class TARNKIT_API CRuntimeHeapManager final : public IMemoryManager {
public:
    constexpr CRuntimeHeapManager() = default;

    void* Alloc(int size) override;
    void Free(void* ptr) override;
};
TARNKIT_LAYOUT(CRuntimeHeapManager, 4);

/// Allocates whole pages of virtual memory, outside of all heaps; what they contain is unspecified. Freed
/// pages return to the system, but for those freed last: up to 8 blocks, of 8 MB together at most, are kept
/// for later requests unless the switch `keepFreedBlocks` is off (SetMemorySwitches). The large-block manager
/// is of this class.
class TARNKIT_API CVirtualMemoryManager final : public IMemoryManager {
public:
    constexpr CVirtualMemoryManager() = default;

    void* Alloc(int size) override;
    /// Asserts unless `ptr` is the start of a region that `Alloc` returned and that has not been freed.
    void Free(void* ptr) override;
    /// Like `Free`, but returns false instead of asserting.
    static bool TryFree(void* ptr);
};
TARNKIT_LAYOUT(CVirtualMemoryManager, 4);

/// The manager for threads whose current manager is null.
TARNKIT_API IMemoryManager& GetDefaultMemoryManager();

/// The manager for requests of more than `kLargestSmallAllocation` bytes and for the pages of all pools.
TARNKIT_API IMemoryManager& GetLargeBlockManager();

/// The number of bytes from the start of a manager's block to the address that `doAlloc` returns.
inline constexpr int kAllocationPrefix = kAllocationUnit;
static_assert(kPointerSize != 4 || kAllocationPrefix == 4);

/// The largest request, in bytes, that the current manager serves. Larger blocks are virtual memory.
inline constexpr unsigned kLargestSmallAllocation = 65532;

/// Returns a block of `size` bytes, distinct even when `size` is 0. Throws the memory exception when there is
/// no memory, and for a size near or beyond `INT_MAX`, which no manager can be asked for.
TARNKIT_API void* doAlloc(unsigned int size);

/// Returns a block of virtual memory, whichever manager is current. Only the address space limits its size.
/// This is where `operator new` sends every request of more than `kLargestSmallAllocation` bytes.
TARNKIT_API void* doAllocLarge(std::size_t size);

/// Makes a block from `doAlloc` or `doAllocLarge` larger, if it is virtual memory and the system can do that
/// without copying. Returns its new address, with the contents as they were; otherwise null, and nothing has
/// changed.
TARNKIT_API void* doGrow(void* ptr, unsigned int size);

/// Returns a block from `doAlloc` or `doAllocLarge` to its manager; ignores null.
TARNKIT_API void doFree(void* ptr);

/// Makes a manager the calling thread's current one until the end of a scope. Scopes nest.
class TARNKIT_API CMemoryManagerSwitcher {
public:
    /// Null selects the default manager.
    explicit CMemoryManagerSwitcher(IMemoryManager* manager);
    ~CMemoryManagerSwitcher();

    CMemoryManagerSwitcher(const CMemoryManagerSwitcher&) = delete;
    CMemoryManagerSwitcher& operator=(const CMemoryManagerSwitcher&) = delete;

    /// The one that was current before, and will be again; null stands for the default manager.
    IMemoryManager* PreviousManager() const { return previous; }

    /// The calling thread's current manager; null stands for the default manager.
    static IMemoryManager* CurrentManager();

private:
    IMemoryManager* previous;

    friend struct CLayout<CMemoryManagerSwitcher>;
};
TARNKIT_LAYOUT(CMemoryManagerSwitcher, 4, previous);

/// The usual allocation policy of the containers: the calling thread's current manager.
struct CurrentMemoryManager {
    ///@{
    /// `doAlloc` and `doFree`.
    static void* Alloc(unsigned int size) { return doAlloc(size); }
    static void Free(void* ptr) { doFree(ptr); }
    ///@}
    /// Policies may lack this: see `doGrow`.
    static void* Grow(void* ptr, unsigned int size) { return doGrow(ptr, size); }
};

/// The allocation policy of containers that must not depend on the current manager: the process heap.
struct ProcessHeapPolicy {
    ///@{
    /// `ProcessHeap::Alloc` and `ProcessHeap::Free`.
    static void* Alloc(unsigned int size);
    static void Free(void* ptr);
    ///@}
};

/// The process heap, whichever manager is current.
class TARNKIT_API ProcessHeap {
public:
    /// Throws the memory exception when there is no memory, and for a negative size.
    static void* Alloc(int size);
    /// Like `Alloc`, but returns null instead of throwing.
    static void* TryAlloc(int size);
    /// Asserts when the system fails to free the block.
    static void Free(void* ptr);
};

inline void* ProcessHeapPolicy::Alloc(unsigned int size) {
    return ProcessHeap::Alloc(static_cast<int>(size));
}
inline void ProcessHeapPolicy::Free(void* ptr) { ProcessHeap::Free(ptr); }

/// Allocation statistics for client code, which updates them with the `Register...` functions; the library
/// itself never does. Counts are numbers of calls; sizes are in bytes. Not synchronised.
struct CMemoryCounters {
    int HeapAllocCount;   ///< calls
    int HeapAllocSize;    ///< of all allocations so far; never decreases
    int StackAllocCount;  ///< calls
    int StackAllocSize;   ///< of all allocations so far; never decreases
    int HeapCurrentSize;  ///< registered and not freed
    int HeapPeakSize;     ///< the largest `HeapCurrentSize` so far
    int StackCurrentSize; ///< registered and not freed
    int StackPeakSize;    ///< the largest `StackCurrentSize` so far
    int HeapFreeCount;    ///< calls
    int StackFreeCount;   ///< calls
};
TARNKIT_LAYOUT(CMemoryCounters, 40, HeapAllocCount, HeapAllocSize, StackAllocCount, StackAllocSize,
               HeapCurrentSize, HeapPeakSize, StackCurrentSize, StackPeakSize, HeapFreeCount, StackFreeCount);

///@{
/// Count an allocation or a deallocation of `size` bytes.
TARNKIT_API void RegisterHeapAlloc(int size);
TARNKIT_API void RegisterHeapFree(int size);
TARNKIT_API void RegisterStackAlloc(int size);
TARNKIT_API void RegisterStackFree(int size);
///@}
/// The counters as they are now.
TARNKIT_API void GetCurrentMemoryCounters(CMemoryCounters& counters);
/// Sets all counters to 0.
TARNKIT_API void ResetMemoryCounters();

/// The debug switches of the memory subsystem. These defaults apply until `Initialize` reads the registry.
struct CMemorySwitches {
    bool enableHeapSwitching = true;      ///< if off, small blocks always come from the default manager
    bool breakOnMemoryException = false;  ///< if on, a breakpoint precedes each memory exception
    bool traceSystemMemoryBlocks = false; ///< kept for tools; the library does not use it
    int systemMemoryBlockOffset = 0x68C;  ///< kept for tools; the library does not use it
    bool keepFreedBlocks = true; ///< if off, every large block returns to the system when it is freed
};

///@{
/// Any thread; each switch is read and set by itself.
TARNKIT_API CMemorySwitches GetMemorySwitches();
TARNKIT_API void SetMemorySwitches(const CMemorySwitches& switches);
///@}
/// The switch `breakOnMemoryException`.
TARNKIT_API bool ShouldBreakOnMemoryException();

/// Library-internal: obtains the thread-local index of the current manager when the library is loaded. Until
/// then the default manager serves every thread.
void AttachMemoryManagers();

/// Library-internal: frees the thread-local index, and the pages of string bodies that are no longer in use,
/// when the library is unloaded. Blocks in use stay valid.
void DetachMemoryManagers();

} // namespace Tarn

///@{
/// `doAlloc` and `doFree` under the names that `operator new` and client code use.
TARNKIT_API void* alloc_new(unsigned int size);
TARNKIT_API void* alloc_new_array(unsigned int size);
TARNKIT_API void alloc_delete(void* ptr);
TARNKIT_API void alloc_delete_array(void* ptr);
///@}
