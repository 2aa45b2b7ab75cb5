// The two sorts of lists. They are templates because lists and trees compare nodes of different types.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/list.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/sorting.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <numeric>
#include <utility>

namespace Tarn {

/// An insertion sort on the links.
template<class Compare>
void InsertionSort(CListBase& list, Compare compare) {
    CListNodeBase* current = list.First();
    while (current != nullptr && current->Next() != nullptr) {
        CListNodeBase* moved = current->Next();
        if (compare(current, moved) <= 0) {
            current = moved;
            continue;
        }
        CListNodeBase* place = list.First();
        while (place != current && compare(place, moved) <= 0)
            place = place->Next();
        // The node leaves its place only now that no comparison is left that could fail.
        moved->Detach();
        place->InsertPrev(moved);
    }
}

/// Up to 256 objects in this one itself, more of them in memory from the calling thread's current memory
/// manager.
template<class T>
class CSortRoom {
public:
    explicit CSortRoom(int size) {
        if (size > kInlineSize)
            objects = allocate(GrownCapacity(kInlineSize, size, kInlineSize));
    }
    ~CSortRoom() noexcept(false) {
        if (objects != inlineObjects)
            CurrentMemoryManager::Free(objects);
    }

    CSortRoom(const CSortRoom&) = delete;
    CSortRoom& operator=(const CSortRoom&) = delete;

    T* Ptr() { return objects; }

private:
    static constexpr int kInlineSize = 256;

    static T* allocate(int capacity) {
        if (static_cast<unsigned>(capacity) > INT_MAX / sizeof(T))
            ThrowMemoryException();
        return static_cast<T*>(
            CurrentMemoryManager::Alloc(static_cast<unsigned>(capacity) * static_cast<unsigned>(sizeof(T))));
    }

    T* objects = inlineObjects;
    T inlineObjects[kInlineSize];
};

/// The ranges of a list whose nodes are in order already.
struct CRuns {
    int number = 1;
    bool areAnyEqual = false;

    template<class Compare>
    CRuns(CListNodeBase* const* nodes, int count, Compare& compare) {
        for (int i = 1; i < count && number <= kMost; i++) {
            const int order = compare(nodes[i - 1], nodes[i]);
            number += order > 0;
            areAnyEqual |= order == 0;
        }
    }

    /// Whether it pays to merge them.
    bool AreLong(int count) const { return number <= kMost && number <= count / kShortest; }

private:
    static constexpr int kMost = 8; // no more are counted
    static constexpr int kShortest = 16;
};

/// The place of a node in the list, and its rank: nodes that compare equal have the same one.
struct CRankedPlace {
    int place;
    int rank;
};

/// A merge sort of the places of nodes. Where nodes are in order, it takes one comparison for each.
template<class Compare>
class CMergeSort {
public:
    CMergeSort(CListNodeBase* const* sorted, Compare& comparison) : nodes(sorted), compare(comparison) {}

    /// `spare` has room for half of the places.
    void Run(int* first, int* last, int* spare) {
        if (last - first < 2)
            return;
        int* const middle = first + (last - first) / 2;
        Run(first, middle, spare);
        Run(middle, last, spare);
        if (isBefore(*middle, middle[-1]))
            merge(first, middle, last, spare);
    }
    bool HasFoundEqualNodes() const { return hasFoundEqualNodes; }

private:
    bool isBefore(int a, int b) {
        const int order = compare(nodes[a], nodes[b]);
        hasFoundEqualNodes |= order == 0;
        return order < 0;
    }

    void merge(int* first, int* middle, int* last, int* spare) {
        const int* left = spare;
        const int* const leftEnd = std::copy(first, middle, spare);
        const int* right = middle;
        while (left != leftEnd && right != last)
            *first++ = isBefore(*right, *left) ? *right++ : *left++;
        std::copy(left, leftEnd, first);
    }

    CListNodeBase* const* nodes;
    Compare& compare;
    bool hasFoundEqualNodes = false;
};

/// Quick sort of an array, with a stack of its own for the ranges still to be sorted.
///
/// Its pivot is the middle element, which divides some orders badly: rising and then falling, for example, or
/// two sorted halves one after the other. When a list has taken several times the work of an ordinary one,
/// `SortRange` (sorting.h) sorts the ranges that are left.
template<class T, class Compare>
class CQuickSort {
public:
    CQuickSort(T* array, int size, Compare& comparison)
        : nodes(array), count(size), compare(comparison),
          comparisonsLeft(Int64{kPatience} * size *
                          static_cast<int>(std::bit_width(static_cast<unsigned>(size)))) {}

