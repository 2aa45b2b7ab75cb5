#include <tarnkit/unicode_string.h>

#include "platform/platform.h"
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
    const DWORD flags = decodingFlags(codePage);
    const int size = Platform::MultiByteToWideChar(codePage, flags, text, length, nullptr, 0);
    if (size <= 0)
        return CUnicodeStringBody::MakeNew();
    CUnicodeStringBody* result = CUnicodeStringBody::MakeNew(size);
    const int converted = Platform::MultiByteToWideChar(codePage, flags, text, length, result->Body(), size);
    result->Body()[converted] = 0;
    result->SetLength(TextUnits::LengthUpTo(result->Body(), converted));
    return result;
}

CString CUnicodeString::CreateString(unsigned codePage) const { return CString(Ptr(), codePage); }

} // namespace Tarn
