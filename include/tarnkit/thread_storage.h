/// \file
/// Thread-local data, and the lock classes.
///
/// A `CThreadDataStorage` needs only one thread-local index of the system for any number of slots; a slot
/// holds one pointer for each thread. The library keeps its own data of each thread in `CThreadRecord`
/// objects: small zeroed blocks that are freed when their thread ends. All memory comes from the process
/// heap; without memory an entry is null and nothing is thrown. Each thread sees only its own entries, and
/// any number of threads may use a storage at the same time.
///
/// \code
/// static const int slot = Tarn::GetThreadDataStorage().AllocSlot();
/// Tarn::GetThreadDataStorage().SetSlotData(slot, &context);
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/immortal.h>
#include <tarnkit/layout.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/pointer_array.h>
#include <tarnkit/types.h>

#include <atomic>
#include <type_traits>

namespace Tarn {

/// One thread's entries.
struct CThreadSlots;
struct CThreadState;

/// Numbered slots, each of which holds one pointer for each thread.
class TARNKIT_API CThreadDataStorage {
public:
    /// If the system has no thread-local index left, every entry stays null.
    CThreadDataStorage();
    /// Frees the entries of all threads, which must no longer use the storage, but not what the entries point
    /// to. Asserts when the process heap fails to free a block, unless another exception is in flight.
    ~CThreadDataStorage() noexcept(false);

    CThreadDataStorage(const CThreadDataStorage&) = delete;
    CThreadDataStorage& operator=(const CThreadDataStorage&) = delete;

    /// Returns the next slot: 0, 1, 2, ... Slots are never reused.
    int AllocSlot();
    /// Does nothing.
    void FreeSlot(int slot);

    /// The calling thread's entry, null until it is set. `slot` must come from `AllocSlot` of this storage.
    void* GetSlotData(int slot);
    /// Sets the calling thread's entry. Does nothing when there is no memory for the entry.
    void SetSlotData(int slot, void* data);

private:
    DWORD tlsIndex;
    std::atomic<int> slotCount;
    CPointerArray<CThreadSlots, ProcessHeapPolicy> threads;

    friend struct CLayout<CThreadDataStorage>;
    friend class CThreadRecord;
    friend union Immortal<CThreadDataStorage>;
    // The storage of the process, which exists before any constructor runs and obtains its index later.
    class CProcessStorage;
    friend CThreadDataStorage& GetThreadDataStorage();
    friend void ReleaseThreadStorage();

    enum TAttachLater { attachLater };
    constexpr explicit CThreadDataStorage(TAttachLater) : tlsIndex(TLS_OUT_OF_INDEXES), slotCount(0) {}

    void attach();
    void release();
    void forget(CThreadSlots* slots);
    friend void FreeThreadSlots(CThreadState& thread);
    CThreadSlots* findSlots() const;
    CThreadSlots* makeSlots();
    void** getEntry(int slot);
};
TARNKIT_LAYOUT(CThreadDataStorage, 20, tlsIndex, slotCount, threads);

/// The storage of the process.
TARNKIT_API CThreadDataStorage& GetThreadDataStorage();

/// Library-internal: obtains the thread-local index of the process's storage when the library is loaded,
/// unless an earlier use has already done so.
void AttachThreadStorage();

/// Library-internal: frees the blocks of all records, the entries of all threads and the index when the
/// library is unloaded. A later use starts anew.
void ReleaseThreadStorage();

/// A small block that the library keeps for each thread. Objects of this class are static. Their destruction
/// frees nothing, so a thread's block outlives every static object that may still ask for it.
class TARNKIT_API CThreadRecord {
public:
    /// `size` is the size of a thread's block in bytes.
    constexpr explicit CThreadRecord(int size) : blockSize(size) {}

    CThreadRecord(const CThreadRecord&) = delete;
    CThreadRecord& operator=(const CThreadRecord&) = delete;

    /// The calling thread's block, which the first call allocates and zeroes; null when there is no memory
    /// for it.
    void* Get();
    /// The calling thread's block, or null if `Get` has not allocated it. Allocates nothing.
    void* Find() const;

private:
    std::atomic<int> slot{-1};
    Immortal<CPointerArray<void, ProcessHeapPolicy>> blocks;
    int blockSize;
    CThreadRecord* next = nullptr;

    static CThreadRecord* first;
    friend void ReleaseThreadStorage();
    friend class CThreadDataStorage;

    int obtainSlot();
    void release();
    static void releaseAll();
    static void releaseBlocksIn(const CThreadSlots& slots);
};

/// A lock that locks nothing, kept for clients that were written for Windows CE. Use `std::mutex` instead.
class TARNKIT_API CCriticalSection {
public:
    constexpr CCriticalSection() {}
    constexpr ~CCriticalSection() {}
};
static_assert(std::is_empty_v<CCriticalSection>);

/// Marks a place where a library for several threads would hold a lock. Every operation does nothing.
class TARNKIT_API CCriticalSectionLock {
public:
    ///@{
    /// Does nothing, like all that follows.
    explicit CCriticalSectionLock(CCriticalSection* section, bool isLocked = true);
    explicit CCriticalSectionLock(CRITICAL_SECTION* section, bool isLocked = true);
    ///@}
    ~CCriticalSectionLock();

    ///@{
    /// Does nothing.
    void Lock();
    void Unlock();
    ///@}

private:
    [[maybe_unused]] unsigned char lockState = 0;

    friend struct CLayout<CCriticalSectionLock>;
};
TARNKIT_LAYOUT(CCriticalSectionLock, 1, lockState);

} // namespace Tarn
