#include "platform/posix/text/time_locale.h"

#include "platform/posix/support/kept_objects.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/date_pictures.h"
#include "platform/posix/text/user_variables.h"

#include <cstring>
#include <ctime>
#include <new>

namespace Tarn::Platform::Posix {
namespace {

constexpr const char* kDefaultName = "C";
constexpr UINT kAsciiSuperset = 1252; // for codesets that are not code pages, such as the C locale's
// The texts are in this locale's codeset, whatever LC_CTYPE is.
constexpr int kCategories = LC_TIME_MASK | LC_CTYPE_MASK;

constinit KeptObjects<TimeLocale> locales;

} // namespace

const TimeLocale& TimeLocale::OfUser() {
    const UserVariables variables = ReadUserVariables();
    const char* const found = variables.TimeLocale();
    const char* const name = found == nullptr ? kDefaultName : found;
    const char* const path = variables.localePath == nullptr ? "" : variables.localePath;
    return locales.Get([&](const TimeLocale& known) { return known.isNamed(name, path); },
                       [&] { return TimeLocale(name, path); });
}

bool TimeLocale::isNamed(const char* localeName, const char* localePath) const {
    return std::strcmp(name.c_str(), localeName) == 0 && std::strcmp(path.c_str(), localePath) == 0;
}

TimeLocale::TimeLocale(const char* localeName, const char* localePath) : name(localeName), path(localePath) {
    for (const char* candidate : {localeName, kDefaultName})
        if (locale == nullptr)
            locale.reset(newlocale(kCategories, candidate, static_cast<locale_t>(nullptr)));
    if (locale == nullptr)
        throw std::bad_alloc();
    codePage = CodePage::FromCodeset(nl_langinfo_l(CODESET, locale.get()));
    if (codePage == 0)
        codePage = kAsciiSuperset;
    read(DAY_1, kDays, days);
    read(ABDAY_1, kDays, shortDays);
    read(MON_1, kMonths, months);
    read(ALTMON_1, kMonths, monthsAlone);
    read(ABMON_1, kMonths, shortMonths);
    read(AM_STR, 1, &am);
    read(PM_STR, 1, &pm);
    hasEras = *nl_langinfo_l(ERA, locale.get()) != '\0';
    const DateFormats formats = {text(D_FMT), text(T_FMT), text(T_FMT_AMPM), text(D_T_FMT)};
    shortDate = ShortDatePicture(formats);
    longDate = LongDatePicture(formats);
    time = TimePicture(formats);
}

/// Reads a row of items, which are in the same order in every locale.
void TimeLocale::read(nl_item first, int count, U16String* texts) {
    for (int i = 0; i < count; i++)
        texts[i] = text(first + i);
}

U16String TimeLocale::Formatted(const char* conversion, const SYSTEMTIME& date) const {
    std::tm fields{};
    fields.tm_year = date.wYear - 1900;
    fields.tm_mon = date.wMonth - 1;
    fields.tm_mday = date.wDay;
    char text[256];
    text[strftime_l(text, sizeof(text), conversion, &fields, locale.get())] = '\0';
    return decoded(text);
}

U16String TimeLocale::decoded(const char* text) const {
    const int bytes = static_cast<int>(std::strlen(text));
    U16String result(static_cast<std::size_t>(bytes), u'\0'); // no text has more units than bytes
    const int units = MultiByteToWideChar(codePage, 0, text, bytes, result.data(), bytes);
    // The texts are kept, and must not stay incomplete.
    if (units == 0 && bytes > 0 && GetLastError() == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
    result.resize(static_cast<std::size_t>(units));
    return result;
}

} // namespace Tarn::Platform::Posix
