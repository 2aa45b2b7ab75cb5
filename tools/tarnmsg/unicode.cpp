#include "tools/tarnmsg/unicode.h"

#include "platform/terminal_control.h"

#include <cstddef>

namespace tarnmsg {

namespace {

// The number of bytes of a character that starts with this byte; 0 if no character does.
std::size_t sequenceLength(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first < 0xE0)
        return 2;
    if (first >= 0xE0 && first < 0xF0)
        return 3;
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool isScalarValue(char32_t code, std::size_t length) {
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    return code >= kSmallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

void append(std::u16string& text, char32_t code) {
    if (code < 0x10000) {
        text += static_cast<char16_t>(code);
        return;
    }
    text += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
    text += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
}

// The character at `place`, which moves past it; no value, and `place` as it was, if there is no valid one.
std::optional<char32_t> decode(std::string_view bytes, std::size_t& place) {
    const auto first = static_cast<unsigned char>(bytes[place]);
    const std::size_t length = sequenceLength(first);
    if (length == 0 || length > bytes.size() - place)
        return std::nullopt;
    char32_t code = length == 1 ? first : first & (0xFFu >> (length + 1));
    for (std::size_t k = 1; k < length; k++) {
        const auto next = static_cast<unsigned char>(bytes[place + k]);
        if ((next & 0xC0) != 0x80)
            return std::nullopt;
        code = code << 6 | (next & 0x3F);
    }
    if (!isScalarValue(code, length))
        return std::nullopt;
    place += length;
    return code;
}

} // namespace

std::optional<std::u16string> ToUtf16(std::string_view bytes) {
    std::u16string text;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::optional<char32_t> code = decode(bytes, i);
        if (!code)
            return std::nullopt;
        append(text, *code);
    }
    return text;
}

std::string Visible(std::string_view bytes) {
    std::string shown;
    for (std::size_t i = 0; i < bytes.size();) {
        const std::size_t start = i;
        const std::optional<char32_t> code = decode(bytes, i);
        if (code && !Tarn::Platform::IsTerminalControl(*code)) {
            shown += bytes.substr(start, i - start);
            continue;
        }
        Tarn::Platform::PutVisibly(code ? *code : static_cast<unsigned char>(bytes[i++]),
                                   [&](char c) { shown += c; });
    }
    return shown;
}

} // namespace tarnmsg
