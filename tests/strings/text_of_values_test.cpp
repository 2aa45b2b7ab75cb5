#include "tests/strings/text_literals.h"
#include "tests/support/failure.h"

#include <tarnkit/text_of_values.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Tarn {
namespace {

template<class T>
concept HasText = requires(T value) {
    Str(value), UnicodeStr(value);
};
static_assert(HasText<bool> && HasText<short> && HasText<float>);
static_assert(!HasText<const void*> && !HasText<const char*> && !HasText<char> && !HasText<char16_t>,
              "neither a pointer nor a character is a number");

template<class String>
class TextOfValues : public StringTest<String> {};
TYPED_TEST_SUITE(TextOfValues, BothWidths);

TEST(TextOfNumbers, IsTheSameInBothWidths) {
    const struct {
        CString text;
        CUnicodeString wide;
        const char* expected;
    } kCases[] = {{Str(0), UnicodeStr(0), "0"},
                  {Str(INT_MIN), UnicodeStr(INT_MIN), "-2147483648"},
                  {Str(-1, 16), UnicodeStr(-1, 16), "ffffffff"},
                  {Str(-1L), UnicodeStr(-1L), "-1"},
                  {Str(255u, 2), UnicodeStr(255u, 2), "11111111"},
                  {Str(35UL, 36), UnicodeStr(35UL, 36), "z"},
                  {Str(7, 1), UnicodeStr(7, 37), ""},
                  {Str(Int64{255}, 16), UnicodeStr(UInt64{255}, 16), "ff"},
                  {Str(Int64{255}, 2), UnicodeStr(UInt64{255}, 36), "255"},
                  {Str(Int64{-1}, 8), UnicodeStr(Int64{-1}, 8), "1777777777777777777777"},
                  {Str(std::numeric_limits<Int64>::min()), UnicodeStr(std::numeric_limits<Int64>::min()),
                   "-9223372036854775808"},
                  {Str(~UInt64{0}), UnicodeStr(~UInt64{0}), "18446744073709551615"},
                  {Str(rational(-3, 4)), UnicodeStr(rational(-3, 4)), "-3/4"},
                  {Str(rational(6, 1)), UnicodeStr(rational(6)), "6"},
                  {Str(true), UnicodeStr(true), "true"},
                  {Str(false), UnicodeStr(false), "false"},
                  {Str(0.1), UnicodeStr(0.1), "0.1"},
                  {Str(-2.0), UnicodeStr(-2.0), "-2"},
                  {Str(1.0 / 3), UnicodeStr(1.0 / 3), "0.3333333333"},
                  {Str(1234567890.0), UnicodeStr(1234567890.0), "1234567890"},
                  {Str(12345678905.0), UnicodeStr(12345678905.0), "1.23456789e+10"},
                  {Str(0.0001), UnicodeStr(0.0001), "0.0001"},
                  {Str(0.00001), UnicodeStr(0.00001), "1e-05"},
                  {Str(-1e300), UnicodeStr(-1e300), "-1e+300"}};
    for (const auto& c : kCases) {
        EXPECT_EQ(c.text, c.expected);
        EXPECT_EQ(c.wide.CreateString(), c.expected);
    }
    unsigned long widest = ~0UL;
    EXPECT_EQ(Str(widest, 2).GetLength(), static_cast<int>(sizeof widest) * 8);
}

template<class Number, class String>
void expectValue(const String& text, int radix, bool isValue, Number expected) {
    Number value = 7;
    EXPECT_EQ(text.Value(value, radix), isValue) << text;
    EXPECT_EQ(value, expected) << text;
}

TYPED_TEST(TextOfValues, IntegersAreReadWith32BitLimits) {
    const struct {
        const char* text;
        int radix;
        bool isValue;
        int value;
    } kSigned[] = {{" \t42\v ", 10, true, 42},
                   {"-2147483648", 10, true, INT_MIN},
                   {"+2147483647", 10, true, INT_MAX},
                   {"2147483648", 10, false, INT_MAX},
                   {"-2147483649", 10, false, INT_MIN},
                   {"99999999999", 10, false, INT_MAX},
                   {"42x", 10, false, 42},
                   {"", 10, false, 0},
                   {"-", 10, false, 0},
                   {"0x1F", 0, true, 31},
                   {"0X1f", 16, true, 31},
                   {"017", 0, true, 15},
                   {"08", 0, false, 0},
                   {"0xg", 0, false, 0},
                   {"Zz", 36, true, 35 * 36 + 35},
                   {"102", 2, false, 2},
                   {"1", 1, false, 0},
                   {"1", -10, false, 0}};
    for (const auto& c : kSigned) {
        expectValue<int>(this->S(c.text), c.radix, c.isValue, c.value);
        expectValue<long>(this->S(c.text), c.radix, c.isValue, c.value);
    }
    const struct {
        const char* text;
        bool isValue;
        unsigned value;
    } kUnsigned[] = {{"4294967295", true, UINT_MAX},   {"4294967296", false, UINT_MAX},
                     {"-1", true, UINT_MAX},           {"+5", true, 5},
                     {"-4294967296", false, UINT_MAX}, {"5.", false, 5}};
    for (const auto& c : kUnsigned) {
        expectValue<unsigned int>(this->S(c.text), 10, c.isValue, c.value);
        expectValue<unsigned long>(this->S(c.text), 10, c.isValue, c.value);
    }
}

TYPED_TEST(TextOfValues, DoublesAreReadAsInTheCLocale) {
    const double kInfinity = std::numeric_limits<double>::infinity();
    const struct {
        const char* text;
        bool isValue;
        double value;
    } kCases[] = {{" 1.5 ", true, 1.5},
                  {"-.5e1", true, -5},
                  {"+5.", true, 5},
                  {"1e", false, 1},
                  {"1,5", false, 1},
                  {"", false, 0},
                  {"+-1", false, 0},
                  {"0x1.8p1", true, 3},
                  {"0x.8", true, 0.5},
                  {"-0X10", true, -16},
                  {"0xg", false, 0},
                  {"0x.8p+-7", false, 0.5},
                  {"-Infinity", true, -kInfinity},
                  {"1e309", false, kInfinity},
                  {"-1e309", false, -kInfinity},
                  {"1e-400", false, 0},
                  {"0.000e99999999999999999999", true, 0},
                  {"1e99999999999999999999", false, kInfinity},
                  {"1e-99999999999999999999", false, 0},
                  {"0x1p99999", false, kInfinity},
                  {"0x1p-99999", false, 0},
                  {"2.2250738585072014e-308", true, 2.2250738585072014e-308},
                  {"4.9e-324", true, 4.9406564584124654e-324}};
    for (const auto& c : kCases) {
        double value = 7;
        EXPECT_EQ(this->S(c.text).Value(value), c.isValue) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
    double value = 0;
    EXPECT_TRUE(this->S("-nan").Value(value));
    EXPECT_TRUE(std::isnan(value));
}

TYPED_TEST(TextOfValues, RationalsAreAnIntegerOrTwo) {
    const struct {
        const char* text;
        const char* value; // or the error, or empty
    } kCases[] = {{" -3 / 4\t", "-3/4"},
                  {"3/-6", "-3/6"},
                  {"12", "12"},
                  {"", ""},
                  {"/", ""},
                  {"1/", ""},
                  {"/2", ""},
                  {"1/2/3", ""},
                  {"0x1/2", ""},
                  {"1/2147483648", ""},
                  {"1/0", "ERR_DIVIDE_ZERO"},
                  {"-2147483648", "ERR_RATIONAL_OVERFLOW"}};
    for (const auto& c : kCases) {
        rational value(7);
        std::string read;
        const std::string failure = FailureOf([&] { read = this->S(c.text).Value(value) ? Str(value) : ""; });
        EXPECT_EQ(read + failure, c.value) << c.text;
        EXPECT_TRUE(!read.empty() || value == 7) << c.text;
    }
}

TYPED_TEST(TextOfValues, TruthValuesHaveFourNamesEach) {
    const struct {
        const char* text;
        bool isValue, value;
    } kCases[] = {{"true", true, true}, {" Yes\t", true, true}, {"ON", true, true},
                  {"1", true, true},    {"FALSE", true, false}, {"off", true, false},
                  {"no ", true, false}, {"\n0", true, false},   {"y", false, true},
                  {"", false, true},    {"01", false, true},    {"truely", false, true}};
    for (const auto& c : kCases) {
        bool value = c.isValue ? !c.value : c.value;
        EXPECT_EQ(this->S(c.text).Value(value), c.isValue) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
}

TEST(TextToNumbers, SkipsUnicodeSpacesAndTakesAsciiDigitsOnly) {
    int value = 0;
    EXPECT_TRUE(CUnicodeString(u"\u3000\u00A012\u2003").Value(value));
    EXPECT_EQ(value, 12);
    EXPECT_FALSE(CUnicodeString(u"\u0661").Value(value));
    bool truth = false;
    EXPECT_TRUE(CUnicodeString(u"\u00A0on\u3000").Value(truth));
}

TYPED_TEST(TextOfValues, ParametersAreSubstitutedByTheirNumbers) {
    using String = TypeParam;
    const String p0 = this->S("zero");
    const String p1 = this->S("%0");
    const struct {
        const char* pattern;
        const char* expected;
    } kCases[] = {{"%0 is corrupted.", "zero is corrupted."},
                  {"", ""},
                  {"%1%0", "%0zero"},
                  {"%%1", "%%0"},
                  {"%5", ""},
                  {"a%12b", "ab"},
                  {"%00001", "%0"},
                  {"100%", "100%"},
                  {"%d and %", "%d and %"},
                  {"%2147483647|%2147483648|%99999999999999999999", "|%2147483648|%99999999999999999999"},
                  {"%-1", "%-1"}};
    for (const auto& c : kCases)
        EXPECT_EQ(this->S(c.pattern).SubstParam(p0, p1), this->T(c.expected)) << c.pattern;

    EXPECT_EQ(this->S("%0%1").SubstParam(p0), this->T("zero"));
    EXPECT_EQ(this->S("%2%1").SubstParam(p0, p1, p0), this->T("zero%0"));
    EXPECT_EQ(this->S("%3%1").SubstParam(p1, p1, p1, p0), this->T("zero%0"));
    CArray<String> many;
    EXPECT_EQ(this->S("<%0>").SubstParam(many), this->T("<>"));
    for (int i = 0; i < 20; i++)
        many.Add(String(static_cast<UnitOf<String>>('a' + i), 2));
    EXPECT_EQ(this->S("%19%0").SubstParam(many), this->T("ttaa"));
}

TEST(TextOfAddresses, NamesTheModuleOfCodeAndNothingElse) {
    const CString nowhere = FormatAddress(reinterpret_cast<void*>(0x1AB));
    EXPECT_EQ(nowhere, "0x000001AB");
    EXPECT_EQ(UnicodeFormatAddress(reinterpret_cast<void*>(0x1AB)), u"0x000001AB");
    const void* code = reinterpret_cast<const void*>(&GetMemorySwitches);
    const CString place = FormatAddress(code);
    EXPECT_EQ(place.Find(Format("0x%08I64X (", static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(code)))),
              0);
    EXPECT_GT(place.Find("Tarnkit"), 0);
    EXPECT_EQ(place[place.GetLength() - 1], ')');
    EXPECT_EQ(UnicodeFormatAddress(code), place.CreateUnicodeString());
    const auto* heap = new int(1);
    EXPECT_EQ(FormatAddress(heap).Find("("), -1);
    delete heap;
}

} // namespace
} // namespace Tarn
