// Pages of memory from the system, and back.
//
// Unmapping a part of what the system keeps as one mapping splits that mapping, which the system refuses when
// a process has as many mappings as it may have. Pages that cannot be unmapped give their memory back all the
// same; their addresses are kept, serve later requests, and are unmapped together with a neighbour as soon as
// the system lets them go.
#pragma once

#include <cstddef>

namespace Tarn::Platform::Posix {

std::size_t PageSize();

/// `size` rounded up to whole pages; 0 when that is too large.
std::size_t WholePages(std::size_t size);

/// Zeroed pages that can be read and written; null when there are none. `size` is in whole pages.
void* MapPages(std::size_t size);

/// Addresses without memory; null when there are none. `size` is in whole pages.
void* ReservePages(std::size_t size);

/// Gives pages of either kind back. False, with the pages unchanged, when the system takes back neither them
/// nor their memory.
bool UnmapPages(void* start, std::size_t size);

} // namespace Tarn::Platform::Posix
