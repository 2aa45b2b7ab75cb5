#include "platform/posix/memory/private_heap.h"

#include "platform/posix/support/fork_handlers.h"
#include "platform/thread_pointer.h"

#include <mutex>
#include <new>

namespace Tarn::Platform::Posix {

namespace {

constinit std::mutex heapsLock;

// Threads that were started one after the other have different numbers: their stacks, in which this variable
// lies, are an odd number of pages apart.
unsigned numberOfThread() {
    constexpr int kPageBits = 12;
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&threadPointer) >> kPageBits);
}

} // namespace

PrivateHeap::PrivateHeap(Arena* first) : numberOfCreator(numberOfThread()) { arenas[0] = first; }

constinit PrivateHeap* PrivateHeap::heaps = nullptr;

constinit const ForkHandlers kHeapsAtFork = {PrivateHeap::LockAll, PrivateHeap::UnlockAll,
                                             PrivateHeap::UnlockAll};

PrivateHeap* PrivateHeap::Create(std::size_t initialSize) {
    Arena* const first = Arena::Create(initialSize, 0, sizeof(PrivateHeap));
    if (first == nullptr)
        return nullptr;
    auto* const heap = ::new (static_cast<void*>(first + 1)) PrivateHeap(first);
    std::lock_guard guard(heapsLock);
    heap->nextHeap = heaps;
    heaps = heap;
    return heap;
}

// The link of the list that leads to a heap; the one at the end if there is no such heap.
PrivateHeap** PrivateHeap::linkTo(void* heap) {
    PrivateHeap** link = &heaps;
    while (*link != nullptr && *link != heap)
        link = &(*link)->nextHeap;
    return link;
}

// The first one last.
template<class Action>
void PrivateHeap::forEachArena(Action action) {
    for (unsigned number = kArenas; number-- > 0;)
        if (Arena* const arena = arenas[number].load(std::memory_order_acquire))
            action(*arena);
}

bool PrivateHeap::Destroy(void* heap, bool* isAllReleased) {
    PrivateHeap* found;
    {
        std::lock_guard guard(heapsLock);
        PrivateHeap** const link = linkTo(heap);
        found = *link;
        if (found == nullptr)
            return false;
        *link = found->nextHeap;
    }
    *isAllReleased = true;
    found->forEachArena([&](Arena& arena) { *isAllReleased &= arena.Destroy(); });
    return true;
}

int PrivateHeap::Count(void* heap) {
    std::lock_guard guard(heapsLock);
    PrivateHeap* const found = *linkTo(heap);
    int count = 0;
    if (found != nullptr)
        found->forEachArena([&](Arena& arena) { count += arena.Count(); });
    return count;
}

Arena* PrivateHeap::arenaOfThread() {
    const unsigned number = (numberOfThread() - numberOfCreator) % kArenas;
    Arena* const arena = arenas[number].load(std::memory_order_acquire);
    return arena != nullptr ? arena : addArena(number);
}

[[gnu::noinline]] Arena* PrivateHeap::addArena(unsigned number) {
    std::lock_guard guard(arenasLock);
    Arena* arena = arenas[number].load(std::memory_order_relaxed);
    if (arena == nullptr) {
        arena = Arena::Create(0, number);
        arenas[number].store(arena, std::memory_order_release);
    }
    return arena != nullptr ? arena : arenas[0].load(std::memory_order_relaxed);
}

void* PrivateHeap::Alloc(std::size_t size) {
    void* const block = arenaOfThread()->Alloc(size);
    return block != nullptr ? block : allocElsewhere(size);
}

// The system has no memory for the thread's own arena, but another one may have a free block.
[[gnu::noinline]] void* PrivateHeap::allocElsewhere(std::size_t size) {
    void* block = nullptr;
    forEachArena([&](Arena& arena) { block = block != nullptr ? block : arena.Alloc(size); });
    return block;
}

bool PrivateHeap::Free(void* memory) {
    const int number = Arena::NumberOf(memory);
    return number >= 0 && arenas[number].load(std::memory_order_acquire)->Free(memory);
}

void PrivateHeap::LockAll() {
    heapsLock.lock();
    for (PrivateHeap* heap = heaps; heap != nullptr; heap = heap->nextHeap) {
        heap->arenasLock.lock();
        heap->forEachArena([](Arena& arena) { arena.lock.lock(); });
    }
}

void PrivateHeap::UnlockAll() {
    for (PrivateHeap* heap = heaps; heap != nullptr; heap = heap->nextHeap) {
        heap->forEachArena([](Arena& arena) { arena.lock.unlock(); });
        heap->arenasLock.unlock();
    }
    heapsLock.unlock();
}

} // namespace Tarn::Platform::Posix
