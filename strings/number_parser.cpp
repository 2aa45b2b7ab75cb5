#include "strings/number_parser.h"

#include <tarnkit/data_model.h>

#include "strings/real_number.h"
#include "strings/text_units.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace Tarn {

namespace {

constexpr int kNoDigit = 99;
constexpr int kHighestRadix = 36; // ten digits and the letters

int digitValue(char unit) {
    if (TextUnits::IsDigit(unit))
        return unit - '0';
    const char letter = static_cast<char>(unit | 0x20);
    return letter >= 'a' && letter <= 'z' ? letter - 'a' + 10 : kNoDigit;
}

bool hasHexPrefix(const char* text) {
    return text[0] == '0' && (text[1] | 0x20) == 'x' && digitValue(text[2]) < 16;
}

// Skips white space and a sign; true for a minus.
bool skipToDigits(const char*& text) {
    while (TextUnits::IsSpace(*text))
        text++;
    const bool isNegative = *text == '-';
    if (isNegative || *text == '+')
        text++;
    return isNegative;
}

struct CMagnitude {
    UInt64 value = 0;
    const char* end = nullptr;
    bool isNegative = false;
    bool isTooLarge = false;
};

CMagnitude parseMagnitude(const char* text, int radix) {
    CMagnitude result;
    result.end = text;
    if (radix < 0 || radix == 1 || radix > kHighestRadix)
        return result;
    result.isNegative = skipToDigits(text);
    const bool isPrefixed = (radix == 0 || radix == 16) && hasHexPrefix(text);
    if (radix == 0)
        radix = isPrefixed ? 16 : *text == '0' ? 8 : 10;
    if (isPrefixed)
        text += 2;
    // A division for each digit would take longer than all the rest, so most values are only compared with a
    // constant.
    constexpr UInt64 kMost = std::numeric_limits<UInt64>::max();
    constexpr UInt64 kFitsAnyDigit = kMost / kHighestRadix - 1;
    for (; digitValue(*text) < radix; text++) {
        const auto digit = static_cast<UInt64>(digitValue(*text));
        const auto base = static_cast<UInt64>(radix);
        result.isTooLarge =
            result.isTooLarge || (result.value > kFitsAnyDigit && result.value > (kMost - digit) / base);
        result.value = result.value * base + digit;
        result.end = text + 1;
    }
    return result;
}

// Whether a number that no double holds, written between `text` and `end`, is too small rather than too
// large: whether its exponent leaves its first significant digit after the decimal point.
bool isTooSmall(const char* text, const char* end, bool isHex) {
    const char letter = isHex ? 'p' : 'e';
    const int digitWeight = isHex ? 4 : 1; // what a digit before the point adds to the exponent
    const char* exponent = std::find_if(text, end, [letter](char unit) { return (unit | 0x20) == letter; });
    const char* point = std::find(text, exponent, '.');
    const char* first =
        std::find_if(text, exponent, [](char unit) { return unit != '0' && digitValue(unit) < 16; });
    const long long digitsBeforePoint = point - first + (point < first ? 1 : 0);
    long long power = 0;
    bool isNegative = false;
    if (exponent != end) {
        isNegative = exponent[1] == '-';
        const char* digits = exponent + (isNegative || exponent[1] == '+' ? 2 : 1);
        if (std::from_chars(digits, end, power).ec != std::errc{})
            return isNegative;
    }
    return (isNegative ? -power : power) + digitsBeforePoint * digitWeight <= 0;
}

// Where a hexadecimal number that begins at `text` ends at the latest. Its parser would take an exponent with
// two signs, `p+-`.
const char* hexLimit(const char* text) {
    while (digitValue(*text) < 16 || *text == '.')
        text++;
    if ((*text | 0x20) == 'p' && text[1] == '+' && text[2] == '-')
        return text;
    return text + TextUnits::Length(text);
}

} // namespace

template<class Number>
CParsedNumber<Number> ParseInteger(const char* text, int radix) {
    using Limits = std::numeric_limits<Number>;
    const CMagnitude magnitude = parseMagnitude(text, radix);
    const bool isBelowZero = magnitude.isNegative && Limits::is_signed;
    const UInt64 largest = static_cast<UInt64>(Limits::max()) + (isBelowZero ? 1 : 0);
    if (magnitude.isTooLarge || magnitude.value > largest)
        return {isBelowZero ? Limits::min() : Limits::max(), magnitude.end, false};
    return {static_cast<Number>(magnitude.isNegative ? 0 - magnitude.value : magnitude.value), magnitude.end};
}

template CParsedNumber<int> ParseInteger(const char*, int);
template CParsedNumber<unsigned> ParseInteger(const char*, int);
template CParsedNumber<Int64> ParseInteger(const char*, int);
template CParsedNumber<UInt64> ParseInteger(const char*, int);

CParsedNumber<double> ParseDouble(const char* text) {
    const char* number = text;
    const bool isNegative = skipToDigits(number);
    const double sign = isNegative ? -1 : 1;
    // The parser below takes a sign of its own, which would be a second one here.
    if (*number == '-')
        return {0, text};
    const bool isHex = hasHexPrefix(number) || (number[0] == '0' && (number[1] | 0x20) == 'x' &&
                                                number[2] == '.' && digitValue(number[3]) < 16);
    if (isHex)
        number += 2;

    double value = 0;
    const char* textEnd = isHex ? hexLimit(number) : number + TextUnits::Length(number);
    const auto [end, error] = RealNumber::Parse(number, textEnd, value, isHex);
    if (error == std::errc::invalid_argument)
        return {0, text};
    if (error == std::errc::result_out_of_range) {
        const double nearest = isTooSmall(number, end, isHex) ? 0 : HUGE_VAL;
        return {std::copysign(nearest, sign), end, false};
    }
    return {std::copysign(value, sign), end};
}

} // namespace Tarn
