#include "note_time.h"

#include <chrono>

using namespace Tarn;

namespace {

// Far enough from the ends of the calendar that no time zone leads beyond them.
constexpr int kFirstYear = 1602;
constexpr int kLastYear = 9999;

constexpr char16_t kPattern[] = u"0000-00-00 00:00"; // a zero stands for any digit
constexpr int kPatternLength = static_cast<int>(std::size(kPattern)) - 1;

bool isDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool hasPattern(const CUnicodeString& text) {
    for (int i = 0; i < kPatternLength; i++)
        if (kPattern[i] == u'0' ? !isDigit(text[i]) : text[i] != kPattern[i])
            return false;
    return true;
}

int numberAt(const CUnicodeString& text, int start, int count) {
    int number = 0;
    for (int i = start; i < start + count; i++)
        number = number * 10 + (text[i] - u'0');
    return number;
}

} // namespace

bool IsNoteTime(CTime time) {
    return time == CTime::CreateZeroTime() ||
           (time >= CTime::CreateFromTimeGmt(kFirstYear, January, 1, 0, 0, 0, 0, 0) &&
            time < CTime::CreateFromTimeGmt(kLastYear + 1, January, 1, 0, 0, 0, 0, 0));
}

bool ParseNoteTime(const CUnicodeString& text, CTime& time) {
    const int length = text.GetLength();
    const bool isUniversal = length == kPatternLength + 1 && text[kPatternLength] == u'Z';
    if ((length != kPatternLength && !isUniversal) || !hasPattern(text))
        return false;
    const int year = numberAt(text, 0, 4);
    const int month = numberAt(text, 5, 2);
    const int day = numberAt(text, 8, 2);
    const int hour = numberAt(text, 11, 2);
    const int minute = numberAt(text, 14, 2);
    const std::chrono::year_month_day date(std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day)));
    if (!date.ok() || year < kFirstYear || year > kLastYear || hour > 23 || minute > 59)
        return false;
    time = isUniversal ? CTime::CreateFromTimeGmt(year, month, day, hour, minute, 0, 0, 0)
                       : CTime(year, month, day, hour, minute, 0, 0, 0);
    return IsNoteTime(time);
}

CUnicodeString ShowShortTime(CTime time) {
    return time == CTime::CreateZeroTime() ? CUnicodeString(u"-") : time.UnicodeFormat(u"%d %b %Y %H:%M");
}

CUnicodeString ShowLongTime(CTime time) {
    return time == CTime::CreateZeroTime() ? CUnicodeString(u"-")
                                           : time.UnicodeFormat(u"%A, %d %B %Y, %H:%M");
}
