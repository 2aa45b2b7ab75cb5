// Memory from the C runtime for the peers that Tarnkit is measured against.
//
// A program that links Tarnkit has Tarnkit's operators `new` and `delete`. The peers must not pay for those,
// so they use `malloc` and `free`, as they would in a program without Tarnkit.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory_resource>
#include <new>
#include <string>

template<class T>
struct MallocAllocator {
    using value_type = T;

    MallocAllocator() = default;
    template<class Other>
    MallocAllocator(const MallocAllocator<Other>&) {}

    T* allocate(std::size_t count) {
        if (void* block = std::malloc(count * sizeof(T)))
            return static_cast<T*>(block);
        throw std::bad_alloc();
    }
    void deallocate(T* block, std::size_t) { std::free(block); }

    friend bool operator==(MallocAllocator, MallocAllocator) { return true; }
};

template<class Unit>
using MallocString = std::basic_string<Unit, std::char_traits<Unit>, MallocAllocator<Unit>>;

class MallocResource final : public std::pmr::memory_resource {
    void* do_allocate(std::size_t size, std::size_t) override {
        return MallocAllocator<char>().allocate(size);
    }
    void do_deallocate(void* block, std::size_t, std::size_t) override { std::free(block); }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
};
