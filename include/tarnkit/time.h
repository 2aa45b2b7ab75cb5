// CTime, a point in time, CTimeSpan, a signed duration, and the formatter of calendar times.
//
// Both values are one 64-bit count of units of 100 nanoseconds. A CTime counts from the beginning of 1601 in
// universal time (GMT), as the platform's FILETIME does. What has `Gmt` in its name speaks universal time;
// everything else speaks local time and converts, both ways, with the bias that is in force at that moment,
// also for dates of another season. What is no date, and what lies before 1601, asserts where it is
// converted; arithmetic is not checked. A default-constructed value is not initialised. They are plain
// values: any thread.
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <compare>

namespace Tarn {

class CArchive;

class TARNKIT_API CTimeSpan {
public:
    static constexpr Int64 kMicrosecond = 10;
    static constexpr Int64 kMillisecond = 1000 * kMicrosecond;
    static constexpr Int64 kSecond = 1000 * kMillisecond;
    static constexpr Int64 kMinute = 60 * kSecond;
    static constexpr Int64 kHour = 60 * kMinute;
    static constexpr Int64 kDay = 24 * kHour;

    CTimeSpan() = default;
    /// The sum of the parts, each of which may be negative or more than the next larger unit.
    constexpr CTimeSpan(int days, int hours, int minutes, int seconds, int milliseconds, int microseconds)
        : units(sum(static_cast<UInt64>(days * Int64{24} + hours) * static_cast<UInt64>(kHour),
                    minutes * kMinute + seconds * kSecond + milliseconds * kMillisecond +
                        microseconds * kMicrosecond)) {}
    static constexpr CTimeSpan CreateFromTimeUnits(Int64 units) { return CTimeSpan(units); }

    constexpr Int64 GetTotalTimeUnits() const { return units; }

    // The whole span in one unit, cut towards zero.
    constexpr Int64 GetDays() const { return units / kDay; }
    constexpr Int64 GetTotalHours() const { return units / kHour; }
    constexpr Int64 GetTotalMinutes() const { return units / kMinute; }
    constexpr Int64 GetTotalSeconds() const { return units / kSecond; }
    constexpr Int64 GetTotalMilliseconds() const { return units / kMillisecond; }
    constexpr Int64 GetTotalMicroseconds() const { return units / kMicrosecond; }

    // What is left of the next larger unit; nothing is above zero in a negative span.
    constexpr int GetHours() const { return static_cast<int>(GetTotalHours() - GetDays() * 24); }
    constexpr int GetMinutes() const { return static_cast<int>(GetTotalMinutes() - GetTotalHours() * 60); }
    constexpr int GetSeconds() const { return static_cast<int>(GetTotalSeconds() - GetTotalMinutes() * 60); }
    constexpr int GetMilliseconds() const {
        return static_cast<int>(GetTotalMilliseconds() - GetTotalSeconds() * 1000);
    }
    constexpr int GetMicroseconds() const {
        return static_cast<int>(GetTotalMicroseconds() - GetTotalMilliseconds() * 1000);
    }

    constexpr CTimeSpan& operator+=(CTimeSpan other) {
        units = sum(static_cast<UInt64>(units), other.units);
        return *this;
    }
    constexpr CTimeSpan& operator-=(CTimeSpan other) {
        units = difference(units, other.units);
        return *this;
    }
    friend constexpr CTimeSpan operator+(CTimeSpan a, CTimeSpan b) { return a += b; }
    friend constexpr CTimeSpan operator-(CTimeSpan a, CTimeSpan b) { return a -= b; }

    friend constexpr bool operator==(CTimeSpan a, CTimeSpan b) = default;
    friend constexpr std::strong_ordering operator<=>(CTimeSpan a, CTimeSpan b) = default;

    /// Replaces `%D` by the total days, `%H`, `%M` and `%S` by the hours, minutes and seconds of the next
    /// larger unit, `%h`, `%m` and `%s` by their totals, `%%` by a percent sign. Numbers are not padded. Any
    /// other character after a `%`, or none, asserts.
    CUnicodeString UnicodeFormat(const char16_t* format) const;

private:
    Int64 units;

    friend class CTime;
    friend struct CLayout<CTimeSpan>;

    explicit constexpr CTimeSpan(Int64 timeUnits) : units(timeUnits) {}

    // What does not fit wraps around.
    static constexpr Int64 sum(UInt64 a, Int64 b) { return static_cast<Int64>(a + static_cast<UInt64>(b)); }
    static constexpr Int64 difference(Int64 a, Int64 b) {
        return static_cast<Int64>(static_cast<UInt64>(a) - static_cast<UInt64>(b));
    }
};
TARNKIT_LAYOUT(CTimeSpan, 8, units);

enum TMonth {
    January = 1,
    February,
    March,
    April,
    May,
    June,
    July,
    August,
    September,
    October,
    November,
    December
};

enum TDayOfWeek { Sunday = 1, Monday, Tuesday, Wednesday, Thursday, Friday, Saturday };

class TARNKIT_API CTime {
public:
    CTime() = default;
    /// A local calendar time. The first seven parts must lie in 0 to 65535 and be a date; `microsecond` must
    /// not be negative and may be more than 999.
    CTime(int year, int month, int day, int hour, int minute, int second, int millisecond, int microsecond);
    /// Local times. The day of the week is not read.
    CTime(const SYSTEMTIME& localTime);
    CTime(const FILETIME& localTime);

