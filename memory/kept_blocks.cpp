#include "memory/kept_blocks.h"

#include <tarnkit/poison.h>

#include <algorithm>
#include <mutex>

namespace Tarn {

// The index of the block that serves a request best; -1 if none does.
int CKeptBlocks::find(std::size_t size) const {
    int best = -1;
    for (int i = 0; i < count; i++)
        if (blocks[i].size >= size && blocks[i].size / kMostUnused <= size &&
            (best < 0 || blocks[i].size < blocks[best].size))
            best = i;
    return best;
}

CKeptBlocks::CBlock CKeptBlocks::takeAt(int index) {
    const CBlock taken = blocks[index];
    std::copy(blocks + index + 1, blocks + count, blocks + index);
    count--;
    bytes -= taken.size;
    return taken;
}

void* CKeptBlocks::Take(std::size_t size) {
    CBlock taken;
    {
        const std::lock_guard guard(*this);
        const int index = find(size);
        if (index < 0)
            return nullptr;
        taken = takeAt(index);
    }
    Unpoison(taken.start, taken.size);
    return taken.start;
}

bool CKeptBlocks::HasFor(std::size_t size) {
    const std::lock_guard guard(*this);
    return find(size) >= 0;
}

bool CKeptBlocks::Keep(CBlock block) {
    const std::lock_guard guard(*this);
    if (!isEnabled || count > kMost || block.size == 0 || block.size > kMostBytes)
        return false;
    Poison(block.start, block.size);
    blocks[count++] = block;
    bytes += block.size;
    return true;
}

CKeptBlocks::CBlock CKeptBlocks::TakeExcess() {
    const std::lock_guard guard(*this);
    const bool isTooMuch = count > kMost || bytes > kMostBytes || !isEnabled;
    return count > 0 && isTooMuch ? takeAt(0) : CBlock{};
}

bool CKeptBlocks::Has(const void* start) {
    const std::lock_guard guard(*this);
    return std::any_of(blocks, blocks + count, [start](const CBlock& b) { return b.start == start; });
}

void CKeptBlocks::Enable(bool isOn) {
    const std::lock_guard guard(*this);
    isEnabled = isOn;
}

} // namespace Tarn
