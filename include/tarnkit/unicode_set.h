// CUnicodeSet: a set of 16-bit code units, made to classify characters: the letters of an alphabet, digits,
// separators. Asking for a unit takes two array lookups and a bit test.
//
// A set is a value; it needs 128 bytes for each 1,024 units of which it holds one, from a pool of its own.
// The pool takes no lock: of all sets in the process only one may be created, changed or destroyed at a time.
// Texts are zero-terminated and must not be null; the terminator is not looked at.
#pragma once

#include <tarnkit/bit_set.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>

#include <cstddef>
#include <utility>

namespace Tarn {

/// The pages of all sets: blocks of 128 bytes from the library's set-page pool.
class TARNKIT_API CUnicodeSetAllocator {
public:
    /// A block, whatever `size` is; throws the memory exception.
    static void* Alloc(unsigned int size);
    static void* Alloc(unsigned int size, const char* file, int line);
    /// Null is ignored.
    static void Free(void* block);
    /// Takes back the blocks of all sets that there are: none of them may be used again, nor destroyed.
    static void Reset();
};

using CUnicodeBitSet = CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>;
TARNKIT_EXTERN_TEMPLATE(class CPagedBitSet<0x10000, 1024, CUnicodeSetAllocator>);

class TARNKIT_API CUnicodeSet : public CUnicodeBitSet {
public:
    constexpr CUnicodeSet() = default;
    /// The units of `text`.
    CUnicodeSet(const char16_t* text);
    CUnicodeSet(std::nullptr_t) = delete;

    bool Has(char16_t unit) const { return CUnicodeBitSet::Has(unsigned{unit}); }
    /// Whether every element of `other` is an element of this set.
    bool Has(const CUnicodeSet& other) const { return CUnicodeBitSet::Has(other); }
    /// Whether all units of `text` are elements; true for an empty text.
    bool Has(const char16_t* text) const { return FirstExcluding(text) == nullptr; }
    /// Whether at least one unit of `text` is an element.
    bool HasOneOf(const char16_t* text) const { return FirstIncluding(text) != nullptr; }
    /// The first unit of `text` that is an element, or is none; null when there is no such unit.
    const char16_t* FirstIncluding(const char16_t* text) const;
    const char16_t* FirstExcluding(const char16_t* text) const;

    // Union, intersection, difference, symmetric difference and complement. -------------------------------

    CUnicodeSet& operator|=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator|=(other)); }
    CUnicodeSet& operator&=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator&=(other)); }
    CUnicodeSet& operator-=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator-=(other)); }
    CUnicodeSet& operator^=(const CUnicodeSet& other) { return changed(CUnicodeBitSet::operator^=(other)); }
    CUnicodeSet& operator|=(char16_t unit) { return changed(CUnicodeBitSet::operator|=(unsigned{unit})); }
    CUnicodeSet& operator&=(char16_t unit) { return changed(CUnicodeBitSet::operator&=(unsigned{unit})); }
    CUnicodeSet& operator-=(char16_t unit) { return changed(CUnicodeBitSet::operator-=(unsigned{unit})); }
    CUnicodeSet& operator^=(char16_t unit) { return changed(CUnicodeBitSet::operator^=(unsigned{unit})); }

    friend CUnicodeSet operator|(CUnicodeSet a, const CUnicodeSet& b) { return std::move(a |= b); }
    friend CUnicodeSet operator&(CUnicodeSet a, const CUnicodeSet& b) { return std::move(a &= b); }
    friend CUnicodeSet operator-(CUnicodeSet a, const CUnicodeSet& b) { return std::move(a -= b); }
    friend CUnicodeSet operator^(CUnicodeSet a, const CUnicodeSet& b) { return std::move(a ^= b); }
    friend CUnicodeSet operator|(CUnicodeSet a, char16_t unit) { return std::move(a |= unit); }
    friend CUnicodeSet operator&(CUnicodeSet a, char16_t unit) { return std::move(a &= unit); }
    friend CUnicodeSet operator-(CUnicodeSet a, char16_t unit) { return std::move(a -= unit); }
    friend CUnicodeSet operator^(CUnicodeSet a, char16_t unit) { return std::move(a ^= unit); }
    friend CUnicodeSet operator~(CUnicodeSet set) {
        set.Invert();
        return set;
    }

private:
    friend struct CLayout<CUnicodeSet>;

    CUnicodeSet& changed(CUnicodeBitSet&) { return *this; }
};
TARNKIT_LAYOUT(CUnicodeSet, 256, pages);

} // namespace Tarn
