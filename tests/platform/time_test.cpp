// Local time, the time zone, and the texts of the user's locale.
#include "tests/platform/locale_texts.h"

namespace {

namespace P = Tarn::Platform;
using P::dateText;
using P::expectEach;
using P::localeText;
using P::Text;
using Tarn::Int64;
using Tarn::UInt64;

constexpr Int64 kMinute = 600'000'000;

Int64 unitsOf(const FILETIME& time) {
    return static_cast<Int64>(UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

FILETIME fileTime(Int64 units) { return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)}; }

TEST(LocalTime, DiffersByTheZonesCurrentBias) {
    TIME_ZONE_INFORMATION zone{};
    const DWORD id = P::GetTimeZoneInformation(&zone);
    ASSERT_LE(id, TIME_ZONE_ID_DAYLIGHT);
    const LONG bias = zone.Bias + (id == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : zone.StandardBias);
    EXPECT_NE(zone.StandardName[0], 0);
    // In two seasons, and at the earliest possible times.
    for (const Int64 units : {126'000'000'000'000'000LL, 126'157'680'000'000'000LL, 24 * 60 * kMinute}) {
        const FILETIME time = fileTime(units);
        FILETIME local, back;
        ASSERT_TRUE(P::FileTimeToLocalFileTime(&time, &local));
        EXPECT_EQ(unitsOf(local), units - bias * kMinute);
        ASSERT_TRUE(P::LocalFileTimeToFileTime(&local, &back));
        EXPECT_EQ(unitsOf(back), units);
    }
    const FILETIME negative = fileTime(-1);
    FILETIME ignored;
    for (const auto convert : {P::FileTimeToLocalFileTime, P::LocalFileTimeToFileTime}) {
        const bool isRefused = !convert(&negative, &ignored) && P::GetLastError() == ERROR_INVALID_PARAMETER;
        EXPECT_TRUE(isRefused || !Tarn::kDocumentedCalls);
    }
}

TEST(LocaleTexts, NameDaysAndMonths) {
    std::set<Text> names;
    const std::pair<LCTYPE, LCTYPE> rows[] = {{LOCALE_SDAYNAME1, 7}, {LOCALE_SMONTHNAME1, 12}};
    for (const auto& [first, count] : rows)
        for (LCTYPE i = 0; i < count; i++)
            names.insert(localeText(first + i));
    EXPECT_EQ(names.size(), 19u);
    const Text monday = localeText(LOCALE_SDAYNAME1 | LOCALE_NOUSEROVERRIDE);
    const int size = static_cast<int>(monday.size()) + 1;
    char16_t buffer[100];
    const auto get = [&](LCID locale, LCTYPE type, int room) {
        P::SetLastError(ERROR_SUCCESS);
        return P::GetLocaleInfoW(locale, type, buffer, room);
    };
    for (const int room : {0, size, 100})
        EXPECT_EQ(get(LOCALE_SYSTEM_DEFAULT, LOCALE_SDAYNAME1, room), size);
    EXPECT_EQ(get(LOCALE_USER_DEFAULT, LOCALE_SDAYNAME1, size - 1), 0);
    expectEach(ERROR_INSUFFICIENT_BUFFER, {P::GetLastError()});
    EXPECT_EQ(get(LOCALE_USER_DEFAULT, 0xFFFF, 100), 0);
    expectEach(ERROR_INVALID_FLAGS, {P::GetLastError()});
    EXPECT_EQ(get(0xFFFF, LOCALE_SDAYNAME1, 100), 0);
    expectEach(ERROR_INVALID_PARAMETER, {P::GetLastError()});
}

TEST(LocaleTexts, WriteDatesByPictures) {
    const SYSTEMTIME date = {2005, 3, 1, 6, 99, 99, 99, 0}; // a Sunday, whatever wDayOfWeek says
    const std::pair<const char16_t*, Text> table[] = {
        {u"d.M", u"6.3"},
        {u"yyyy-MM-dd, yy", u"2005-03-06, 05"},
        {u"'day' d 'of the ''month'''", u"day 6 of the 'month'"},
        {u"dddd|ddd", localeText(LOCALE_SDAYNAME1 + 6) + u"|" + localeText(LOCALE_SABBREVDAYNAME1 + 6)},
        {u"MMMM|MMM", localeText(LOCALE_SMONTHNAME1 + 2) + u"|" + localeText(LOCALE_SABBREVMONTHNAME1 + 2)},
        {u"", u""},
        {u"'open", u"open"}};
    for (const auto& [picture, text] : table)
        EXPECT_EQ(dateText(date, picture), text);
    const std::pair<DWORD, LCTYPE> pictures[] = {
        {0, LOCALE_SSHORTDATE}, {DATE_SHORTDATE, LOCALE_SSHORTDATE}, {DATE_LONGDATE, LOCALE_SLONGDATE}};
    for (const auto& [flags, type] : pictures)
        EXPECT_EQ(dateText(date, nullptr, flags), dateText(date, localeText(type).c_str()));
    const auto code = [](DWORD number) { return u"failure " + Text(1, static_cast<char16_t>(number)); };
    EXPECT_EQ(dateText(date, u"d", DATE_SHORTDATE), code(ERROR_INVALID_FLAGS));
    EXPECT_EQ(dateText(date, nullptr, DATE_SHORTDATE | DATE_LONGDATE), code(ERROR_INVALID_FLAGS));
    for (const SYSTEMTIME& impossible :
         {SYSTEMTIME{2005, 2, 0, 30, 0, 0, 0, 0}, SYSTEMTIME{2005, 13, 0, 1, 0, 0, 0, 0}})
        EXPECT_EQ(dateText(impossible, u"d"), code(ERROR_INVALID_PARAMETER));
    char16_t buffer[3];
    EXPECT_EQ(P::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &date, u"dd", nullptr, 0), 3);
    EXPECT_EQ(P::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &date, u"dd", buffer, 2), 0);
    expectEach(ERROR_INSUFFICIENT_BUFFER, {P::GetLastError()});
}

} // namespace
