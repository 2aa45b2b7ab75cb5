#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/pool_allocators.h>

#include "platform/platform.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace Tarn {

namespace {

constinit Immortal<CRuntimeHeapManager> defaultManager;
constinit Immortal<CVirtualMemoryManager> largeBlockManager;
constinit Immortal<CSizeClassAllocator> stringBodyPool;
constinit Immortal<CBlockManager> setPagePool{128, 0x10000}; // a page of a Unicode set is 128 bytes
constinit CMemorySwitches switches;
constinit DWORD currentManagerIndex = TLS_OUT_OF_INDEXES;

// The switchers in force, on all threads, that brought a manager. While there are none, no thread has a
// current manager, and allocations need not ask the system for it.
constinit std::atomic<int> switchersWithManager{0};

void* orMemoryException(void* block) {
    if (block == nullptr)
        ThrowMemoryException();
    return block;
}

bool isSwitchingInForce() { return switchersWithManager.load(std::memory_order_relaxed) != 0; }

IMemoryManager* managerInCharge(unsigned size) {
    if (size > kLargestSmallAllocation)
        return &largeBlockManager.object;
    IMemoryManager* current =
        switches.enableHeapSwitching ? CMemoryManagerSwitcher::CurrentManager() : nullptr;
    return current != nullptr ? current : &defaultManager.object;
}

// Names the manager in the word before what the caller receives.
void* withPrefix(void* block, IMemoryManager* manager) {
    char* result = static_cast<char*>(block) + kAllocationPrefix;
    std::memcpy(result - kPointerSize, &manager, sizeof(manager));
    return result;
}

// Kept out of `doAlloc`, whose usual way it would burden.
[[gnu::noinline]] void* allocFromManagerInCharge(unsigned size) {
    if (size > static_cast<unsigned>(INT_MAX - kAllocationPrefix))
        ThrowMemoryException();
    IMemoryManager* manager = managerInCharge(size);
    return withPrefix(orMemoryException(manager->Alloc(static_cast<int>(size) + kAllocationPrefix)), manager);
}

} // namespace

IMemoryManager& GetDefaultMemoryManager() { return defaultManager.object; }

IMemoryManager& GetLargeBlockManager() { return largeBlockManager.object; }

CSizeClassAllocator& GetStringBodyPool() { return stringBodyPool.object; }

CBlockManager& GetSetPagePool() { return setPagePool.object; }

void AttachMemoryManagers() {
    currentManagerIndex = Platform::TlsAlloc();
    if (currentManagerIndex == TLS_OUT_OF_INDEXES)
        Platform::OutputDebugStringW(u"Not enough TLS indices\n");
}

void DetachMemoryManagers() {
    stringBodyPool.object.ReleaseIfUnused();
    setPagePool.object.ReleaseIfUnused();
    if (currentManagerIndex != TLS_OUT_OF_INDEXES)
        Platform::TlsFree(currentManagerIndex);
    currentManagerIndex = TLS_OUT_OF_INDEXES;
}

void* CRuntimeHeapManager::Alloc(int size) {
    // The runtime may answer a request for nothing with null.
    return orMemoryException(std::malloc(size == 0 ? 1 : static_cast<std::size_t>(size)));
}

void CRuntimeHeapManager::Free(void* ptr) { std::free(ptr); }

void* CVirtualMemoryManager::Alloc(int size) {
    return orMemoryException(
        Platform::VirtualAlloc(nullptr, static_cast<std::size_t>(size), MEM_COMMIT, PAGE_READWRITE));
}

void CVirtualMemoryManager::Free(void* ptr) {
    if (!Platform::VirtualFree(ptr, 0, MEM_RELEASE))
        GenAssert(u"PrivateAllocators", 133);
}

void* doAlloc(unsigned int size) {
    if (size > kLargestSmallAllocation || isSwitchingInForce()) [[unlikely]]
        return allocFromManagerInCharge(size);
    return withPrefix(defaultManager.object.Alloc(static_cast<int>(size) + kAllocationPrefix),
                      &defaultManager.object);
}

void doFree(void* ptr) {
    if (ptr == nullptr)
        return;
    IMemoryManager* manager;
    std::memcpy(&manager, static_cast<char*>(ptr) - kPointerSize, sizeof(manager));
    void* block = static_cast<char*>(ptr) - kAllocationPrefix;
    if (manager == &defaultManager.object) [[likely]]
        defaultManager.object.Free(block);
    else
        manager->Free(block);
}

CMemoryManagerSwitcher::CMemoryManagerSwitcher(IMemoryManager* manager) : previous(CurrentManager()) {
    if (currentManagerIndex == TLS_OUT_OF_INDEXES)
        return;
    if (manager != nullptr)
        switchersWithManager.fetch_add(1, std::memory_order_relaxed);
    Platform::TlsSetValue(currentManagerIndex, manager);
}

CMemoryManagerSwitcher::~CMemoryManagerSwitcher() {
    if (currentManagerIndex == TLS_OUT_OF_INDEXES)
        return;
    if (CurrentManager() != nullptr)
        switchersWithManager.fetch_sub(1, std::memory_order_relaxed);
    Platform::TlsSetValue(currentManagerIndex, previous);
}

IMemoryManager* CMemoryManagerSwitcher::CurrentManager() {
    if (currentManagerIndex == TLS_OUT_OF_INDEXES)
        return nullptr;
    return static_cast<IMemoryManager*>(Platform::TlsGetValue(currentManagerIndex));
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

CMemorySwitches GetMemorySwitches() { return switches; }

void SetMemorySwitches(const CMemorySwitches& values) { switches = values; }

bool ShouldBreakOnMemoryException() { return switches.breakOnMemoryException; }

} // namespace Tarn
