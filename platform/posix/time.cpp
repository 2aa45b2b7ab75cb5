// Calendar time, local time and the time zone. File times count 100-nanosecond units from the start of 1601
// in the Gregorian calendar.
#include "platform/platform.h"
#include "platform/posix/support/error_codes.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <iterator>

namespace Tarn::Platform {
namespace {

using namespace std::chrono;

using FileTimeUnits = duration<Int64, std::ratio<1, 10'000'000>>;

constexpr year kFirstYear{1601};
constexpr year kLastYear{30827};
constexpr sys_days kEpoch = kFirstYear / January / 1;

BOOL refuse() { return Posix::Report(ERROR_INVALID_PARAMETER); }

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

SYSTEMTIME toSystemTime(sys_seconds moment) { return toSystemTime(moment - kEpoch); }

/// What the clocks of the user's time zone show at a moment.
class LocalClock {
public:
    explicit LocalClock(sys_seconds moment) {
        const auto seconds = static_cast<std::time_t>(moment.time_since_epoch().count());
        localtime_r(&seconds, &fields);
    }

    /// How far local time is ahead of universal time.
    seconds Offset() const { return seconds(fields.tm_gmtoff); }
    bool IsDaylight() const { return fields.tm_isdst > 0; }
    const char* ZoneName() const { return fields.tm_zone; }
    year Year() const { return year(fields.tm_year + 1900); }

private:
    std::tm fields{};
};

sys_seconds now() { return floor<seconds>(system_clock::now()); }

FileTimeUnits unitsOfNow() { return floor<FileTimeUnits>(system_clock::now()) - kEpoch; }

/// Reads the user's time zone, which may have changed, and its clock.
LocalClock clockOfNow() {
    tzset();
    return LocalClock(now());
}

BOOL shift(const FILETIME& from, seconds distance, FILETIME* to) {
    const UInt64 bits = bitsOf(from);
    if (static_cast<Int64>(bits) < 0)
        return refuse();
    *to = toFileTime(bits + static_cast<UInt64>(FileTimeUnits(distance).count()));
    return TRUE;
}

/// The first second after `before` and up to `after` at which daylight time has begun or ended.
sys_seconds changeBetween(sys_seconds before, sys_seconds after) {
    const bool wasDaylight = LocalClock(before).IsDaylight();
    while (after - before > seconds(1)) {
        const sys_seconds middle = before + (after - before) / 2;
        (LocalClock(middle).IsDaylight() == wasDaylight ? before : after) = middle;
    }
    return after;
}

// Zone names are ASCII.
void copyName(const char* name, char16_t (&copy)[32]) {
    std::size_t length = 0;
    for (; name[length] != '\0' && length < std::size(copy) - 1; length++)
        copy[length] = static_cast<unsigned char>(name[length]);
    copy[length] = 0;
}

LONG biasOf(const LocalClock& clock) { return static_cast<LONG>(-floor<minutes>(clock.Offset()).count()); }

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

void GetLocalTime(SYSTEMTIME* localTime) {
    const seconds offset = clockOfNow().Offset();
    *localTime = toSystemTime(unitsOfNow() + offset);
}

BOOL FileTimeToLocalFileTime(const FILETIME* fileTime, FILETIME* localTime) {
    return shift(*fileTime, clockOfNow().Offset(), localTime);
}

BOOL LocalFileTimeToFileTime(const FILETIME* localTime, FILETIME* fileTime) {
    return shift(*localTime, -clockOfNow().Offset(), fileTime);
}

DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* information) {
    const LocalClock current = clockOfNow();
    LocalClock standard = current;
    LocalClock daylight = current;
    *information = {};
    // No period of daylight time is so short that a step of a week would skip it.
    sys_seconds moment = sys_days(current.Year() / January / 1) - current.Offset();
    const sys_seconds end = sys_days((current.Year() + years(1)) / January / 1) - current.Offset();
    bool isChanging = false;
    for (LocalClock before(moment); moment < end;) {
        const sys_seconds next = std::min<sys_seconds>(moment + weeks(1), end);
        const LocalClock after(next);
        (after.IsDaylight() ? daylight : standard) = after;
        if (after.IsDaylight() != before.IsDaylight()) {
            isChanging = true;
            (after.IsDaylight() ? information->DaylightDate : information->StandardDate) =
                toSystemTime(changeBetween(moment, next) + before.Offset());
        }
        moment = next;
        before = after;
    }
    (current.IsDaylight() ? daylight : standard) = current;
    information->Bias = biasOf(standard);
    information->DaylightBias = biasOf(daylight) - biasOf(standard);
    copyName(standard.ZoneName(), information->StandardName);
    copyName(daylight.ZoneName(), information->DaylightName);
    return current.IsDaylight() ? TIME_ZONE_ID_DAYLIGHT
           : isChanging         ? TIME_ZONE_ID_STANDARD
                                : TIME_ZONE_ID_UNKNOWN;
}

} // namespace Tarn::Platform
