// A table of what handles refer to: open files and searches in one, registry keys in another.
//
// A handle contains the number of its place in the table and how often that place was used before, so that a
// closed handle is still recognised as closed when its place is in use again. Places are reused in turn, so
// that this works for as long as possible. A handle is never null, all ones or a predefined registry key.
//
// Tables are constant-initialised and never destroyed: handles may be opened before any other static object
// exists and closed after the last one is gone. Memory comes from the C runtime's heap. Not synchronised.
#pragma once

#include <tarnkit/types.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <type_traits>

namespace Tarn::Platform::Posix {

template<class Entry>
class HandleTable {
    static_assert(std::is_trivially_copyable_v<Entry>);

public:
    constexpr HandleTable() = default;
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;

    /// A handle for `entry`; null if there are too many or there is no memory for another one.
    void* Open(const Entry& entry) {
        if (firstFree == kNone && !grow())
            return nullptr;
        const Index index = firstFree;
        Place& place = places[index];
        firstFree = place.nextFree;
        place.entry = entry;
        place.nextFree = kInUse;
        openCount++;
        return handleOf(index);
    }

    /// What an open handle refers to; null for any other value.
    Entry* Find(const void* handle) {
        const Index index = indexOf(handle);
        const bool isOpen =
            index < placeCount && places[index].nextFree == kInUse && handleOf(index) == handle;
        return isOpen ? &places[index].entry : nullptr;
    }

    /// Takes an open handle out of use.
    void Close(const void* handle) {
        const Index index = indexOf(handle);
        places[index].uses = (places[index].uses + 1) & kMostUses;
        places[index].nextFree = kNone;
        (firstFree == kNone ? firstFree : places[lastFree].nextFree) = index;
        lastFree = index;
        openCount--;
    }

    /// Calls `action` with what each open handle refers to.
    template<class Action>
    void ForEach(Action action) {
        for (Index i = 0; i < placeCount; i++)
            if (places[i].nextFree == kInUse)
                action(places[i].entry);
    }

    /// Frees the memory unless a handle is open.
    void Release() {
        if (openCount != 0)
            return;
        std::free(places);
        places = nullptr;
        placeCount = 0;
        firstFree = lastFree = kNone;
    }

private:
    using Index = std::uint32_t;

    struct Place {
        Entry entry;
        Index uses;
        Index nextFree;
    };

    static constexpr Index kFirstPlaces = 64;
    static constexpr Index kMostPlaces = (1u << 20) - 1;
    static constexpr Index kNone = ~Index{0};
    static constexpr Index kInUse = kNone - 1;
    // The number of a place is in the low half of a 64-bit handle and in the low 20 bits of a 32-bit one. The
    // top bit stays clear.
    static constexpr int kPlaceBits = sizeof(void*) == 8 ? 32 : 20;
    static constexpr std::uintptr_t kPlaceMask = (std::uintptr_t{1} << kPlaceBits) - 1;
    static constexpr Index kMostUses =
        static_cast<Index>(std::numeric_limits<std::intptr_t>::max() >> kPlaceBits);

    static Index indexOf(const void* handle) {
        return static_cast<Index>(reinterpret_cast<std::uintptr_t>(handle) & kPlaceMask) - 1;
    }

    void* handleOf(Index index) const {
        return reinterpret_cast<void*>(std::uintptr_t{places[index].uses} << kPlaceBits | (index + 1));
    }

    bool grow() {
        const Index count = placeCount == 0 ? kFirstPlaces : 2 * placeCount;
        if (count > kMostPlaces)
            return false;
        void* const memory = std::realloc(static_cast<void*>(places), count * sizeof(Place));
        if (memory == nullptr)
            return false;
        places = static_cast<Place*>(memory);
        for (Index i = placeCount; i < count; i++)
            places[i] = {{}, 0, i + 1 < count ? i + 1 : kNone};
        firstFree = placeCount;
        lastFree = count - 1;
        placeCount = count;
        return true;
    }

    Place* places = nullptr;
    Index placeCount = 0;
    Index openCount = 0;
    Index firstFree = kNone;
    Index lastFree = kNone;
};

} // namespace Tarn::Platform::Posix
