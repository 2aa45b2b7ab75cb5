#include <tarnkit/immortal.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/pool_allocators.h>

#include "platform/platform.h"

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
constinit CMemorySwitches switches;
constinit DWORD currentManagerIndex = TLS_OUT_OF_INDEXES;

// The number of switchers, on all threads, that have set a manager. While it is 0 no thread has a current
// manager, and allocations need not look for one.
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

// Stores the manager in the word in front of the address that the caller receives.
void* withPrefix(void* block, IMemoryManager* manager) {
    char* result = static_cast<char*>(block) + kAllocationPrefix;
    std::memcpy(result - kPointerSize, &manager, sizeof(manager));
    return result;
}

void* allocPages(std::size_t size) {
    return orMemoryException(Platform::VirtualAlloc(nullptr, size, MEM_COMMIT, PAGE_READWRITE));
}

// Kept out of `doAlloc`, to keep its usual path short.
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

void AttachMemoryManagers() {
    currentManagerIndex = Platform::TlsAlloc();
    if (currentManagerIndex == TLS_OUT_OF_INDEXES)
        Platform::OutputDebugStringW(u"Not enough TLS indices\n");
}

void DetachMemoryManagers() {
    stringBodyPool.object.ReleaseIfUnused();
    if (currentManagerIndex != TLS_OUT_OF_INDEXES)
        Platform::TlsFree(currentManagerIndex);
    currentManagerIndex = TLS_OUT_OF_INDEXES;
}

void* CRuntimeHeapManager::Alloc(int size) {
    if (size <= 0) [[unlikely]] // the runtime may return null for a size of 0
        return size < 0 ? orMemoryException(nullptr) : Alloc(1);
    return orMemoryException(std::malloc(static_cast<std::size_t>(size)));
}

void CRuntimeHeapManager::Free(void* ptr) { std::free(ptr); }

void* CVirtualMemoryManager::Alloc(int size) {
    return size < 0 ? orMemoryException(nullptr) : allocPages(static_cast<std::size_t>(size));
}

void CVirtualMemoryManager::Free(void* ptr) {
    if (!TryFree(ptr))
        GenAssert(u"PrivateAllocators", 133);
}

bool CVirtualMemoryManager::TryFree(void* ptr) { return Platform::VirtualFree(ptr, 0, MEM_RELEASE) != FALSE; }

void* doAlloc(unsigned int size) {
    if (size > kLargestSmallAllocation || isSwitchingInForce()) [[unlikely]]
        return allocFromManagerInCharge(size);
    return withPrefix(defaultManager.object.Alloc(static_cast<int>(size) + kAllocationPrefix),
                      &defaultManager.object);
}

void* doAllocLarge(std::size_t size) {
    if (size > static_cast<std::size_t>(PTRDIFF_MAX - kAllocationPrefix)) // no object is larger
        ThrowMemoryException();
    return withPrefix(allocPages(size + kAllocationPrefix), &largeBlockManager.object);
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
