/// \file
/// CUnicodeSet: a set of 16-bit code units for classifying characters: the letters of an alphabet, digits,
/// separators. Testing for a unit takes two array lookups and a bit test.
///
/// A set is a value. It needs 128 bytes for each range of 1,024 units of which it contains at least one, from
/// a pool of its own. Threads may use different sets at the same time; several may use one set only if none
/// of them changes it. Texts are zero-terminated and must not be null; the terminator does not count as a
/// unit.
///
/// \code
/// const CUnicodeSet digits = u"0123456789";
/// const CUnicodeSet separators = u" ,;";
/// const char16_t* const text = u"12, 7";
/// const bool isList = (digits | separators).Has(text);       // true: nothing else is in it
/// const char16_t* end = digits.FirstExcluding(text);         // the comma
/// const int count = (digits & separators).GetCount();        // 0
/// \endcode
#pragma once

#include <tarnkit/bit_set.h>
#include <tarnkit/data_model.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/text_view.h>

#include <concepts>
#include <cstddef>
#include <utility>

namespace Tarn {

class CBlockManager;

/// The pages of all sets: blocks of 128 bytes from the library's set-page pool.
class TARNKIT_API CUnicodeSetAllocator {
public:
    /// One block, whatever `size` is. Throws the memory exception.
    static void* Alloc(unsigned int size);
    static void* Alloc(unsigned int size, const char* file, int line);
    /// Null is ignored.
    static void Free(void* block);
    ///@{
    /// The same for `count` blocks: all of them, or none and the memory exception.
    static void AllocAll(void** blocks, unsigned int count);
    static void FreeAll(void* const* blocks, unsigned int count);
    ///@}
    /// Takes back the blocks of all existing sets, none of which may be used or destroyed afterwards.
    static void Reset();
};

/// Library-internal: the blocks of 128 bytes that `CUnicodeSetAllocator` allocates.
TARNKIT_API CBlockManager& GetSetPagePool();

/// Library-internal: called when the library is loaded, so that the pool will be usable in a forked child.
void AttachSetPagePool();

/// Library-internal: frees the memory of the pool when the library is unloaded, unless a set still uses it.
void ReleaseSetPagePool();

/// The base of `CUnicodeSet`: all values of a UTF-16 code unit.
using CUnicodeBitSet = CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>;
TARNKIT_EXTERN_TEMPLATE(class CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>);

/// The character types other than a UTF-16 code unit. Converted to one, a value can be lost
/// (``U'\U0001F600'``) or become a different character (``'\xE9'`` is negative where `char` is signed, and
/// belongs to some code page anyway).
template<class Character>
concept CForeignCharacter = std::same_as<Character, char> || std::same_as<Character, signed char> ||
    std::same_as<Character, char8_t> || std::same_as<Character, char32_t> ||
    (std::same_as<Character, wchar_t> && !kIsWideTextUtf16);

/// A set of UTF-16 code units; see the top of this header.
class TARNKIT_API CUnicodeSet : public CUnicodeBitSet {
public:
    /// Walks the units in ascending order; they cannot be changed through it.
    using Iterator = CBitSetIterator<CUnicodeBitSet, char16_t>;
    using key_type = char16_t;
    using value_type = char16_t;
    using reference = char16_t;
    using const_reference = char16_t;
    using pointer = const char16_t*;
    using const_pointer = const char16_t*;
    using iterator = Iterator;
    using const_iterator = Iterator;

    constexpr CUnicodeSet() = default;
    /// The set of these units.
    CUnicodeSet(std::initializer_list<char16_t> units) : CUnicodeBitSet(units.begin(), units.end()) {}
    /// The set of the units of a range.
    template<std::input_iterator First, std::sentinel_for<First> Last>
    requires std::same_as < std::iter_value_t<First>,
    char16_t > CUnicodeSet(First from, Last end) : CUnicodeBitSet(from, end) {}
    /// The units of a view or of a standard string, up to the first NUL.
    template<CForeignText<char16_t> Text>
    CUnicodeSet(const Text& text) {
        const auto view = ViewOf<char16_t>(text);
        for (auto unit = view.begin(); unit != view.end() && *unit != 0; ++unit)
            *this |= *unit;
    }
    /// The units of `text`.
    CUnicodeSet(const char16_t* text);
    CUnicodeSet(std::nullptr_t) = delete;