    static CTime CreateFromTimeGmt(int year, int month, int day, int hour, int minute, int second,
                                   int millisecond, int microsecond);
    static CTime CreateFromSystemTimeGmt(const SYSTEMTIME& time);
    static CTime CreateFromFileTimeGmt(const FILETIME& time);
    /// The beginning of 1601, which also stands for no time at all.
    static constexpr CTime CreateZeroTime() { return CTime(Int64{0}); }
    /// To the millisecond.
    static CTime GetCurrentTime();

    void GetAsFileTime(FILETIME& localTime) const;
    void GetAsFileTimeGmt(FILETIME& time) const;
    void GetAsSystemTime(SYSTEMTIME& localTime) const;
    void GetAsSystemTimeGmt(SYSTEMTIME& time) const;

    // Parts of the local time.
    int GetYear() const { return asSystemTime().wYear; }
    TMonth GetMonth() const { return static_cast<TMonth>(asSystemTime().wMonth); }
    int GetDay() const { return asSystemTime().wDay; }
    int GetHour() const { return asSystemTime().wHour; }
    int GetMinute() const { return asSystemTime().wMinute; }
    int GetSecond() const { return asSystemTime().wSecond; }
    TDayOfWeek GetDayOfWeek() const { return static_cast<TDayOfWeek>(asSystemTime().wDayOfWeek + Sunday); }

    // The same everywhere.
    constexpr int GetMillisecond() const {
        return static_cast<int>(units % CTimeSpan::kSecond / CTimeSpan::kMillisecond);
    }
    /// Within the millisecond.
    constexpr int GetMicrosecond() const {
        return static_cast<int>(units % CTimeSpan::kMillisecond / CTimeSpan::kMicrosecond);
    }

    constexpr CTime& operator+=(CTimeSpan span) {
        units = CTimeSpan::sum(static_cast<UInt64>(units), span.units);
        return *this;
    }
    constexpr CTime& operator-=(CTimeSpan span) {
        units = CTimeSpan::difference(units, span.units);
        return *this;
    }
    friend constexpr CTime operator+(CTime time, CTimeSpan span) { return time += span; }
    friend constexpr CTime operator-(CTime time, CTimeSpan span) { return time -= span; }
    constexpr CTimeSpan operator-(CTime other) const {
        return CTimeSpan(CTimeSpan::difference(units, other.units));
    }

    friend constexpr bool operator==(CTime a, CTime b) = default;
    friend constexpr std::strong_ordering operator<=>(CTime a, CTime b) = default;

    /// The local time as `wcsftime` formats it, at most 127 units; a longer text asserts.
    CUnicodeString UnicodeFormat(const char16_t* format) const;
    CUnicodeString UnicodeFormatGmt(const char16_t* format) const;

private:
    Int64 units;

    friend CArchive& operator<<(CArchive& archive, CTime time);
    friend CArchive& operator>>(CArchive& archive, CTime& time);
    friend struct CLayout<CTime>;

    explicit constexpr CTime(Int64 timeUnits) : units(timeUnits) {}

    SYSTEMTIME asSystemTime() const;
};
TARNKIT_LAYOUT(CTime, 8, units);

/// Formats a calendar time into `buffer`, which holds `size` units with the terminator. Returns the units
/// written without it, or 0 when the text was cut short to what fits; a size below 2 holds no text at all.
///
/// Numbers of two digits: `%d` day, `%m` month, `%y` year of the century, `%H` hour, `%I` hour of the half
/// day (01 to 12), `%M` minute, `%S` second. Unpadded: `%Y` year, `%C` century (year / 100), `%w` day of the
/// week from 0 for Sunday. In the user's language: `%a` `%A` day, `%b` `%h` `%B` month, `%p` half of the day,
/// `%g` era. `%Z` is the name of the time zone, `%%` a percent sign. `%x` and `%D` are the picture letters of
/// the locale's short date, `%#x` of its long date, `%X` of its time, as they stand, save that a `%` in them
/// is a conversion; `%c` is `%x %X` and `%#c` is `%#x %X`. `+`, and `#` elsewhere, change nothing. `%j`, `%U`
/// and `%W` assert; any other character, or none, gives "00".
TARNKIT_API int wcsftime(char16_t* buffer, int size, const char16_t* format, const SYSTEMTIME& time);

} // namespace Tarn
