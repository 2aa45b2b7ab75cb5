#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/pool_allocators.h>

#include "memory/kept_blocks.h"
#include "memory/thread_state.h"
#include "platform/fork.h"
#include "platform/platform.h"
#include "platform/runtime_heap.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Tarn {

namespace {

constinit Immortal<CRuntimeHeapManager> defaultManager;
constinit Immortal<CVirtualMemoryManager> largeBlockManager;
constinit Immortal<CSizeClassAllocator> stringBodyPool;
constinit CKeptBlocks keptBlocks;
constinit struct {
    std::atomic<bool> enableHeapSwitching{CMemorySwitches().enableHeapSwitching};
    std::atomic<bool> breakOnMemoryException{CMemorySwitches().breakOnMemoryException};
    std::atomic<bool> traceSystemMemoryBlocks{CMemorySwitches().traceSystemMemoryBlocks};
    std::atomic<int> systemMemoryBlockOffset{CMemorySwitches().systemMemoryBlockOffset};
    std::atomic<bool> keepFreedBlocks{CMemorySwitches().keepFreedBlocks};
} switches;

void* orMemoryException(void* block) {
    if (block == nullptr)
        ThrowMemoryException();
    return block;
}

// Stores the manager in the word in front of the address that the caller receives.
void* withPrefix(void* block, IMemoryManager* manager) {
    char* result = static_cast<char*>(block) + kAllocationPrefix;
    std::memcpy(result - kPointerSize, &manager, sizeof(manager));
    return result;
}

IMemoryManager* managerOf(void* ptr) {
    IMemoryManager* manager;
    std::memcpy(&manager, static_cast<char*>(ptr) - kPointerSize, sizeof(manager));
    return manager;
}

void* allocPages(std::size_t size) {
    void* const kept = keptBlocks.Take(size);
    return kept != nullptr
               ? kept
               : orMemoryException(Platform::VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE));
}

bool releasePages(void* start) { return Platform::VirtualFree(start, 0, MEM_RELEASE) != FALSE; }

bool releaseExcess() {
    bool isReleased = true;
    while (void* const start = keptBlocks.TakeExcess().start)
        isReleased &= releasePages(start);
    return isReleased;
}

void keepFreedBlocks(bool isOn) {
    keptBlocks.Enable(isOn);
    releaseExcess();
}

void* allocFrom(IMemoryManager* manager, unsigned size) {
    if (size > static_cast<unsigned>(INT_MAX - kAllocationPrefix))
        ThrowMemoryException();
    return withPrefix(orMemoryException(manager->Alloc(static_cast<int>(size) + kAllocationPrefix)), manager);
}

} // namespace

IMemoryManager& GetDefaultMemoryManager() { return defaultManager.object; }

IMemoryManager& GetLargeBlockManager() { return largeBlockManager.object; }

CSizeClassAllocator& GetStringBodyPool() { return stringBodyPool.object; }

void AttachMemoryManagers() {
    AttachThreadStates();
    AttachBodyBlocks();
    Platform::KeepUsableAfterFork<keptBlocks>();
}

void DetachMemoryManagers() {
    DetachThreadStates();
    ReturnSpareBodyBlocks();
    stringBodyPool.object.ReleaseIfUnused();
    keepFreedBlocks(false);
}

void* CRuntimeHeapManager::Alloc(int size) {
    if (size <= 0) [[unlikely]] // the runtime may return null for a size of 0
        return size < 0 ? orMemoryException(nullptr) : Alloc(1);
    return orMemoryException(Platform::kAllocate(static_cast<std::size_t>(size)));
}

void CRuntimeHeapManager::Free(void* ptr) { Platform::kFree(ptr); }

void* CVirtualMemoryManager::Alloc(int size) {
    return size < 0 ? orMemoryException(nullptr) : allocPages(static_cast<std::size_t>(size));
}

void CVirtualMemoryManager::Free(void* ptr) {
    if (!TryFree(ptr))
        GenAssert(u"PrivateAllocators", 133);
}

