#include "tests/support/memory_in_use.h"

#include <malloc.h>

// Under a sanitizer, which has an allocator of its own.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

namespace Tarn {

std::size_t MemoryInUse() {
    if (&__sanitizer_get_current_allocated_bytes != nullptr)
        return __sanitizer_get_current_allocated_bytes();
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace Tarn
