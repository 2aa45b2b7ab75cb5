/// \file
/// CPagedBitSet: a set of small integers as bits, divided into pages. A page without elements need not exist,
/// so that a small set costs little whatever its bound is.
///
/// A set is a value that owns its pages. They come from its `Allocator`, whose rules for threads apply to it.
/// Pages that an operation has emptied are kept until the set is assigned to or destroyed; whether an empty
/// page exists makes no difference to what a set contains. Every operation either succeeds or, for lack of
/// memory, leaves the elements as they were. CUnicodeSet (unicode_set.h) is the set of this kind that the
/// library itself uses.
///
/// \code
/// CPagedBitSet<1000, 64, CurrentMemoryManager> squares;
/// for (unsigned i = 0; i * i < 1000; i++)
///     squares |= i * i;
/// for (unsigned square : squares) // 0, 1, 4, 9, ...
///     Trace(UnicodeStr(square));
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <type_traits>
#include <utility>

namespace Tarn {

/// The number of bits that are set in each byte value, for counting the elements of a set byte by byte.
extern TARNKIT_API const unsigned char BitSetElementsTable[256];

/// The words of a page without elements. They are not a member of the set, because a client on Windows would
/// import them from the library even for sets that only the client has.
template<class Word, unsigned count>
inline constexpr Word kNoWords[count] = {};

/// Walks the elements of a `Set` in ascending order. Changing the set invalidates nothing: an iterator goes
/// on to the next greater element that the set has at that time.
template<class Set, class Element>
class CBitSetIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = Element;

    CBitSetIterator() = default;
    /// At the least element that is not below `start`, or at the end if there is none.
    CBitSetIterator(const Set& walked, unsigned start) : set(&walked), element(walked.NextElement(start)) {}

    Element operator*() const { return static_cast<Element>(element); }
    CBitSetIterator& operator++() {
        element = set->NextElement(element + 1);
        return *this;
    }
    CBitSetIterator operator++(int) {
        CBitSetIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(CBitSetIterator a, CBitSetIterator b) { return a.element == b.element; }

private:
    const Set* set = nullptr;
    unsigned element = 0;
};

/// A character type that may have negative values.
template<class Character>
concept CSignedCharacter = std::same_as<Character, char> || std::same_as<Character, signed char>;

/// An allocator of pages that hands out and takes back several in one call.
template<class Allocator>
concept CBatchAllocator = requires(void** pages, unsigned count) {
    Allocator::AllocAll(pages, count);
    Allocator::FreeAll(pages, count);
};

/// A set of integers from 0 to `bound` - 1, on pages of `pageSize` bits.
template<unsigned bound, unsigned pageSize, class Allocator>
class TARNKIT_API CPagedBitSet {
public:
    /// Walks the elements in ascending order; they cannot be changed through it.
    using Iterator = CBitSetIterator<CPagedBitSet, unsigned>;
    using key_type = unsigned;
    using value_type = unsigned;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = unsigned;
    using const_reference = unsigned;
    using pointer = const unsigned*;
    using const_pointer = const unsigned*;
    using iterator = Iterator;
    using const_iterator = Iterator;

    constexpr CPagedBitSet() = default;
    /// The set of these elements, each of which must be below the bound.
    CPagedBitSet(std::initializer_list<unsigned> elements) : CPagedBitSet(elements.begin(), elements.end()) {}
    /// The set of the elements of a range, each of which must be below the bound.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    requires std::is_convertible_v < std::iter_reference_t<First>,
    unsigned > CPagedBitSet(First from, Last end) : CPagedBitSet() {
        for (; from != end; ++from)
            *this |= static_cast<unsigned>(*from);
    }
    CPagedBitSet(const CPagedBitSet& other) : CPagedBitSet() { *this = other; }
    CPagedBitSet(CPagedBitSet&& other) noexcept { Swap(other); }
    /// Copies the elements into pages of its own, and frees the pages that `other` does not have.
    CPagedBitSet& operator=(const CPagedBitSet& other) {
        if (this == &other)
            return *this;
        include(other, [](Word, Word b) { return b; });
        freeUnless([&other](unsigned p) { return other.pages[p] != nullptr; });
        return *this;
    }
    CPagedBitSet& operator=(CPagedBitSet&& other) noexcept {
        CPagedBitSet moved(std::move(other));
        Swap(moved);
        return *this;
    }
    ~CPagedBitSet() {
        freeUnless([](unsigned) { return false; });
    }

    void Swap(CPagedBitSet& other) noexcept { std::swap(pages, other.pages); }

