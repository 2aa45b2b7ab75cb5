// Texts of the user's locale, for the tests of them.
#pragma once

#include "tests/platform/codes.h"

namespace Tarn::Platform {

/// The text that a call returns, or its failure as text.
template<class Call>
Text textOf(Call call) {
    char16_t buffer[100];
    const int length = call(buffer, 100);
    return length > 0 ? Text(buffer, static_cast<std::size_t>(length) - 1)
                      : u"failure " + Text(1, static_cast<char16_t>(GetLastError()));
}

inline Text localeText(LCTYPE type) {
    return textOf(
        [=](char16_t* buffer, int size) { return GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, size); });
}

inline Text dateText(const SYSTEMTIME& date, const char16_t* picture, DWORD flags = 0) {
    return textOf([&](char16_t* buffer, int size) {
        return GetDateFormatW(LOCALE_USER_DEFAULT, flags, &date, picture, buffer, size);
    });
}

} // namespace Tarn::Platform
