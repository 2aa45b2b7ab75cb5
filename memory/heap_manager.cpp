#include <tarnkit/heap_manager.h>
#include <tarnkit/message_handlers.h>

#include "platform/heap_blocks.h"
#include "platform/platform.h"

#include <cstdint>
#include <exception>

namespace Tarn {

namespace {

constexpr std::size_t kInitialSize = 0x20000;

void assertDestroyed(bool isDestroyed) {
    if (!isDestroyed)
        GenAssert(u"ALLOC", 343);
}

} // namespace

CHeapManager::~CHeapManager() noexcept(false) {
    const bool isDestroyed = destroyHeap(true);
    if (std::uncaught_exceptions() == 0)
        assertDestroyed(isDestroyed);
}

void CHeapManager::Create() {
    if (heap != nullptr) {
        isDestroyedInUse = countUses() == 0;
        return;
    }
    heap = Platform::HeapCreate(kInitialSize);
    if (heap == nullptr)
        ThrowMemoryException();
    references = 0;
    isDestroyedInUse = true;
}

void CHeapManager::Destroy(bool force) { assertDestroyed(destroyHeap(force)); }

// Returns false when the system could not destroy the heap; even then the manager no longer has one.
bool CHeapManager::destroyHeap(bool force) {
    if (heap == nullptr)
        return true;
    Dump();
    if (countUses() != 0 && !(force && isDestroyedInUse))
        return true;
    const bool isDestroyed = Platform::HeapDestroy(heap) != FALSE;
    heap = nullptr;
    references = 0;
    return isDestroyed;
}

void* CHeapManager::Alloc(int size) {
    void* block = size < 0 ? nullptr : Platform::HeapAlloc(heap, static_cast<std::size_t>(size));
    if (block == nullptr)
        ThrowMemoryException();
    if constexpr (!Platform::kHeapsCountBlocks)
        IncRef();
    return block;
}

void CHeapManager::Free(void* ptr) {
    if (ptr == nullptr)
        return;
    Platform::HeapFree(heap, ptr);
    if constexpr (!Platform::kHeapsCountBlocks)
        DecRef();
}

int CHeapManager::countUses() const { return references.load() + Platform::CountHeapBlocks(heap); }

void CHeapManager::DumpExt() const {
    CMemoryManagerSwitcher switcher(nullptr); // so that the report does not allocate from this heap
    Trace(u"Heap Handle=%IX\n", reinterpret_cast<std::uintptr_t>(heap));
    Trace(u"RefCount=%d\n", countUses());
    Dump();
}

} // namespace Tarn
