// Texts of the user's locale.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

int GetLocaleInfoW(LCID locale, LCTYPE type, char16_t* buffer, int size) {
    return ::GetLocaleInfoW(locale, type, wide(buffer), size);
}

const CUserLocale* FindUserLocale() { return nullptr; }
const char16_t* FindLocaleText(const CUserLocale*, LCTYPE) { return nullptr; }

int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, const char16_t* picture,
                   char16_t* buffer, int size) {
    return ::GetDateFormatW(locale, flags, date, wide(picture), wide(buffer), size);
}

} // namespace Tarn::Platform