    void Run() {
        CRange range{0, count - 1};
        for (;;) {
            if (range.Size() > kLongestSelection && comparisonsLeft > 0) {
                range = divide(range);
                continue;
            }
            if (range.Size() > kLongestSelection)
                sortOtherwise(range);
            else
                selectionSort(range);
            if (pendingCount == 0)
                return;
            range = pending[--pendingCount];
        }
    }

private:
    // The indices from `first` to `last`, both included.
    struct CRange {
        int first;
        int last;

        int Size() const { return last - first + 1; }
    };

    static constexpr int kLongestSelection = 8;
    // Each range that has to wait is at least as long as the one that is divided next.
    static constexpr int kDeepestStack = 32;
    // An ordinary list of n nodes takes about 1.4 n log2(n) comparisons to divide.
    static constexpr int kPatience = 3;

    void selectionSort(CRange range) {
        for (int end = range.last; end > range.first; end--) {
            int greatest = end;
            for (int i = end - 1; i >= range.first; i--)
                if (compare(nodes[greatest], nodes[i]) < 0)
                    greatest = i;
            std::swap(nodes[greatest], nodes[end]);
        }
    }

    void sortOtherwise(CRange range) {
        T* first = &nodes[range.first];
        SortRange(first, first + range.Size(), [this](const T& a, const T& b) { return compare(a, b) < 0; });
    }

    // Brings what sorts before the middle element to its left and the rest to its right; returns its place.
    int partition(CRange range) {
        comparisonsLeft -= range.Size();
        T& front = nodes[range.first];
        std::swap(front, nodes[range.first + range.Size() / 2]);
        const T pivot = front;
        int up = range.first;
        int down = range.last + 1;
        for (;;) {
            do
                up++;
            while (up <= range.last && compare(nodes[up], pivot) < 0);
            do
                down--;
            while (down > range.first && compare(pivot, nodes[down]) < 0);
            if (up >= down)
                break;
            std::swap(nodes[up], nodes[down]);
        }
        std::swap(front, nodes[down]);
        return down;
    }

    // Puts the larger part of a divided range aside and returns the smaller one.
    CRange divide(CRange range) {
        const int middle = partition(range);
        CRange smaller{range.first, middle - 1};
        CRange larger{middle + 1, range.last};
        if (smaller.Size() > larger.Size())
            std::swap(smaller, larger);
        pending[pendingCount++] = larger;
        return smaller;
    }

    T* const nodes;
    const int count;
    Compare& compare;
    CRange pending[kDeepestStack];
    int pendingCount = 0;
    Int64 comparisonsLeft;
};

/// Writes the places of nodes that are in a few runs to `places`, in the order that a quick sort would give
/// them, but with fewer comparisons: if there are equal nodes, it sorts their ranks.
template<class Compare>
void SortRuns(CListNodeBase* const* nodes, int count, Compare& compare, int* places) {
    CSortRoom<int> spare(count);
    std::iota(places, places + count, 0);
    CMergeSort<Compare> sort(nodes, compare);
    sort.Run(places, places + count, spare.Ptr());
    if (!sort.HasFoundEqualNodes())
        return;
    CSortRoom<CRankedPlace> room(count);
    CRankedPlace* const ranks = room.Ptr();
    for (int i = 0, rank = 0; i < count; i++) {
        rank += i > 0 && compare(nodes[places[i - 1]], nodes[places[i]]) != 0;
        ranks[places[i]] = {places[i], rank};
    }
    const auto byRank = [](const CRankedPlace& a, const CRankedPlace& b) { return a.rank - b.rank; };
    CQuickSort(ranks, count, byRank).Run();
    std::transform(ranks, ranks + count, places, [](const CRankedPlace& ranked) { return ranked.place; });
}

template<class Compare>
void QuickSort(CListBase& list, Compare compare) {
    const int count = list.NumberOfChildren();
    CSortRoom<CListNodeBase*> room(count);
    CListNodeBase** const nodes = room.Ptr();
    CListNodeBase* node = list.First();
    for (int i = 0; i < count; i++, node = node->Next())
        nodes[i] = node;
    const CRuns runs(nodes, count, compare);
    if (runs.number == 1 && !runs.areAnyEqual)
        return;
    if (runs.AreLong(count)) {
        CSortRoom<int> places(count);
        SortRuns(nodes, count, compare, places.Ptr());
        list.DetachAll();
        for (int i = 0; i < count; i++)
            list.AddLast(nodes[places.Ptr()[i]]);
    } else {
        CQuickSort(nodes, count, compare).Run();
        list.DetachAll();
        for (int i = 0; i < count; i++)
            list.AddLast(nodes[i]);
    }
}

} // namespace Tarn
