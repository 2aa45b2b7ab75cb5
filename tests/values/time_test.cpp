#include <tarnkit/time.h>

#include "tests/support/failure.h"

using namespace Tarn;

namespace {

/// The source file of the assertion that stops `action`, or "none".
template<class Action>
std::u16string assertingSource(Action action) {
    const std::u16string place = AssertionOf(action);
    return place.substr(0, place.find(u':'));
}

/// The parts of a span from days to microseconds, as in "1 2 3 4 5 6".
std::string partsOf(CTimeSpan span) {
    return std::to_string(span.GetDays()) + " " + std::to_string(span.GetHours()) + " " +
           std::to_string(span.GetMinutes()) + " " + std::to_string(span.GetSeconds()) + " " +
           std::to_string(span.GetMilliseconds()) + " " + std::to_string(span.GetMicroseconds());
}

std::u16string text(const CUnicodeString& string) { return string.Ptr(); }

TEST(TimeSpan, HasTotalsAndPartsRoundedTowardsZero) {
    const CTimeSpan span(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(span.GetTotalTimeUnits(), 937'840'050'060);
    EXPECT_EQ(partsOf(span), "1 2 3 4 5 6");
    const CTimeSpan back(0, 0, -90, 0, 0, -1);
    EXPECT_EQ(partsOf(back), "0 -1 -30 0 0 -1");
    EXPECT_EQ(partsOf(span - CTimeSpan(2, 0, 0, 0, 0, 0)), "0 -21 -56 -55 -994 -994");
    EXPECT_EQ(CTimeSpan(100'000'000, INT_MIN, 0, 0, 0, 0).GetTotalHours(), 252'516'352) << "in 64 bits";
    EXPECT_TRUE(back < span && span >= span && span != back);
    EXPECT_EQ((span + back) - back, span);
}

TEST(TimeSpan, FormatsUnpaddedNumbers) {
    const CTimeSpan span(1, 2, 3, 4, 0, 0);
    EXPECT_EQ(text(span.UnicodeFormat(u"%D:%H:%M:%S = %hh %mm %ss, 100%%")),
              u"1:2:3:4 = 26h 1563m 93784s, 100%");
    for (const char16_t* format : {u"%d", u"ends in %", u"%+D"})
        EXPECT_EQ(assertingSource([&] { span.UnicodeFormat(format); }), u"Time");
}

TEST(Time, AcceptsOnlyPartsOfAValidDate) {
    const CTime time = CTime::CreateFromTimeGmt(2001, 9, 9, 1, 46, 40, 123, 5000);
    EXPECT_EQ(time, CTime::CreateFromTimeGmt(2001, 9, 9, 1, 46, 40, 128, 0));
    EXPECT_EQ(time - CTime::CreateZeroTime(), CTimeSpan(146'348, 1, 46, 40, 128, 0));
    EXPECT_EQ((time + CTimeSpan(0, 0, 0, 0, 0, 7)).GetMicrosecond(), 7);
    EXPECT_EQ(time.GetMillisecond(), 128);
    const std::tuple<int, int, int, int, int, int, int, int> wrong[] = {
        {-1, 1, 1, 0, 0, 0, 0, 0},    {2001, 65'537, 1, 0, 0, 0, 0, 0}, {2001, 2, 30, 0, 0, 0, 0, 0},
        {2001, 1, 1, 0, 0, 0, 0, -1}, {2001, 1, 1, 0, 0, 0, 65'536, 0}, {1600, 12, 31, 0, 0, 0, 0, 0}};
    for (const auto& parts : wrong) {
        EXPECT_EQ(assertingSource([&] { std::apply(CTime::CreateFromTimeGmt, parts); }), u"Time");
        EXPECT_EQ(assertingSource([&] { std::make_from_tuple<CTime>(parts); }), u"Time");
    }
    EXPECT_EQ(assertingSource([] { CTime::CreateFromFileTimeGmt({0, 0x80000000}); }), u"Time");
    const CTime early = CTime::CreateZeroTime() - CTimeSpan(1, 0, 0, 0, 0, 0);
    EXPECT_EQ(assertingSource([&] { early.UnicodeFormatGmt(u""); }), u"Time");
}

TEST(Time, KeepsItsLocalParts) {
    const CTime time(2001, 9, 9, 13, 5, 6, 7, 8);
    EXPECT_EQ(std::tuple(time.GetYear(), time.GetMonth(), time.GetDay(), time.GetHour(), time.GetMinute(),
                         time.GetSecond(), time.GetMillisecond(), time.GetMicrosecond(), time.GetDayOfWeek()),
              std::tuple(2001, September, 9, 13, 5, 6, 7, 8, Sunday));
    SYSTEMTIME local, gmt;
    time.GetAsSystemTime(local);
    time.GetAsSystemTimeGmt(gmt);
    const CTimeSpan fraction(0, 0, 0, 0, 0, 8); // less than a SYSTEMTIME holds
    EXPECT_EQ(CTime(local) + fraction, time);
    EXPECT_EQ(CTime::CreateFromSystemTimeGmt(gmt) + fraction, time);
    FILETIME localFile, gmtFile;
    time.GetAsFileTime(localFile);
    time.GetAsFileTimeGmt(gmtFile);
    EXPECT_EQ(CTime(localFile), time);
    EXPECT_EQ(CTime::CreateFromFileTimeGmt(gmtFile), time);
    EXPECT_EQ(CTime::CreateFromFileTimeGmt(localFile), CTime::CreateFromSystemTimeGmt(local) + fraction);
}

TEST(Time, CurrentTimeIsThatOfTheSystemClock) {
    const CTimeSpan since1970 = CTime::GetCurrentTime() - CTime::CreateFromTimeGmt(1970, 1, 1, 0, 0, 0, 0, 0);
    const auto clock = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_LE(std::abs(since1970.GetTotalMilliseconds() - clock / std::chrono::milliseconds(1)), 2000);
}

/// Sets the time zone and the locale of the environment for the duration of a test.
class UserTime : public testing::Test {
protected:
    void SetUp() override { TARNKIT_TEST_NEEDS(kLocaleFromEnvironment); }
    ~UserTime() override {
        SetEnvironment("TZ", nullptr);
        SetEnvironment("LC_ALL", nullptr);
    }
};

TEST_F(UserTime, ZoneIsReadEveryTimeAndItsCurrentOffsetAppliesToAllDates) {
    SetEnvironment("TZ", "<+0330>-3:30");
    const CTime east(2001, 1, 1, 0, 0, 0, 0, 0);
    EXPECT_EQ(east, CTime::CreateFromTimeGmt(2000, 12, 31, 20, 30, 0, 0, 0));
    EXPECT_EQ(east.UnicodeFormat(u"%Z"), u"+0330");
    EXPECT_EQ(assertingSource([] { CTime(FILETIME{0, 0}); }), u"Time") << "before 1601 in GMT";
    SetEnvironment("TZ", "WST5");
    EXPECT_EQ(east.GetHour(), 15);
    EXPECT_EQ(assertingSource([] { CTime::CreateZeroTime().GetYear(); }), u"Time") << "before 1601 here";
    const auto noonIn = [](int month) {
        return CTime(2001, month, 1, 12, 0, 0, 0, 0).UnicodeFormatGmt(u"%H");
    };
    // One of them has daylight time now.
    for (const char* zone : {"STD0DST,M4.1.0,M10.1.0/3", "STD0DST,M10.1.0,M4.1.0/3"}) {
        SetEnvironment("TZ", zone);
        EXPECT_EQ(noonIn(1), noonIn(7));
        EXPECT_EQ(east.UnicodeFormat(u"%H %Z"), noonIn(1) == u"11" ? u"21 DST" : u"20 STD");
    }
}

TEST_F(UserTime, FormatUsesTheNamesAndPicturesOfTheLocale) {
    SetEnvironment("LC_ALL", "C");
    const CTime time(2001, 2, 4, 12, 5, 6, 7, 8);
    EXPECT_EQ(time.UnicodeFormat(u"%a %A %b %h %B %g%p"), u"Sun Sunday Feb Feb February PM");
    EXPECT_EQ((time - CTimeSpan(1, 0, 6, 0, 0, 0)).UnicodeFormat(u"%a %A %p"), u"Sat Saturday AM");
    EXPECT_EQ(time.UnicodeFormat(u"%c|%D|%x"), u"MM/dd/yy HH:mm:ss|MM/dd/yy|MM/dd/yy");
    EXPECT_EQ(time.UnicodeFormat(u"%#c|%#x|%X"), u"dddd MMMM d yyyy HH:mm:ss|dddd MMMM d yyyy|HH:mm:ss");
}

TEST(TimeFormat, WritesPaddedAndBareNumbers) {
    const SYSTEMTIME night = {2005, 3, 0, 6, 0, 5, 9, 0};
    const SYSTEMTIME evening = {1999, 12, 5, 31, 23, 59, 10, 0};
    const std::tuple<const char16_t*, const char16_t*, const char16_t*> table[] = {
        {u"%H:%M:%S", u"00:05:09", u"23:59:10"},       {u"%I", u"12", u"11"},
        {u"%d.%m.%y", u"06.03.05", u"31.12.99"},       {u"%Y %C %w", u"2005 20 0", u"1999 19 5"},
        {u"100%% %q %", u"100% 00 00", u"100% 00 00"}, {u"%+d %#d %+#+H %#", u"06 06 00 00", u"31 31 23 00"}};
    for (const auto& [format, ofNight, ofEvening] : table) {
        EXPECT_EQ(CTime::CreateFromSystemTimeGmt(night).UnicodeFormatGmt(format), ofNight);
        EXPECT_EQ(CTime::CreateFromSystemTimeGmt(evening).UnicodeFormatGmt(format), ofEvening);
    }
    for (const char16_t* format : {u"%j", u"%U", u"%#W"})
        EXPECT_EQ(assertingSource([&] { CTime(night).UnicodeFormat(format); }), u"wcsftime");
    const SYSTEMTIME impossible = {65'535, 13, 7, 65'535, 30, 0, 0, 0};
    char16_t buffer[128];
    EXPECT_GT(wcsftime(buffer, 128, u"%b %A %d %Y", impossible), 0);
    EXPECT_EQ(buffer, u"00 " + text(CTime(night).UnicodeFormat(u"%A")) + u" 65535 65535");
}

TEST(TimeFormat, IsTruncatedToTheBufferAndThenReturnsZero) {
    const SYSTEMTIME time = {2001, 2, 6, 3, 4, 5, 6, 0};
    char16_t buffer[4] = u"xxx";
    const std::tuple<int, const char16_t*, int, const char16_t*> table[] = {
        {0, u"%H", 0, u"xxx"},    {1, u"%H", 0, u""},       {2, u"%H", 0, u"0"}, {3, u"%H", 2, u"04"},
        {4, u"%H:%M", 0, u"04:"}, {4, u"a%%b%", 0, u"a%b"}, {3, u"", 0, u""},    {4, u"abc", 3, u"abc"}};
    for (const auto& [size, format, length, written] : table) {
        EXPECT_EQ(wcsftime(buffer, size, format, time), length);
        EXPECT_EQ(std::u16string(buffer), written);
    }
    const std::u16string longest(125, u'x');
    EXPECT_EQ(CTime(time).UnicodeFormat((longest + u"%M").c_str()).GetLength(), 127);
    EXPECT_EQ(assertingSource([&] { CTime(time).UnicodeFormat((longest + u"%M!").c_str()); }), u"Time");
    EXPECT_TRUE(CTime(time).UnicodeFormat(u"").IsEmpty());
}

} // namespace
