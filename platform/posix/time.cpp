// Calendar time: file times count 100-nanosecond units from the start of 1601 in the Gregorian calendar.
#include "platform/platform.h"

#include <chrono>

namespace Tarn::Platform {
namespace {

using namespace std::chrono;

using FileTimeUnits = duration<Int64, std::ratio<1, 10'000'000>>;

constexpr year kFirstYear{1601};
constexpr year kLastYear{30827};
constexpr sys_days kEpoch = kFirstYear / January / 1;

BOOL refuse() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

} // namespace

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    const FileTimeUnits units(
        static_cast<Int64>(UInt64{fileTime->dwHighDateTime} << 32 | fileTime->dwLowDateTime));
    if (units.count() < 0)
        return refuse();
    const auto wholeDays = floor<days>(units);
    const sys_days day = kEpoch + wholeDays;
    const year_month_day date(day);
    const hh_mm_ss time(floor<milliseconds>(units - wholeDays));
    const auto word = [](auto number) { return static_cast<WORD>(number); };
    *systemTime = {word(static_cast<int>(date.year())), word(static_cast<unsigned>(date.month())),
                   word(weekday(day).c_encoding()),     word(static_cast<unsigned>(date.day())),
                   word(time.hours().count()),          word(time.minutes().count()),
                   word(time.seconds().count()),        word(time.subseconds().count())};
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    const year_month_day date(year(systemTime->wYear), month(systemTime->wMonth), day(systemTime->wDay));
    // A year that no `year` holds and a month or a day that none of theirs holds are not valid either.
    if (systemTime->wYear < static_cast<int>(kFirstYear) || systemTime->wYear > static_cast<int>(kLastYear) ||
        systemTime->wMonth > 12 || systemTime->wDay > 31 || !date.ok() || systemTime->wHour > 23 ||
        systemTime->wMinute > 59 || systemTime->wSecond > 59 || systemTime->wMilliseconds > 999)
        return refuse();
    const FileTimeUnits units = sys_days(date) - kEpoch + hours(systemTime->wHour) +
                                minutes(systemTime->wMinute) + seconds(systemTime->wSecond) +
                                milliseconds(systemTime->wMilliseconds);
    fileTime->dwLowDateTime = static_cast<DWORD>(units.count());
    fileTime->dwHighDateTime = static_cast<DWORD>(units.count() >> 32);
    return TRUE;
}

} // namespace Tarn::Platform
