/// \file
/// rational, an exact fraction of two 32-bit integers.
///
/// The denominator is always positive and the numerator never -2^31, so that every value has a negative.
/// Fractions are not kept in lowest terms: 2/4 stays 2/4, and equals 1/2. Arithmetic is done in 64 bits and
/// brought back to 32: a result whose terms fit is kept as it is; any other is reduced and, if that is not
/// enough, rounded, with its integer part kept exact. A result too small even then becomes 0; one too large
/// raises `ERR_RATIONAL_OVERFLOW`, and a zero denominator `ERR_DIVIDE_ZERO`. An operator that raises an error
/// leaves its target as it was. Threads may use different values at the same time.
///
/// \code
/// rational share(1, 3);
/// share += rational(1, 6);  // 9/18
/// share == rational(1, 2);  // true
/// share * 4;                // 36/18
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/export.h>
#include <tarnkit/failures.h>
#include <tarnkit/layout.h>

#include <climits>
#include <compare>
#include <concepts>

namespace Tarn {

/// An exact fraction; see the top of this header.
class TARNKIT_API rational {
public:
    /// Sets nothing.
    rational() = default;
    /// value/1. A value of -2^31, or a `long` beyond 32 bits, is an assertion failure; if it returns, the
    /// nearest value is taken.
    rational(short value) : numerator(value), denominator(1) {}
    rational(int value) : numerator(inRange(value)), denominator(1) {}
    rational(long value) : numerator(inRange(value)), denominator(1) {}
    /// The two terms, not reduced; the sign of a negative denominator moves to the numerator. Raises
    /// `ERR_DIVIDE_ZERO`, or `ERR_RATIONAL_OVERFLOW` when a term does not fit after that; if the check
    /// returns instead of throwing, the value is 0/1.
    rational(int numeratorTerm, int denominatorTerm);
    // Truth values and characters are not numbers.
    template<class T>
    requires std::same_as<T, bool> || std::same_as<T, char> || std::same_as<T, wchar_t> ||
        std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>
        rational(T)
    = delete;

    /// Carries the sign.
    int Numerator() const { return numerator; }
    /// At least 1.
    int Denominator() const { return denominator; }

    /// Never overflows.
    rational operator-() const { return rational(-numerator, denominator, Dummy()); }

    ///@{
    /// Raise `ERR_RATIONAL_OVERFLOW` for a result that is too large, and `ERR_DIVIDE_ZERO`.
    rational& operator+=(const rational& other);
    rational& operator-=(const rational& other);
    rational& operator*=(const rational& other);
    rational& operator/=(const rational& other);
    ///@}

    ///@{
    /// For an operand that is exactly an `int`, which may be -2^31; other integers become rationals first.
    template<std::same_as<int> Int>
    rational& operator+=(Int number) {
        return *this = make(numerator + product(number, denominator), denominator, *this);
    }
    template<std::same_as<int> Int>
    rational& operator-=(Int number) {
        return *this = make(numerator - product(number, denominator), denominator, *this);
    }
    template<std::same_as<int> Int>
    rational& operator*=(Int number) {
        return *this = make(product(numerator, number), denominator, *this);
    }
    template<std::same_as<int> Int>
    rational& operator/=(Int number) {
        return *this = safeMake(numerator, product(denominator, number), *this);
    }
    ///@}

    ///@{
    /// As the operators above.
    friend rational operator+(rational a, const rational& b) { return a += b; }
    friend rational operator-(rational a, const rational& b) { return a -= b; }
    friend rational operator*(rational a, const rational& b) { return a *= b; }
    friend rational operator/(rational a, const rational& b) { return a /= b; }
    template<std::same_as<int> Int>
    friend rational operator+(rational a, Int b) {
        return a += b;
    }
    template<std::same_as<int> Int>
    friend rational operator-(rational a, Int b) {
        return a -= b;
    }
    template<std::same_as<int> Int>
    friend rational operator*(rational a, Int b) {
        return a *= b;
    }
    template<std::same_as<int> Int>
    friend rational operator/(rational a, Int b) {
        return a /= b;
    }
    ///@}

    ///@{
    /// By value: equal fractions may have different terms.
    friend bool operator==(const rational& a, const rational& b) { return (a <=> b) == 0; }
    friend std::weak_ordering operator<=>(const rational& a, const rational& b) {
        return product(a.numerator, b.denominator) <=> product(b.numerator, a.denominator);
    }
    template<std::same_as<int> Int>
    friend bool operator==(const rational& a, Int b) {
        return (a <=> b) == 0;
    }
    template<std::same_as<int> Int>
    friend std::weak_ordering operator<=>(const rational& a, Int b) {
        return a.numerator <=> product(b, a.denominator);
    }

    ///@}
private:
    int numerator;
    int denominator;

    friend struct CLayout<rational>;

    struct Dummy {};
    // Takes the terms without any check.
    rational(int numeratorTerm, int denominatorTerm, Dummy)
        : numerator(numeratorTerm), denominator(denominatorTerm) {}

    static Int64 product(int a, int b) { return Int64{a} * b; }

    template<class Integer>
    static int inRange(Integer value) {
        if (value >= -INT_MAX && value <= INT_MAX) [[likely]]
            return static_cast<int>(value);
        GenAssert(u"rational", __LINE__);
        return value < 0 ? -INT_MAX : INT_MAX;
    }

    // The value n/d in 32 bits; `old` if it does not fit and the check returns. `make` needs a positive d.
    static rational make(Int64 n, Int64 d, const rational& old);
    static rational safeMake(Int64 n, Int64 d, const rational& old);
    static bool isCorrect(Int64 n, Int64 d);
    static bool mustReduce(Int64 n, Int64 d);
    // Bring the terms into 32 bits where that is possible; an overflow has been reported when they return.
    static void reduce(Int64& n, Int64& d);
    static void round(Int64& n, Int64& d);
    static void roundPositive(Int64& n, Int64& d);
};
TARNKIT_LAYOUT(rational, 8, numerator, denominator);

} // namespace Tarn
