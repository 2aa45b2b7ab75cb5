#include <tarnkit/failures.h>
#include <tarnkit/time.h>

#include "errors/ask_platform.h"
#include "platform/platform.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

namespace Tarn {

namespace {

using TText = std::u16string_view;

constexpr int kLocaleTextSize = 520;
constexpr TText kUnknown = u"00";
constexpr int kDaysOfWeek = 7;
constexpr int kMonths = 12;
constexpr int kHoursOfHalfDay = 12;
// The format itself, the expansion of `%c`, and a picture. A picture within a picture could only contain
// itself.
constexpr int kDeepestFormat = 3;

class CTimeFormatter {
public:
    CTimeFormatter(char16_t* buffer, int room, const SYSTEMTIME& systemTime)
        : next(buffer), end(buffer + room), time(systemTime) {}

    // False when the text did not fit.
    bool Format(TText format);
    char16_t* End() const { return next; }

private:
    char16_t* next;
    char16_t* end;
    const SYSTEMTIME& time;
    int depth = 0;
    const Platform::CUserLocale* locale = nullptr; // looked for at its first text

    int dayFromMonday() const { return time.wDayOfWeek == 0 ? kDaysOfWeek : time.wDayOfWeek; }

    bool convert(char16_t code, bool isAlternate);
    bool put(TText text);
    bool putNumber(int number, int leastDigits);
    // Null if there is no such text. `buffer` is for one that is not at hand.
    const char16_t* findLocaleText(LCTYPE type, char16_t (&buffer)[kLocaleTextSize]);
    bool putLocaleText(LCTYPE type);
    // One of `count` names, which are numbered from 1.
    bool putName(LCTYPE first, int number, int count);
    bool putPicture(LCTYPE type);
    bool putEra();
    bool putZone();
};

TText asText(const char16_t* terminated) { return terminated; }

bool CTimeFormatter::Format(TText format) {
    depth++;
    bool isConsumed = true;
    while (isConsumed && !format.empty()) {
        const std::size_t start = std::min(format.find(u'%'), format.size());
        isConsumed = put(format.substr(0, start));
        format.remove_prefix(start);
        if (!isConsumed || format.empty())
            break;
        std::size_t code = 1;
        bool isAlternate = false;
        for (; code < format.size() && (format[code] == u'+' || format[code] == u'#'); code++)
            isAlternate = isAlternate || format[code] == u'#';
        isConsumed = convert(code < format.size() ? format[code] : u'\0', isAlternate);
        format.remove_prefix(std::min(code + 1, format.size()));
    }
    depth--;
    return isConsumed;
}

bool CTimeFormatter::convert(char16_t code, bool isAlternate) {
    switch (code) {
    case u'%':
        return put(u"%");
    case u'a':
        return putName(LOCALE_SABBREVDAYNAME1, dayFromMonday(), kDaysOfWeek);
    case u'A':
        return putName(LOCALE_SDAYNAME1, dayFromMonday(), kDaysOfWeek);
    case u'b':
    case u'h':
        return putName(LOCALE_SABBREVMONTHNAME1, time.wMonth, kMonths);
    case u'B':
        return putName(LOCALE_SMONTHNAME1, time.wMonth, kMonths);
    case u'c':
        return Format(isAlternate ? u"%#x %X" : u"%x %X");
    case u'C':
        return putNumber(time.wYear / 100, 1);
    case u'd':
        return putNumber(time.wDay, 2);
    case u'D':
        return putPicture(LOCALE_SSHORTDATE);
    case u'x':
        return putPicture(isAlternate ? LOCALE_SLONGDATE : LOCALE_SSHORTDATE);
    case u'X':
        return putPicture(LOCALE_STIMEFORMAT);
    case u'g':
        return putEra();
    case u'H':
        return putNumber(time.wHour, 2);
    case u'I':
        return putNumber((time.wHour + kHoursOfHalfDay - 1) % kHoursOfHalfDay + 1, 2);
    case u'm':
        return putNumber(time.wMonth, 2);
    case u'M':
        return putNumber(time.wMinute, 2);
    case u'p':
        return putLocaleText(time.wHour < kHoursOfHalfDay ? LOCALE_S1159 : LOCALE_S2359);
    case u'S':
        return putNumber(time.wSecond, 2);
    case u'w':
        return putNumber(time.wDayOfWeek, 1);
    case u'y':
        return putNumber(time.wYear % 100, 2);
    case u'Y':
        return putNumber(time.wYear, 1);
    case u'Z':
        return putZone();
    case u'j':
    case u'U':
    case u'W':
        GenAssert(u"wcsftime", __LINE__);
        return true;
    default:
        return put(kUnknown);
    }
}

bool CTimeFormatter::put(TText text) {
    const std::size_t count = std::min(text.size(), static_cast<std::size_t>(end - next));
    next = std::copy_n(text.data(), count, next);
    return count == text.size();
}

bool CTimeFormatter::putNumber(int number, int leastDigits) {
    char16_t digits[5]; // the longest number of a SYSTEMTIME
    char16_t* first = std::end(digits);
    for (; number > 0 || leastDigits > 0; number /= 10, leastDigits--)
        *--first = static_cast<char16_t>(u'0' + number % 10);
    return put(TText(first, static_cast<std::size_t>(std::end(digits) - first)));
}

const char16_t* CTimeFormatter::findLocaleText(LCTYPE type, char16_t (&buffer)[kLocaleTextSize]) {
    if (locale != nullptr || (locale = AskPlatform(Platform::FindUserLocale)) != nullptr)
        return Platform::FindLocaleText(locale, type);
    const int length = AskPlatform(
        [&] { return Platform::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, kLocaleTextSize); });
    return length != 0 ? buffer : nullptr;
}

bool CTimeFormatter::putLocaleText(LCTYPE type) {
    char16_t buffer[kLocaleTextSize];
    const char16_t* const text = findLocaleText(type, buffer);
    return put(text != nullptr ? asText(text) : kUnknown);
}

bool CTimeFormatter::putName(LCTYPE first, int number, int count) {
    return number >= 1 && number <= count ? putLocaleText(first + static_cast<LCTYPE>(number - 1))
                                          : put(kUnknown);
}

bool CTimeFormatter::putPicture(LCTYPE type) {
    char16_t buffer[kLocaleTextSize];
    const char16_t* const picture = depth < kDeepestFormat ? findLocaleText(type, buffer) : nullptr;
    return picture != nullptr ? Format(TText(picture)) : put(kUnknown);
}

bool CTimeFormatter::putEra() {
    char16_t era[kLocaleTextSize];
    const int length = AskPlatform([&] {
        return Platform::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_USE_ALT_CALENDAR, &time, u"gg", era,
                                        kLocaleTextSize);
    });
    return put(length != 0 ? asText(era) : kUnknown);
}

bool CTimeFormatter::putZone() {
    TIME_ZONE_INFORMATION zone{};
    const bool isDaylight = Platform::GetTimeZoneInformation(&zone) == TIME_ZONE_ID_DAYLIGHT;
    return put(asText(reinterpret_cast<const char16_t*>(isDaylight ? zone.DaylightName : zone.StandardName)));
}

} // namespace

int wcsftime(char16_t* buffer, int size, const char16_t* format, const SYSTEMTIME& time) {
    if (size < 1)
        return 0;
    CTimeFormatter formatter(buffer, size - 1, time);
    const bool isConsumed = size >= 2 && formatter.Format(format);
    *formatter.End() = 0;
    return isConsumed ? static_cast<int>(formatter.End() - buffer) : 0;
}

} // namespace Tarn
