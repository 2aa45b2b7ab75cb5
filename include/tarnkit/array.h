/// \file
/// CArray: the library's growable array. Contiguous elements, 0-based `int` indices, value semantics.
///
/// An array owns its elements. Their memory comes from the `Policy` (by default the calling thread's current
/// memory manager at the moment of growing) and goes back to where it came from. Any change of the size may
/// move the elements. An operation that adds or copies elements either succeeds or leaves the array as it
/// was, unless the elements can neither be copied nor be moved without failing. A wrong position or count in
/// an insertion or removal is an assertion, after which nothing has changed; access to single elements is not
/// checked. Destructors of elements must not throw. Threads may use different arrays at the same time;
/// several may use one array only if none of them changes it.
///
/// The names in lower case are those of the standard library's containers, for templates that ask for them:
/// an array is a contiguous range, becomes a `std::span`, and takes what `std::back_inserter` gives it.
///
/// \code
/// CArray<CUnicodeString> names{u"pear", u"fig"};
/// names.Add(u"apple");
/// names.Sort(CUnicodeString::Cmp); // apple, fig, pear
/// int place;
/// if (names.BinarySearch(u"grape", CUnicodeString::Cmp, &place) < 0)
///     names.InsertAt(place, u"grape"); // still sorted
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/failures.h>
#include <tarnkit/layout.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/sorting.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <new>
#include <ranges>
#include <type_traits>
#include <utility>

namespace Tarn {

/// The new capacity of a container that has room for `capacity` elements and needs room for `needed`, which
/// is greater: half as much again, but at least `minimal` more, and at least `needed`.
constexpr int GrownCapacity(int capacity, int needed, int minimal = 8) {
    const int growth = std::max(needed - capacity, std::max(capacity / 2, minimal));
    return growth > INT_MAX - capacity ? needed : capacity + growth;
}

class CString;
class CUnicodeString;

/// Whether an object can change its place by a copy of its bytes, after which the bytes in the old place are
/// no object any more. Classes that nothing points into can say so of themselves.
template<class T>
inline constexpr bool kIsRelocatable = std::is_trivially_copyable_v<T>;
/// Its handle is one pointer, which points out of the object.
template<>
inline constexpr bool kIsRelocatable<CString> = true;
/// Its handle is one pointer, which points out of the object.
template<>
inline constexpr bool kIsRelocatable<CUnicodeString> = true;

template<class T, class Policy = CurrentMemoryManager>
/// A growable array; see the top of this header.
class CArray {
public:
    using value_type = T;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = T&;
    using const_reference = const T&;
    using pointer = T*;
    using const_pointer = const T*;
    using iterator = T*;
    using const_iterator = const T*;

    CArray() = default;
    /// An array of `size` value-initialised elements.
    explicit CArray(int size) : CArray() { SetSize(size); }
    /// An array of copies of `values`.
    CArray(std::initializer_list<T> values) : CArray() { appendCopies(values.begin(), values.size()); }
    /// Copies of what a range of another type has.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    requires std::is_constructible_v<T, std::iter_reference_t<First>> CArray(First from, Last end)
        : CArray() {
        appendAll(from, end);
    }
    template<class Range>
    requires(!std::is_base_of_v<CArray, std::remove_cvref_t<Range>>) &&
        std::ranges::input_range<Range>&& std::is_constructible_v<
            T, std::ranges::range_reference_t<Range>> explicit CArray(Range&& range)
        : CArray() {
        appendAll(std::ranges::begin(range), std::ranges::end(range));
    }
    CArray(const CArray& other) : CArray() { Append(other); }
    CArray(CArray&& other) noexcept : CArray() { Swap(other); }
    CArray& operator=(const CArray& other) {
        if (this != &other) {
            CArray copy(other);
            Swap(copy);
        }
        return *this;
    }
    CArray& operator=(CArray&& other) noexcept {
        CArray moved(std::move(other));
        Swap(moved);
        return *this;
    }
    ~CArray() { FreeBuffer(); }

    int Size() const { return count; }
    /// The number of elements for which there is room.
    int Capacity() const { return capacity; }
    bool IsEmpty() const { return count == 0; }

    /// The first element; null while no memory is allocated. Valid until the next change of the size.
    T* Ptr() { return elements; }
    const T* Ptr() const { return elements; }
    T* begin() { return elements; }
    T* end() { return elements + count; }
    const T* begin() const { return elements; }
    const T* end() const { return elements + count; }

    /// The element at `index`, which must exist.
    T& operator[](int index) { return elements[index]; }
    const T& operator[](int index) const { return elements[index]; }
    ///@{
    /// The element at an end of an array that must not be empty.
    T& First() { return elements[0]; }
    const T& First() const { return elements[0]; }
    T& Last() { return elements[count - 1]; }
    const T& Last() const { return elements[count - 1]; }
    ///@}

