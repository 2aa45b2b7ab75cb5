// `std::from_chars` of a double, also where the standard library has none for floating-point numbers.
#pragma once

#include "strings/text_units.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <version>

namespace Tarn {

namespace RealNumber {

inline bool IsDigit(char unit, bool isHex) {
    const char letter = static_cast<char>(unit | 0x20);
    return TextUnits::IsDigit(unit) || (isHex && letter >= 'a' && letter <= 'f');
}

inline const char* SkipDigits(const char* text, const char* end, bool isHex) {
    return std::find_if(text, end, [=](char unit) { return !IsDigit(unit, isHex); });
}

/// Where the digits, the point and the exponent at `text` end; `text` itself if there is no digit.
inline const char* EndOf(const char* text, const char* end, bool isHex) {
    const char* stop = SkipDigits(text, end, isHex);
    bool hasDigits = stop != text;
    if (stop != end && *stop == '.') {
        const char* const fraction = stop + 1;
        const char* const fractionEnd = SkipDigits(fraction, end, isHex);
        if (hasDigits || fractionEnd != fraction) {
            hasDigits = true;
            stop = fractionEnd;
        }
    }
    if (!hasDigits || stop == end || (*stop | 0x20) != (isHex ? 'p' : 'e'))
        return stop;
    const char* exponent = stop + 1;
    if (exponent != end && (*exponent == '-' || *exponent == '+'))
        exponent++;
    const char* const exponentEnd = SkipDigits(exponent, end, false);
    return exponentEnd != exponent ? exponentEnd : stop;
}

/// The names that stand for no number; the end of the one at `text`, or `text`.
inline const char* EndOfName(const char* text, const char* end, double& value) {
    const auto startsWith = [&](std::string_view name) {
        return std::string_view(text, end).size() >= name.size() &&
               std::equal(name.begin(), name.end(), text, [](char a, char b) { return a == (b | 0x20); });
    };
    if (startsWith("inf")) {
        value = std::numeric_limits<double>::infinity();
        return text + (startsWith("infinity") ? 8 : 3);
    }
    if (!startsWith("nan"))
        return text;
    value = std::numeric_limits<double>::quiet_NaN();
    const char* const name = text + 3;
    if (name == end || *name != '(')
        return name;
    const char* const nameEnd = std::find_if(name + 1, end, [](char unit) {
        const char letter = static_cast<char>(unit | 0x20);
        return !TextUnits::IsDigit(unit) && unit != '_' && (letter < 'a' || letter > 'z');
    });
    return nameEnd != end && *nameEnd == ')' ? nameEnd + 1 : name;
}

/// `mantissa` times a power of two, rounded once, to even where it lies in the middle.
inline double Scale(std::uint64_t mantissa, long long power) {
    using Limits = std::numeric_limits<double>;
    if (mantissa == 0)
        return 0;
    const int width = static_cast<int>(std::bit_width(mantissa));
    const long long leastPower = Limits::min_exponent - Limits::digits; // of the last bit of a number
    const long long excess = std::max<long long>(width - Limits::digits, leastPower - power);
    if (excess > width)
        return 0;
    if (excess > 0) {
        const int below = static_cast<int>(excess) - 1; // bits below the one that decides
        const bool isHalf = ((mantissa >> below) & 1) != 0;
        const bool isMore = (mantissa & ((std::uint64_t(1) << below) - 1)) != 0;
        mantissa = excess < 64 ? mantissa >> excess : 0;
        mantissa += isHalf && (isMore || (mantissa & 1) != 0) ? 1 : 0;
        power += excess;
    }
    return std::ldexp(static_cast<double>(mantissa), static_cast<int>(std::min(power, 2000LL)));
}

inline double HexValue(const char* text, const char* end) {
    constexpr long long kLargestPower = 1LL << 60;
    std::uint64_t mantissa = 0;
    long long power = 0;
    bool isFraction = false;
    for (; text != end && (*text | 0x20) != 'p'; text++) {
        if (*text == '.') {
            isFraction = true;
            continue;
        }
        const auto digit =
            static_cast<unsigned>(TextUnits::IsDigit(*text) ? *text - '0' : (*text | 0x20) - 'a' + 10);
        if (mantissa >> 60 == 0) {
            mantissa = mantissa << 4 | digit;
            power -= isFraction ? 4 : 0;
        } else {
            mantissa |= digit != 0; // only whether there is more decides
            power += isFraction ? 0 : 4;
        }
    }
    if (text != end) {
        const bool isNegative = text[1] == '-';
        long long exponent = 0;
        if (std::from_chars(text + (isNegative || text[1] == '+' ? 2 : 1), end, exponent).ec != std::errc{})
            exponent = kLargestPower;
        power += isNegative ? -std::min(exponent, kLargestPower) : std::min(exponent, kLargestPower);
    }
    return Scale(mantissa, power);
}

inline double DecimalValue(const char* text, const char* end) {
    std::string number(text, end);
    if (const std::size_t point = number.find('.'); point != number.npos) {
        // The locale's point, from a number that has one: "0.5".
        char half[16] = {};
        std::snprintf(half, sizeof(half), "%.1f", 0.5);
        number.replace(point, 1, half + 1, std::strlen(half) - 2);
    }
    return std::strtod(number.c_str(), nullptr);
}

/// The same as `std::from_chars` for texts without a sign.
inline std::from_chars_result ParseWithoutLibrary(const char* text, const char* textEnd, double& value,
                                                  bool isHex) {
    if (const char* const end = EndOfName(text, textEnd, value); end != text)
        return {end, std::errc{}};
    const char* const end = EndOf(text, textEnd, isHex);
    if (end == text)
        return {text, std::errc::invalid_argument};
    const double read = isHex ? HexValue(text, end) : DecimalValue(text, end);
    const char letter = isHex ? 'p' : 'e';
    const bool isZero =
        std::none_of(text, std::find_if(text, end, [=](char unit) { return (unit | 0x20) == letter; }),
                     [=](char unit) { return unit != '0' && unit != '.'; });
    if (!std::isfinite(read) || (read == 0 && !isZero))
        return {end, std::errc::result_out_of_range};
    value = read;
    return {end, std::errc{}};
}

inline std::from_chars_result Parse(const char* text, const char* end, double& value, bool isHex) {
#if defined(__cpp_lib_to_chars)
    return std::from_chars(text, end, value, isHex ? std::chars_format::hex : std::chars_format::general);
#else
    return ParseWithoutLibrary(text, end, value, isHex);
#endif
}

} // namespace RealNumber

} // namespace Tarn
