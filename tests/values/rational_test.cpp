#include "tests/support/assertion.h"
#include "tests/support/failure.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/rational.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <iterator>
#include <random>

namespace Tarn {
namespace {

constexpr int kMax = INT_MAX;
const std::string kOverflow = "ERR_RATIONAL_OVERFLOW";
const std::string kDivision = "ERR_DIVIDE_ZERO";

std::string textOf(const rational& value) {
    return std::to_string(value.Numerator()) + "/" + std::to_string(value.Denominator());
}

/// The terms of what `action` gives, or the error that stops it.
std::string resultOf(auto action) {
    std::string result;
    const std::string failure = FailureOf([&] { result = textOf(action()); });
    return failure.empty() ? result : failure;
}

TEST(Rational, IsMadeOfTwoTermsWithoutReduction) {
    const struct {
        int numerator, denominator;
        std::string made;
    } rows[] = {{2, 4, "2/4"},           {3, -6, "-3/6"},          {0, -5, "0/5"},
                {1, 0, kDivision},       {INT_MIN, 0, kDivision},  {-kMax, -1, "2147483647/1"},
                {INT_MIN, 1, kOverflow}, {INT_MIN, -1, kOverflow}, {1, INT_MIN, kOverflow}};
    for (const auto& row : rows)
        EXPECT_EQ(resultOf([&] { return rational(row.numerator, row.denominator); }), row.made);
    EXPECT_EQ(textOf(short{-7}) + textOf(-kMax) + textOf(5L), "-7/1-2147483647/15/1");
    for (const long tooLarge : {long{INT_MIN}, LONG_MIN, sizeof(long) > 4 ? LONG_MAX : LONG_MIN})
        EXPECT_EQ(AssertionOf([&] { rational(tooLarge).Numerator(); }).substr(0, 9), u"rational:");
    EXPECT_EQ(AssertionOf([] { rational(INT_MIN).Numerator(); }).substr(0, 9), u"rational:");
}

TEST(Rational, ReducesAndRoundsOnlyWhatDoesNotFit) {
    const rational r(kMax, 2);
    const rational tiny(1, 1 << 30);
    const std::pair<std::string, std::string> rows[] = {
        {resultOf([] { return rational(1, 2) + rational(1, 3); }), "5/6"},
        {resultOf([] { return rational(1, 2) + rational(1, 2); }), "4/4"},
        {resultOf([] { return rational(1, 2) - 3 * rational(1, 3); }), "-3/6"},
        {resultOf([] { return rational(2, 3) / rational(-4, 5); }), "-10/12"},
        {resultOf([] { return -rational(2, 3) / -2; }), "2/6"},
        {resultOf([] { return rational(0, 5) * rational(3, kMax); }), "0/1"},
        {resultOf([&] { return r * 4 / 4; }), kOverflow},
        {resultOf([&] { return r / (1 << 30); }), "1073741823/1073741823"},
        {resultOf([&] { return rational(1 << 30) * 4; }), kOverflow},
        {resultOf([&] { return tiny * rational(1, 4); }), "0/1"},
        {resultOf([&] { return tiny * rational(-1, 2) * 4; }), "0/1"},
        {resultOf([&] { return tiny + rational(1, 3); }), "536870913/1610612735"},
        {resultOf([] { return rational(1, 2) + INT_MIN; }), "-2147483647/1"},
        {resultOf([] { return rational(-1, 2) + INT_MIN; }), kOverflow},
        {resultOf([] { return rational(kMax, 2) + INT_MIN; }), "-1073741824/1"},
        {resultOf([] { return rational(kMax) - rational(1, kMax); }), "2147483646/1"},
        {resultOf([] { return 1 / rational(0, 7); }), kDivision},
        {resultOf([] { return rational(1, 7) / 0; }), kDivision}};
    for (const auto& [result, expected] : rows)
        EXPECT_EQ(result, expected) << &result - &rows[0].first;
}

TEST(Rational, KeepsTheTargetOfAnOperatorThatRaisesAnError) {
    rational value(kMax, 3);
    for (const bool isStatic : {false, true}) {
        if (isStatic)
            BeginStaticPart(); // errors return
        FailureOf([&] { value *= 100; });
        FailureOf([&] { value /= rational(0); });
        FailureOf([&] { EXPECT_EQ(textOf(rational(5, 0)), isStatic ? "0/1" : "never made"); });
        if (isStatic)
            EndStaticPart();
        EXPECT_EQ(textOf(value), "2147483647/3");
    }
    EXPECT_TRUE(GetErrorFlag());
    SetErrorFlag(false);
}

TEST(Rational, ComparesByValue) {
    EXPECT_TRUE(rational(1, 2) == rational(2, 4) && rational(-4, 2) == -2 && 2 != rational(1, 2));
    EXPECT_LT(rational(kMax - 1, kMax), rational(kMax, kMax));
    EXPECT_LT(rational(-kMax), rational(-kMax, 2));
    EXPECT_GT(rational(-kMax), INT_MIN);
    EXPECT_LE(rational(1, 3), 1);
    EXPECT_TRUE((0 <=> rational(-1, kMax)) > 0);
}

/// Small numbers, large ones, and those around the limits and powers of two.
int randomTerm(std::minstd_rand& random) {
    const int shape = static_cast<int>(random() % 4);
    const int any = static_cast<int>(random()) & kMax;
    const int term = shape == 0   ? any % 10
                     : shape == 1 ? kMax - any % 4
                     : shape == 2 ? (1 << any % 31) + any / 31 % 3 - 1
                                  : any >> any % 31;
    return random() % 2 == 0 ? term : -term;
}

struct Fraction {
    Int64 n, d;
};

// The exact results have terms of 64 bits, and so 128 bits are needed nowhere.
Fraction exact(char operation, const rational& a, const rational& b) {
    const Int64 p = a.Numerator(), q = a.Denominator(), r = b.Numerator(), s = b.Denominator();
    switch (operation) {
    case '+':
        return {p * s + r * q, q * s};
    case '-':
        return {p * s - r * q, q * s};
    case '*':
        return {p * r, q * s};
    default:
        return r < 0 ? Fraction{-p * s, -q * r} : Fraction{p * s, q * r};
    }
}

TEST(Rational, RandomArithmeticKeepsTheIntegerPartAndTheInvariants) {
    std::minstd_rand random(7);
    int counts[4] = {}; // exact, rounded, too large, too small
    for (int i = 0; i < 300'000; i++) {
        const char operation = "+-*/"[random() % 4];
        const rational a(randomTerm(random), std::max(1, std::abs(randomTerm(random))));
        const rational b(randomTerm(random), std::max(1, std::abs(randomTerm(random))));
        const Fraction expected = exact(operation, a, b);
        rational r(0);
        const std::string failure = FailureOf([&] {
            r = operation == '+' ? a + b : operation == '-' ? a - b : operation == '*' ? a * b : a / b;
        });
        SCOPED_TRACE(textOf(a) + operation + textOf(b) + " = " + textOf(r));
        if (expected.d == 0 || std::abs(expected.n / expected.d) > kMax) {
            ASSERT_EQ(failure, expected.d == 0 ? kDivision : kOverflow);
            counts[2]++;
            continue;
        }
        ASSERT_EQ(failure, "");
        ASSERT_GE(r.Denominator(), 1);
        ASSERT_NE(r.Numerator(), INT_MIN);
        const double value = static_cast<double>(expected.n) / static_cast<double>(expected.d);
        const double made = static_cast<double>(r.Numerator()) / r.Denominator();
        ASSERT_NEAR(made, value, 0x1p-29 * std::max(1.0, std::abs(value)));
        const bool isExact = static_cast<long double>(made) == static_cast<long double>(value);
        counts[isExact ? 0 : r.Numerator() == 0 ? 3 : 1]++;
        // A value below 1 is rounded as its reciprocal is, and may reach 1.
        const bool isBelow1 = std::abs(expected.n) < expected.d;
        if (!isBelow1 || std::abs(r.Numerator()) != r.Denominator()) {
            ASSERT_EQ(r.Numerator() / r.Denominator(), expected.n / expected.d);
        }
    }
    for (const int count : counts)
        EXPECT_GT(count, 1000);
}

} // namespace
} // namespace Tarn
