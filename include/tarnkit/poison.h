/// \file
/// Tells the address sanitizer which bytes of pools and stacks belong to nobody, so that it reports a use
/// after free, or one beyond the end of a block, as it does for the C runtime's heap.
///
/// Only the inline functions of the pools need this header. In builds without the sanitizer it does nothing
/// and costs nothing. The library decides: a client built with the sanitizer may use a library built without
/// it, which then poisons nothing. A client built without the sanitizer cannot use a library built with it.
#pragma once

#include <tarnkit/export.h>

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
/// Whether this is compiled with the sanitizer.
#define TARNKIT_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define TARNKIT_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define TARNKIT_ADDRESS_SANITIZER 0
#endif

namespace Tarn {

///@{
/// Library-internal: do nothing where the library was built without the sanitizer.
TARNKIT_API void poisonMemory(const void* start, std::size_t size);
TARNKIT_API void unpoisonMemory(const void* start, std::size_t size);
///@}

/// Makes every access to `size` bytes an error, if the sanitizer watches.
[[gnu::always_inline]] inline void Poison([[maybe_unused]] const void* start,
                                          [[maybe_unused]] std::size_t size) {
#if TARNKIT_ADDRESS_SANITIZER
    poisonMemory(start, size);
#endif
}

/// Allows access to `size` bytes again.
[[gnu::always_inline]] inline void Unpoison([[maybe_unused]] const void* start,
                                            [[maybe_unused]] std::size_t size) {
#if TARNKIT_ADDRESS_SANITIZER
    unpoisonMemory(start, size);
#endif
}

} // namespace Tarn
