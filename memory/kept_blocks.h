// Large blocks that were freed and are kept for the next requests. A mapping that is new costs a page fault
// for every page that is filled, several times what filling takes.
//
// They are few, and those that were freed last. What the system has to do is never done under the lock.
#pragma once

#include "memory/spin_lock.h"

#include <cstddef>

namespace Tarn {

class CKeptBlocks {
public:
    struct CBlock {
        void* start;
        std::size_t size;
    };

    constexpr CKeptBlocks() = default;

    /// The smallest block that has room for `size` bytes and is not several times as large; null if there is
    /// none.
    void* Take(std::size_t size);

    /// Whether `Take` would find one.
    bool HasFor(std::size_t size);

    /// Returns false if the block is not to be kept. After a block was kept, the excess has to leave.
    bool Keep(CBlock block);

    /// Takes a block that is too much; its start is null if there is none.
    CBlock TakeExcess();

    bool Has(const void* start);

    /// Sets whether blocks are kept. If they are not, all of them are in excess.
    void Enable(bool isOn);

    // What is above takes the lock itself.
    void lock() noexcept { spinLock.lock(); }
    void unlock() noexcept { spinLock.unlock(); }

private:
    static constexpr int kMost = 8;
    static constexpr std::size_t kMostBytes = 0x800000;
    static constexpr std::size_t kMostUnused = 4; ///< a block may have so many times the size of a request

    int find(std::size_t size) const;
    CBlock takeAt(int index);

    CSpinLock spinLock;
    CBlock blocks[kMost + 1] = {}; // in the order in which they were freed
    int count = 0;
    std::size_t bytes = 0;
    bool isEnabled = true;
};

} // namespace Tarn
