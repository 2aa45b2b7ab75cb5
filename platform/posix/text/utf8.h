/// \file
/// UTF-8 and surrogate pairs, one character at a time: for texts, file names and messages on the terminal,
/// each of which treats invalid text differently. `ConvertFromUtf8` and `ConvertToUtf8` convert whole texts
/// as MultiByteToWideChar and WideCharToMultiByte do.
#pragma once

#include "platform/posix/text/conversion.h"

#include <cstddef>

namespace Tarn::Platform::Posix {

constexpr char32_t kFirstSupplementary = 0x10000;
/// Replaces a character that cannot be converted.
constexpr char32_t kReplacementCharacter = 0xFFFD;
/// What `ReadUtf8` returns for bytes that are not UTF-8.
constexpr char32_t kNotUtf8 = 0xFFFFFFFF;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool IsSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

enum class Surrogates { kInvalid, kAllowed };

/// Reads the character at `text`, which must be before `end`, and moves `text` past it. For bytes that are
/// not UTF-8 it returns `kNotUtf8` and moves past those that could have begun a character, at least one. The
/// second byte counts as one of those even if it makes the form overlong, a surrogate or too large.
inline char32_t ReadUtf8(const char*& text, const char* end, Surrogates surrogates = Surrogates::kInvalid) {
    const unsigned lead = static_cast<unsigned char>(*text++);
    if (lead < 0x80)
        return lead;
    if (lead < 0xC2 || lead > 0xF4)
        return kNotUtf8;
    int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned high = lead == 0xED && surrogates == Surrogates::kInvalid ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t character = lead & (0x3FU >> following);
    for (; following > 0; following--) {
        const unsigned byte = text == end ? 0 : static_cast<unsigned char>(*text);
        if (byte < 0x80 || byte > 0xBF)
            return kNotUtf8;
        text++;
        if (byte < low || byte > high)
            return kNotUtf8;
        character = character << 6 | (byte & 0x3F);
        low = 0x80;
        high = 0xBF;
    }
    return character;
}

/// Calls `put` with each byte of a character, which may be a surrogate.
template<class Put>
void PutUtf8(char32_t character, Put put) {
    const auto putByte = [&](char32_t byte) { put(static_cast<char>(byte)); };
    if (character < 0x80)
        return putByte(character);
    if (character < 0x800) {
        putByte(0xC0 | character >> 6);
    } else {
        if (character < kFirstSupplementary) {
            putByte(0xE0 | character >> 12);
        } else {
            putByte(0xF0 | character >> 18);
            putByte(0x80 | (character >> 12 & 0x3F));
        }
        putByte(0x80 | (character >> 6 & 0x3F));
    }
    putByte(0x80 | (character & 0x3F));
}

/// Reads the character at `text`, which must be before `end`, and moves `text` past it. A surrogate without
/// its partner is returned as it is.
inline char32_t ReadUtf16(const char16_t*& text, const char16_t* end) {
    const char16_t unit = *text++;
    if (!IsHighSurrogate(unit) || text == end || !IsLowSurrogate(*text))
        return unit;
    return kFirstSupplementary + ((unit - 0xD800U) << 10) + (*text++ - 0xDC00U);
}

/// Calls `put` with each unit of a character, which may be a surrogate.
template<class Put>
void PutUtf16(char32_t character, Put put) {
    if (character < kFirstSupplementary)
        return put(static_cast<char16_t>(character));
    put(static_cast<char16_t>(0xD800 + ((character - kFirstSupplementary) >> 10)));
    put(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
}

/// Converts a whole text; invalid parts become U+FFFD, or the call fails with ERROR_NO_UNICODE_TRANSLATION.
int ConvertFromUtf8(const char* text, int size, bool failOnInvalid, Output<char16_t> output);
int ConvertToUtf8(const char16_t* text, int size, bool failOnInvalid, Output<char> output);

} // namespace Tarn::Platform::Posix