bool CVirtualMemoryManager::TryFree(void* ptr) {
    if (keptBlocks.Has(ptr))
        return false;
    return keptBlocks.Keep({ptr, Platform::GetRegionSize(ptr)}) ? releaseExcess() : releasePages(ptr);
}

void* doAlloc(unsigned int size) {
    if (size > kLargestSmallAllocation) [[unlikely]]
        return allocFrom(&largeBlockManager.object, size);
    IMemoryManager* const current = CMemoryManagerSwitcher::CurrentManager();
    if (current != nullptr && switches.enableHeapSwitching) [[unlikely]]
        return allocFrom(current, size);
    return withPrefix(defaultManager.object.Alloc(static_cast<int>(size) + kAllocationPrefix),
                      &defaultManager.object);
}

void* doAllocLarge(std::size_t size) {
    if (size > static_cast<std::size_t>(PTRDIFF_MAX - kAllocationPrefix)) // no object is larger
        ThrowMemoryException();
    return withPrefix(allocPages(size + kAllocationPrefix), &largeBlockManager.object);
}

void* doGrow(void* ptr, unsigned int size) {
    if (managerOf(ptr) != &largeBlockManager.object ||
        size > static_cast<unsigned>(INT_MAX - kAllocationPrefix))
        return nullptr;
    const std::size_t total = std::size_t{size} + kAllocationPrefix;
    if (keptBlocks.HasFor(total)) // a copy costs less than new pages
        return nullptr;
    void* const block = Platform::GrowRegion(static_cast<char*>(ptr) - kAllocationPrefix, total);
    return block != nullptr ? static_cast<char*>(block) + kAllocationPrefix : nullptr;
}

void doFree(void* ptr) {
    if (ptr == nullptr)
        return;
    IMemoryManager* const manager = managerOf(ptr);
    void* block = static_cast<char*>(ptr) - kAllocationPrefix;
    if (manager == &defaultManager.object) [[likely]]
        defaultManager.object.Free(block);
    else
        manager->Free(block);
}

CMemoryManagerSwitcher::CMemoryManagerSwitcher(IMemoryManager* manager) : previous(CurrentManager()) {
    // A thread without a state is served by the default manager as it is.
    CThreadState* const state = manager == nullptr ? FindThreadState() : ObtainThreadState();
    if (state != nullptr)
        state->currentManager = manager;
    else if (manager != nullptr)
        ThrowMemoryException();
}

CMemoryManagerSwitcher::~CMemoryManagerSwitcher() {
    if (CThreadState* state = FindThreadState())
        state->currentManager = previous;
}

IMemoryManager* CMemoryManagerSwitcher::CurrentManager() {
    const CThreadState* const state = FindThreadState();
    return state != nullptr ? state->currentManager : nullptr;
}

void* ProcessHeap::TryAlloc(int size) {
    return size < 0 ? nullptr
                    : Platform::HeapAlloc(Platform::GetProcessHeap(), static_cast<std::size_t>(size));
}

void* ProcessHeap::Alloc(int size) { return orMemoryException(TryAlloc(size)); }

void ProcessHeap::Free(void* ptr) {
    if (!Platform::HeapFree(Platform::GetProcessHeap(), ptr))
        GenAssert(u"ALLOC", 570);
}

CMemorySwitches GetMemorySwitches() {
    return {switches.enableHeapSwitching, switches.breakOnMemoryException, switches.traceSystemMemoryBlocks,
            switches.systemMemoryBlockOffset, switches.keepFreedBlocks};
}

void SetMemorySwitches(const CMemorySwitches& values) {
    switches.enableHeapSwitching = values.enableHeapSwitching;
    switches.breakOnMemoryException = values.breakOnMemoryException;
    switches.traceSystemMemoryBlocks = values.traceSystemMemoryBlocks;
    switches.systemMemoryBlockOffset = values.systemMemoryBlockOffset;
    switches.keepFreedBlocks = values.keepFreedBlocks;
    keepFreedBlocks(values.keepFreedBlocks);
}

bool ShouldBreakOnMemoryException() { return switches.breakOnMemoryException; }

} // namespace Tarn