    // The same under the names of the standard library.
    size_type size() const { return static_cast<size_type>(count); }
    bool empty() const { return count == 0; }
    /// `Ptr`, as the standard library's templates ask for it.
    T* data() { return elements; }
    const T* data() const { return elements; }

    /// Makes room for `needed` elements in all; never shrinks.
    void Reserve(int needed) {
        if (needed > capacity)
            grow(needed);
    }

    /// Shortens the array, or extends it with value-initialised elements.
    void SetSize(int size) {
        if (size < 0) {
            GenAssert(u"array", __LINE__);
            return;
        }
        if (size < count) {
            cutTo(size);
        } else {
            Reserve(size);
            std::uninitialized_value_construct(elements + count, elements + size);
            count = size;
        }
    }

    /// Appends a copy of `value`, which may be an element of this array.
    void Add(const T& value) { emplaceLast(value); }
    void Add(T&& value) { emplaceLast(std::move(value)); }
    /// `Add`, as the standard library's templates ask for it.
    void push_back(const T& value) { Add(value); }
    void push_back(T&& value) { Add(std::move(value)); }
    /// Appends an element made of these arguments, which may refer to elements of this array; returns it.
    template<class... Arguments>
    requires std::is_constructible_v<T, Arguments...> T& emplace_back(Arguments&&... arguments) {
        if (count == capacity) {
            Add(T(std::forward<Arguments>(arguments)...));
        } else {
            std::construct_at(elements + count, std::forward<Arguments>(arguments)...);
            count++;
        }
        return Last();
    }

    /// Appends all of `other`, which may be this array.
    template<class OtherPolicy>
    void Append(const CArray<T, OtherPolicy>& other) {
        const int added = other.Size();
        Reserve(sumOrFail(count, static_cast<std::size_t>(added)));
        // The source is asked for its elements only now: it may be this array, which has just moved.
        appendCopies(other.Ptr(), static_cast<std::size_t>(added));
    }

    /// Inserts a copy of `value`, which may be an element of this array, before `position` (0 to `Size()`);
    /// the elements after it move up.
    void InsertAt(int position, const T& value) {
        position == count ? Add(value) : insertBefore(position, T(value));
    }
    void InsertAt(int position, T&& value) {
        position == count ? Add(std::move(value)) : insertBefore(position, T(std::move(value)));
    }

    /// Removes `number` elements from `position` on; the elements after them move down.
    void DeleteAt(int position, int number = 1) {
        if (position < 0 || number < 0 || number > count - position) {
            GenAssert(u"array", __LINE__);
            return;
        }
        if (number == 0)
            return;
        T* const end = elements + position + number;
        if constexpr (kIsRelocatable<T>) {
            std::destroy(elements + position, end);
            relocate(end, elements + count, elements + position);
            count -= number;
        } else {
            std::move(end, elements + count, elements + position);
            cutTo(count - number);
        }
    }

    /// Removes the last element of a non-empty array.
    void DeleteLast() { DeleteAt(count - 1); }

    /// Removes all elements and keeps the memory.
    void DeleteAll() { cutTo(0); }

    /// Removes all elements and frees the memory.
    void FreeBuffer() {
        DeleteAll();
        capacity = 0;
        if (T* old = std::exchange(elements, nullptr))
            Policy::Free(old);
    }

    /// The first index at or after `start` whose element equals `value`, or -1.
    template<class Value>
    int Find(const Value& value, int start = 0) const {
        for (int i = start; i < count; i++)
            if (elements[i] == value)
                return i;
        return -1;
    }
    /// Whether some element equals `value`.
    template<class Value>
    bool Has(const Value& value) const {
        return Find(value) >= 0;
    }

    /// Sorts by a comparison that returns a negative number, zero or a positive one and must not throw. Equal
    /// elements keep their order if `isStable` is set, which takes memory for half of the elements; if there
    /// is none, the array stays as it was. A comparison that contradicts itself leaves the elements in an
    /// unspecified order but does no other harm.
    void Sort(int (*compare)(const T*, const T*), bool isStable = false) {
        sortBy([compare](const T& a, const T& b) { return compare(&a, &b) < 0; }, isStable);
    }
    /// The same for any function object, which the compiler can include into the sort.
    template<class Compare>
    requires std::is_invocable_r_v<int, Compare&, const T*, const T*>
    void Sort(Compare compare, bool isStable = false) {
        sortBy([&compare](const T& a, const T& b) { return compare(&a, &b) < 0; }, isStable);
    }

