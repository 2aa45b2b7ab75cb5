#include <tarnkit/unicode_string.h>

#include "platform/platform.h"
#include "strings/converted_text.h"
#include "strings/text_units.h"

namespace Tarn {

namespace {

// Code page 65001 takes no flags. In all other pages, also where page 0 or 1 is UTF-8, invalid bytes are an
// error.
DWORD decodingFlags(unsigned codePage) {
    if (codePage == CP_UTF8)
        return 0;
    const bool isSystemUtf8 = (codePage == CP_ACP && Platform::GetACP() == CP_UTF8) ||
                              (codePage == CP_OEMCP && Platform::GetOEMCP() == CP_UTF8);
    return isSystemUtf8 ? MB_ERR_INVALID_CHARS : MB_PRECOMPOSED | MB_ERR_INVALID_CHARS;
}

// Whether `text` was measured: then it has no NUL, and nor has what it becomes in the usual code pages.
enum class CLength { Measured, Given };

CUnicodeStringBody* makeBody(const char* text, int length, CLength kind, unsigned codePage) {
    if (length == 0)
        return CUnicodeStringBody::MakeNew();
    const bool keepsAscii = KeepsAscii(codePage == CP_ACP ? Platform::GetACP() : codePage);
    CUnicodeStringBody* result = keepsAscii ? MakeAsciiBody<char16_t>(text, length) : nullptr;
    if (result != nullptr)
        return result;
    const DWORD flags = decodingFlags(codePage);
    const bool hasNoNul = kind == CLength::Measured && keepsAscii;
    result = MakeConvertedBody<char16_t>(length, hasNoNul, [&](char16_t* buffer, int size) {
        return Platform::MultiByteToWideChar(codePage, flags, text, length, buffer, size);
    });
    return result != nullptr ? result : CUnicodeStringBody::MakeNew();
}

} // namespace

CUnicodeString::CUnicodeString(const char* text, unsigned codePage)
    : CStringOf(text == nullptr
                    ? CUnicodeStringBody::MakeNew()
                    : makeBody(text, TextUnits::CheckedLength(text), CLength::Measured, codePage)) {}

CUnicodeString::CUnicodeString(const char* text, int length, unsigned codePage)
    : CStringOf(text == nullptr ? CUnicodeStringBody::MakeNew()
                                : makeBody(text, length, CLength::Given, codePage)) {}

// A NUL before the end ends the result; to find it there is faster than to measure the text first.
CString CUnicodeString::CreateString(unsigned codePage) const { return CString(Ptr(), Length(), codePage); }

} // namespace Tarn
