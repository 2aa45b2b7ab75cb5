#include "tests/strings/text_literals.h"

#include <tarnkit/text_of_values.h>

#include <bit>
#include <cmath>
#include <limits>

namespace Tarn {
namespace {

template<class... T>
concept CanBeFormatted = requires(T... arguments) {
    Format("", arguments...);
}
|| requires(T... arguments) { Format(u"", arguments...); }
|| requires(T... arguments) { Sprintf("", arguments...); }
|| requires(T... arguments) { Sprintf(u"", arguments...); };
static_assert(CanBeFormatted<int, const char*, std::nullptr_t, double, std::byte, const CString*>);
static_assert(!CanBeFormatted<CString> && !CanBeFormatted<int, CUnicodeString> &&
                  !CanBeFormatted<rational, int>,
              "a class would hand over its bytes");

template<class... Arguments>
void expectBoth(const char* expected, const char* format, Arguments... arguments) {
    EXPECT_EQ(Format(format, arguments...), expected) << format;
    EXPECT_EQ(Format(CLiteral<char16_t>(format).text.c_str(), arguments...).CreateString(), expected)
        << format;
}

// The C library's printf decides what is right where both support a format.
template<class Argument>
void expectAsPlatform(const std::string& format, int width, int precision, Argument argument) {
    static char expected[3000];
    ASSERT_LT(std::snprintf(expected, sizeof expected, format.c_str(), width, precision, argument),
              static_cast<int>(sizeof expected));
    expectBoth(expected, format.c_str(), width, precision, argument);
}

TEST(Formatting, AgreesWithThePlatformOnRandomNumbers) {
    std::mt19937_64 random(7);
    const auto below = [&random](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    for (int step = 0; step < 6000 && !testing::Test::HasFailure(); step++) {
        // Flags without a meaning for a conversion are left out: C libraries treat them differently.
        const auto conversion = [&below](const std::string& flags, const std::string& letters) {
            std::string format = "[%";
            for (const char flag : flags)
                if (below(3) == 0)
                    format += flag;
            return format + "*.*" + letters + "]";
        };
        const int width = static_cast<int>(below(30)) - 5;
        const int precision = static_cast<int>(below(20)) - 3;
        const auto bits = static_cast<long long>(random() >> below(64));
        const char* const letters[] = {"llo", "llx", "llX"};
        expectAsPlatform(conversion("-#0", letters[below(3)]), width, precision, bits);
        expectAsPlatform(conversion("-0", "llu"), width, precision, bits);
        expectAsPlatform(conversion("-+ 0", "d"), width, precision, static_cast<int>(bits));
        expectAsPlatform(conversion("-+ 0", "hhi"), width, precision, static_cast<int>(bits));
        expectAsPlatform(conversion("-+ 0", "ld"), width, precision, static_cast<long>(bits));

        const int exponent =
            below(2) == 0 ? -63 - static_cast<int>(below(20)) : static_cast<int>(below(1500)) - 900;
        const double value = std::ldexp(static_cast<double>(static_cast<long long>(random())), exponent);
        const char* const floatLetters[] = {"f", "F", "e", "E", "g", "G"};
        expectAsPlatform(conversion("-+ #0", floatLetters[below(6)]), width, precision, value);
        // They also differ in rounding a hexadecimal digit that is exactly halfway.
        const double odd = std::bit_cast<double>(std::bit_cast<UInt64>(value) | 1);
        if (std::isnormal(odd))
            expectAsPlatform(conversion(below(2) == 0 ? "-+ #" : "+ #0", below(2) == 0 ? "a" : "A"), width,
                             precision, odd);
    }
}

TEST(Formatting, SupportsTheConversionsOfWindows) {
    expectBoth("-1 ffffffffffffffff 4294967295", "%I64d %I64x %I32u", -1LL, -1LL, -1);
    expectBoth("255 -1 65535", "%hhu %hd %hu", -1, 0x1FFFF, -1);
    expectBoth("7 -7 9", "%Iu %zd %jd", std::size_t{7}, std::ptrdiff_t{-7}, std::intmax_t{9});
    expectBoth("50% x", "%d%% %c", 50, 'x');
    expectBoth("1.50 2.5e+00", "%.2Lf %.1Le", 1.5L, 2.5L);
    expectBoth("inf -INF   nan", "%f %G %05a", HUGE_VAL, -HUGE_VAL, std::numeric_limits<double>::quiet_NaN());
    expectBoth(kPointerSize == 8 ? "00000000000001AB" : "000001AB", "%p", reinterpret_cast<void*>(0x1AB));
    expectBoth("(null)(nu", "%s%.3s", static_cast<void*>(nullptr), static_cast<void*>(nullptr));
    expectBoth("42 1.500000 ff (null)", "%.*d %.*f %.*x %.*s", INT_MIN, 42, INT_MIN, 1.5, INT_MIN, 255,
               INT_MIN, static_cast<void*>(nullptr));
    expectBoth("0.1000000000000000055511151231257827021181583404541015625", "%.2147483647g", 0.1);
    expectBoth("x   |    y|00z", "%-4hs|%5hs|%03hc", "x", "y", 'z');
}

TEST(Formatting, TakesTextOfEitherWidth) {
    EXPECT_EQ(Format("%s|%S|%ls|%ws|%hs|%hS", "a", u"b", u"c", u"d", "e", "f"), "a|b|c|d|e|f");
    EXPECT_EQ(Format(u"%s|%S|%ls|%ws|%hs|%hS", u"a", "b", u"c", u"d", "e", "f"), u"a|b|c|d|e|f");
    EXPECT_EQ(Format("%c%C%lc%hc%wc", 'a', u'b', u'c', 'd', u'e'), "abcde");
    EXPECT_EQ(Format(u"%c%C%lc%hc", u'\u0416', 'b', u'\u0416', 'd'), u"\u0416b\u0416d");
    EXPECT_EQ(Format("%C%lc%c", 0, 0, 0).GetLength(), 3) << "a NUL is written";
    EXPECT_EQ(Format(u"%C%hc%c", 0, 0, 0).GetLength(), 3);
    const char unterminated[] = {'1', '2', '3'};
    const char16_t wideUnterminated[] = {'4', '5', '6'};
    EXPECT_EQ(Format("%.3s%.2S|%5.1S|", unterminated, wideUnterminated, u"wide"), "12345|    w|");
    EXPECT_EQ(Format(u"%.3s%.2S|%-5.9S|", wideUnterminated, unterminated, "thin"), u"45612|thin |");
}

TEST(Formatting, APrecisionBeyondTheTextChangesNothing) {
    for (const char* text : {"", "thin", "in\xFFvalid", "\xFF", "\xC3\xA9t\xC3\xA9"})
        for (const int precision : {9, 10, 12, 40, INT_MAX}) {
            EXPECT_EQ(Format(u"%.*S", precision, text), Format(u"%S", text)) << text << precision;
            EXPECT_EQ(Format(u"%.*hs", precision, text), Format(u"%hs", text)) << text << precision;
        }
    for (const char16_t* text :
         {u"", u"wide", u"\xD800x", u"x\xDC00", u"e\u0301e\u0301", u"\u0416\u20AC\U0001F600"})
        for (const int precision : {9, 10, 12, 40, INT_MAX}) {
            EXPECT_EQ(Format("%.*S", precision, text), Format("%S", text)) << precision;
            EXPECT_EQ(Format("%.*ls", precision, text), Format("%ls", text)) << precision;
        }
}

TEST(Formatting, GrowsUntilTheTextFits) {
    for (const int length : {255, 256, 257, 511, 513, 100000}) {
        const CString text('x', length);
        EXPECT_EQ(Format("%s", text.Ptr()), text);
        EXPECT_EQ(Format(u"%S%d", text.Ptr(), 5), CUnicodeString(u'x', length) + u'5');
        EXPECT_EQ(Sprintf("%*d", length, 1).GetLength(), length);
        EXPECT_EQ(Sprintf(u"%.*f", length, 0.5).GetLength(), length + 2);
    }
}

TEST(Formatting, EndsAtAnImpossibleConversion) {
    int untouched = 5;
    expectBoth("a1", "a%d%n%d", 1, &untouched, 2);
    EXPECT_EQ(untouched, 5);
    for (const char* format :
         {"ok%", "ok%y", "ok%5", "ok%99999999999d", "ok%.99999999999d", "ok%l", "ok%1$d"})
        expectBoth("ok", format, 1);
    EXPECT_EQ(Format(u"ok%\u0164", 1), u"ok");
}

int formatInto(char16_t* buffer, int size, const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = FormatInto(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

TEST(Formatting, WritesNothingBeyondTheEndOfABuffer) {
    char16_t buffer[] = u"........";
    EXPECT_EQ(formatInto(buffer, 4, u"%d%d", 12, 34), 4);
    EXPECT_EQ(CUnicodeString(buffer), u"1234....") << "no room for the terminator, none written";
    EXPECT_EQ(formatInto(buffer, 4, u"%s", u"56"), 2);
    EXPECT_EQ(CUnicodeString(buffer), u"56");
    EXPECT_EQ(formatInto(buffer, 4, u"%d%d", 123, 45), -1);
    EXPECT_EQ(CUnicodeString(buffer), u"1234....");
    for (const char16_t* format : {u"%2147483647d", u"%-*d", u"%0*.2147483647d", u"%#*.2147483647g", u"x%*c"})
        EXPECT_EQ(formatInto(buffer, 4, format, INT_MIN, 1, 1.5), -1);
    EXPECT_EQ(formatInto(buffer, 0, u""), 0);
}

} // namespace
} // namespace Tarn
