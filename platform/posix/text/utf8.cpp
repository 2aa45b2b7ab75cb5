#include "platform/posix/text/utf8.h"

namespace Tarn::Platform::Posix {

namespace {

constexpr bool isFollowing(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }
constexpr unsigned bitsOf(char byte) { return static_cast<unsigned char>(byte) & 0x3F; }

/// Puts what follows in valid forms of two or three bytes, which most text beyond ASCII consists of.
template<class AnyOutput>
const char* putCommonForms(const char* text, const char* end, AnyOutput& output) {
    for (; end - text >= 3; text += 3) {
        for (; end - text >= 3 && isFollowing(text[1]); text += 2) {
            const unsigned lead = static_cast<unsigned char>(*text);
            if (lead < 0xC2 || lead >= 0xE0)
                break;
            output.Put(static_cast<char16_t>((lead & 0x1F) << 6 | bitsOf(text[1])));
        }
        if (end - text < 3 || (*text & 0xF0) != 0xE0 || !isFollowing(text[1]) || !isFollowing(text[2]))
            break;
        const auto unit = static_cast<char16_t>(static_cast<unsigned>(*text & 0xF) << 12 |
                                                bitsOf(text[1]) << 6 | bitsOf(text[2]));
        if (unit < 0x800 || IsSurrogate(unit))
            break;
        output.Put(unit);
    }
    return text;
}

template<class AnyOutput>
int convertFromUtf8(const char* text, const char* end, bool failOnInvalid, AnyOutput output) {
    while (text != end) {
        if (IsAscii(*text)) {
            output.PutAscii(text, end);
            continue;
        }
        text = putCommonForms(text, end, output);
        if (text == end || IsAscii(*text))
            continue;
        char32_t character = ReadUtf8(text, end);
        if (character == kNotUtf8) {
            if (failOnInvalid)
                return FailConversion(ERROR_NO_UNICODE_TRANSLATION);
            character = kReplacementCharacter;
        }
        PutUtf16(character, [&](char16_t each) { output.Put(each); });
    }
    return output.Finish();
}

template<class AnyOutput>
int convertToUtf8(const char16_t* text, const char16_t* end, bool failOnInvalid, AnyOutput output) {
    const auto putByte = [&](unsigned byte) { output.Put(static_cast<char>(byte)); };
    while (text != end) {
        if (IsAscii(*text)) {
            output.PutAscii(text, end);
            continue;
        }
        for (; text != end && *text >= 0x80 && *text < 0x800; text++) {
            putByte(0xC0u | *text >> 6);
            putByte(0x80u | (*text & 0x3F));
        }
        for (; text != end && *text >= 0x800 && !IsSurrogate(*text); text++) {
            putByte(0xE0u | *text >> 12);
            putByte(0x80u | (*text >> 6 & 0x3F));
            putByte(0x80u | (*text & 0x3F));
        }
        if (text == end || !IsSurrogate(*text))
            continue;
        char32_t character = ReadUtf16(text, end);
        if (IsSurrogate(character)) {
            if (failOnInvalid)
                return FailConversion(ERROR_NO_UNICODE_TRANSLATION);
            character = kReplacementCharacter;
        }
        PutUtf8(character, [&](char byte) { output.Put(byte); });
    }
    return output.Finish();
}

} // namespace

int ConvertFromUtf8(const char* text, int size, bool failOnInvalid, Output<char16_t> output) {
    // No byte becomes more than one unit.
    return output.HasRoomFor(size)
               ? convertFromUtf8(text, text + size, failOnInvalid, RoomyOutput(output.Buffer()))
               : convertFromUtf8(text, text + size, failOnInvalid, output);
}

int ConvertToUtf8(const char16_t* text, int size, bool failOnInvalid, Output<char> output) {
    constexpr long long kMostBytes = 3; // for a unit; a pair of surrogates takes four
    return output.HasRoomFor(kMostBytes * size)
               ? convertToUtf8(text, text + size, failOnInvalid, RoomyOutput(output.Buffer()))
               : convertToUtf8(text, text + size, failOnInvalid, output);
}

} // namespace Tarn::Platform::Posix
