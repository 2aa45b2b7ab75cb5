// The POSIX port's containers, with their memory on the C runtime's heap.
//
// In a process that uses the library, `operator new` takes memory from the calling thread's current memory
// manager, which may not outlive what the port keeps. Nothing in the port may allocate through it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Tarn::Platform::Posix {

template<class T>
struct Allocator {
    using value_type = T;

    Allocator() = default;
    template<class U>
    constexpr Allocator(const Allocator<U>&) noexcept {}

    T* allocate(std::size_t count) {
        void* memory =
            count > static_cast<std::size_t>(-1) / sizeof(T) ? nullptr : std::malloc(count * sizeof(T));
        if (memory == nullptr)
            throw std::bad_alloc();
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t) noexcept { std::free(memory); }

    template<class U>
    bool operator==(const Allocator<U>&) const noexcept {
        return true;
    }
};

using String = std::basic_string<char, std::char_traits<char>, Allocator<char>>;
using U16String = std::basic_string<char16_t, std::char_traits<char16_t>, Allocator<char16_t>>;
template<class T>
using Vector = std::vector<T, Allocator<T>>;

/// Constructs an object on the C runtime's heap; null when there is no memory.
template<class T, class... Arguments>
T* New(Arguments&&... arguments) {
    void* memory = std::malloc(sizeof(T));
    return memory == nullptr ? nullptr : ::new (memory) T(std::forward<Arguments>(arguments)...);
}

template<class T>
void Delete(T* object) {
    if (object != nullptr) {
        object->~T();
        std::free(object);
    }
}

} // namespace Tarn::Platform::Posix
