// Conversions between calendar times and file times, and the library's calculations with times and spans.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

#include <tarnkit/time.h>

namespace compare_ports {

namespace {

namespace Platform = Tarn::Platform;
using Tarn::Int64;
using Tarn::UInt64;

constexpr unsigned kFirstYear = 1601;
constexpr unsigned kLastYear = 30827;
constexpr unsigned kRandomTimes = 20'000;

std::string dateText(const SYSTEMTIME& time) {
    std::string text;
    for (const WORD part : {time.wYear, time.wMonth, time.wDayOfWeek, time.wDay, time.wHour, time.wMinute,
                            time.wSecond, time.wMilliseconds})
        text += (text.empty() ? "" : "-") + std::to_string(part);
    return text;
}

std::string fileTimeOf(const SYSTEMTIME& date) {
    FILETIME time;
    if (!Platform::SystemTimeToFileTime(&date, &time))
        return Failure(Platform::GetLastError());
    return std::to_string(UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

std::string dateOf(UInt64 units) {
    const FILETIME time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME date;
    return Platform::FileTimeToSystemTime(&time, &date) ? dateText(date) : Failure(Platform::GetLastError());
}

/// Days of every year, including years that do not exist.
void printYears(ResultFile& results) {
    for (unsigned number = 0; number <= 0xFFFF; number++) {
        const auto year = static_cast<WORD>(number);
        results.Add("time/year", number,
                    Words(fileTimeOf({year, 1, 0, 1, 0, 0, 0, 0}),
                          fileTimeOf({year, 2, 0, 28, 12, 30, 30, 500}),
                          fileTimeOf({year, 12, 0, 31, 23, 59, 59, 999})));
        const bool isLeapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        results.Add(isLeapYear ? "time/leap-day" : "time/no-leap-day", number,
                    fileTimeOf({year, 2, 0, 29, 0, 0, 0, 1}));
    }
}

/// Dates about half of which do not exist. Leap days and invalid years are covered by printYears.
void printDates(ResultFile& results) {
    Random random(2);
    const auto below = [&](unsigned end) {
        return static_cast<WORD>(random.OneIn(50) ? random.Next() : random.Below(end));
    };
    for (unsigned number = 0; number < kRandomTimes; number++) {
        const auto year = static_cast<WORD>(kFirstYear + random.Below(kLastYear - kFirstYear + 1));
        SYSTEMTIME date = {year,      below(14), below(8),  below(33),
                           below(25), below(61), below(61), below(1001)};
        if (date.wMonth == 2 && date.wDay == 29)
            date.wDay = 30;
        results.Add("time/date", number, Words(dateText(date), fileTimeOf(date)));
    }
}

void printFileTimes(ResultFile& results) {
    constexpr UInt64 kDay = 864'000'000'000;
    Random random(3);
    for (unsigned number = 0; number < kRandomTimes; number++) {
        UInt64 units = random.Next() >> random.Below(64);
        if (random.OneIn(2))
            units = units / kDay * kDay;
        units += random.Below(3) - 1u;
        results.Add("time/units", number, Words(units, dateOf(units)));
    }
}

std::string quoted(const Tarn::CUnicodeString& text) {
    return Quoted(std::u16string_view(text.Ptr(), static_cast<std::size_t>(text.GetLength())));
}

void printTimeTexts(ResultFile& results) {
    static constexpr const char16_t* kFormats[] = {u"%Y-%m-%d %H:%M:%S", u"%I %p", u"%C %y %w %%",
                                                   u"%a %A %b %B",       u"%q%+d", u"%"};
    Random random(4);
    for (unsigned number = 0; number < kRandomTimes; number++) {
        const UInt64 units = random.Next() >> (1 + random.Below(16));
        const Tarn::CTime time =
            Tarn::CTime::CreateFromFileTimeGmt({static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)});
        results.Add("time/text", number,
                    Words(units, time.GetMillisecond(), time.GetMicrosecond(),
                          quoted(time.UnicodeFormatGmt(random.Pick(kFormats)))));
    }
}

void printSpans(ResultFile& results) {
    Random random(5);
    const auto part = [&] { return static_cast<int>(random.Next() >> (32 + random.Below(32))) - 1000; };
    for (unsigned number = 0; number < kRandomTimes; number++) {
        const int days = part(), hours = part(), minutes = part(), seconds = part();
        const int milliseconds = part(), microseconds = part(); // in the same order on every system
        const Tarn::CTimeSpan span(days, hours, minutes, seconds, milliseconds, microseconds);
        results.Add("time/span", number,
                    Words(span.GetTotalTimeUnits(), span.GetMilliseconds(), span.GetMicroseconds(),
                          quoted(span.UnicodeFormat(u"%D %H %M %S %h %m %s %%"))));
    }
}

} // namespace

void PrintTimes(ResultFile& results) {
    printYears(results);
    printDates(results);
    printFileTimes(results);
    printTimeTexts(results);
    printSpans(results);
}

} // namespace compare_ports
