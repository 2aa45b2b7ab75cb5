// C's `strtol`, `strtoul` and `strtod` as the library needs them: 32-bit limits on every target, the C
// locale, and the range error in the result instead of in `errno`.
#pragma once

#include <cstdint>

namespace Tarn {

template<class Number>
struct CParsedNumber {
    Number value;    ///< the nearest limit when the number is out of range, 0 when there is none
    const char* end; ///< where the number ends; the start of the text when there is none
    bool isInRange = true;
};

/// Skip leading white space and take as much of `text` as is a number. Radix 0 goes by the prefix.
CParsedNumber<std::int32_t> ParseSigned(const char* text, int radix);
CParsedNumber<std::uint32_t> ParseUnsigned(const char* text, int radix);
/// Decimal and `0x` hexadecimal, "inf", "infinity" and "nan" too.
CParsedNumber<double> ParseDouble(const char* text);

} // namespace Tarn