    /// The index of the first element that compares equal to `value` in an array sorted by `compare`, or -1.
    /// `insertAt`, if given, receives the index at which the value is or belongs.
    int BinarySearch(const T& value, int (*compare)(const T*, const T*), int* insertAt = nullptr) const {
        return BinarySearch<int (*)(const T*, const T*)>(value, compare, insertAt);
    }
    /// The same for any function object.
    template<class Compare>
    requires std::is_invocable_r_v<int, Compare&, const T*, const T*>
    int BinarySearch(const T& value, Compare compare, int* insertAt = nullptr) const {
        auto isBefore = [&compare](const T& a, const T& b) { return compare(&a, &b) < 0; };
        const T* place = std::lower_bound(begin(), end(), value, isBefore);
        const int index = static_cast<int>(place - begin());
        if (insertAt != nullptr)
            *insertAt = index;
        return index < count && compare(place, &value) == 0 ? index : -1;
    }

    /// Removes each element that equals the one before it.
    void DeleteAdjacentDuplicates() {
        const int kept = static_cast<int>(std::unique(begin(), end()) - begin());
        DeleteAt(kept, count - kept);
    }

    void Swap(CArray& other) noexcept {
        std::swap(count, other.count);
        std::swap(elements, other.elements);
        std::swap(capacity, other.capacity);
    }

    bool operator==(const CArray& other) const {
        return std::equal(begin(), end(), other.begin(), other.end());
    }

private:
    int count = 0;
    T* elements = nullptr;
    int capacity = 0;

    friend struct CLayout<CArray>;
    template<class, class>
    friend class CPointerArray;

    static_assert(alignof(T) <= alignof(std::max_align_t),
                  "over-aligned elements need a manager of their own");

    // Whether moving an element to a new place cannot fail. `std::is_nothrow_move_constructible_v` asks for a
    // `noexcept` destructor as well, which files do not have.
    static constexpr bool kConstructsSafely = requires(void* place, T&& element) {
        { ::new (place) T(std::move(element)) }
        noexcept;
    };
    // Whether elements can change places without a failure half-way.
    static constexpr bool kMovesSafely = kConstructsSafely && std::is_nothrow_move_assignable_v<T>;

    static int sumOrFail(int a, std::size_t b) {
        if (b > static_cast<std::size_t>(INT_MAX - a))
            ThrowMemoryException();
        return a + static_cast<int>(b);
    }

    static T* allocate(int size) {
        if (static_cast<UInt64>(size) * sizeof(T) > INT_MAX)
            ThrowMemoryException();
        return static_cast<T*>(Policy::Alloc(static_cast<unsigned>(size) * static_cast<unsigned>(sizeof(T))));
    }

    template<class Before>
    void sortBy(Before isBefore, bool isStable) {
        if (!isStable) {
            SortRange(begin(), end(), isBefore);
            return;
        }
        struct CSpare {
            T* room;
            ~CSpare() { Policy::Free(room); }
        };
        const CSpare spare{count > kLongestInsertionSort ? allocate(count / 2) : nullptr};
        StableSortRange(begin(), end(), spare.room, isBefore);
    }

    static void relocate(T* from, T* end, T* to) {
        std::memmove(static_cast<void*>(to), static_cast<const void*>(from),
                     static_cast<std::size_t>(end - from) * sizeof(T));
    }

    // Inserts an element that is not in the array before one that is.
    void insertBefore(int position, T&& value) {
        if (position < 0 || position > count) {
            GenAssert(u"array", __LINE__);
        } else if constexpr (kIsRelocatable<T> || kConstructsSafely) {
            if (count < capacity || growBuffer(GrownCapacity(capacity, sumOrFail(count, 1))))
                moveUp(position, std::move(value));
            else
                growInserting(position, std::move(value));
        } else if constexpr (!std::is_copy_constructible_v<T>) {
            Add(std::move(value));
            std::rotate(elements + position, elements + count - 1, elements + count);
        } else {
            CArray grown;
            grown.Reserve(count < capacity ? capacity : GrownCapacity(capacity, sumOrFail(count, 1)));
            grown.appendCopies(elements, static_cast<std::size_t>(position));
            grown.Add(std::move(value));
            grown.appendCopies(elements + position, static_cast<std::size_t>(count - position));
            Swap(grown);
        }
    }

    // The same where there is room for one element more. Nothing here can fail.
    void moveUp(int position, T&& value) {
        T* const place = elements + position;
        T* const end = elements + count;
        if constexpr (kIsRelocatable<T>) {
            relocate(place, end, place + 1);
            ::new (static_cast<void*>(place)) T(std::move(value));
        } else if constexpr (kMovesSafely) {
            ::new (static_cast<void*>(end)) T(std::move(end[-1]));
            std::move_backward(place, end - 1, end);
            *place = std::move(value);
        } else {
            for (T* to = end; to != place; to--) {
                ::new (static_cast<void*>(to)) T(std::move(to[-1]));
                std::destroy_at(to - 1);
            }
            ::new (static_cast<void*>(place)) T(std::move(value));
        }
        count++;
    }

