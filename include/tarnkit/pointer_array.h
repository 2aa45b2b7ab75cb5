/// \file
/// CPointerArray: a growable array of pointers to objects that belong to somebody else.
///
/// It grows as CArray does, with memory from its `Policy`; what the pointers point to is neither copied nor
/// deleted. A wrong position or count is an assertion, after which nothing has changed. Threads may use
/// different arrays at the same time; several may use one array only if none of them changes it.
#pragma once

#include <tarnkit/array.h>

namespace Tarn {

template<class T, class Policy = CurrentMemoryManager>
/// A growable array of pointers; see the top of this header.
class CPointerArray {
public:
    using value_type = T*;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = T*&;
    using const_reference = T* const&;
    using pointer = T**;
    using const_pointer = T* const*;
    using iterator = T**;
    using const_iterator = T* const*;

    CPointerArray() = default;
    /// The pointers of a range.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    requires std::is_convertible_v<std::iter_reference_t<First>, T*> CPointerArray(First from, Last end)
        : pointers(from, end) {}

    int Size() const { return pointers.Size(); }
    /// The number of pointers for which there is room.
    int Capacity() const { return pointers.Capacity(); }
    bool IsEmpty() const { return pointers.IsEmpty(); }

    /// The pointer at `index`, which must exist.
    T*& operator[](int index) { return pointers[index]; }
    T* operator[](int index) const { return pointers[index]; }
    ///@{
    /// The pointer at an end of an array that must not be empty.
    T* First() const { return pointers.First(); }
    T* Last() const { return pointers.Last(); }
    ///@}

    T** begin() { return pointers.begin(); }
    T** end() { return pointers.end(); }
    T* const* begin() const { return pointers.begin(); }
    T* const* end() const { return pointers.end(); }

    /// Makes room for `needed` pointers in all; never shrinks.
    void Reserve(int needed) { pointers.Reserve(needed); }
    /// Shortens the array, or extends it with null pointers.
    void SetSize(int size) { pointers.SetSize(size); }
    ///@{
    /// Appends a pointer.
    void Add(T* object) { pointers.Add(object); }
    void push_back(T* object) { Add(object); }
    ///@}
    /// Appends a pointer made of this argument, or null; returns it.
    template<class... Arguments>
    requires std::is_constructible_v<T*, Arguments...> T*& emplace_back(Arguments&&... arguments) {
        return pointers.emplace_back(std::forward<Arguments>(arguments)...);
    }
    size_type size() const { return pointers.size(); }
    bool empty() const { return IsEmpty(); }
    /// The first pointer; null while no memory is allocated. Valid until the next change of the size.
    T** data() { return pointers.data(); }
    T* const* data() const { return pointers.data(); }
    /// Inserts before `position` (0 to `Size()`); the pointers after it move up.
    void InsertAt(int position, T* object) { pointers.InsertAt(position, object); }

    /// Removes `number` pointers from `start` on; the pointers after them move down.
    void DeleteAt(int start, int number = 1) {
        if (start < 0 || start > Size())
            GenAssert(u"pointerarray", 374);
        else if (number < 0)
            GenAssert(u"pointerarray", 375);
        else if (number > Size() - start)
            GenAssert(u"pointerarray", 376);
        else
            pointers.DeleteAt(start, number);
    }
    /// Removes the last pointer of a non-empty array.
    void DeleteLast() { DeleteAt(Size() - 1); }
    /// Removes all pointers and keeps the memory.
    void DeleteAll() { pointers.DeleteAll(); }
    /// Removes all pointers and frees the memory.
    void FreeBuffer() { pointers.FreeBuffer(); }

    /// The first index at or after `start` that points to `object`, or -1.
    int Find(const T* object, int start = 0) const { return pointers.Find(object, start); }
    /// Whether some element points to `object`.
    bool Has(const T* object) const { return Find(object) >= 0; }

    /// Sorts by a comparison of the objects that returns a negative number, zero or a positive one. Equal
    /// objects keep their order if `isStable` is set, which takes memory for half of the pointers; if there
    /// is none, the array stays as it was. No pointer may be null. See CArray for comparisons that contradict
    /// themselves.
    template<class Compare>
    void Sort(Compare compare, bool isStable = false) {
        pointers.sortBy([&compare](const T* a, const T* b) { return compare(a, b) < 0; }, isStable);
    }

    void Swap(CPointerArray& other) noexcept { pointers.Swap(other.pointers); }

    /// Whether both have the same pointers.
    bool operator==(const CPointerArray&) const = default;

private:
    CArray<T*, Policy> pointers;

    friend struct CLayout<CPointerArray>;
};
TARNKIT_LAYOUT(CPointerArray<int>, 12, pointers);

} // namespace Tarn
