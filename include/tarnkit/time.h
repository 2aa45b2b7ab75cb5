/// \file
/// CTime, a point in time, CTimeSpan, a signed duration, and the formatter of calendar times.
///
/// Both values are one 64-bit count of units of 100 nanoseconds. A CTime counts from the beginning of 1601 in
/// universal time (GMT), as a FILETIME does. Members with `Gmt` in their names take and return universal
/// time; all others use local time and convert with the offset from GMT that is in force at the moment of the
/// call, even for dates when the clocks are set differently. A date that does not exist or lies before 1601
/// is an assertion failure where it is converted; arithmetic is not checked. Default construction initialises
/// nothing. Threads may use different values at the same time.
///
/// \code
/// const CTime start = CTime::CreateFromTimeGmt(2026, February, 28, 22, 30, 0, 0, 0);
/// const CTime end = start + CTimeSpan(1, 2, 0, 0, 0, 0);
/// end.UnicodeFormatGmt(u"%Y-%m-%d %H:%M");       // "2026-03-02 00:30"
/// (end - start).UnicodeFormat(u"%D day, %H h");  // "1 day, 2 h"
/// (end - start).GetTotalHours();                 // 26
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <compare>

namespace Tarn {

class CArchive;

/// The units of time, as numbers of 100 nanoseconds. They belong to a class of their own that is not
/// exported: clients on Windows would look for those of an exported class in the library, where they are not.
struct CTimeUnits {
    ///@{
    /// In units of 100 nanoseconds.
    static constexpr Int64 kMicrosecond = 10;
    static constexpr Int64 kMillisecond = 1000 * kMicrosecond;
    static constexpr Int64 kSecond = 1000 * kMillisecond;
    static constexpr Int64 kMinute = 60 * kSecond;
    static constexpr Int64 kHour = 60 * kMinute;
    static constexpr Int64 kDay = 24 * kHour;
    ///@}
};

/// The signed difference of two times; see the top of this header.
class TARNKIT_API CTimeSpan : public CTimeUnits {
public:
    CTimeSpan() = default;
    /// The sum of the parts, each of which may be negative or exceed the next larger unit.
    constexpr CTimeSpan(int days, int hours, int minutes, int seconds, int milliseconds, int microseconds)
        : units(sum(static_cast<UInt64>(days * Int64{24} + hours) * static_cast<UInt64>(kHour),
                    minutes * kMinute + seconds * kSecond + milliseconds * kMillisecond +
                        microseconds * kMicrosecond)) {}
    /// A span of so many units of 100 nanoseconds.
    static constexpr CTimeSpan CreateFromTimeUnits(Int64 units) { return CTimeSpan(units); }

    /// The span in units of 100 nanoseconds.
    constexpr Int64 GetTotalTimeUnits() const { return units; }

    ///@{
    /// The whole span in one unit, rounded towards zero.
    constexpr Int64 GetDays() const { return units / kDay; }
    constexpr Int64 GetTotalHours() const { return units / kHour; }
    constexpr Int64 GetTotalMinutes() const { return units / kMinute; }
    constexpr Int64 GetTotalSeconds() const { return units / kSecond; }
    constexpr Int64 GetTotalMilliseconds() const { return units / kMillisecond; }
    constexpr Int64 GetTotalMicroseconds() const { return units / kMicrosecond; }
    ///@}

    ///@{
    /// What remains after whole next larger units; zero or negative in a negative span.
    constexpr int GetHours() const { return static_cast<int>(GetTotalHours() - GetDays() * 24); }
    constexpr int GetMinutes() const { return static_cast<int>(GetTotalMinutes() - GetTotalHours() * 60); }
    constexpr int GetSeconds() const { return static_cast<int>(GetTotalSeconds() - GetTotalMinutes() * 60); }
    constexpr int GetMilliseconds() const {
        return static_cast<int>(GetTotalMilliseconds() - GetTotalSeconds() * 1000);
    }
    constexpr int GetMicroseconds() const {
        return static_cast<int>(GetTotalMicroseconds() - GetTotalMilliseconds() * 1000);
    }
    ///@}

    ///@{
    /// Overflows wrap around.
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
    ///@}

    friend constexpr bool operator==(CTimeSpan a, CTimeSpan b) { return a.units == b.units; }
    friend constexpr std::strong_ordering operator<=>(CTimeSpan a, CTimeSpan b) {
        return a.units <=> b.units;
    }

    /// Replaces `%D` by the total days, `%H`, `%M` and `%S` by `GetHours()`, `GetMinutes()` and
    /// `GetSeconds()`, `%h`, `%m` and `%s` by the total hours, minutes and seconds, `%%` by a percent sign.
    /// Numbers are not padded. Any other character after a `%`, or none, is an assertion failure.
    CUnicodeString UnicodeFormat(const char16_t* format) const;

private:
    Int64 units;

    friend class CTime;
    friend struct CLayout<CTimeSpan>;

    explicit constexpr CTimeSpan(Int64 timeUnits) : units(timeUnits) {}

