// The memory frame: every allocation through `new`, `alloc_new` and the library's templates is routed by
// `doAlloc` to a memory manager and carries a pointer to that manager in front of it, so that `doFree` gives
// it back to where it came from, whichever manager is current by then and on whichever thread.
//
// The current manager belongs to the calling thread and is changed for a scope by `CMemoryManagerSwitcher`;
// none (null) stands for the default manager. A manager must outlive every block taken from it. Running out
// of memory is always the memory exception: nothing here returns null. Everything may be called from any
// thread, from static objects of clients too, except that a manager which is not thread-safe must only be
// current where its blocks are not freed concurrently.
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/failures.h>
#include <tarnkit/layout.h>

#include <cstddef>

namespace Tarn {

/// Something that hands out blocks of memory and takes them back.
class TARNKIT_API IMemoryManager {
public:
    constexpr IMemoryManager() = default;
    constexpr virtual ~IMemoryManager() noexcept(false) {}

    /// A block of at least `size` bytes, aligned to `kAllocationUnit`; throws the memory exception.
    virtual void* Alloc(int size) = 0;

    /// Gives back a block that this manager's `Alloc` handed out.
    virtual void Free(void* ptr) = 0;

protected:
    constexpr IMemoryManager(const IMemoryManager&) = default;
    constexpr IMemoryManager& operator=(const IMemoryManager&) = default;
};
TARNKIT_LAYOUT(IMemoryManager, 4);

/// The default manager's class: the C runtime's heap.
class TARNKIT_API CRuntimeHeapManager final : public IMemoryManager {
public:
    constexpr CRuntimeHeapManager() = default;

    void* Alloc(int size) override;
    void Free(void* ptr) override;
};
TARNKIT_LAYOUT(CRuntimeHeapManager, 4);

/// The large-block manager's class: whole pages of virtual memory, given back to the system at once.
class TARNKIT_API CVirtualMemoryManager final : public IMemoryManager {
public:
    constexpr CVirtualMemoryManager() = default;

    void* Alloc(int size) override;
    /// Asserts when `ptr` is not the start of a region that the system handed out.
    void Free(void* ptr) override;
};
TARNKIT_LAYOUT(CVirtualMemoryManager, 4);

/// The manager that serves a thread whose current manager is null.
TARNKIT_API IMemoryManager& GetDefaultMemoryManager();

/// The manager that serves every request too large for a heap, and the pages of all pools.
TARNKIT_API IMemoryManager& GetLargeBlockManager();

/// Bytes from the start of a manager's block to the address that `doAlloc` returns.
inline constexpr int kAllocationPrefix = kAllocationUnit;
static_assert(kPointerSize != 4 || kAllocationPrefix == 4);

/// The largest request that `doAlloc` gives to the current manager; larger ones are virtual memory.
inline constexpr unsigned kLargestSmallAllocation = 65532;

/// A block of `size` bytes (0 included, each block distinct) from the manager in charge.
TARNKIT_API void* doAlloc(unsigned int size);

/// Gives a block of `doAlloc` back to its manager; null does nothing.
TARNKIT_API void doFree(void* ptr);

/// Makes a manager the calling thread's current one for the life of the switcher; scopes nest.
class TARNKIT_API CMemoryManagerSwitcher {
public:
    /// Null selects the default manager.
    explicit CMemoryManagerSwitcher(IMemoryManager* manager);
    ~CMemoryManagerSwitcher();

    CMemoryManagerSwitcher(const CMemoryManagerSwitcher&) = delete;
    CMemoryManagerSwitcher& operator=(const CMemoryManagerSwitcher&) = delete;

    IMemoryManager* PreviousManager() const { return previous; }

    /// The calling thread's current manager; null when none was set.
    static IMemoryManager* CurrentManager();

private:
    IMemoryManager* previous;

    friend struct CLayout<CMemoryManagerSwitcher>;
};
TARNKIT_LAYOUT(CMemoryManagerSwitcher, 4, previous);

/// The allocation policy of the library's templates: the calling thread's current manager.
struct CurrentMemoryManager {
    static void* Alloc(unsigned int size) { return doAlloc(size); }
    static void Free(void* ptr) { doFree(ptr); }
};

/// The allocation policy for what must not follow the current manager: the process heap.
struct ProcessHeapPolicy {
    static void* Alloc(unsigned int size);
    static void Free(void* ptr);
};

/// The process heap itself.
class TARNKIT_API ProcessHeap {
public:
    static void* Alloc(int size);
    /// As `Alloc`, but null when there is no memory: for records that count as absent then.
    static void* TryAlloc(int size);
    /// Asserts when the system refuses the block.
    static void Free(void* ptr);
};

inline void* ProcessHeapPolicy::Alloc(unsigned int size) {
    return ProcessHeap::Alloc(static_cast<int>(size));
}
inline void ProcessHeapPolicy::Free(void* ptr) { ProcessHeap::Free(ptr); }

/// Allocation statistics that client code keeps with the `Register...` functions; the library keeps none.
/// Counts are numbers of calls, sizes are bytes. Unsynchronised.
struct CMemoryCounters {
    int HeapAllocCount;
    int HeapAllocSize; ///< of all allocations so far; never decreases
    int StackAllocCount;
    int StackAllocSize; ///< of all allocations so far; never decreases
    int HeapCurrentSize;
    int HeapPeakSize;
    int StackCurrentSize;
    int StackPeakSize;
    int HeapFreeCount;
    int StackFreeCount;
};
TARNKIT_LAYOUT(CMemoryCounters, 40, HeapAllocCount, HeapAllocSize, StackAllocCount, StackAllocSize,
               HeapCurrentSize, HeapPeakSize, StackCurrentSize, StackPeakSize, HeapFreeCount, StackFreeCount);

TARNKIT_API void RegisterHeapAlloc(int size);
TARNKIT_API void RegisterHeapFree(int size);
TARNKIT_API void RegisterStackAlloc(int size);
TARNKIT_API void RegisterStackFree(int size);
TARNKIT_API void GetCurrentMemoryCounters(CMemoryCounters& counters);
TARNKIT_API void ResetMemoryCounters();

/// The debug switches of the memory subsystem, with the values they have before start-up reads them.
struct CMemorySwitches {
    bool enableHeapSwitching = true;      ///< off: small blocks always come from the default manager
    bool breakOnMemoryException = false;  ///< on: the memory exception stops in the debugger first
    bool traceSystemMemoryBlocks = false; ///< kept for tools; nothing in the library asks
    int systemMemoryBlockOffset = 0x68C;  ///< kept for tools; nothing in the library asks
};

TARNKIT_API CMemorySwitches GetMemorySwitches();
TARNKIT_API void SetMemorySwitches(const CMemorySwitches& switches);
TARNKIT_API bool ShouldBreakOnMemoryException();

/// Library-internal: takes the thread-local index of the current manager when the library is loaded. Before
/// that every thread is served by the default manager.
void AttachMemoryManagers();

/// Library-internal: gives the thread-local index and the pages of the unused pools back when the library is
/// unloaded. Blocks that are still out stay valid.
void DetachMemoryManagers();

} // namespace Tarn

/// The routing functions under the names that client code and `operator new` use.
TARNKIT_API void* alloc_new(unsigned int size);
TARNKIT_API void* alloc_new_array(unsigned int size);
TARNKIT_API void alloc_delete(void* ptr);
TARNKIT_API void alloc_delete_array(void* ptr);
