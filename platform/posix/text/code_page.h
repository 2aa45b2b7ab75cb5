/// \file
/// Tables between the code pages of Windows and 16-bit text.
///
/// A code page with one or two bytes per character is read from `iconv` once, adjusted to match Windows
/// (windows_tables.h, look_alikes.cpp) and kept until the process ends: conversions are then table look-ups
/// without a call or a lock. Any thread may use them.
#pragma once

#include <tarnkit/types.h>

#include <cstddef>
#include <string_view>

namespace Tarn::Platform::Posix {

class CodePage {
public:
    /// Marks places in the tables where a code page has no character.
    static constexpr char16_t kNone = 0xFFFF;

    /// The tables of a code page; null, with the last error, if there is no code page of this number (87) or
    /// no memory for it (8). UTF-8 has no tables.
    static const CodePage* Get(UINT number);

    /// Whether there is a code page of this number, other than UTF-8.
    static bool IsKnown(UINT number);

    /// The number of the code page for a locale's codeset, such as "ISO-8859-2"; 0 if there is none.
    static UINT FromCodeset(const char* codeset);

    bool IsLead(unsigned char byte) const { return pairs[byte] != nullptr; }
    char16_t Decode(unsigned char byte) const { return single[byte]; }
    char16_t Decode(unsigned char lead, unsigned char trail) const { return pairs[lead][trail]; }

    /// What a single byte that is valid becomes; 0 for every other byte, and for NUL.
    char16_t DecodeStraight(unsigned char byte) const { return straight[byte]; }

    /// Whether what a single byte becomes is a character of the code page. Bytes that it does not define
    /// become private characters; 20127 turns one of them into '?'.
    static bool IsValid(char16_t unit, unsigned char byte) {
        const bool isPrivate = unit >= 0xE000 && unit <= 0xF8FF;
        return !isPrivate && (unit != u'?' || byte == '?');
    }

    /// The bytes of a unit, with a lead byte in the upper half; with `bestFit`, those of its look-alike if
    /// the code page lacks the unit. `found` says whether there are any.
    unsigned Encode(char16_t unit, bool bestFit, bool* found) const {
        unsigned bytes = encoded[unit];
        *found = (bytes != 0 || unit == 0) && (bestFit || decodeWhole(bytes) == unit);
        return bytes;
    }

    /// The same with `bestFit`; 0 for a unit that the code page lacks, and for NUL.
    unsigned EncodeStraight(char16_t unit) const { return encoded[unit]; }

    bool IsDoubleByte() const { return doubleByte; }
    /// Whether the bytes below 0x80 are ASCII, so that they need no table.
    bool IsAsciiCompatible() const { return asciiCompatible; }
    /// What a pair of bytes without a character becomes.
    char16_t DefaultUnit() const { return defaultUnit; }

    ~CodePage();

private:
    static constexpr std::size_t kUnits = 0x10000;

    static CodePage* load(UINT number, const char* name);
    bool readFrom(void* converter);
    bool readPairs(void* converter, unsigned char lead);
    void addSupplementaryKanji(void* converter);
    bool addUserDefined(UINT number);
    void replaceOthers(UINT number);
    void addLettersOfHangul();
    void fillUndefined(UINT number);
    void invert(UINT number, void* converter);
    void addLookAlikes(UINT number);
    void findStraight();
    char16_t* pairTable(unsigned char lead);
    char16_t decodeWhole(unsigned bytes) const {
        return bytes > 0xFF ? pairs[bytes >> 8][bytes & 0xFF] : single[bytes];
    }

    CodePage() = default;
    template<class T, class... Arguments>
    friend T* New(Arguments&&...);

    char16_t single[256] = {};
    char16_t straight[256] = {};
    char16_t* pairs[256] = {};
    unsigned short* encoded = nullptr; // by unit, look-alikes included; 0 means none
    bool doubleByte = false;
    bool asciiCompatible = false;
    char16_t defaultUnit = u'?';
};

/// Units that a code page lacks: the n-th one is written as the n-th character.
struct LookAlikes {
    std::u16string_view units;
    std::u16string_view characters;
};

/// The look-alikes for a code page, in several tables with indices from 0; null after the last one.
const LookAlikes* LookAlikesOf(UINT codePage, unsigned index);

/// Whether a unit is in the ranges of the marks that `ComposeCharacter` knows.
constexpr bool MayBeMark(char16_t unit) {
    return (unit >= 0x0300 && unit <= 0x0345) || (unit >= 0x0653 && unit <= 0x0655) ||
           (unit >= 0x3099 && unit <= 0x309A);
}

/// The single character for a letter and the combining mark after it; 0 if there is none.
char16_t ComposeCharacter(char16_t letter, char16_t mark);

/// Splits a character into a letter and a mark; false if it is not made of the two.
bool DecomposeCharacter(char16_t character, char16_t* letter, char16_t* mark);

} // namespace Tarn::Platform::Posix
