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

} // namespace

CUnicodeString::CUnicodeString(const char* text, unsigned codePage)
    : CStringOf(text == nullptr ? CUnicodeStringBody::MakeNew()
                                : construct(text, TextUnits::CheckedLength(text), codePage)) {}

CUnicodeString::CUnicodeString(const char* text, int length, unsigned codePage)
    : CStringOf(text == nullptr ? CUnicodeStringBody::MakeNew() : construct(text, length, codePage)) {}

CUnicodeStringBody* CUnicodeString::construct(const char* text, int length, unsigned codePage) {
    if (length == 0)
        return CUnicodeStringBody::MakeNew();
    CUnicodeStringBody* result = nullptr;
    if (KeepsAscii(codePage == CP_ACP ? Platform::GetACP() : codePage))
        result = MakeAsciiBody<char16_t>(text, length);
    if (result != nullptr)
        return result;
    const DWORD flags = decodingFlags(codePage);
    result = MakeConvertedBody<char16_t>(length, [&](char16_t* buffer, int size) {
        return Platform::MultiByteToWideChar(codePage, flags, text, length, buffer, size);
    });
    return result != nullptr ? result : CUnicodeStringBody::MakeNew();
}

CString CUnicodeString::CreateString(unsigned codePage) const { return CString(Ptr(), codePage); }

} // namespace Tarn