    // An overflow wraps around.
    static constexpr Int64 sum(UInt64 a, Int64 b) { return static_cast<Int64>(a + static_cast<UInt64>(b)); }
    static constexpr Int64 difference(Int64 a, Int64 b) {
        return static_cast<Int64>(static_cast<UInt64>(a) - static_cast<UInt64>(b));
    }
};
TARNKIT_LAYOUT(CTimeSpan, 8, units);

/// The values of `GetMonth`.
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

/// The values of `GetDayOfWeek`.
enum TDayOfWeek { Sunday = 1, Monday, Tuesday, Wednesday, Thursday, Friday, Saturday };

/// A point in time; see the top of this header.
class TARNKIT_API CTime {
public:
    CTime() = default;
    /// A local calendar time. The first seven parts must lie in 0 to 65535 and make a date; `microsecond`
    /// must not be negative but may exceed 999. Anything else is an assertion failure.
    CTime(int year, int month, int day, int hour, int minute, int second, int millisecond, int microsecond);
    /// Local times. The day of the week is ignored.
    CTime(const SYSTEMTIME& localTime);
    CTime(const FILETIME& localTime);

    ///@{
    /// The same from universal time (GMT).
    static CTime CreateFromTimeGmt(int year, int month, int day, int hour, int minute, int second,
                                   int millisecond, int microsecond);
    static CTime CreateFromSystemTimeGmt(const SYSTEMTIME& time);
    static CTime CreateFromFileTimeGmt(const FILETIME& time);
    ///@}
    /// The beginning of 1601, which also stands for "no time".
    static constexpr CTime CreateZeroTime() { return CTime(Int64{0}); }
    /// The present moment, to the millisecond.
    static CTime GetCurrentTime();

    /// The local time.
    void GetAsFileTime(FILETIME& localTime) const;
    /// Universal time (GMT).
    void GetAsFileTimeGmt(FILETIME& time) const;
    /// The local time.
    void GetAsSystemTime(SYSTEMTIME& localTime) const;
    /// Universal time (GMT).
    void GetAsSystemTimeGmt(SYSTEMTIME& time) const;

    ///@{
    /// Parts of the local time.
    int GetYear() const { return asSystemTime().wYear; }
    TMonth GetMonth() const { return static_cast<TMonth>(asSystemTime().wMonth); }
    int GetDay() const { return asSystemTime().wDay; }
    int GetHour() const { return asSystemTime().wHour; }
    int GetMinute() const { return asSystemTime().wMinute; }
    int GetSecond() const { return asSystemTime().wSecond; }
    TDayOfWeek GetDayOfWeek() const { return static_cast<TDayOfWeek>(asSystemTime().wDayOfWeek + Sunday); }
    ///@}

    /// The same in every time zone.
    constexpr int GetMillisecond() const {
        return static_cast<int>(units % CTimeSpan::kSecond / CTimeSpan::kMillisecond);
    }
    /// Within the millisecond: 0 to 999.
    constexpr int GetMicrosecond() const {
        return static_cast<int>(units % CTimeSpan::kMillisecond / CTimeSpan::kMicrosecond);
    }

    ///@{
    /// A later or an earlier time. Overflows wrap around.
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
    ///@}
    /// The time that has passed since `other`.
    constexpr CTimeSpan operator-(CTime other) const {
        return CTimeSpan(CTimeSpan::difference(units, other.units));
    }

    friend constexpr bool operator==(CTime a, CTime b) { return a.units == b.units; }
    friend constexpr std::strong_ordering operator<=>(CTime a, CTime b) { return a.units <=> b.units; }

    /// The local time as `wcsftime` formats it, at most 127 units; a longer text is an assertion failure.
    CUnicodeString UnicodeFormat(const char16_t* format) const;
    /// The same for universal time (GMT).
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

/// Formats a calendar time into `buffer`, which holds `size` units with the terminator. Returns the number of
/// units written without the terminator, or 0 when the text did not fit and was cut short; a size below 2
/// holds no text at all.
///
/// Numbers of two digits: `%d` day, `%m` month, `%y` year of the century, `%H` hour, `%I` hour of the 12-hour
/// clock (01 to 12), `%M` minute, `%S` second. Unpadded: `%Y` year, `%C` century (year / 100), `%w` day of
/// the week from 0 for Sunday. In the user's language: `%a` `%A` day, `%b` `%h` `%B` month, `%p` AM or PM,
/// `%g` era. `%Z` is the name of the time zone, `%%` a percent sign. `%x` and `%D` are the picture of the
/// locale's short date (such as "dd.MM.yyyy"), `%#x` that of its long date, `%X` that of its time: they are
/// copied as they stand, except that a `%` in them starts a conversion. `%c` stands for `%x %X`, and `%#c`
/// for `%#x %X`. A `+`, and a `#` before other letters, change nothing. `%j`, `%U` and `%W` are assertion
/// failures; any other character after a `%`, or none, gives "00".
TARNKIT_API int wcsftime(char16_t* buffer, int size, const char16_t* format, const SYSTEMTIME& time);

} // namespace Tarn
