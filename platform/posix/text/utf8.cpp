#include "platform/posix/text/utf8.h"

namespace Tarn::Platform::Posix {

int ConvertFromUtf8(const char* text, int size, bool failOnInvalid, Output<char16_t> output) {
    const char* end = text + size;
    while (text != end) {
        const std::size_t ascii = AsciiRun(text, end);
        output.PutAscii(text, ascii);
        text += ascii;
        if (text == end)
            break;
        char32_t character = ReadUtf8(text, end);
        if (character == kNotUtf8) {
            if (failOnInvalid)
                return FailConversion(ERROR_NO_UNICODE_TRANSLATION);
            character = kReplacementCharacter;
        }
        PutUtf16(character, [&](char16_t unit) { output.Put(unit); });
    }
    return output.Finish();
}

int ConvertToUtf8(const char16_t* text, int size, bool failOnInvalid, Output<char> output) {
    const char16_t* end = text + size;
    while (text != end) {
        const std::size_t ascii = AsciiRun(text, end);
        output.PutAscii(text, ascii);
        text += ascii;
        if (text == end)
            break;
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

} // namespace Tarn::Platform::Posix
