// The memory that this process has allocated.
#pragma once

#include <cstddef>

namespace Tarn {

/// Bytes in blocks of the C runtime that are not freed.
std::size_t MemoryInUse();

} // namespace Tarn
