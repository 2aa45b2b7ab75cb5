#include "platform/posix/text/utf8.h"

namespace Tarn::Platform::Posix {

namespace {

constexpr bool isFollowing(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }
constexpr unsigned bitsOf(char byte) { return static_cast<unsigned char>(byte) & 0x3F; }

/// The character of a valid form of two or three bytes, which most text beyond ASCII consists of, and the
/// number of its bytes; 0 for anything else.
std::size_t readCommonForm(const char* text, const char* end, char16_t& unit) {
    const unsigned lead = static_cast<unsigned char>(*text);
    if (lead >= 0xC2 && lead < 0xE0 && end - text >= 2 && isFollowing(text[1])) {
        unit = static_cast<char16_t>((lead & 0x1F) << 6 | bitsOf(text[1]));
        return 2;
    }
    if (lead >= 0xE0 && lead < 0xF0 && end - text >= 3 && isFollowing(text[1]) && isFollowing(text[2])) {
        unit = static_cast<char16_t>((lead & 0xF) << 12 | bitsOf(text[1]) << 6 | bitsOf(text[2]));
        return unit >= 0x800 && !IsSurrogate(unit) ? 3 : 0;
    }
    return 0;
}

template<class AnyOutput>
int convertFromUtf8(const char* text, const char* end, bool failOnInvalid, AnyOutput output) {
    while (text != end) {
        if (IsAscii(*text)) {
            output.PutAscii(text, end);
            continue;
        }
        char16_t unit;
        if (const std::size_t taken = readCommonForm(text, end, unit); taken != 0) {
            output.Put(unit);
            text += taken;
            continue;
        }
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
    while (text != end) {
        if (IsAscii(*text)) {
            output.PutAscii(text, end);
            continue;
        }
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
