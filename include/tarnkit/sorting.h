/// \file
/// The sorts behind CArray and CPointerArray. They sort a range of elements by a predicate `isBefore(a, b)`
/// that says whether `a` belongs before `b`.
///
/// They differ from those of the standard library in one promise: whatever the predicate answers, no memory
/// outside the range is touched and no element is lost or duplicated. With a predicate that contradicts
/// itself (`a <= b` instead of `a < b`, for instance) the resulting order is unspecified, but nothing else
/// goes wrong. The predicate must not throw: the element that is being moved would be lost, and another one
/// be there twice. Any thread, while no other uses the elements.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <utility>

namespace Tarn {

/// Ranges up to this length are sorted by insertion.
inline constexpr std::ptrdiff_t kLongestInsertionSort = 16;

/// Keeps the order of equal elements. The time grows with the square of the length.
template<class T, class Before>
void InsertionSortRange(T* first, T* last, Before& isBefore) {
    if (last - first < 2)
        return;
    for (T* next = first + 1; next != last; ++next) {
        if (!isBefore(*next, next[-1]))
            continue;
        T value = std::move(*next);
        T* hole = next;
        do {
            *hole = std::move(hole[-1]);
            --hole;
        } while (hole != first && isBefore(value, hole[-1]));
        *hole = std::move(value);
    }
}

/// Takes the same time for every order of the elements, several times that of a quick sort.
template<class T, class Before>
void HeapSortRange(T* first, T* last, Before& isBefore) {
    using std::swap;
    // Lets the element at `parent` sink among the first `size`, each of which has its children at twice its
    // index.
    auto sink = [&](std::ptrdiff_t parent, std::ptrdiff_t size) {
        for (;;) {
            std::ptrdiff_t child = 2 * parent + 1;
            if (child >= size)
                return;
            if (child + 1 < size && isBefore(first[child], first[child + 1]))
                child++;
            if (!isBefore(first[parent], first[child]))
                return;
            swap(first[parent], first[child]);
            parent = child;
        }
    };
    for (std::ptrdiff_t parent = (last - first) / 2; parent-- > 0;)
        sink(parent, last - first);
    for (std::ptrdiff_t size = last - first; size-- > 1;) {
        swap(first[0], first[size]);
        sink(0, size);
    }
}

/// The one of three elements that belongs between the others.
template<class T, class Before>
T* MedianOf(T* a, T* b, T* c, Before& isBefore) {
    if (isBefore(*b, *a))
        std::swap(a, b);
    if (!isBefore(*c, *b))
        return b;
    return isBefore(*c, *a) ? a : c;
}

/// Divides a range of more than `kLongestInsertionSort` elements around the element that it returns: what
/// belongs before that element ends up on its left, the rest on its right.
template<class T, class Before>
T* PartitionRange(T* first, T* last, Before& isBefore) {
    using std::swap;
    constexpr std::ptrdiff_t longestForThree = 128; // beyond it nine elements give a better pivot
    T* middle = first + (last - first) / 2;
    T* pivot;
    // The first element is not a candidate: the previous division has put an arbitrary element there.
    if (last - first <= longestForThree) {
        pivot = MedianOf(first + 1, middle, last - 1, isBefore);
    } else {
        const std::ptrdiff_t step = (last - first) / 8;
        pivot = MedianOf(MedianOf(first + 1, first + 1 + step, first + 1 + 2 * step, isBefore),
                         MedianOf(middle - step, middle, middle + step, isBefore),
                         MedianOf(last - 1 - 2 * step, last - 1 - step, last - 1, isBefore), isBefore);
    }
    swap(*first, *pivot);
    // Every step checks for both ends, which a predicate that contradicts itself would otherwise run past.
    T* up = first;
    T* down = last;
    for (;;) {
        do
            ++up;
        while (up != last && isBefore(*up, *first));
        do
            --down;
        while (down != first && isBefore(*first, *down));
        if (up >= down)
            break;
        swap(*up, *down);
    }
    if (down != first)
        swap(*first, *down);
    return down;
}

/// A quick sort that leaves the rest to a heap sort after so many divisions.
template<class T, class Before>
void SortRangeWithin(int divisionsLeft, T* first, T* last, Before& isBefore) {
    while (last - first > kLongestInsertionSort) {
        if (divisionsLeft-- == 0)
            return HeapSortRange(first, last, isBefore);
        T* middle = PartitionRange(first, last, isBefore);
        // The smaller part first, so that the depth of the calls is the logarithm of the length.
        if (middle - first < last - middle) {
            SortRangeWithin(divisionsLeft, first, middle, isBefore);
            first = middle + 1;
        } else {
            SortRangeWithin(divisionsLeft, middle + 1, last, isBefore);
            last = middle;
        }
    }
    InsertionSortRange(first, last, isBefore);
}

/// A quick sort that becomes a heap sort where it divides badly; equal elements may change their order.
template<class T, class Before>
void SortRange(T* first, T* last, Before isBefore) {
    const auto logarithm = static_cast<int>(std::bit_width(static_cast<std::size_t>(last - first)));
    SortRangeWithin(2 * logarithm, first, last, isBefore);
}

/// Merges two sorted ranges that meet at `middle`. `spare` is raw memory for as many elements as the first
/// has.
template<class T, class Before>
void MergeRanges(T* first, T* middle, T* last, T* spare, Before& isBefore) {
    struct CMoved {
        T* begin;
        T* end;
        ~CMoved() { std::destroy(begin, end); }
    };
    const CMoved left{spare, std::uninitialized_move(first, middle, spare)};
    T* nextLeft = left.begin;
    T* nextRight = middle;
    while (nextLeft != left.end && nextRight != last)
        *first++ = isBefore(*nextRight, *nextLeft) ? std::move(*nextRight++) : std::move(*nextLeft++);
    std::move(nextLeft, left.end, first);
}

/// A merge sort: equal elements keep their order. `spare` is raw memory for half of the elements.
template<class T, class Before>
void StableSortRange(T* first, T* last, T* spare, Before& isBefore) {
    if (last - first <= kLongestInsertionSort)
        return InsertionSortRange(first, last, isBefore);
    T* middle = first + (last - first) / 2;
    StableSortRange(first, middle, spare, isBefore);
    StableSortRange(middle, last, spare, isBefore);
    if (isBefore(*middle, middle[-1]))
        MergeRanges(first, middle, last, spare, isBefore);
}

} // namespace Tarn
