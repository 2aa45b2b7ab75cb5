// The replaced global operators `new` and `delete`, the same in the library and in every client module.
//
// Single objects come from the calling thread's current memory manager through `doAlloc`, or are virtual
// memory if they are large; arrays come from the C runtime. When memory runs out, the `nothrow` forms return
// null and the others throw the memory exception. The forms for over-aligned types remain those of the C++
// runtime.
#include <tarnkit/exceptions.h>
#include <tarnkit/memory_manager.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

void* newObject(std::size_t size) {
    if (size > Tarn::kLargestSmallAllocation) [[unlikely]]
        return Tarn::doAllocLarge(size);
    return alloc_new(static_cast<unsigned>(size));
}

// No exception may leave `delete`: a failure, such as an assertion about the pointer, is shown instead.
void deleteObject(void* ptr) noexcept {
    try {
        alloc_delete(ptr);
    } catch (Tarn::CException* e) {
        try {
            Tarn::Warning(e);
        } catch (...) {
            // The message handler has failed, too.
        }
        e->Delete();
    } catch (...) {
        // From a manager of the client's; nobody could show it.
    }
}

void* newArrayOrNull(std::size_t size) noexcept { return std::malloc(size > 0 ? size : 1); }

} // namespace

TARNKIT_REPLACED void* operator new(std::size_t size) { return newObject(size); }

TARNKIT_REPLACED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return newObject(size);
    } catch (Tarn::CException* e) {
        e->Delete();
        return nullptr;
    } catch (...) {
        return nullptr;
    }
}

TARNKIT_REPLACED void operator delete(void* ptr) noexcept { deleteObject(ptr); }
TARNKIT_REPLACED void operator delete(void* ptr, std::size_t) noexcept { deleteObject(ptr); }
TARNKIT_REPLACED void operator delete(void* ptr, const std::nothrow_t&) noexcept { deleteObject(ptr); }

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
