// Texts of the user's locale.
#include "platform/platform.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/text/date_pictures.h"
#include "platform/posix/text/time_locale.h"

#include <string_view>

namespace Tarn::Platform {

using namespace Posix;

namespace {

using View = std::u16string_view;

constexpr LCTYPE kDaysOfWeek = TimeLocale::kDays;
constexpr LCTYPE kMonths = TimeLocale::kMonths;

/// False if there is no such text.
bool find(const TimeLocale& locale, LCTYPE type, View& text) {
    const auto isInRow = [&](LCTYPE first, LCTYPE count) { return type >= first && type - first < count; };
    // The locale's days begin with Sunday, those of Windows with Monday.
    const auto dayFrom = [&](LCTYPE monday) { return (type - monday + 1) % kDaysOfWeek; };
    if (isInRow(LOCALE_SDAYNAME1, kDaysOfWeek))
        text = locale.days[dayFrom(LOCALE_SDAYNAME1)];
    else if (isInRow(LOCALE_SABBREVDAYNAME1, kDaysOfWeek))
        text = locale.shortDays[dayFrom(LOCALE_SABBREVDAYNAME1)];
    else if (isInRow(LOCALE_SMONTHNAME1, kMonths)) // the form used alone, not within a date
        text = locale.monthsAlone[type - LOCALE_SMONTHNAME1];
    else if (isInRow(LOCALE_SABBREVMONTHNAME1, kMonths))
        text = locale.shortMonths[type - LOCALE_SABBREVMONTHNAME1];
    else if (type == LOCALE_S1159)
        text = locale.am;
    else if (type == LOCALE_S2359)
        text = locale.pm;
    else if (type == LOCALE_SSHORTDATE)
        text = locale.shortDate;
    else if (type == LOCALE_SLONGDATE)
        text = locale.longDate;
    else if (type == LOCALE_STIMEFORMAT)
        text = locale.time;
    else
        return false;
    return true;
}

/// Writes dates according to pictures.
class DateWriter {
public:
    DateWriter(const TimeLocale& ofLocale, const SYSTEMTIME& theDate, bool countsInEras)
        : locale(ofLocale), date(theDate), inEras(countsInEras && ofLocale.hasEras) {}

    U16String Write(std::u16string_view picture) {
        // The name of a month may have another form next to a day than alone.
        bool hasDay = false;
        for (std::u16string_view rest = picture; !rest.empty();) {
            const std::u16string_view element = TakeElement(rest);
            hasDay = hasDay || element == u"d" || element == u"dd";
        }
        months = hasDay ? locale.months : locale.monthsAlone;
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
            text += (length == 3 ? locale.shortDays : locale.days)[date.wDayOfWeek];
            return;
        case u'M':
            if (length <= 2)
                return writeNumber(date.wMonth, length);
            text += (length == 3 ? locale.shortMonths : months)[date.wMonth - 1];
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
    const U16String* months = nullptr;
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
template<class Text, class Make>
int handOut(LCID locale, char16_t* buffer, int size, Make make) {
    if ((locale != LOCALE_USER_DEFAULT && locale != LOCALE_SYSTEM_DEFAULT && locale != LOCALE_NEUTRAL) ||
        size < 0 || (size > 0 && buffer == nullptr))
        return Report(ERROR_INVALID_PARAMETER);
    int length = 0;
    const DWORD code = Guarded([&]() -> DWORD {
        Text text;
        if (const DWORD failure = make(text); failure != ERROR_SUCCESS)
            return failure;
        length = static_cast<int>(text.size()) + 1;
        if (size > 0 && length > size)
            return ERROR_INSUFFICIENT_BUFFER;
        if (size > 0)
            buffer[text.copy(buffer, text.size())] = 0;
        return ERROR_SUCCESS;
    });
    return Report(code) ? length : 0;
}

} // namespace

const CUserLocale* FindUserLocale() {
    const CUserLocale* locale = nullptr;
    Report(Guarded([&]() -> DWORD {
        locale = reinterpret_cast<const CUserLocale*>(&TimeLocale::OfUser());
        return ERROR_SUCCESS;
    }));
    return locale;
}

const char16_t* FindLocaleText(const CUserLocale* locale, LCTYPE type) {
    View text;
    return find(*reinterpret_cast<const TimeLocale*>(locale), type, text) ? text.data() : nullptr;
}

int GetLocaleInfoW(LCID locale, LCTYPE type, char16_t* buffer, int size) {
    return handOut<View>(locale, buffer, size, [&](View& text) -> DWORD {
        return find(TimeLocale::OfUser(), type & ~LOCALE_NOUSEROVERRIDE, text) ? ERROR_SUCCESS
                                                                               : ERROR_INVALID_FLAGS;
    });
}

int GetDateFormatW(LCID locale, DWORD flags, const SYSTEMTIME* date, const char16_t* picture,
                   char16_t* buffer, int size) {
    return handOut<U16String>(locale, buffer, size, [&](U16String& text) -> DWORD {
        const bool isLong = (flags & DATE_LONGDATE) != 0;
        const bool isShort = (flags & DATE_SHORTDATE) != 0;
        if ((flags & ~(DATE_SHORTDATE | DATE_LONGDATE | DATE_USE_ALT_CALENDAR)) != 0 || (isLong && isShort) ||
            (picture != nullptr && (isLong || isShort)))
            return ERROR_INVALID_FLAGS;
        SYSTEMTIME complete;
        if (const DWORD code = completeDate(date, complete); code != ERROR_SUCCESS)
            return code;
        const TimeLocale& user = TimeLocale::OfUser();
        View chosen;
        if (picture != nullptr)
            chosen = picture;
        else
            find(user, isLong ? LOCALE_SLONGDATE : LOCALE_SSHORTDATE, chosen);
        text = DateWriter(user, complete, (flags & DATE_USE_ALT_CALENDAR) != 0).Write(chosen);
        return ERROR_SUCCESS;
    });
}

} // namespace Tarn::Platform
