// Tells the address sanitizer which memory of the library's allocators is free. Does nothing in other builds.
//
// The sanitizer reports code that reads or writes poisoned memory. Functions that have to, because they keep
// their records in free memory, are marked TARNKIT_UNCHECKED_ACCESS.
#pragma once

#include <tarnkit/poison.h>

#include <cstddef>

#if TARNKIT_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#define TARNKIT_UNCHECKED_ACCESS [[gnu::no_sanitize_address]]
#else
#define TARNKIT_UNCHECKED_ACCESS
#endif

namespace Tarn::Platform {

inline void Poison([[maybe_unused]] const void* start, [[maybe_unused]] std::size_t size) {
#if TARNKIT_ADDRESS_SANITIZER
    __asan_poison_memory_region(start, size);
#endif
}

inline void Unpoison([[maybe_unused]] const void* start, [[maybe_unused]] std::size_t size) {
#if TARNKIT_ADDRESS_SANITIZER
    __asan_unpoison_memory_region(start, size);
#endif
}

} // namespace Tarn::Platform
