#include "platform/posix/support/time_zone.h"

#include "platform/platform.h"
#include "platform/posix/support/kept_objects.h"
#include "platform/posix/text/user_variables.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <iterator>

namespace Tarn::Platform::Posix {
namespace {

using namespace std::chrono;

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

    bool IsSetAs(const LocalClock& other) const {
        return Offset() == other.Offset() && IsDaylight() == other.IsDaylight() &&
               std::strcmp(ZoneName(), other.ZoneName()) == 0;
    }

private:
    std::tm fields{};
};

/// The first second after `before` and up to `after` at which the clocks are set otherwise than at `before`.
sys_seconds changeBetween(sys_seconds before, sys_seconds after) {
    const LocalClock first(before);
    while (after - before > seconds(1)) {
        const sys_seconds middle = before + (after - before) / 2;
        (LocalClock(middle).IsSetAs(first) ? before : after) = middle;
    }
    return after;
}

/// What a clock that is ahead of universal time shows at a moment.
SYSTEMTIME shownAt(sys_seconds moment, seconds ahead) {
    constexpr UInt64 kUnitsInSecond = 10'000'000;
    constexpr sys_days kEpoch = year(1601) / January / 1;
    const UInt64 units = static_cast<UInt64>((moment + ahead - kEpoch).count()) * kUnitsInSecond;
    const FILETIME fileTime = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME shown{};
    FileTimeToSystemTime(&fileTime, &shown);
    return shown;
}

// Zone names are ASCII.
void copyName(const char* name, char16_t (&copy)[32]) {
    std::size_t length = 0;
    for (; name[length] != '\0' && length < std::size(copy) - 1; length++)
        copy[length] = static_cast<unsigned char>(name[length]);
    copy[length] = 0;
}

LONG biasOf(const LocalClock& clock) { return static_cast<LONG>(-floor<minutes>(clock.Offset()).count()); }

sys_seconds timeOf(clockid_t clock) {
    timespec time;
    clock_gettime(clock, &time);
    return sys_seconds(seconds(time.tv_sec));
}

sys_seconds now() { return timeOf(CLOCK_REALTIME); }

/// The time on a clock that is read faster and may be some milliseconds slow.
sys_seconds aboutNow() { return timeOf(CLOCK_REALTIME_COARSE); }

/// A period in which the clocks are not set and the year stays the same, and what is true in it.
struct Period {
    seconds offset;
    TIME_ZONE_INFORMATION information = {};
    DWORD id;
    sys_seconds begin;
    sys_seconds end;

    /// Needs the C library's lock.
    explicit Period(sys_seconds moment);

    bool Includes(sys_seconds moment) const { return begin <= moment && moment < end; }
};

Period::Period(sys_seconds moment) {
    tzset();
    const LocalClock current(moment);
    LocalClock standard = current;
    LocalClock daylight = current;
    offset = current.Offset();
    begin = sys_days(current.Year() / January / 1) - offset;
    end = sys_days((current.Year() + years(1)) / January / 1) - offset;
    bool isChanging = false;
    // No period of daylight time is so short that a step of a week would skip it.
    const sys_seconds endOfYear = end;
    for (sys_seconds step = begin, next; step < endOfYear; step = next) {
        next = std::min<sys_seconds>(step + weeks(1), endOfYear);
        const LocalClock before(step);
        if (!LocalClock(next).IsSetAs(before)) {
            next = changeBetween(step, next);
            if (next <= moment)
                begin = next;
            else
                end = std::min(end, next);
        }
        const LocalClock after(next);
        (after.IsDaylight() ? daylight : standard) = after;
        if (after.IsDaylight() != before.IsDaylight()) {
            isChanging = true;
            (after.IsDaylight() ? information.DaylightDate : information.StandardDate) =
                shownAt(next, before.Offset());
        }
    }
    (current.IsDaylight() ? daylight : standard) = current;
    information.Bias = biasOf(standard);
    information.DaylightBias = biasOf(daylight) - biasOf(standard);
    copyName(standard.ZoneName(), information.StandardName);
    copyName(daylight.ZoneName(), information.DaylightName);
    id = current.IsDaylight() ? TIME_ZONE_ID_DAYLIGHT
         : isChanging         ? TIME_ZONE_ID_STANDARD
                              : TIME_ZONE_ID_UNKNOWN;
}

/// The file of the system's time zone, which is looked at once in a second.
class SystemZone {
public:
    /// Grows with every change of the file.
    unsigned Version(sys_seconds moment) {
        const Int64 second = moment.time_since_epoch().count();
        if (looked.load(std::memory_order_relaxed) != second &&
            looked.exchange(second, std::memory_order_relaxed) != second)
            look();
        return version.load(std::memory_order_acquire);
    }

private:
    std::atomic<Int64> looked = -1;
    std::atomic<unsigned> version = 0;
    struct stat last = {};

    void look() {
        const CLibraryGuard guard(cLibraryLock);
        struct stat file = {};
        stat("/etc/localtime", &file);
        const auto isSame = [&](auto... fields) { return ((file.*fields == last.*fields) && ...); };
        if (isSame(&stat::st_dev, &stat::st_ino, &stat::st_size) &&
            file.st_mtim.tv_sec == last.st_mtim.tv_sec && file.st_mtim.tv_nsec == last.st_mtim.tv_nsec)
            return;
        last = file;
        version.fetch_add(1, std::memory_order_release);
    }
};

/// A period of a zone. A zone has about three in a year, all of which are kept.
struct PeriodOfZone {
    bool isNamed;
    String name;
    unsigned version; // of the system's zone
    Period period;

    bool IsOf(const char* zoneName, unsigned systemVersion) const {
        return zoneName == nullptr ? !isNamed && version == systemVersion
                                   : isNamed && std::strcmp(name.c_str(), zoneName) == 0;
    }
};

constinit SystemZone systemZone;
constinit KeptObjects<PeriodOfZone> periods;

/// Null if there is no memory to keep it.
const Period* presentPeriod() noexcept {
    const char* const name = ReadUserVariables().zone;
    sys_seconds moment = aboutNow();
    const unsigned version = name == nullptr ? systemZone.Version(moment) : 0;
    const auto includes = [&](const PeriodOfZone& kept, sys_seconds time) {
        return kept.IsOf(name, version) && kept.period.Includes(time);
    };
    // In the last second of a period the exact clock is needed.
    if (const PeriodOfZone* latest = periods.Latest();
        latest != nullptr && includes(*latest, moment) && latest->period.Includes(moment + seconds(1)))
        return &latest->period;
    moment = now();
    try {
        return &periods
                    .Get([&](const PeriodOfZone& kept) { return includes(kept, moment); },
                         [&] {
                             const char* const text = name == nullptr ? "" : name;
                             return PeriodOfZone{name != nullptr, text, version, Period(moment)};
                         })
                    .period;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

seconds LocalOffset() noexcept {
    if (const Period* period = presentPeriod())
        return period->offset;
    const CLibraryGuard guard(cLibraryLock);
    tzset();
    return LocalClock(now()).Offset();
}

DWORD DescribeZone(TIME_ZONE_INFORMATION& information) noexcept {
    if (const Period* period = presentPeriod()) {
        information = period->information;
        return period->id;
    }
    const CLibraryGuard guard(cLibraryLock);
    const Period period(now());
    information = period.information;
    return period.id;
}

} // namespace Tarn::Platform::Posix
