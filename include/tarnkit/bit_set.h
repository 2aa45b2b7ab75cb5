// CPagedBitSet: a set of small integers as bits, cut into pages. A page without an element need not be there,
// so that small sets cost little whatever their bound is.
//
// A set is a value that owns its pages; an `Allocator` hands these out and takes them back, with the rules of
// that allocator for threads. Pages that an operation has emptied stay for reuse until the set is assigned to
// or destroyed; whether an empty page is there makes no difference to what a set contains. Operations either
// succeed or, when there is no memory, leave the elements as they were. CUnicodeSet (unicode_set.h) is the
// set of this kind that the library uses itself.
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>

#include <algorithm>
#include <utility>

namespace Tarn {

/// The number of bits that are set in each byte value, for counting the elements of a set byte by byte.
extern TARNKIT_API const unsigned char BitSetElementsTable[256];

// The words of a page without elements. They are no member of the set: on Windows a client would look in the
// library for those of sets that only the client has.
template<class Word, unsigned count>
inline constexpr Word kNoWords[count] = {};

/// A set of the integers from 0 to below `bound`, on pages of `pageSize` bits.
template<unsigned bound, unsigned pageSize, class Allocator>
class TARNKIT_API CPagedBitSet {
public:
    constexpr CPagedBitSet() = default;
    CPagedBitSet(const CPagedBitSet& other) : CPagedBitSet() { *this = other; }
    CPagedBitSet(CPagedBitSet&& other) noexcept { Swap(other); }
    /// Takes over the elements into pages of its own; gives back those that `other` has not.
    CPagedBitSet& operator=(const CPagedBitSet& other) {
        if (this == &other)
            return *this;
        allocateAsIn(other);
        for (unsigned p = 0; p < kPageCount; p++)
            if (other.pages[p] != nullptr)
                std::copy_n(other.pages[p], kPageWords, pages[p]);
            else
                Allocator::Free(std::exchange(pages[p], nullptr));
        return *this;
    }
    CPagedBitSet& operator=(CPagedBitSet&& other) noexcept {
        CPagedBitSet moved(std::move(other));
        Swap(moved);
        return *this;
    }
    ~CPagedBitSet() {
        for (Word* page : pages)
            Allocator::Free(page);
    }

    void Swap(CPagedBitSet& other) noexcept { std::swap(pages, other.pages); }

    /// Whether `element`, which must be below the bound, is in the set.
    bool Has(unsigned element) const {
        return (wordsOf(element / pageSize)[wordOf(element)] & bitOf(element)) != 0;
    }
    /// Whether every element of `other` is in the set.
    bool Has(const CPagedBitSet& other) const {
        for (unsigned p = 0; p < kPageCount; p++)
            for (unsigned w = 0; other.pages[p] != nullptr && w < kPageWords; w++)
                if ((other.pages[p][w] & ~wordsOf(p)[w]) != 0)
                    return false;
        return true;
    }
    friend bool operator==(const CPagedBitSet& a, const CPagedBitSet& b) { return a.Has(b) && b.Has(a); }

    // Union, intersection, difference and symmetric difference with one element or with a set, which may be
    // this one.
    CPagedBitSet& operator|=(unsigned element) {
        allocate(element / pageSize)[wordOf(element)] |= bitOf(element);
        return *this;
    }
    CPagedBitSet& operator&=(unsigned element) {
        const bool isKept = Has(element);
        for (Word* page : pages)
            if (page != nullptr)
                std::fill_n(page, kPageWords, 0);
        return isKept ? *this |= element : *this;
    }
    CPagedBitSet& operator-=(unsigned element) {
        if (Word* page = pages[element / pageSize])
            page[wordOf(element)] &= ~bitOf(element);
        return *this;
    }
    CPagedBitSet& operator^=(unsigned element) {
        allocate(element / pageSize)[wordOf(element)] ^= bitOf(element);
        return *this;
    }

    CPagedBitSet& operator|=(const CPagedBitSet& other) {
        allocateAsIn(other);
        return combine(other, [](Word a, Word b) { return a | b; });
    }
    CPagedBitSet& operator&=(const CPagedBitSet& other) {
        return combine(other, [](Word a, Word b) { return a & b; });
    }
    CPagedBitSet& operator-=(const CPagedBitSet& other) {
        return combine(other, [](Word a, Word b) { return a & ~b; });
    }
    CPagedBitSet& operator^=(const CPagedBitSet& other) {
        allocateAsIn(other);
        return combine(other, [](Word a, Word b) { return a ^ b; });
    }

    /// Replaces the set by its complement, in which every page is there.
    void Invert() {
        for (unsigned p = 0; p < kPageCount; p++)
            allocate(p);
        for (Word* page : pages)
            for (unsigned w = 0; w < kPageWords; w++)
                page[w] = ~page[w];
        for (unsigned element = bound; element < kPageCount * pageSize; element++)
            *this -= element;
    }

private:
    using Word = unsigned int;

    static constexpr unsigned kWordSize = 32;
    static constexpr unsigned kPageWords = pageSize / kWordSize;
    static constexpr unsigned kPageCount = (bound + pageSize - 1) / pageSize;
    static_assert(sizeof(Word) * 8 == kWordSize && pageSize % kWordSize == 0);

    Word* pages[kPageCount] = {};

    template<class Object>
    friend struct CLayout;

    static constexpr unsigned wordOf(unsigned element) { return element % pageSize / kWordSize; }
    static constexpr Word bitOf(unsigned element) { return Word{1} << element % kWordSize; }

    // A page that is not there is one without elements.
    const Word* wordsOf(unsigned number) const {
        return pages[number] != nullptr ? pages[number] : kNoWords<Word, kPageWords>;
    }

    // A page of zeros where there is none yet.
    Word* allocate(unsigned number) {
        Word*& page = pages[number];
        if (page == nullptr) {
            page = static_cast<Word*>(Allocator::Alloc(pageSize / 8));
            std::fill_n(page, kPageWords, 0);
        }
        return page;
    }

    void allocateAsIn(const CPagedBitSet& other) {
        for (unsigned p = 0; p < kPageCount; p++)
            if (other.pages[p] != nullptr)
                allocate(p);
    }

    // Combines each word of the pages that are here with that of the other set.
    template<class Operation>
    CPagedBitSet& combine(const CPagedBitSet& other, Operation operation) {
        for (unsigned p = 0; p < kPageCount; p++)
            if (Word* page = pages[p])
                std::transform(page, page + kPageWords, other.wordsOf(p), page, operation);
        return *this;
    }
};

} // namespace Tarn
