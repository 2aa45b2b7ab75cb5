// The heap that the default memory manager takes its blocks from: that of the C runtime, or mimalloc's.
#pragma once

#ifdef TARNKIT_MIMALLOC

#include <mimalloc.h>

namespace Tarn::Platform {
constexpr auto kAllocate = mi_malloc;
constexpr auto kFree = mi_free;
} // namespace Tarn::Platform

#else

#include <cstdlib>

namespace Tarn::Platform {
constexpr auto kAllocate = std::malloc;
constexpr auto kFree = std::free;
} // namespace Tarn::Platform

#endif
