// Texts of the user's locale. Each call creates a locale object to read them: the locale of the process
// belongs to the application and is neither read nor changed.
#include "platform/platform.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/date_pictures.h"
#include "platform/posix/text/language.h"

#include <langinfo.h>
#include <locale.h>

#include <ctime>
#include <string>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr UINT kAsciiSuperset = 1252; // for codesets that are not code pages, such as the C locale's
constexpr LCTYPE kDaysOfWeek = 7;
constexpr LCTYPE kMonths = 12;

/// The user's locale for dates; the C locale if that one is not installed.
class TimeLocale {
public:
    TimeLocale() {
        const char* name = LocaleName("LC_TIME");
        // The texts are in this locale's codeset, whatever LC_CTYPE is.
        constexpr int kCategories = LC_TIME_MASK | LC_CTYPE_MASK;
        locale = newlocale(kCategories, name == nullptr ? "C" : name, kNone);
        if (locale == kNone)
            locale = newlocale(kCategories, "C", kNone);
        if (locale == kNone)
            throw std::bad_alloc();
        codePage = CodePage::FromCodeset(nl_langinfo_l(CODESET, locale));
        if (codePage == 0)
            codePage = kAsciiSuperset;
    }
    ~TimeLocale() { freelocale(locale); }
    TimeLocale(const TimeLocale&) = delete;
    TimeLocale& operator=(const TimeLocale&) = delete;

    U16String Text(nl_item item) const { return decoded(nl_langinfo_l(item, locale)); }
    bool HasEras() const { return *nl_langinfo_l(ERA, locale) != '\0'; }

    DateFormats Formats() const { return {Text(D_FMT), Text(T_FMT), Text(T_FMT_AMPM), Text(D_T_FMT)}; }

    /// A date as `strftime` formats it with one conversion.
    U16String Formatted(const char* conversion, const SYSTEMTIME& date) const {
        std::tm fields{};
        fields.tm_year = date.wYear - 1900;
        fields.tm_mon = date.wMonth - 1;
        fields.tm_mday = date.wDay;
        char text[256];
        text[strftime_l(text, sizeof(text), conversion, &fields, locale)] = '\0';
        return decoded(text);
    }

private:
    static constexpr locale_t kNone = nullptr;

    U16String decoded(const char* text) const {
        const int bytes = static_cast<int>(std::char_traits<char>::length(text));
        U16String result(static_cast<std::size_t>(bytes), u'\0'); // no text has more units than bytes
        const int units = MultiByteToWideChar(codePage, 0, text, bytes, result.data(), bytes);
        result.resize(static_cast<std::size_t>(units));
        return result;
    }

    locale_t locale;
    UINT codePage;
};

/// The `index`-th item of a row, which is in the same order in every locale.
nl_item itemOf(nl_item first, LCTYPE index) { return first + static_cast<nl_item>(index); }

/// The names of the days: the locale's begin with Sunday, those of Windows with Monday.
nl_item dayOf(nl_item sunday, LCTYPE index) { return itemOf(sunday, (index + 1) % kDaysOfWeek); }

/// False if there is no such text.
bool find(const TimeLocale& locale, LCTYPE type, U16String& text) {
    const auto isInRow = [&](LCTYPE first, LCTYPE count) { return type >= first && type - first < count; };
    if (isInRow(LOCALE_SDAYNAME1, kDaysOfWeek))
        text = locale.Text(dayOf(DAY_1, type - LOCALE_SDAYNAME1));
    else if (isInRow(LOCALE_SABBREVDAYNAME1, kDaysOfWeek))
        text = locale.Text(dayOf(ABDAY_1, type - LOCALE_SABBREVDAYNAME1));
    else if (isInRow(LOCALE_SMONTHNAME1, kMonths)) // the form used alone, not within a date
        text = locale.Text(itemOf(ALTMON_1, type - LOCALE_SMONTHNAME1));
    else if (isInRow(LOCALE_SABBREVMONTHNAME1, kMonths))
        text = locale.Text(itemOf(ABMON_1, type - LOCALE_SABBREVMONTHNAME1));
    else if (type == LOCALE_S1159)
        text = locale.Text(AM_STR);
    else if (type == LOCALE_S2359)
        text = locale.Text(PM_STR);
    else if (type == LOCALE_SSHORTDATE)
        text = ShortDatePicture(locale.Formats());
    else if (type == LOCALE_SLONGDATE)
        text = LongDatePicture(locale.Formats());
    else if (type == LOCALE_STIMEFORMAT)
        text = TimePicture(locale.Formats());
    else
        return false;
    return true;
}

/// Writes dates according to pictures.
class DateWriter {
public:
    DateWriter(const TimeLocale& ofLocale, const SYSTEMTIME& theDate, bool countsInEras)
        : locale(ofLocale), date(theDate), inEras(countsInEras && ofLocale.HasEras()) {}

