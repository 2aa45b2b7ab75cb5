// The number of blocks of a heap that are in use.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform {

/// Whether heaps count their blocks. If they do, nobody else needs to, which would cost a locked instruction
/// for each block, or a wait for other threads that do the same.
#if defined(_WIN32)
inline constexpr bool kHeapsCountBlocks = false;
#else
inline constexpr bool kHeapsCountBlocks = true;
#endif

/// 0 where heaps do not count, and for anything that is not a heap.
int CountHeapBlocks(HANDLE heap);

} // namespace Tarn::Platform
