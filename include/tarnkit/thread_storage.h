// Per-thread data without a system index for each, and the lock classes.
//
// A `CThreadDataStorage` owns one thread-local index of the system and hands out numbered slots behind it; a
// slot holds one pointer per thread. `CThreadRecord` builds on it what the library itself keeps per thread:
// small zeroed blocks that outlive their threads and are freed with the library. All memory comes from the
// process heap, without throwing: what there is no memory for is absent (null). Each thread sees only its own
// entries; threads may arrive at the same time.
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

/// Numbered slots of one pointer per thread.
class TARNKIT_API CThreadDataStorage {
public:
    /// Without a free thread-local index in the system the storage holds nothing: every entry stays null.
    CThreadDataStorage();
    /// Frees the arrays of all threads, which must not use the storage any more; the data behind the entries
    /// is the callers'.
    ~CThreadDataStorage() noexcept(false);

    CThreadDataStorage(const CThreadDataStorage&) = delete;
    CThreadDataStorage& operator=(const CThreadDataStorage&) = delete;

    /// The next slot: 0, 1, 2, ... Slots are never reused.
    int AllocSlot();
    /// Does nothing.
    void FreeSlot(int slot);

    /// The calling thread's entry, null until it is set. `slot` must have been handed out by this storage.
    void* GetSlotData(int slot);
    /// Lost when there is no memory for the thread's array.
    void SetSlotData(int slot, void* data);

private:
    DWORD tlsIndex;
    std::atomic<int> slotCount;
    CPointerArray<CThreadSlots, ProcessHeapPolicy> threads;

    friend struct CLayout<CThreadDataStorage>;
    friend class CThreadRecord;
    friend union Immortal<CThreadDataStorage>;
    // The storage of the process, which exists before any constructor ran and obtains its index later.
    class CProcessStorage;
    friend CThreadDataStorage& GetThreadDataStorage();
    friend void ReleaseThreadStorage();

    enum TAttachLater { attachLater };
    constexpr explicit CThreadDataStorage(TAttachLater) : tlsIndex(TLS_OUT_OF_INDEXES), slotCount(0) {}

    void attach();
    void release();
    CThreadSlots* findSlots() const;
    CThreadSlots* makeSlots();
    void** getEntry(int slot);
};
TARNKIT_LAYOUT(CThreadDataStorage, 20, tlsIndex, slotCount, threads);

/// The storage of the process.
TARNKIT_API CThreadDataStorage& GetThreadDataStorage();

/// Obtains the thread-local index of the process's storage: called when the library loads. Whoever needs the
/// storage before that does it himself.
void AttachThreadStorage();

/// Frees the blocks of all records, the arrays of all threads and the index: called when the library unloads.
/// A later use starts anew.
void ReleaseThreadStorage();

/// A small record that the library keeps for each thread. Objects of this class are static; their end frees
/// nothing, so that a thread's block outlives every static object that may still ask for it.
class TARNKIT_API CThreadRecord {
public:
    /// Blocks are `size` bytes.
    constexpr explicit CThreadRecord(int size) : blockSize(size) {}

    CThreadRecord(const CThreadRecord&) = delete;
    CThreadRecord& operator=(const CThreadRecord&) = delete;

    /// The calling thread's block, zeroed when it is made by this call; null when there is no memory for it.
    void* Get();
    /// The calling thread's block if it was made before, else null. Allocates nothing.
    void* Find() const;

private:
    std::atomic<int> slot{-1};
    Immortal<CPointerArray<void, ProcessHeapPolicy>> blocks;
    int blockSize;
    CThreadRecord* next = nullptr;

    static CThreadRecord* first;
    friend void ReleaseThreadStorage();

    int obtainSlot();
    void release();
    static void releaseAll();
};

/// A lock of the handheld platform, where the library runs on one thread at a time: it holds nothing.
class TARNKIT_API CCriticalSection {
public:
    constexpr CCriticalSection() {}
    constexpr ~CCriticalSection() {}
};
static_assert(std::is_empty_v<CCriticalSection>);

/// The place where a build for several threads would hold a lock. Every operation does nothing.
class TARNKIT_API CCriticalSectionLock {
public:
    explicit CCriticalSectionLock(CCriticalSection* section, bool isLocked = true);
    explicit CCriticalSectionLock(CRITICAL_SECTION* section, bool isLocked = true);
    ~CCriticalSectionLock();

    void Lock();
    void Unlock();

private:
    [[maybe_unused]] unsigned char lockState = 0;

    friend struct CLayout<CCriticalSectionLock>;
};
TARNKIT_LAYOUT(CCriticalSectionLock, 1, lockState);

} // namespace Tarn
