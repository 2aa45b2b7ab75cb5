// Calendar time and local time. File times count 100-nanosecond units from the start of 1601
// in the Gregorian calendar.
#include "platform/platform.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/time_zone.h"

#include <chrono>
#include <ctime>

namespace Tarn::Platform {

using namespace Posix;

namespace {

using namespace std::chrono;

using FileTimeUnits = duration<Int64, std::ratio<1, 10'000'000>>;

constexpr year kFirstYear{1601};
constexpr year kLastYear{30827};
constexpr sys_days kEpoch = kFirstYear / January / 1;

BOOL refuse() { return Report(ERROR_INVALID_PARAMETER); }

UInt64 bitsOf(const FILETIME& time) { return UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

FILETIME toFileTime(UInt64 bits) { return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)}; }

SYSTEMTIME toSystemTime(FileTimeUnits units) {
    const auto wholeDays = floor<days>(units);
    const sys_days day = kEpoch + wholeDays;
    const year_month_day date(day);
    const hh_mm_ss time(floor<milliseconds>(units - wholeDays));
    const auto word = [](auto number) { return static_cast<WORD>(number); };
    return {word(static_cast<int>(date.year())), word(static_cast<unsigned>(date.month())),
            word(weekday(day).c_encoding()),     word(static_cast<unsigned>(date.day())),
            word(time.hours().count()),          word(time.minutes().count()),
            word(time.seconds().count()),        word(time.subseconds().count())};
}

// The C++ library's clock was compiled with times of 32 bits on 32-bit systems.
FileTimeUnits unitsOfNow() {
    timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    return sys_seconds(seconds(time.tv_sec)) - kEpoch + floor<FileTimeUnits>(nanoseconds(time.tv_nsec));
}

BOOL shift(const FILETIME& from, seconds distance, FILETIME* to) {
    const UInt64 bits = bitsOf(from);
    if (static_cast<Int64>(bits) < 0)
        return refuse();
    *to = toFileTime(bits + static_cast<UInt64>(FileTimeUnits(distance).count()));
    return TRUE;
}

} // namespace

BOOL FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime) {
    const FileTimeUnits units(static_cast<Int64>(bitsOf(*fileTime)));
    if (units.count() < 0)
        return refuse();
    *systemTime = toSystemTime(units);
    return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* systemTime, FILETIME* fileTime) {
    const year_month_day date(year(systemTime->wYear), month(systemTime->wMonth), day(systemTime->wDay));
    // Values too large for `year`, `month` or `day` are not valid either.
    if (systemTime->wYear < static_cast<int>(kFirstYear) || systemTime->wYear > static_cast<int>(kLastYear) ||
        systemTime->wMonth > 12 || systemTime->wDay > 31 || !date.ok() || systemTime->wHour > 23 ||
        systemTime->wMinute > 59 || systemTime->wSecond > 59 || systemTime->wMilliseconds > 999)
        return refuse();
    const FileTimeUnits units = sys_days(date) - kEpoch + hours(systemTime->wHour) +
                                minutes(systemTime->wMinute) + seconds(systemTime->wSecond) +
                                milliseconds(systemTime->wMilliseconds);
    *fileTime = toFileTime(static_cast<UInt64>(units.count()));
    return TRUE;
}

void GetSystemTimeAsFileTime(FILETIME* time) {
    *time = toFileTime(static_cast<UInt64>(unitsOfNow().count()));
}

void GetLocalTime(SYSTEMTIME* localTime) {
    const FileTimeUnits now = unitsOfNow();
    *localTime = toSystemTime(now + LocalOffset());
}

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime) {
    return shift(*fileTime, LocalOffset(), localTime);
}

BOOL LocalFileTimeToFileTime(const FILETIME* localTime, FILETIME* fileTime) {
    return shift(*localTime, -LocalOffset(), fileTime);
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* information) { return DescribeZone(*information); }

} // namespace Tarn::Platform