    U16String Write(std::u16string_view picture) {
        // The name of a month may have another form next to a day than alone.
        bool hasDay = false;
        for (std::u16string_view rest = picture; !rest.empty();) {
            const std::u16string_view element = TakeElement(rest);
            hasDay = hasDay || element == u"d" || element == u"dd";
        }
        firstMonth = hasDay ? MON_1 : ALTMON_1;
        while (!picture.empty())
            write(TakeElement(picture));
        return std::move(text);
    }

private:
    void write(std::u16string_view element) {
        const std::size_t length = element.size();
        switch (element.front()) {
        case u'd':
            if (length <= 2)
                return writeNumber(date.wDay, length);
            text += locale.Text(itemOf(length == 3 ? ABDAY_1 : DAY_1, date.wDayOfWeek));
            return;
        case u'M':
            if (length <= 2)
                return writeNumber(date.wMonth, length);
            text += locale.Text(itemOf(length == 3 ? nl_item{ABMON_1} : firstMonth, date.wMonth - 1u));
            return;
        case u'y':
            return writeYear(length);
        case u'g':
            if (inEras)
                text += locale.Formatted("%EC", date);
            return;
        case u'\'':
            text += Unquoted(element);
            return;
        default:
            text += element;
        }
    }

    void writeYear(std::size_t length) {
        if (inEras)
            text += locale.Formatted("%Ey", date);
        else if (length <= 2)
            writeNumber(date.wYear % 100, length);
        else
            writeNumber(date.wYear, length);
    }

    void writeNumber(int number, std::size_t leastDigits) {
        U16String digits;
        for (; number > 0 || digits.size() < leastDigits; number /= 10)
            digits.insert(digits.begin(), static_cast<char16_t>(u'0' + number % 10));
        text += digits;
    }

    const TimeLocale& locale;
    const SYSTEMTIME& date;
    const bool inEras;
    nl_item firstMonth = MON_1;
    U16String text;
};

/// A valid date with its day of the week; the time of day is ignored. Null means today.
DWORD completeDate(const SYSTEMTIME* given, SYSTEMTIME& date) {
    if (given == nullptr)
        GetLocalTime(&date);
    else
        date = {given->wYear, given->wMonth, 0, given->wDay, 0, 0, 0, 0};
    FILETIME time;
    if (!SystemTimeToFileTime(&date, &time))
        return ERROR_INVALID_PARAMETER;
    FileTimeToSystemTime(&time, &date);
    return ERROR_SUCCESS;
}

/// The common part of both calls: copies the text that `make(text)` produces to the caller and returns its
/// length with the terminator. `make` returns a code.
template<class Make>
int handOut(LCID locale, char16_t* buffer, int size, Make make) {
    if ((locale != LOCALE_USER_DEFAULT && locale != LOCALE_SYSTEM_DEFAULT && locale != LOCALE_NEUTRAL) ||
        size < 0 || (size > 0 && buffer == nullptr))
        return Report(ERROR_INVALID_PARAMETER);
    int length = 0;
    const DWORD code = Guarded([&]() -> DWORD {
        U16String text;
        if (const DWORD failure = make(text); failure != ERROR_SUCCESS)
            return failure;
        length = static_cast<int>(text.size()) + 1;
        if (size > 0 && length > size)
            return ERROR_INSUFFICIENT_BUFFER;
        if (size > 0)
            std::char_traits<char16_t>::copy(buffer, text.c_str(), text.size() + 1);
        return ERROR_SUCCESS;
    });
    return Report(code) ? length : 0;
}

} // namespace

int GetLocaleInfoW(LCID locale, LCTYPE type, char16_t* buffer, int size) {
    return handOut(locale, buffer, size, [&](U16String& text) -> DWORD {
        return find(TimeLocale(), type & ~LOCALE_NOUSEROVERRIDE, text) ? ERROR_SUCCESS : ERROR_INVALID_FLAGS;
    });
}

int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, const char16_t* picture,
                   char16_t* buffer, int size) {
    return handOut(locale, buffer, size, [&](U16String& text) -> DWORD {
        const bool isLong = (flags & DATE_LONGDATE) != 0;
        const bool isShort = (flags & DATE_SHORTDATE) != 0;
        if ((flags & ~(DATE_SHORTDATE | DATE_LONGDATE | DATE_USE_ALT_CALENDAR)) != 0 || (isLong && isShort) ||
            (picture != nullptr && (isLong || isShort)))
            return ERROR_INVALID_FLAGS;
        SYSTEMTIME complete;
        if (const DWORD code = completeDate(date, complete); code != ERROR_SUCCESS)
            return code;
        const TimeLocale user;
        U16String chosen;
        if (picture != nullptr)
            chosen = picture;
        else
            find(user, isLong ? LOCALE_SLONGDATE : LOCALE_SSHORTDATE, chosen);
        text = DateWriter(user, complete, (flags & DATE_USE_ALT_CALENDAR) != 0).Write(chosen);
        return ERROR_SUCCESS;
    });
}

} // namespace Tarn::Platform
