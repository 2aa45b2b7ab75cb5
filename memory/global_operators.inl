// The replaced global operators `new` and `delete`, the same in the library and in every client module.
//
// Single objects go through `doAlloc` and so to the calling thread's current memory manager; arrays go to the
// C runtime. Out of memory is the memory exception, from the `nothrow` forms null. The forms for over-aligned
// types stay the runtime's own.
#include <tarnkit/memory_manager.h>

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

void* newObject(std::size_t size) {
    if (size > INT_MAX)
        Tarn::ThrowMemoryException();
    return alloc_new(static_cast<unsigned>(size));
}

void* newArrayOrNull(std::size_t size) noexcept { return std::malloc(size > 0 ? size : 1); }

} // namespace

TARNKIT_REPLACED void* operator new(std::size_t size) { return newObject(size); }

TARNKIT_REPLACED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return newObject(size);
    } catch (...) {
        // The memory exception is one static object: there is nothing to dispose of.
        return nullptr;
    }
}

TARNKIT_REPLACED void operator delete(void* ptr) noexcept { alloc_delete(ptr); }
TARNKIT_REPLACED void operator delete(void* ptr, std::size_t) noexcept { alloc_delete(ptr); }
TARNKIT_REPLACED void operator delete(void* ptr, const std::nothrow_t&) noexcept { alloc_delete(ptr); }

TARNKIT_REPLACED void* operator new[](std::size_t size) {
    void* block = newArrayOrNull(size);
    if (block == nullptr)
        Tarn::ThrowMemoryException();
    return block;
}

TARNKIT_REPLACED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return newArrayOrNull(size);
}

TARNKIT_REPLACED void operator delete[](void* ptr) noexcept { std::free(ptr); }
TARNKIT_REPLACED void operator delete[](void* ptr, std::size_t) noexcept { std::free(ptr); }
TARNKIT_REPLACED void operator delete[](void* ptr, const std::nothrow_t&) noexcept { std::free(ptr); }
