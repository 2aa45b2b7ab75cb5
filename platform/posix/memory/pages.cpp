#include "platform/posix/memory/pages.h"

#include "platform/poison.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/fork_handlers.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr int kReadWrite = PROT_READ | PROT_WRITE;

void* pointerTo(std::uintptr_t address) { return reinterpret_cast<void*>(address); }

bool unmap(std::uintptr_t start, std::size_t size) { return munmap(pointerTo(start), size) == 0; }

void* mapOrNull(std::size_t size, int access, int flags) {
    void* const start = mmap(nullptr, size, access, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
    return start == MAP_FAILED ? nullptr : start;
}

// Freed ranges that the system could not unmap, by their start. They have no memory, and no two of them
// touch. Never destroyed: pages are still freed while the process ends.
class VacantRanges {
public:
    static VacantRanges& Get() {
        alignas(VacantRanges) static std::byte storage[sizeof(VacantRanges)];
        static VacantRanges* const ranges = ::new (storage) VacantRanges;
        return *ranges;
    }

    void lock() { mutex.lock(); }
    void unlock() { mutex.unlock(); }

    bool AreAny() const { return areAny.load(std::memory_order_relaxed); }

    /// The end of some range, ready to be read and written; null when no range is large enough.
    void* Take(std::size_t size) {
        std::lock_guard guard(*this);
        if (size > sizeLimit)
            return nullptr;
        const auto found = std::find_if(ranges.begin(), ranges.end(),
                                        [size](const auto& range) { return range.second >= size; });
        if (found == ranges.end()) {
            sizeLimit = size - 1;
            return nullptr;
        }
        void* const start = pointerTo(found->first + found->second - size);
        if (mprotect(start, size, kReadWrite) != 0)
            return nullptr;
        found->second -= size;
        if (found->second == 0)
            erase(found);
        return start;
    }

    /// Unmaps a range together with those that touch it, or keeps it. False when its memory cannot be freed.
    bool Return(std::uintptr_t start, std::size_t size) {
        std::lock_guard guard(*this);
        auto next = ranges.lower_bound(start);
        auto first = next;
        if (first != ranges.begin() && end(*std::prev(first)) == start)
            --first;
        if (next != ranges.end() && next->first == start + size)
            ++next;
        const std::uintptr_t unitedStart = first != next ? std::min(first->first, start) : start;
        const std::size_t unitedSize =
            (first != next ? std::max(end(*std::prev(next)), start + size) : start + size) - unitedStart;
        if (unmap(unitedStart, unitedSize)) {
            erase(first, next);
            unmapAnother();
            return true;
        }
        if (madvise(pointerTo(start), size, MADV_DONTNEED) != 0)
            return false;
        keep(first, next, unitedStart, unitedSize);
        return true;
    }

private:
    using Ranges = std::map<std::uintptr_t, std::size_t, std::less<>,
                            Allocator<std::pair<const std::uintptr_t, std::size_t>>>;

    static std::uintptr_t end(const Ranges::value_type& range) { return range.first + range.second; }

    void erase(Ranges::iterator first, Ranges::iterator last) {
        ranges.erase(first, last);
        areAny = !ranges.empty();
    }
    void erase(Ranges::iterator range) { erase(range, std::next(range)); }

    // Replaces those from `first` to `last`. If there is no memory for its record, the range is forgotten;
    // nothing but its addresses is lost.
    void keep(Ranges::iterator first, Ranges::iterator last, std::uintptr_t start, std::size_t size) {
        ranges.erase(first, last);
        try {
            ranges.emplace(start, size);
        } catch (const std::bad_alloc&) {
        }
        areAny = !ranges.empty();
        sizeLimit = std::max(sizeLimit, size);
    }

    // Once a range was unmapped, there may be room to split the mapping of another.
    void unmapAnother() {
        if (!ranges.empty() && unmap(ranges.begin()->first, ranges.begin()->second))
            erase(ranges.begin());
    }

    std::mutex mutex;
    Ranges ranges;
    std::size_t sizeLimit = 0; // no range is larger
    std::atomic<bool> areAny = false;
};

} // namespace

constinit const ForkHandlers kPagesAtFork = HoldDuringFork<VacantRanges::Get>();

std::size_t PageSize() {
    static const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

std::size_t WholePages(std::size_t size) {
    return size > SIZE_MAX - PageSize() ? 0 : (size + PageSize() - 1) / PageSize() * PageSize();
}

void* MapPages(std::size_t size) {
    VacantRanges& vacant = VacantRanges::Get();
    void* const reused = vacant.AreAny() ? vacant.Take(size) : nullptr;
    return reused != nullptr ? reused : mapOrNull(size, kReadWrite, 0);
}

void* ReservePages(std::size_t size) { return mapOrNull(size, PROT_NONE, MAP_NORESERVE); }

bool UnmapPages(void* start, std::size_t size) {
    Unpoison(start, size);
    VacantRanges& vacant = VacantRanges::Get();
    const auto place = reinterpret_cast<std::uintptr_t>(start);
    return (!vacant.AreAny() && unmap(place, size)) || vacant.Return(place, size);
}

} // namespace Tarn::Platform::Posix
