#include <tarnkit/thread_storage.h>

#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>

#include "memory/in_destructor.h"
#include "memory/spin_lock.h"
#include "memory/thread_state.h"
#include "platform/fork.h"
#include "platform/platform.h"

#include <cstring>
#include <mutex>
#include <new>

namespace Tarn {

namespace {

// Protects what threads share (the lists, the slot of a record, the index of the process) when several
// threads ask for their first entry or block, or end, at the same time. Never held across a call that could
// come back here.
constinit CSpinLock storageLock;

// Runs `growth`, which extends an array in the process heap. Returns false, with the array unchanged, when
// there is no memory.
template<class Growth>
bool succeeds(Growth growth) {
    try {
        growth();
        return true;
    } catch (CMemoryException* e) {
        e->Delete();
        return false;
    }
}

} // namespace

struct CThreadSlots {
    CArray<void*, ProcessHeapPolicy> entries;
};
TARNKIT_LAYOUT(CThreadSlots, 12, entries);

/// An array in two lists: that of its storage, which frees it in the end, and that of its thread, which frees
/// it if it ends earlier.
struct CListedThreadSlots : CThreadSlots {
    CThreadDataStorage* owner = nullptr;
    CThreadState* thread = nullptr; ///< null if the thread has no state, so that its end goes unnoticed
    CListedThreadSlots* next = nullptr;

    void Join(CThreadState* state) {
        thread = state;
        next = state->slots;
        state->slots = this;
    }
    void LeaveThread() {
        if (thread == nullptr)
            return;
        CListedThreadSlots** link = &thread->slots;
        while (*link != this)
            link = &(*link)->next;
        *link = next;
        thread = nullptr;
    }
    void Free() {
        entries.FreeBuffer();
        ProcessHeap::Free(this);
    }
};

CThreadDataStorage::CThreadDataStorage() : tlsIndex(TLS_OUT_OF_INDEXES), slotCount(0) { attach(); }

CThreadDataStorage::~CThreadDataStorage() noexcept(false) {
    RunInDestructor([this] { release(); });
}

void CThreadDataStorage::attach() {
    tlsIndex = Platform::TlsAlloc();
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        Trace(u"Not enough TLS indices\n");
}

// The object is empty before anything is freed, so that an assertion in between leaves it valid.
void CThreadDataStorage::release() {
    CPointerArray<CThreadSlots, ProcessHeapPolicy> old;
    {
        std::lock_guard guard(storageLock);
        old.Swap(threads);
        for (CThreadSlots* slots : old)
            static_cast<CListedThreadSlots*>(slots)->LeaveThread();
    }
    const DWORD index = tlsIndex;
    tlsIndex = TLS_OUT_OF_INDEXES;
    if (index != TLS_OUT_OF_INDEXES)
        Platform::TlsFree(index);
    for (CThreadSlots* slots : old)
        static_cast<CListedThreadSlots*>(slots)->Free();
    old.DeleteAt(0, old.Size());
    old.FreeBuffer();
}

int CThreadDataStorage::AllocSlot() { return slotCount++; }

void CThreadDataStorage::FreeSlot(int) {}

CThreadSlots* CThreadDataStorage::findSlots() const {
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    return static_cast<CThreadSlots*>(Platform::TlsGetValue(tlsIndex));
}

CThreadSlots* CThreadDataStorage::makeSlots() {
    void* memory = ProcessHeap::TryAlloc(sizeof(CListedThreadSlots));
    if (memory == nullptr)
        return nullptr;
    auto* slots = ::new (memory) CListedThreadSlots;
    slots->owner = this;
    CThreadState* const thread = ObtainThreadState();
    if (Platform::TlsSetValue(tlsIndex, static_cast<CThreadSlots*>(slots))) {
        std::lock_guard guard(storageLock);
        if (succeeds([&] { threads.Add(slots); })) {
            if (thread != nullptr)
                slots->Join(thread);
            return slots;
        }
    }
    Platform::TlsSetValue(tlsIndex, nullptr);
    ProcessHeap::Free(memory);
    return nullptr;
}

// The calling thread's entry of a slot; null when there is no memory for it.
void** CThreadDataStorage::getEntry(int slot) {
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    CThreadSlots* slots = findSlots();
    if (slots == nullptr)
        slots = makeSlots();
    if (slots == nullptr)
        return nullptr;
    const int needed = slotCount;
    if (slots->entries.Size() < needed)
        succeeds([&] { slots->entries.SetSize(needed); });
    return slot < slots->entries.Size() ? &slots->entries[slot] : nullptr;
}

void* CThreadDataStorage::GetSlotData(int slot) {
    void** entry = getEntry(slot);
    return entry != nullptr ? *entry : nullptr;
}

void CThreadDataStorage::SetSlotData(int slot, void* data) {
    if (void** entry = getEntry(slot))
        *entry = data;
}

class CThreadDataStorage::CProcessStorage {
public:
    constexpr CProcessStorage() = default;

