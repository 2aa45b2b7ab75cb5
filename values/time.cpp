#include <tarnkit/failures.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/time.h>

#include "platform/platform.h"

#include <initializer_list>

namespace Tarn {

namespace {

constexpr int kLargestPart = 0xFFFF; // that a part of a SYSTEMTIME can hold
constexpr int kFormatBufferSize = 128;

bool assertConverted(BOOL result) {
    if (!result)
        GenAssert(u"Time", __LINE__);
    return result != FALSE;
}

Int64 assertNotNegative(Int64 units) {
    if (units >= 0)
        return units;
    GenAssert(u"Time", __LINE__);
    return 0;
}

Int64 unitsOf(const FILETIME& time) {
    return assertNotNegative(static_cast<Int64>(UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime));
}

Int64 unitsOfLocal(const FILETIME& localTime) {
    FILETIME time;
    return assertConverted(Platform::LocalFileTimeToFileTime(&localTime, &time)) ? unitsOf(time) : 0;
}

Int64 unitsOf(const SYSTEMTIME& time) {
    FILETIME fileTime;
    return assertConverted(Platform::SystemTimeToFileTime(&time, &fileTime)) ? unitsOf(fileTime) : 0;
}

Int64 unitsOfLocal(const SYSTEMTIME& localTime) {
    FILETIME fileTime;
    return assertConverted(Platform::SystemTimeToFileTime(&localTime, &fileTime)) ? unitsOfLocal(fileTime)
                                                                                  : 0;
}

// `parts` are those of a calendar time from the year to the millisecond; `convert` takes them as local or as
// universal time.
Int64 unitsOf(std::initializer_list<int> parts, int microsecond, Int64 (*convert)(const SYSTEMTIME&)) {
    bool areInRange = microsecond >= 0;
    for (const int part : parts)
        areInRange = areInRange && part >= 0 && part <= kLargestPart;
    if (!areInRange) {
        GenAssert(u"Time", __LINE__);
        return 0;
    }
    const auto part = [&](int index) { return static_cast<WORD>(parts.begin()[index]); };
    const SYSTEMTIME time = {part(0), part(1), 0, part(2), part(3), part(4), part(5), part(6)};
    return assertNotNegative(convert(time) + microsecond * CTimeSpan::kMicrosecond);
}

CUnicodeString formatted(const SYSTEMTIME& time, const char16_t* format) {
    CUnicodeString text;
    char16_t* buffer = text.GetBuffer(kFormatBufferSize - 1);
    const int length = wcsftime(buffer, kFormatBufferSize, format, time);
    if (length == 0 && buffer[0] != 0) // cut short; a format may stand for an empty text
        GenAssert(u"Time", __LINE__);
    text.ReleaseBuffer(length);
    return text;
}

} // namespace

CUnicodeString CTimeSpan::UnicodeFormat(const char16_t* format) const {
    CUnicodeString text;
    for (; *format != 0; format++) {
        if (*format != u'%') {
            text += *format;
            continue;
        }
        switch (*++format) {
        case u'%':
            text += u'%';
            break;
        case u'D':
            text += UnicodeStr(GetDays());
            break;
        case u'H':
            text += UnicodeStr(GetHours());
            break;
        case u'M':
            text += UnicodeStr(GetMinutes());
            break;
        case u'S':
            text += UnicodeStr(GetSeconds());
            break;
        case u'h':
            text += UnicodeStr(GetTotalHours());
            break;
        case u'm':
            text += UnicodeStr(GetTotalMinutes());
            break;
        case u's':
            text += UnicodeStr(GetTotalSeconds());
            break;
        default:
            GenAssert(u"Time", __LINE__);
            return text;
        }
    }
    return text;
}

CTime::CTime(int year, int month, int day, int hour, int minute, int second, int millisecond, int microsecond)
    : units(unitsOf({year, month, day, hour, minute, second, millisecond}, microsecond, unitsOfLocal)) {}

CTime::CTime(const SYSTEMTIME& localTime) : units(unitsOfLocal(localTime)) {}

CTime::CTime(const FILETIME& localTime) : units(unitsOfLocal(localTime)) {}

CTime CTime::CreateFromTimeGmt(int year, int month, int day, int hour, int minute, int second,
                               int millisecond, int microsecond) {
    return CTime(unitsOf({year, month, day, hour, minute, second, millisecond}, microsecond, unitsOf));
}

CTime CTime::CreateFromSystemTimeGmt(const SYSTEMTIME& time) { return CTime(unitsOf(time)); }

CTime CTime::CreateFromFileTimeGmt(const FILETIME& time) { return CTime(unitsOf(time)); }

CTime CTime::GetCurrentTime() {
    FILETIME time;
    Platform::GetSystemTimeAsFileTime(&time);
    const Int64 now = unitsOf(time);
    return CTime(now - now % CTimeSpan::kMillisecond);
}

void CTime::GetAsFileTimeGmt(FILETIME& time) const {
    time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

void CTime::GetAsFileTime(FILETIME& localTime) const {
    FILETIME time;
    GetAsFileTimeGmt(time);
    if (!assertConverted(Platform::FileTimeToLocalFileTime(&time, &localTime)))
        localTime = {};
}

void CTime::GetAsSystemTime(SYSTEMTIME& localTime) const {
    FILETIME fileTime;
    GetAsFileTime(fileTime);
    if (!assertConverted(Platform::FileTimeToSystemTime(&fileTime, &localTime)))
        localTime = {};
}

void CTime::GetAsSystemTimeGmt(SYSTEMTIME& time) const {
    FILETIME fileTime;
    GetAsFileTimeGmt(fileTime);
    if (!assertConverted(Platform::FileTimeToSystemTime(&fileTime, &time)))
        time = {};
}

SYSTEMTIME CTime::asSystemTime() const {
    SYSTEMTIME localTime;
    GetAsSystemTime(localTime);
    return localTime;
}

CUnicodeString CTime::UnicodeFormat(const char16_t* format) const {
    return formatted(asSystemTime(), format);
}

CUnicodeString CTime::UnicodeFormatGmt(const char16_t* format) const {
    SYSTEMTIME time;
    GetAsSystemTimeGmt(time);
    return formatted(time, format);
}

} // namespace Tarn