    /// Whether `unit` is an element.
    bool Has(char16_t unit) const { return CUnicodeBitSet::Has(unsigned{unit}); }
    /// Whether every element of `other` is an element of this set.
    bool Has(const CUnicodeSet& other) const { return CUnicodeBitSet::Has(other); }
    /// Whether all units of `text` are elements; true for an empty text.
    bool Has(const char16_t* text) const { return FirstExcluding(text) == nullptr; }
    /// Whether at least one unit of `text` is an element.
    bool HasOneOf(const char16_t* text) const { return FirstIncluding(text) != nullptr; }
    /// The first unit of `text` that is an element; null if none is.
    const char16_t* FirstIncluding(const char16_t* text) const;
    /// The first unit of `text` that is not an element; null if all are.
    const char16_t* FirstExcluding(const char16_t* text) const;

    /// The elements in ascending order.
    Iterator begin() const { return Iterator(*this, 0); }
    Iterator end() const { return Iterator(*this, 0x10000); }

    // Union, intersection, difference, symmetric difference and complement. -------------------------------

    ///@{
    /// As the names of the operators say, with a set or with one unit.
    CUnicodeSet& operator|=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator|=(other)); }
    CUnicodeSet& operator&=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator&=(other)); }
    CUnicodeSet& operator-=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator-=(other)); }
    CUnicodeSet& operator^=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator^=(other)); }
    CUnicodeSet& operator|=(char16_t unit) { return changed(CUnicodeBitSet::operator|=(unsigned{unit})); }
    CUnicodeSet& operator&=(char16_t unit) { return changed(CUnicodeBitSet::operator&=(unsigned{unit})); }
    CUnicodeSet& operator-=(char16_t unit) { return changed(CUnicodeBitSet::operator-=(unsigned{unit})); }
    CUnicodeSet& operator^=(char16_t unit) { return changed(CUnicodeBitSet::operator^=(unsigned{unit})); }

    friend CUnicodeSet operator|(const CUnicodeSet& a, const CUnicodeSet& b) {
        CUnicodeSet result;
        result.becomeUnion(a, b);
        return result;
    }
    friend CUnicodeSet operator&(const CUnicodeSet& a, const CUnicodeSet& b) {
        CUnicodeSet result;
        result.becomeIntersection(a, b);
        return result;
    }
    friend CUnicodeSet operator-(const CUnicodeSet& a, const CUnicodeSet& b) {
        CUnicodeSet result;
        result.becomeDifference(a, b);
        return result;
    }
    friend CUnicodeSet operator^(const CUnicodeSet& a, const CUnicodeSet& b) {
        CUnicodeSet result;
        result.becomeSymmetricDifference(a, b);
        return result;
    }
    friend CUnicodeSet operator|(CUnicodeSet a, char16_t unit) { return std::move(a |= unit); }
    friend CUnicodeSet operator&(CUnicodeSet a, char16_t unit) { return std::move(a &= unit); }
    friend CUnicodeSet operator-(CUnicodeSet a, char16_t unit) { return std::move(a -= unit); }
    friend CUnicodeSet operator^(CUnicodeSet a, char16_t unit) { return std::move(a ^= unit); }
    ///@}

    // Refused: see CForeignCharacter.
    template<CForeignCharacter Character>
    bool Has(Character) const = delete;
    template<CForeignCharacter Character>
    CUnicodeSet& operator|=(Character) = delete;
    template<CForeignCharacter Character>
    CUnicodeSet& operator&=(Character) = delete;
    template<CForeignCharacter Character>
    CUnicodeSet& operator-=(Character) = delete;
    template<CForeignCharacter Character>
    CUnicodeSet& operator^=(Character) = delete;
    template<CForeignCharacter Character>
    friend CUnicodeSet operator|(const CUnicodeSet&, Character) = delete;
    template<CForeignCharacter Character>
    friend CUnicodeSet operator&(const CUnicodeSet&, Character) = delete;
    template<CForeignCharacter Character>
    friend CUnicodeSet operator-(const CUnicodeSet&, Character) = delete;
    template<CForeignCharacter Character>
    friend CUnicodeSet operator^(const CUnicodeSet&, Character) = delete;

    /// All units that are not in `set`.
    friend CUnicodeSet operator~(const CUnicodeSet& set) {
        CUnicodeSet result;
        result.becomeComplement(set);
        return result;
    }

private:
    friend struct CLayout<CUnicodeSet>;

    CUnicodeSet& changed(CUnicodeBitSet&) { return *this; }
};
TARNKIT_LAYOUT(CUnicodeSet, 256, pages);

} // namespace Tarn