    CThreadDataStorage& Get() {
        if (!isAttached.load(std::memory_order_acquire))
            attach();
        return storage.object;
    }

    void Release() {
        if (isAttached.exchange(false))
            storage.object.release();
    }

    bool Is(const CThreadDataStorage* other) const { return other == &storage.object; }

    static CProcessStorage instance;

private:
    Immortal<CThreadDataStorage> storage{attachLater};
    std::atomic<bool> isAttached{false};

    void attach() {
        std::lock_guard guard(storageLock);
        if (!isAttached.load(std::memory_order_relaxed)) {
            storage.object.attach();
            isAttached.store(true, std::memory_order_release);
        }
    }
};

constinit CThreadDataStorage::CProcessStorage CThreadDataStorage::CProcessStorage::instance;

// Frees the arrays of a thread that ends, and removes them from the lists of their storages.
void FreeThreadSlots(CThreadState& thread) {
    for (;;) {
        CListedThreadSlots* slots;
        {
            std::lock_guard guard(storageLock);
            slots = thread.slots;
            if (slots == nullptr)
                return;
            slots->LeaveThread();
            slots->owner->forget(slots);
        }
        slots->Free();
    }
}

// Forgets the array of the calling thread, under the lock. One of the process's storage holds the blocks of
// the records as well.
void CThreadDataStorage::forget(CThreadSlots* slots) {
    Platform::TlsSetValue(tlsIndex, nullptr);
    threads.DeleteAt(threads.Find(slots));
    if (CProcessStorage::instance.Is(this))
        CThreadRecord::releaseBlocksIn(*slots);
}

CThreadDataStorage& GetThreadDataStorage() { return CThreadDataStorage::CProcessStorage::instance.Get(); }

void AttachThreadStorage() {
    Platform::KeepUsableAfterFork<storageLock>();
    GetThreadDataStorage();
}

void ReleaseThreadStorage() {
    CThreadRecord::releaseAll();
    CThreadDataStorage::CProcessStorage::instance.Release();
}

// The records that have a slot.
constinit CThreadRecord* CThreadRecord::first = nullptr;

// The record's slot, allocated at its first use.
int CThreadRecord::obtainSlot() {
    const int known = slot.load(std::memory_order_acquire);
    if (known >= 0)
        return known;
    CThreadDataStorage& storage = GetThreadDataStorage();
    std::lock_guard guard(storageLock);
    if (slot.load(std::memory_order_relaxed) < 0) {
        next = first;
        first = this;
        slot.store(storage.AllocSlot(), std::memory_order_release);
    }
    return slot.load(std::memory_order_relaxed);
}

void* CThreadRecord::Get() {
    const int index = obtainSlot();
    void** entry = GetThreadDataStorage().getEntry(index);
    if (entry == nullptr || *entry != nullptr)
        return entry != nullptr ? *entry : nullptr;
    void* block = ProcessHeap::TryAlloc(blockSize);
    if (block == nullptr)
        return nullptr;
    std::memset(block, 0, static_cast<std::size_t>(blockSize));
    bool isListed;
    {
        std::lock_guard guard(storageLock);
        isListed = succeeds([&] { blocks.object.Add(block); });
    }
    if (isListed)
        *entry = block;
    else
        ProcessHeap::Free(block);
    return *entry;
}

void* CThreadRecord::Find() const {
    const int index = slot.load(std::memory_order_acquire);
    if (index < 0)
        return nullptr;
    CThreadSlots* slots = GetThreadDataStorage().findSlots();
    return slots != nullptr && index < slots->entries.Size() ? slots->entries[index] : nullptr;
}

// Frees the blocks of all threads, and forgets the slot, whose entries still point to them.
void CThreadRecord::release() {
    CPointerArray<void, ProcessHeapPolicy> old;
    old.Swap(blocks.object);
    slot = -1;
    for (void* block : old)
        ProcessHeap::Free(block);
    old.FreeBuffer();
}

// Frees the blocks of one thread, under the lock.
void CThreadRecord::releaseBlocksIn(const CThreadSlots& slots) {
    for (CThreadRecord* record = first; record != nullptr; record = record->next) {
        const int index = record->slot.load(std::memory_order_relaxed);
        void* const block = index < slots.entries.Size() ? slots.entries[index] : nullptr;
        if (block == nullptr)
            continue;
        record->blocks.object.DeleteAt(record->blocks.object.Find(block));
        ProcessHeap::Free(block);
    }
}

void CThreadRecord::releaseAll() {
    while (first != nullptr) {
        CThreadRecord* record = first;
        first = record->next;
        record->release();
    }
}

CCriticalSectionLock::CCriticalSectionLock(CCriticalSection*, bool) {}
CCriticalSectionLock::CCriticalSectionLock(CRITICAL_SECTION*, bool) {}
CCriticalSectionLock::~CCriticalSectionLock() {}
void CCriticalSectionLock::Lock() {}
void CCriticalSectionLock::Unlock() {}

} // namespace Tarn