    /// Whether `element`, which must be below the bound, is in the set.
    bool Has(unsigned element) const {
        return (wordsOf(element / pageSize)[wordOf(element)] & bitOf(element)) != 0;
    }
    /// Whether every element of `other` is in the set.
    bool Has(const CPagedBitSet& other) const {
        for (unsigned p = 0; p < kPageCount; p++) {
            Word missing = 0; // of a whole page, so that the compiler can take several words at a time
            for (unsigned w = 0; other.pages[p] != nullptr && w < kPageWords; w++)
                missing |= other.pages[p][w] & ~wordsOf(p)[w];
            if (missing != 0)
                return false;
        }
        return true;
    }
    /// Whether both have the same elements.
    friend bool operator==(const CPagedBitSet& a, const CPagedBitSet& b) { return a.Has(b) && b.Has(a); }

    bool IsEmpty() const { return NextElement(0) == bound; }
    /// The number of elements, counted word by word.
    int GetCount() const {
        int count = 0;
        for (const Word* page : pages)
            for (unsigned w = 0; page != nullptr && w < kPageWords; w++)
                count += std::popcount(page[w]);
        return count;
    }

    /// The least element that is not below `start`; the bound if there is none.
    unsigned NextElement(unsigned start) const {
        while (start < bound) {
            const Word* page = pages[start / pageSize];
            const Word rest = page != nullptr ? page[wordOf(start)] >> start % kWordSize : 0;
            if (rest != 0)
                return start + static_cast<unsigned>(std::countr_zero(rest));
            const unsigned step = page != nullptr ? kWordSize : pageSize;
            start = (start / step + 1) * step;
        }
        return bound;
    }

    /// The elements in ascending order.
    Iterator begin() const { return Iterator(*this, 0); }
    Iterator end() const { return Iterator(*this, bound); }

    // A character that may be negative is no element: it would be far outside of the set.
    template<CSignedCharacter Character>
    bool Has(Character) const = delete;
    template<CSignedCharacter Character>
    CPagedBitSet& operator|=(Character) = delete;
    template<CSignedCharacter Character>
    CPagedBitSet& operator&=(Character) = delete;
    template<CSignedCharacter Character>
    CPagedBitSet& operator-=(Character) = delete;
    template<CSignedCharacter Character>
    CPagedBitSet& operator^=(Character) = delete;

    ///@{
    /// Union, intersection, difference and symmetric difference with one element or with a set, which may be
    /// this one.
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
        return include(other, [](Word a, Word b) { return a | b; });
    }
    CPagedBitSet& operator&=(const CPagedBitSet& other) {
        for (unsigned p = 0; p < kPageCount; p++)
            if (pages[p] != nullptr)
                combine(pages[p], pages[p], other.wordsOf(p), [](Word a, Word b) { return a & b; });
        return *this;
    }
    CPagedBitSet& operator-=(const CPagedBitSet& other) {
        for (unsigned p = 0; p < kPageCount; p++)
            if (pages[p] != nullptr && other.pages[p] != nullptr)
                combine(pages[p], pages[p], other.pages[p], [](Word a, Word b) { return a & ~b; });
        return *this;
    }
    CPagedBitSet& operator^=(const CPagedBitSet& other) {
        return include(other, [](Word a, Word b) { return a ^ b; });
    }
    ///@}

    /// Replaces the set by its complement, in which every page exists.
    void Invert() {
        CFreshPages fresh(*this, [](unsigned) { return true; });
        for (Word*& page : pages)
            if (page == nullptr)
                std::fill_n(page = fresh.Next(), kPageWords, ~Word{0});
            else
                combine(page, page, page, [](Word a, Word) { return ~a; });
        cutAtBound();
    }

protected:
    ///@{
    /// These make a set that has no pages yet the result of an operation on two others, in one pass.
    void becomeUnion(const CPagedBitSet& a, const CPagedBitSet& b) {
        becomeAny(a, b, [](Word x, Word y) { return x | y; });
    }
    void becomeIntersection(const CPagedBitSet& a, const CPagedBitSet& b) {
        becomePart(a, b, [](Word x, Word y) { return x & y; });
    }
    void becomeDifference(const CPagedBitSet& a, const CPagedBitSet& b) {
        becomePart(a, b, [](Word x, Word y) { return x & ~y; });
    }
    void becomeSymmetricDifference(const CPagedBitSet& a, const CPagedBitSet& b) {
        becomeAny(a, b, [](Word x, Word y) { return x ^ y; });
    }
    void becomeComplement(const CPagedBitSet& a) {
        become(
            a, a, [](unsigned) { return true; }, [](Word x, Word) { return ~x; });
        cutAtBound();
    }
    ///@}

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

