#include "tests/support/failure.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/rational.h>

#include <cmath>

namespace Tarn {
namespace {

constexpr int kMax = INT_MAX;
const std::string kOverflow = "ERR_RATIONAL_OVERFLOW";
const std::string kDivision = "ERR_DIVIDE_ZERO";

std::string textOf(const rational& value) {
    return std::to_string(value.Numerator()) + "/" + std::to_string(value.Denominator());
}

/// The terms of what `action` returns, or the error that it raises.
std::string resultOf(auto action) {
    std::string result;
    const std::string failure = FailureOf([&] { result = textOf(action()); });
    return failure.empty() ? result : failure;
}

TEST(Rational, KeepsItsTwoTermsUnreduced) {
    const std::tuple<int, int, std::string> rows[] = {
        {2, 4, "2/4"},           {3, -6, "-3/6"},          {0, -5, "0/5"},
        {1, 0, kDivision},       {INT_MIN, 0, kDivision},  {-kMax, -1, "2147483647/1"},
        {INT_MIN, 1, kOverflow}, {INT_MIN, -1, kOverflow}, {1, INT_MIN, kOverflow}};
    for (const auto& [numerator, denominator, made] : rows)
        EXPECT_EQ(resultOf([n = numerator, d = denominator] { return rational(n, d); }), made);
    EXPECT_EQ(textOf(short{-7}) + textOf(-kMax) + textOf(5L), "-7/1-2147483647/15/1");
    for (const long tooLarge : {long{INT_MIN}, LONG_MIN, sizeof(long) > 4 ? LONG_MAX : LONG_MIN})
        EXPECT_EQ(AssertionOf([&] { rational(tooLarge).Numerator(); }).substr(0, 9), u"rational:");
    EXPECT_EQ(AssertionOf([] { rational(INT_MIN).Numerator(); }).substr(0, 9), u"rational:");
}

/// The second operand is a rational or an int, for which there are separate operators.
rational applied(const rational& a, char operation, auto b) {
    return operation == '+' ? a + b : operation == '-' ? a - b : operation == '*' ? a * b : a / b;
}

TEST(Rational, ReducesAndRoundsOnlyWhatDoesNotFit) {
    for (const char* row : {"1/2 + 1/3 = 5/6", "1/2 + 1/2 = 4/4", "1/2 - 3/3 = -3/6", "2/3 / -4/5 = -10/12",
                            "0/5 * 3/2147483647 = 0/1", "2147483647/2 / 1073741824/1 = 1073741823/1073741823",
                            "1/1 / 0/7 = ERR_DIVIDE_ZERO", "1073741824/1 * 4/1 = ERR_RATIONAL_OVERFLOW",
                            "1/1073741824 * -1/2 = 0/1", "1/1073741824 + 1/3 = 536870913/1610612735",
                            "2147483647/1 - 1/2147483647 = 2147483646/1"}) {
        int n1, d1, n2, d2;
        char operation, result[40];
        ASSERT_EQ(std::sscanf(row, "%d/%d %c %d/%d = %39s", &n1, &d1, &operation, &n2, &d2, result), 6);
        EXPECT_EQ(resultOf([&] { return applied(rational(n1, d1), operation, rational(n2, d2)); }), result);
    }
    EXPECT_EQ(resultOf([] { return -rational(1, 2) - INT_MIN; }), "2147483647/1");
    EXPECT_EQ(resultOf([] { return rational(-1, 2) + INT_MIN; }), kOverflow);
    EXPECT_EQ(resultOf([] { return rational(1, 7) / 0; }), kDivision);
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

/// Small and large numbers, and numbers around the limits and around powers of two.
int randomTerm(std::minstd_rand& random) {
    const auto shape = random() % 4;
    const int any = static_cast<int>(random()) & kMax;
    const int term = shape == 0   ? kMax - any % 4
                     : shape == 1 ? (1 << any % 31) + any / 31 % 3 - 1
                                  : any >> any % 31;
    return random() % 2 == 0 ? term : -term;
}

rational randomRational(std::minstd_rand& random) {
    const int numerator = randomTerm(random);
    return rational(numerator, std::max(1, std::abs(randomTerm(random))));
}

TEST(Rational, RandomArithmeticKeepsTheIntegerPartAndTheInvariants) {
    std::minstd_rand random(7);
    int rounded = 0;
    for (int i = 0; i < 300'000; i++) {
        const char operation = "+-*/"[random() % 4];
        const rational a = randomRational(random);
        const rational b = randomRational(random);
        // The terms of the exact result fit into 64 bits.
        const Int64 p = a.Numerator(), q = a.Denominator(), r = b.Numerator(), s = b.Denominator();
        const Int64 d = operation == '/' ? q * r : q * s;
        const Int64 n = operation == '/'   ? p * s
                        : operation == '*' ? p * r
                        : operation == '+' ? p * s + r * q
                                           : p * s - r * q;
        rational result(0);
        const std::string failure = FailureOf([&] { result = applied(a, operation, b); });
        SCOPED_TRACE(textOf(a) + operation + textOf(b) + " = " + textOf(result));
        if (d == 0 || std::abs(n / d) > kMax) {
            ASSERT_EQ(failure, d == 0 ? kDivision : kOverflow);
            continue;
        }
        ASSERT_EQ(failure, "");
        ASSERT_TRUE(result.Denominator() >= 1 && result.Numerator() != INT_MIN);
        if (s == 1) {
            ASSERT_EQ(textOf(applied(a, operation, b.Numerator())), textOf(result));
        }
        const double value = static_cast<double>(n) / static_cast<double>(d);
        const double made = static_cast<double>(result.Numerator()) / result.Denominator();
        ASSERT_NEAR(made, value, 0x1p-29 * std::max(1.0, std::abs(value)));
        rounded += made != value ? 1 : 0;
        // A value below 1 is rounded like its reciprocal and may become 1.
        const bool isBelow1 = std::abs(n) < std::abs(d);
        if (!isBelow1 || std::abs(result.Numerator()) != result.Denominator()) {
            ASSERT_EQ(result.Numerator() / result.Denominator(), n / d);
        }
    }
    EXPECT_GT(rounded, 10'000);
}

} // namespace
} // namespace Tarn
