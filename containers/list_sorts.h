// The two sorts of lists. They are templates because lists and trees compare nodes of different types.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/list.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/sorting.h>

#include <bit>
#include <climits>
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

/// The nodes of a list in its order: up to 256 in the object itself, more of them in memory from the calling
/// thread's current memory manager.
class CNodeArray {
public:
    explicit CNodeArray(CListBase& list) : count(list.NumberOfChildren()) {
        if (count > kInlineSize)
            nodes = allocate(GrownCapacity(kInlineSize, count, kInlineSize));
        CListNodeBase* node = list.First();
        for (int i = 0; i < count; i++, node = node->Next())
            nodes[i] = node;
    }
    ~CNodeArray() noexcept(false) {
        if (nodes != inlineNodes)
            CurrentMemoryManager::Free(nodes);
    }

    CNodeArray(const CNodeArray&) = delete;
    CNodeArray& operator=(const CNodeArray&) = delete;

    int Size() const { return count; }
    CListNodeBase*& operator[](int index) { return nodes[index]; }

private:
    static constexpr int kInlineSize = 256;

    static CListNodeBase** allocate(int capacity) {
        if (capacity > INT_MAX / kPointerSize)
            ThrowMemoryException();
        const auto size = static_cast<unsigned>(capacity) * unsigned{kPointerSize};
        return static_cast<CListNodeBase**>(CurrentMemoryManager::Alloc(size));
    }

    int count;
    CListNodeBase** nodes = inlineNodes;
    CListNodeBase* inlineNodes[kInlineSize];
};

/// Quick sort of an array of nodes, with a stack of its own for the ranges still to be sorted.
///
/// Its pivot is the middle element, which divides some orders badly: rising and then falling, for example, or
/// two sorted halves one after the other. When a list has taken several times the work of an ordinary one,
/// `SortRange` (sorting.h) sorts the ranges that are left.
template<class Compare>
class CQuickSort {
public:
    CQuickSort(CNodeArray& array, Compare comparison)
        : nodes(array), compare(std::move(comparison)),
          comparisonsLeft(Int64{kPatience} * array.Size() *
                          static_cast<int>(std::bit_width(static_cast<unsigned>(array.Size())))) {}

    void Run() {
        CRange range{0, nodes.Size() - 1};
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
        CListNodeBase** first = &nodes[range.first];
        SortRange(first, first + range.Size(),
                  [this](const CListNodeBase* a, const CListNodeBase* b) { return compare(a, b) < 0; });
    }

    // Brings what sorts before the middle element to its left and the rest to its right; returns its place.
    int partition(CRange range) {
        comparisonsLeft -= range.Size();
        CListNodeBase*& front = nodes[range.first];
        std::swap(front, nodes[range.first + range.Size() / 2]);
        const CListNodeBase* pivot = front;
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

    CNodeArray& nodes;
    Compare compare;
    CRange pending[kDeepestStack];
    int pendingCount = 0;
    Int64 comparisonsLeft;
};

template<class Compare>
void QuickSort(CListBase& list, Compare compare) {
    CNodeArray nodes(list);
    CQuickSort<Compare>(nodes, compare).Run();
    list.DetachAll();
    for (int i = 0; i < nodes.Size(); i++)
        list.AddLast(nodes[i]);
}

} // namespace Tarn