    // The same while the elements move to a larger buffer, so that each moves only once.
    void growInserting(int position, T&& value) {
        const int newCapacity = GrownCapacity(capacity, sumOrFail(count, 1));
        T* const room = allocate(newCapacity);
        if constexpr (kIsRelocatable<T>) {
            if (count > 0) {
                relocate(elements, elements + position, room);
                relocate(elements + position, elements + count, room + position + 1);
            }
        } else {
            std::uninitialized_move(elements, elements + position, room);
            std::uninitialized_move(elements + position, elements + count, room + position + 1);
        }
        ::new (static_cast<void*>(room + position)) T(std::move(value));
        adopt(room, newCapacity);
        count++;
    }

    // Moves the elements into `room` if that cannot fail, and copies them otherwise.
    void transferTo(T* room) {
        if constexpr (kIsRelocatable<T>) {
            if (count > 0)
                relocate(elements, elements + count, room);
        } else if constexpr (kConstructsSafely || !std::is_copy_constructible_v<T>) {
            std::uninitialized_move(elements, elements + count, room);
        } else {
            std::uninitialized_copy(elements, elements + count, room);
        }
    }

    // Makes `room`, to which the elements have been transferred, the buffer.
    void adopt(T* room, int newCapacity) {
        T* old = std::exchange(elements, room);
        capacity = newCapacity;
        if constexpr (!kIsRelocatable<T>)
            std::destroy(old, old + count);
        if (old != nullptr)
            Policy::Free(old);
    }

    // Lets the system make the buffer larger; returns whether it did.
    bool growBuffer([[maybe_unused]] int newCapacity) {
        if constexpr (kIsRelocatable<T> && requires(T * old) { Policy::Grow(old, 0u); }) {
            const auto size = static_cast<UInt64>(newCapacity) * sizeof(T);
            if (static_cast<UInt64>(capacity) * sizeof(T) <= kLargestSmallAllocation || size > INT_MAX)
                return false;
            if (void* const room = Policy::Grow(elements, static_cast<unsigned>(size))) {
                elements = static_cast<T*>(room);
                capacity = newCapacity;
                return true;
            }
        }
        return false;
    }

    void grow(int needed) {
        const int newCapacity = GrownCapacity(capacity, needed);
        if (growBuffer(newCapacity))
            return;
        T* room = allocate(newCapacity);
        try {
            transferTo(room);
        } catch (...) {
            Policy::Free(room);
            throw;
        }
        adopt(room, newCapacity);
    }

    // Appends an element made from `value`, which may lie inside the buffer that growing frees: the new
    // element is made before the old ones move.
    template<class Value>
    void emplaceLast(Value&& value) {
        const int place = count; // read once: the compiler cannot tell whether the element is the count
        if (place < capacity) [[likely]]
            ::new (static_cast<void*>(elements + place)) T(std::forward<Value>(value));
        else
            growAround(std::forward<Value>(value));
        count = place + 1;
    }

    template<class Value>
    [[gnu::noinline]] void growAround(Value&& value) {
        const int newCapacity = GrownCapacity(capacity, sumOrFail(count, 1));
        auto* source = std::addressof(value);
        const bool isInside =
            !std::less<const T*>()(source, elements) && std::less<const T*>()(source, elements + count);
        const std::ptrdiff_t index = isInside ? source - elements : 0;
        if (growBuffer(newCapacity)) {
            source = isInside ? elements + index : source;
            ::new (static_cast<void*>(elements + count)) T(std::forward<Value>(*source));
            return;
        }
        T* room = allocate(newCapacity);
        T* added = nullptr;
        try {
            added = ::new (static_cast<void*>(room + count)) T(std::forward<Value>(value));
            transferTo(room);
        } catch (...) {
            if (added != nullptr)
                std::destroy_at(added);
            Policy::Free(room);
            throw;
        }
        adopt(room, newCapacity);
    }

    template<class From, class End>
    void appendAll(From from, End end) {
        if constexpr (std::forward_iterator<From>)
            Reserve(sumOrFail(count, static_cast<std::size_t>(std::ranges::distance(from, end))));
        for (; from != end; ++from)
            emplace_back(*from);
    }

    void appendCopies(const T* values, std::size_t number) {
        const int total = sumOrFail(count, number);
        Reserve(total);
        std::uninitialized_copy_n(values, number, elements + count);
        count = total;
    }

    void cutTo(int size) {
        const int old = std::exchange(count, size);
        std::destroy(elements + size, elements + old);
    }
};

/// Its elements stay where they are when it moves.
template<class T, class Policy>
inline constexpr bool kIsRelocatable<CArray<T, Policy>> = true;

TARNKIT_LAYOUT(CArray<int>, 12, count, elements, capacity);

} // namespace Tarn