    // A page that does not exist has no elements.
    const Word* wordsOf(unsigned number) const {
        return pages[number] != nullptr ? pages[number] : kNoWords<Word, kPageWords>;
    }

    // Makes the page, all zeros, if it does not exist yet.
    Word* allocate(unsigned number) {
        Word*& page = pages[number];
        if (page == nullptr) {
            page = static_cast<Word*>(Allocator::Alloc(pageSize / 8));
            std::fill_n(page, kPageWords, 0);
        }
        return page;
    }

    // The pages that a set needs and lacks. All of them are allocated before the first is used, so that a
    // failure changes nothing; what they contain is unspecified.
    class CFreshPages {
    public:
        template<class Needed>
        CFreshPages(const CPagedBitSet& set, Needed isNeeded) {
            unsigned count = 0;
            for (unsigned p = 0; p < kPageCount; p++)
                count += set.pages[p] == nullptr && isNeeded(p);
            if (count == 0)
                return;
            if constexpr (CBatchAllocator<Allocator>) {
                Allocator::AllocAll(pages, count);
            } else {
                unsigned done = 0;
                try {
                    for (; done < count; done++)
                        pages[done] = Allocator::Alloc(pageSize / 8);
                } catch (...) {
                    while (done > 0)
                        Allocator::Free(pages[--done]);
                    throw;
                }
            }
        }
        Word* Next() { return static_cast<Word*>(*next++); }

    private:
        void* pages[kPageCount];
        void** next = pages;
    };

    template<class Kept>
    void freeUnless(Kept isKept) {
        void* freed[kPageCount];
        unsigned count = 0;
        for (unsigned p = 0; p < kPageCount; p++)
            if (pages[p] != nullptr && !isKept(p))
                freed[count++] = std::exchange(pages[p], nullptr);
        if constexpr (CBatchAllocator<Allocator>)
            Allocator::FreeAll(freed, count);
        else
            std::for_each(freed, freed + count, [](void* page) { Allocator::Free(page); });
    }

    // `target` = `a` operation `b`, for each word of a page. A few words at a time are computed before any of
    // them is stored, which lets the compiler take them as one.
    template<class Operation>
    static void combine(Word* target, const Word* a, const Word* b, Operation operation) {
        constexpr unsigned step = kPageWords % 4 == 0 ? 4 : 1;
        for (unsigned w = 0; w < kPageWords; w += step) {
            Word result[step];
            for (unsigned i = 0; i < step; i++)
                result[i] = operation(a[w + i], b[w + i]);
            std::copy_n(result, step, target + w);
        }
    }

    // Makes this set, which has no pages, the result of an operation, with the pages that are needed.
    template<class Needed, class Operation>
    void become(const CPagedBitSet& a, const CPagedBitSet& b, Needed isNeeded, Operation operation) {
        CFreshPages fresh(*this, isNeeded);
        for (unsigned p = 0; p < kPageCount; p++)
            if (isNeeded(p))
                combine(pages[p] = fresh.Next(), a.wordsOf(p), b.wordsOf(p), operation);
    }
    template<class Operation>
    void becomeAny(const CPagedBitSet& a, const CPagedBitSet& b, Operation operation) {
        const auto isInOne = [&](unsigned p) { return a.pages[p] != nullptr || b.pages[p] != nullptr; };
        become(a, b, isInOne, operation);
    }
    template<class Operation>
    void becomePart(const CPagedBitSet& a, const CPagedBitSet& b, Operation operation) {
        become(
            a, b, [&a](unsigned p) { return a.pages[p] != nullptr; }, operation);
    }
    // The bits beyond the bound, which the last page may have, are no elements.
    void cutAtBound() {
        for (unsigned element = bound; element < kPageCount * pageSize; element++)
            *this -= element;
    }

    // Combines the pages that both sets have, and copies those that only the other one has.
    template<class Operation>
    CPagedBitSet& include(const CPagedBitSet& other, Operation operation) {
        CFreshPages fresh(*this, [&other](unsigned p) { return other.pages[p] != nullptr; });
        for (unsigned p = 0; p < kPageCount; p++) {
            if (other.pages[p] == nullptr)
                continue;
            if (pages[p] == nullptr)
                std::copy_n(other.pages[p], kPageWords, pages[p] = fresh.Next());
            else
                combine(pages[p], pages[p], other.pages[p], operation);
        }
        return *this;
    }
};

} // namespace Tarn
