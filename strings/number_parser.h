// C's `strtol`, `strtoul` and `strtod` as the library needs them: limits that do not depend on the target,
// the C locale, and the range error in the result instead of in `errno`.
#pragma once

namespace Tarn {

template<class Number>
struct CParsedNumber {
    Number value;    ///< the nearest limit when the number is out of range, 0 when the text has no number
    const char* end; ///< the end of the number; the start of the text when it has none
    bool isInRange = true;
};

/// Skips leading white space and reads the longest number that `text` then begins with. Radix 0 takes the
/// radix from the prefix. Defined for `int`, `unsigned`, `Int64` and `UInt64`.
template<class Number>
CParsedNumber<Number> ParseInteger(const char* text, int radix);
/// The same for decimal and `0x` hexadecimal numbers, "inf", "infinity" and "nan".
CParsedNumber<double> ParseDouble(const char* text);

} // namespace Tarn
