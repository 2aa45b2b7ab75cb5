#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>
#include <tarnkit/rational.h>

#include <bit>
#include <utility>

namespace Tarn {

namespace {

constexpr Int64 kLargestTerm = INT_MAX;

// Of two positive numbers, by shifts and subtractions.
Int64 greatestCommonDivisor(Int64 first, Int64 second) {
    auto a = static_cast<UInt64>(first);
    auto b = static_cast<UInt64>(second);
    const int commonTwos = std::countr_zero(a | b);
    a >>= std::countr_zero(a);
    while (b != 0) {
        b >>= std::countr_zero(b);
        if (a > b)
            std::swap(a, b);
        b -= a;
    }
    return static_cast<Int64>(a << commonTwos);
}

// Makes the terms of a/b smaller, for a >= 0 and b > 0, until a fits, by halving b and the remainder; the
// integer quotient stays the same. Afterwards `a` fits unless the quotient itself does not.
void approximate(Int64& a, Int64& b) {
    if (a <= kLargestTerm)
        return;
    const Int64 quotient = a / b;
    Int64 multiple = quotient * b; // always exact
    Int64 remainder = a - multiple;
    while (b > 1 && multiple + remainder > kLargestTerm) {
        if (b % 2 != 0)
            multiple -= quotient;
        b >>= 1;
        multiple >>= 1;
        remainder >>= 1;
        // When an odd b loses its last bit, a fractional part just below 1 would become 1.
        if (remainder == b)
            remainder--;
    }
    a = multiple + remainder;
}

} // namespace

rational::rational(int numeratorTerm, int denominatorTerm) : rational(0, 1, Dummy()) {
    Int64 n = numeratorTerm;
    Int64 d = denominatorTerm;
    if (d < 0) {
        n = -n;
        d = -d;
    }
    if (d == 0)
        GenCheck(ERR_DIVIDE_ZERO);
    else if (!isCorrect(n, d))
        GenCheck(ERR_RATIONAL_OVERFLOW);
    else
        *this = rational(static_cast<int>(n), static_cast<int>(d), Dummy());
}

rational& rational::operator+=(const rational& other) {
    return *this = make(product(numerator, other.denominator) + product(other.numerator, denominator),
                        product(denominator, other.denominator), *this);
}

rational& rational::operator-=(const rational& other) {
    return *this = make(product(numerator, other.denominator) - product(other.numerator, denominator),
                        product(denominator, other.denominator), *this);
}

rational& rational::operator*=(const rational& other) {
    return *this = make(product(numerator, other.numerator), product(denominator, other.denominator), *this);
}

rational& rational::operator/=(const rational& other) {
    return *this =
               safeMake(product(numerator, other.denominator), product(denominator, other.numerator), *this);
}

rational rational::make(Int64 n, Int64 d, const rational& old) {
    if (mustReduce(n, d)) {
        reduce(n, d);
        if (!isCorrect(n, d))
            return old;
    }
    return rational(static_cast<int>(n), static_cast<int>(d), Dummy());
}

rational rational::safeMake(Int64 n, Int64 d, const rational& old) {
    if (d == 0) {
        GenCheck(ERR_DIVIDE_ZERO);
        return old;
    }
    return d < 0 ? make(-n, -d, old) : make(n, d, old);
}

bool rational::isCorrect(Int64 n, Int64 d) {
    return n >= -kLargestTerm && n <= kLargestTerm && d <= kLargestTerm;
}

bool rational::mustReduce(Int64 n, Int64 d) { return !isCorrect(n, d); }

void rational::reduce(Int64& n, Int64& d) {
    if (d <= 0) {
        GenAssert(u"RATIONAL", __LINE__);
        return;
    }
    if (n == 0) {
        d = 1;
        return;
    }
    const Int64 divisor = greatestCommonDivisor(n < 0 ? -n : n, d);
    n /= divisor;
    d /= divisor;
    if (!isCorrect(n, d))
        round(n, d);
}

void rational::round(Int64& n, Int64& d) {
    const bool isNegative = n < 0;
    if (isNegative)
        n = -n;
    roundPositive(n, d);
    if (isNegative)
        n = -n;
}

void rational::roundPositive(Int64& n, Int64& d) {
    if (n >= d) {
        approximate(n, d);
        if (!isCorrect(n, d))
            GenCheck(ERR_RATIONAL_OVERFLOW);
    } else {
        approximate(d, n);
        if (!isCorrect(n, d)) {
            n = 0;
            d = 1;
        }
    }
}

} // namespace Tarn
