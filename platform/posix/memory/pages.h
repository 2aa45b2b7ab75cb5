// Allocates pages of memory from the system and frees them.
//
// Unmapping part of a mapping splits it, which the system refuses when the process has as many mappings as it
// may have. The memory of pages that cannot be unmapped is freed all the same; their addresses are kept,
// serve later requests, and are unmapped together with a neighbour as soon as the system allows it.
#pragma once

#include <cstddef>

namespace Tarn::Platform::Posix {

std::size_t PageSize();

/// `size` rounded up to whole pages; 0 if that is too large.
std::size_t WholePages(std::size_t size);

/// Maps zeroed pages that can be read and written; null if there are none. `size` is a multiple of the page
/// size.
void* MapPages(std::size_t size);

/// Reserves addresses without memory; null if there are none. `size` is a multiple of the page size.
void* ReservePages(std::size_t size);

/// Frees pages of either kind. False, with the pages unchanged, if the system frees neither them nor their
/// memory.
bool UnmapPages(void* start, std::size_t size);

} // namespace Tarn::Platform::Posix
