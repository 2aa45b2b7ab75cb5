// The text of numbers, rationals and truth values, printf-style formatting and the description of code
// addresses, for both widths of text. (The way back, `Value`, and `SubstParam` are members of the strings.)
//
// Nothing here depends on the locale or fails for lack of room. Any thread.
//
// Formats are those of the Windows C runtime: flags `- + space # 0`, width and precision (also `*`), the
// prefixes `hh h l ll L w I I32 I64 z t j` and the conversions `d i u o x X c C s S p f F e E g G a A`. `s`
// and `c` take text of the format's own width, `S` and `C` of the other; `h` makes it 8-bit, `l` and `w`
// 16-bit. `l` before an integer is the compiler's `long`. Text changes its width through code page 0. A null
// text is "(null)". Exponents have at least two digits; a `long double` is shown with a `double`'s digits. At
// a conversion outside this set (`n` included) formatting ends, and what was formed before it is the result.
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/rational.h>
#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <concepts>
#include <cstdarg>

namespace Tarn {

/// True for the character types: a number is meant by none of them.
template<class T>
concept CharacterType = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

// Numbers in radix 2 to 36 (any other gives an empty text), digits above 9 in lower case. Only radix 10 has a
// sign; elsewhere a negative number is shown as its two's complement.
TARNKIT_API CString Str(int value, int radix = 10);
TARNKIT_API CString Str(long value, int radix = 10);
TARNKIT_API CString Str(unsigned int value, int radix = 10);
TARNKIT_API CString Str(unsigned long value, int radix = 10);
/// Octal for radix 8, hexadecimal for 16, decimal for every other radix.
TARNKIT_API CString Str(Int64 value, int radix = 10);
TARNKIT_API CString Str(UInt64 value, int radix = 10);
/// At most 10 significant digits without trailing zeros, as `%.10g` has them: in exponent form when the
/// exponent is below -4 or above 9.
TARNKIT_API CString Str(double value);
/// Numerator, `/` and denominator; the numerator alone when the denominator is 1.
TARNKIT_API CString Str(const rational& value);
/// "true" or "false". Exactly for `bool`, so that no pointer becomes a truth value.
template<std::same_as<bool> T>
CString Str(T value) {
    return value ? "true" : "false";
}
template<CharacterType T>
CString Str(T value, int radix = 10) = delete;

TARNKIT_API CUnicodeString UnicodeStr(int value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(long value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(unsigned int value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(unsigned long value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(Int64 value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(UInt64 value, int radix = 10);
TARNKIT_API CUnicodeString UnicodeStr(double value);
TARNKIT_API CUnicodeString UnicodeStr(const rational& value);
template<std::same_as<bool> T>
CUnicodeString UnicodeStr(T value) {
    return value ? u"true" : u"false";
}
template<CharacterType T>
CUnicodeString UnicodeStr(T value, int radix = 10) = delete;

/// Text formatted by `format`; `Sprintf` is the same under an older name.
TARNKIT_API CString Format(const char* format, ...);
TARNKIT_API CString Sprintf(const char* format, ...);
TARNKIT_API CString Vsprintf(const char* format, va_list arguments);
TARNKIT_API CUnicodeString Format(const char16_t* format, ...);
TARNKIT_API CUnicodeString Sprintf(const char16_t* format, ...);
TARNKIT_API CUnicodeString Vsprintf(const char16_t* format, va_list arguments);

/// Formats into `buffer`, which holds `size` units. The number of units written, terminated when one more
/// has room; -1 when `size` is too small (what fitted is written then). Works on a copy of `arguments`, so
/// the caller may try again with a larger buffer.
TARNKIT_API int FormatInto(char* buffer, int size, const char* format, va_list arguments);
TARNKIT_API int FormatInto(char16_t* buffer, int size, const char16_t* format, va_list arguments);

/// A code address for diagnostics: "0x" and at least eight hexadecimal digits, then, in parentheses, the path
/// of the module that holds it when there is one.
TARNKIT_API CString FormatAddress(const void* address);
TARNKIT_API CUnicodeString UnicodeFormatAddress(const void* address);

} // namespace Tarn
