#include "strings/real_number.h"
#include "tests/strings/text_literals.h"
#include "tests/support/failure.h"

#include <tarnkit/text_of_values.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

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

template<class... Arguments>
void expectText(const char* expected, Arguments... value) {
    EXPECT_EQ(Str(value...), expected);
    EXPECT_EQ(UnicodeStr(value...).CreateString(), expected);
}

#if defined(__cpp_lib_to_chars)
// What is used where the standard library reads no real numbers.
TEST(RealNumber, IsReadAsTheStandardLibraryReadsIt) {
    std::mt19937 random(851);
    const auto below = [&](unsigned limit) { return static_cast<int>(random() % limit); };
    const auto bits = [&] { return (UInt64{random()} << 32 | random()) >> below(64); };
    const auto hex = [](UInt64 value) { return std::string(Str(value, 16).Ptr()); };
    for (int i = 0; i < 30000; i++) {
        std::string text;
        const bool isHex = i % 2 == 1;
        if (i % 3 != 0)
            text = isHex ? hex(bits()) + "." + hex(bits()) + "p" + std::to_string(below(2300) - 1150)
                         : std::to_string(bits()) + "." + std::to_string(bits()) + "E" +
                               std::to_string(below(700) - 360);
        else
            for (int length = below(20) + 1; length > 0; length--)
                text += "0123456789..eEpaF"[below(17)];
        if (i % 10 == 0)
            text = (below(2) != 0 ? "inf" : "NaN(") + text + ")";
        double expected = -7, value = -7;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(
            text.data(), end, expected, isHex ? std::chars_format::hex : std::chars_format::general);
        const auto read = RealNumber::ParseWithoutLibrary(text.data(), end, value, isHex);
        EXPECT_TRUE(read.ptr == stop && read.ec == error) << text;
        EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << text;
    }
}
#endif

