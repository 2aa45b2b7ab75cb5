// A buffer for the names or the data of a key that is being enumerated. It has room for a few hundred
// elements inside the object and takes more from the calling thread's current memory manager. Growing
// discards the contents.
#pragma once

#include <tarnkit/memory_manager.h>

#include <algorithm>
#include <climits>
#include <type_traits>

namespace Tarn {

template<class T>
class EnumerationBuffer {
    static_assert(std::is_trivial_v<T>);

public:
    EnumerationBuffer() = default;
    ~EnumerationBuffer() noexcept(false) { release(); }

    EnumerationBuffer(const EnumerationBuffer&) = delete;
    EnumerationBuffer& operator=(const EnumerationBuffer&) = delete;

    T* Ptr() { return elements; }
    unsigned Size() const { return size; }

    /// Makes room for at least `needed` elements. Throws the memory exception.
    void Reserve(unsigned needed) {
        if (needed <= size)
            return;
        const unsigned newSize = std::max(needed, size + std::max(size / 2, kInlineSize));
        if (newSize > INT_MAX / sizeof(T))
            ThrowMemoryException();
        T* room = static_cast<T*>(CurrentMemoryManager::Alloc(newSize * static_cast<unsigned>(sizeof(T))));
        release();
        elements = room;
        size = newSize;
    }

private:
    static constexpr unsigned kInlineSize = 256;

    void release() {
        if (elements != inlineElements)
            CurrentMemoryManager::Free(elements);
    }

    T* elements = inlineElements;
    unsigned size = kInlineSize;
    T inlineElements[kInlineSize];
};

} // namespace Tarn
