// Memory that the leak checker, in builds that have one, must search for pointers.
#pragma once

#include <cstddef>

extern "C" {
[[gnu::weak]] void __lsan_register_root_region(const void* start, std::size_t size);
[[gnu::weak]] void __lsan_unregister_root_region(const void* start, std::size_t size);
}

namespace Tarn::Platform::Posix {

inline void ShowToLeakChecker(const void* start, std::size_t size) {
    if (__lsan_register_root_region != nullptr)
        __lsan_register_root_region(start, size);
}

inline void HideFromLeakChecker(const void* start, std::size_t size) {
    if (__lsan_unregister_root_region != nullptr)
        __lsan_unregister_root_region(start, size);
}

} // namespace Tarn::Platform::Posix