TEST(TextOfNumbers, IsTheSameInBothWidths) {
    for (const UInt64 first : {UInt64{0}, UInt64{10'000'000'000}})
        for (UInt64 number = first; number < first + 10'000; number++)
            expectText(std::to_string(number).c_str(), number);
    expectText("0", 0);
    expectText("-2147483648", INT_MIN);
    expectText("ffffffff", -1, 16);
    expectText("11111111", 255u, 2);
    expectText("z", 35u, 36);
    expectText("", 7, 1);
    expectText("", 7, 37);
    expectText(sizeof(long) == 4 ? "11111111" : "255", 255UL, 2);
    expectText("ff", Int64{255}, 16);
    expectText("255", UInt64{255}, 2);
    expectText("255", std::int64_t{255}, 36);
    expectText("1777777777777777777777", Int64{-1}, 8);
    expectText("-3/4", rational(-3, 4));
    expectText("6", rational(6, 1));
    expectText("true", true);
    expectText("false", false);
    expectText("0.3333333333", 1.0 / 3);
    expectText("1.23456789e+10", 12345678905.0);
}

template<class Number>
class TextOf64Bits : public testing::Test {};
using Types64Bits = testing::Types<Int64, UInt64, std::int64_t, std::uint64_t>;
TYPED_TEST_SUITE(TextOf64Bits, Types64Bits);

TYPED_TEST(TextOf64Bits, IsReadBackAndItsLimitsAreKept) {
    using Limits = std::numeric_limits<TypeParam>;
    TypeParam value;
    for (const TypeParam number : {Limits::min(), Limits::max(), TypeParam(-1), TypeParam(1) << 40})
        for (const int radix : {10, 8, 16}) {
            const CUnicodeString text = UnicodeStr(number, radix);
            const bool fits = text.Value(value, radix) && Str(number, radix).Value(value, radix);
            EXPECT_EQ(fits ? value : Limits::max(), number < 0 && radix != 10 ? Limits::max() : number)
                << text;
        }
    const char* const beyond = Limits::is_signed ? "9223372036854775808" : "18446744073709551616";
    for (const CString& text :
         {CString(beyond), beyond + CString("0"), CString("+99999999999999999999999")}) {
        EXPECT_FALSE(text.Value(value));
        EXPECT_EQ(value, Limits::max());
        EXPECT_FALSE(("-" + text.Mid(text[0] == '+' ? 1 : 0) + "0").Value(value));
        EXPECT_EQ(value, Limits::is_signed ? Limits::min() : Limits::max());
    }
}

template<class Number, class String>
void expectValue(const String& text, int radix, bool isValue, Number expected) {
    Number value = 7;
    EXPECT_EQ(text.Value(value, radix), isValue) << text;
    EXPECT_EQ(value, expected) << text;
}

TYPED_TEST(TextOfValues, IntegersAreReadAsByTheRuntimeWithin32Bits) {
    for (const char* text :
         {" \t42\v ", "-2147483648", "+2147483647", "2147483648",  "-2147483649", "4294967295", "4294967296",
          "-1",       "-4294967295", "-4294967296", "99999999999", "42x",         "5.",         "",
          "-",        "0x1F",        "-0X1f",       "0xg",         "017",         "08",         "Zz",
          "102"})
        for (const int radix : {0, 2, 8, 10, 16, 36}) {
            char* end;
            const long long number = std::strtoll(text, &end, radix);
            const bool isNumber = end != text && end[std::strspn(end, " \t\v")] == 0;
            const auto nearest = std::clamp<long long>(number, INT_MIN, INT_MAX);
            expectValue(this->S(text), radix, isNumber && number == nearest, static_cast<int>(nearest));
            const bool fits = std::abs(number) <= UINT_MAX; // negative numbers too
            const unsigned expected = fits ? static_cast<unsigned>(number) : UINT_MAX;
            expectValue(this->S(text), radix, isNumber && fits, expected);
        }
    for (const int radix : {1, 37, -10})
        expectValue(this->S("1"), radix, false, 0);
}

TYPED_TEST(TextOfValues, DoublesAreReadAsInTheCLocale) {
    const double kInfinity = std::numeric_limits<double>::infinity();
    const std::tuple<bool, double, std::vector<const char*>> kCases[] = {
        {true, -.5, {" -.5 ", "-5.e-1", "-0X.8", "-0x1.0p-1"}},
        {true, 0, {"0.000e99999999999999999999"}},
        {true, -kInfinity, {"-Infinity"}},
        {true, 2.2250738585072014e-308, {"2.2250738585072014e-308"}},
        {true, 4.9406564584124654e-324, {"4.9e-324"}},
        {false, 1, {"1e", "1,5", "0x1p+-7"}},
        {false, 0, {"", "+-1", "0xg", "1e-400", "1e-99999999999999999999", "0x1p-99999"}},
        {false, kInfinity, {"1e309", "1e99999999999999999999", "0x1p99999"}}};
    double value;
    for (const auto& [isValue, expected, texts] : kCases)
        for (const char* text : texts) {
            EXPECT_EQ(this->S(text).Value(value), isValue) << text;
            EXPECT_EQ(value, expected) << text;
        }
    EXPECT_TRUE(this->S("-nan").Value(value));
    EXPECT_TRUE(std::isnan(value));
}

TYPED_TEST(TextOfValues, RationalsAreAnIntegerOrTwo) {
    const auto read = [this](const char* text) { // the value, the error, or nothing
        rational value(7);
        std::string result;
        const std::string failure = FailureOf([&] { result = this->S(text).Value(value) ? Str(value) : ""; });
        EXPECT_TRUE(!result.empty() || value == 7) << text;
        return result + failure;
    };
    EXPECT_EQ(read(" -3 / 4\t"), "-3/4");
    EXPECT_EQ(read("3/-6"), "-3/6");
    EXPECT_EQ(read("12"), "12");
    EXPECT_EQ(read("1/0"), "ERR_DIVIDE_ZERO");
    EXPECT_EQ(read("-2147483648"), "ERR_RATIONAL_OVERFLOW");
    for (const char* text : {"", "1/", "/2", "1/2/3", "0x1/2", "1/2147483648"})
        EXPECT_EQ(read(text), "");
}

TYPED_TEST(TextOfValues, TruthValuesHaveFourNamesEach) {
    const std::tuple<const char*, bool, bool> kCases[] = {
        {"true", true, true},   {" Yes\t", true, true}, {"ON", true, true},   {"1", true, true},
        {"FALSE", true, false}, {"off", true, false},   {"no ", true, false}, {"\n0", true, false},
        {"y", false, true},     {"", false, true},      {"01", false, true},  {"truely", false, true}};
    for (const auto& [text, isValue, expected] : kCases) {
        bool value = isValue != expected;
        EXPECT_EQ(this->S(text).Value(value), isValue) << text;
        EXPECT_EQ(value, expected) << text;
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
    const std::pair<const char*, const char*> kCases[] = {
        {"%0 is corrupted.", "zero is corrupted."},
        {"%1%0", "%0zero"},
        {"%%1", "%%0"},
        {"%5", ""},
        {"a%12b", "ab"},
        {"%00001", "%0"},
        {"", ""},
        {"%d and %", "%d and %"},
        {"%2147483647|%2147483648|%99999999999999999999", "|%2147483648|%99999999999999999999"},
        {"%-1", "%-1"}};
    for (const auto& [pattern, expected] : kCases)
        EXPECT_EQ(this->S(pattern).SubstParam(p0, p1), this->T(expected)) << pattern;

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
    EXPECT_EQ(FormatAddress(reinterpret_cast<void*>(0x1AB)), "0x000001AB");
    EXPECT_EQ(UnicodeFormatAddress(reinterpret_cast<void*>(0x1AB)), u"0x000001AB");
    const void* code = reinterpret_cast<const void*>(&GetMemorySwitches);
    const CString place = FormatAddress(code);
    EXPECT_EQ(place.Find(Format("0x%08I64X (", static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(code)))),
              0);
    EXPECT_GT(place.Find("Tarnkit"), 0);
    EXPECT_EQ(place[place.GetLength() - 1], ')');
    const int begin = place.Find("(") + 1;
    EXPECT_TRUE(std::filesystem::exists(place.Mid(begin, place.GetLength() - 1 - begin).Ptr()))
        << place.Ptr();
    EXPECT_EQ(UnicodeFormatAddress(code), place.CreateUnicodeString());
    const auto* heap = new int(1);
    EXPECT_EQ(FormatAddress(heap).Find("("), -1);
    delete heap;
}

} // namespace
} // namespace Tarn
