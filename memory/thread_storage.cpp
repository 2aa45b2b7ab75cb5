#include <tarnkit/thread_storage.h>

#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>

#include "memory/in_destructor.h"
#include "platform/platform.h"

#include <cstring>
#include <new>
#include <thread>

namespace Tarn {

namespace {

// Protects what threads share (the lists, the slot of a record, the index of the process) when several
// threads ask for their first entry or block at the same time. Never held across a call that could come back
// here.
constinit std::atomic_flag isStorageLocked = ATOMIC_FLAG_INIT;

class CStorageLock {
public:
    CStorageLock() {
        while (isStorageLocked.test_and_set(std::memory_order_acquire))
            std::this_thread::yield();
    }
    ~CStorageLock() { isStorageLocked.clear(std::memory_order_release); }

    CStorageLock(const CStorageLock&) = delete;
    CStorageLock& operator=(const CStorageLock&) = delete;
};

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
    old.Swap(threads);
    const DWORD index = tlsIndex;
    tlsIndex = TLS_OUT_OF_INDEXES;
    if (index != TLS_OUT_OF_INDEXES)
        Platform::TlsFree(index);
    for (CThreadSlots* slots : old) {
        slots->entries.FreeBuffer();
        ProcessHeap::Free(slots);
    }
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
    void* memory = ProcessHeap::TryAlloc(sizeof(CThreadSlots));
    if (memory == nullptr)
        return nullptr;
    auto* slots = ::new (memory) CThreadSlots;
    bool isListed = false;
    if (Platform::TlsSetValue(tlsIndex, slots)) {
        CStorageLock lock;
        isListed = succeeds([&] { threads.Add(slots); });
    }
    if (!isListed) {
        Platform::TlsSetValue(tlsIndex, nullptr);
        ProcessHeap::Free(slots);
        return nullptr;
    }
    return slots;
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

    static CProcessStorage instance;

private:
    Immortal<CThreadDataStorage> storage{attachLater};
    std::atomic<bool> isAttached{false};

    void attach() {
        CStorageLock lock;
        if (!isAttached.load(std::memory_order_relaxed)) {
            storage.object.attach();
            isAttached.store(true, std::memory_order_release);
        }
    }
};

constinit CThreadDataStorage::CProcessStorage CThreadDataStorage::CProcessStorage::instance;

CThreadDataStorage& GetThreadDataStorage() { return CThreadDataStorage::CProcessStorage::instance.Get(); }

void AttachThreadStorage() { GetThreadDataStorage(); }

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
    CStorageLock lock;
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
        CStorageLock lock;
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
