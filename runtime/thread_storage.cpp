#include <tarnkit/thread_storage.h>

#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>

#include "platform/platform.h"

#include <cstring>
#include <exception>
#include <new>
#include <thread>

namespace Tarn {

namespace {

// Threads may come for their first array or record at the same moment; what they then change together (lists,
// the slot of a record, the process's index) is changed under this lock. It is never held across a call that
// could come back here.
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

} // namespace

bool CProcessHeapPointers::Add(void* pointer) {
    if (count == capacity) {
        const int newCapacity = GrownCapacity(capacity, count + 1);
        auto* room =
            static_cast<void**>(ProcessHeap::TryAlloc(newCapacity * static_cast<int>(sizeof(void*))));
        if (room == nullptr)
            return false;
        if (count > 0)
            std::memcpy(room, elements, static_cast<std::size_t>(count) * sizeof(void*));
        void** old = elements;
        elements = room;
        capacity = newCapacity;
        Platform::HeapFree(old); // without the assertion of `ProcessHeap::Free`, which could come back here
    }
    elements[count++] = pointer;
    return true;
}

void CProcessHeapPointers::FreeBuffer() {
    void** old = elements;
    count = 0;
    elements = nullptr;
    capacity = 0;
    if (old != nullptr)
        ProcessHeap::Free(old);
}

CThreadDataStorage::CThreadDataStorage() : tlsIndex(TLS_OUT_OF_INDEXES), slotCount(0) { attach(); }

CThreadDataStorage::~CThreadDataStorage() noexcept(false) {
    try {
        release();
    } catch (CException* e) {
        if (std::uncaught_exceptions() == 0)
            throw;
        e->Delete();
    }
}

void CThreadDataStorage::attach() {
    tlsIndex = Platform::TlsAlloc();
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        Trace(u"Not enough TLS indices\n");
}

// Takes everything out of the object before anything is given back: an assertion on the way loses no state.
void CThreadDataStorage::release() {
    CProcessHeapPointers arrays = threads;
    threads = CProcessHeapPointers();
    const DWORD index = tlsIndex;
    tlsIndex = TLS_OUT_OF_INDEXES;
    if (index != TLS_OUT_OF_INDEXES)
        Platform::TlsFree(index);
    for (int i = 0; i < arrays.Size(); i++) {
        auto* slots = static_cast<CProcessHeapPointers*>(arrays[i]);
        slots->FreeBuffer();
        ProcessHeap::Free(slots);
    }
    arrays.FreeBuffer();
}

int CThreadDataStorage::AllocSlot() { return slotCount++; }

void CThreadDataStorage::FreeSlot(int) {}

CProcessHeapPointers* CThreadDataStorage::findSlots() const {
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    return static_cast<CProcessHeapPointers*>(Platform::TlsGetValue(tlsIndex));
}

CProcessHeapPointers* CThreadDataStorage::makeSlots() {
    void* memory = ProcessHeap::TryAlloc(sizeof(CProcessHeapPointers));
    if (memory == nullptr)
        return nullptr;
    auto* slots = ::new (memory) CProcessHeapPointers;
    bool isListed = false;
    if (Platform::TlsSetValue(tlsIndex, slots)) {
        CStorageLock lock;
        isListed = threads.Add(slots);
    }
    if (!isListed) {
        Platform::TlsSetValue(tlsIndex, nullptr);
        ProcessHeap::Free(slots);
        return nullptr;
    }
    return slots;
}

// The calling thread's array with an entry for every slot handed out so far; null when there is no memory.
CProcessHeapPointers* CThreadDataStorage::getSlots() {
    if (tlsIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    CProcessHeapPointers* slots = findSlots();
    if (slots == nullptr)
        slots = makeSlots();
    if (slots == nullptr)
        return nullptr;
    for (const int needed = slotCount; slots->Size() < needed;)
        if (!slots->Add(nullptr))
            return nullptr;
    return slots;
}

void* CThreadDataStorage::GetSlotData(int slot) {
    CProcessHeapPointers* slots = getSlots();
    return slots != nullptr ? (*slots)[slot] : nullptr;
}

void CThreadDataStorage::SetSlotData(int slot, void* data) {
    CProcessHeapPointers* slots = getSlots();
    if (slots != nullptr)
        (*slots)[slot] = data;
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

// The record's slot, handed out at its first use.
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
    CThreadDataStorage& storage = GetThreadDataStorage();
    CProcessHeapPointers* slots = storage.getSlots();
    if (slots == nullptr)
        return nullptr;
    void*& entry = (*slots)[index];
    if (entry == nullptr) {
        void* block = ProcessHeap::TryAlloc(blockSize);
        if (block == nullptr)
            return nullptr;
        std::memset(block, 0, static_cast<std::size_t>(blockSize));
        CStorageLock lock;
        if (blocks.Add(block))
            entry = block;
        else
            Platform::HeapFree(block);
    }
    return entry;
}

void* CThreadRecord::Find() const {
    const int index = slot.load(std::memory_order_acquire);
    if (index < 0)
        return nullptr;
    CProcessHeapPointers* slots = GetThreadDataStorage().findSlots();
    return slots != nullptr && index < slots->Size() ? (*slots)[index] : nullptr;
}

// Frees the blocks of all threads. The slot goes with them: entries still point at what they were.
void CThreadRecord::release() {
    CProcessHeapPointers old = blocks;
    blocks = CProcessHeapPointers();
    slot = -1;
    for (int i = 0; i < old.Size(); i++)
        ProcessHeap::Free(old[i]);
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
