/// \file
/// The text of numbers, rationals and truth values, printf-style formatting, and the description of code
/// addresses, for both widths of text. (The reverse, `Value`, and `SubstParam` are members of the strings.)
///
/// Only `FormatInto` can fail for lack of room in a buffer. Decimal points, digits and names are the same in
/// every locale; only text converted to the other width depends on it, because it goes through code page 0,
/// the system's ANSI code page. Any thread.
///
/// Formats are those of the Windows C runtime: flags `- + space # 0`, width and precision (also `*`), the
/// prefixes `hh h l ll L w I I32 I64 z t j` and the conversions `d i u o x X c C s S p f F e E g G a A`. `s`
/// and `c` take text of the format's own width, `S` and `C` of the other; `h` makes it 8-bit, `l` and `w`
/// 16-bit. `l` before an integer is the compiler's `long`. A null text is "(null)". Exponents have at least
/// two digits; a `long double` is shown with a `double`'s digits. Formatting stops at a conversion outside
/// this set (`n` included); the result is the text formatted up to there.
///
/// \code
/// const CUnicodeString line = Format(u"%-8s %6.2f", u"width", 12.5);
/// Int64 size = 0;
/// const bool isRead = UnicodeStr(Int64{1} << 40).Value(size); // what `UnicodeStr` writes, `Value` reads
/// \endcode
#pragma once

#include <tarnkit/data_model.h>
#include <tarnkit/rational.h>
#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <concepts>
#include <cstdarg>
#include <type_traits>

namespace Tarn {

/// The arguments that `...` passes in the form in which `Format` reads them: numbers and pointers.
/// `Format("%s", text)` with a string, which compilers accept without a warning, would show the bytes of the
/// string's handle: pass `text.Ptr()`.
template<class T>
concept CFormatArgument =
    std::is_arithmetic_v<T> || std::is_enum_v<T> || std::is_pointer_v<T> || std::is_null_pointer_v<T>;

/// Numbers of up to 32 bits in radix 2 to 36 (any other gives an empty text); numbers of 64 bits, of whatever
/// type, in octal for radix 8, hexadecimal for 16 and decimal for every other radix. Digits above 9 are in
/// lower case. Only radix 10 has a sign; elsewhere a negative number is shown as its two's complement.
TARNKIT_API CString Str(int value, int radix = 10);
TARNKIT_API CString Str(long value, int radix = 10);
TARNKIT_API CString Str(unsigned int value, int radix = 10);
TARNKIT_API CString Str(unsigned long value, int radix = 10);
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

/// The same as 16-bit text.
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

/// Returns the arguments formatted by `format`. `Sprintf` is the same under an older name.
///@{
TARNKIT_API CString Format(const char* format, ...);
TARNKIT_API CString Sprintf(const char* format, ...);
TARNKIT_API CString Vsprintf(const char* format, va_list arguments);
TARNKIT_API CUnicodeString Format(const char16_t* format, ...);
TARNKIT_API CUnicodeString Sprintf(const char16_t* format, ...);
TARNKIT_API CUnicodeString Vsprintf(const char16_t* format, va_list arguments);
///@}

// These refuse arguments that are neither numbers nor pointers; see `CFormatArgument`.
template<class... Arguments>
requires(!CFormatArgument<std::decay_t<Arguments>> || ...) CString
    Format(const char* format, const Arguments&... arguments)
= delete;
template<class... Arguments>
requires(!CFormatArgument<std::decay_t<Arguments>> || ...) CString
    Sprintf(const char* format, const Arguments&... arguments)
= delete;
template<class... Arguments>
requires(!CFormatArgument<std::decay_t<Arguments>> || ...) CUnicodeString
    Format(const char16_t* format, const Arguments&... arguments)
= delete;
template<class... Arguments>
requires(!CFormatArgument<std::decay_t<Arguments>> || ...) CUnicodeString
    Sprintf(const char16_t* format, const Arguments&... arguments)
= delete;

/// Formats into `buffer`, which has room for `size` units. Returns the number of units written, or -1 when
/// `size` is too small; the buffer then holds what fitted. A terminator follows if there is room for it.
/// Works on a copy of `arguments`, so the caller can try again with a larger buffer.
TARNKIT_API int FormatInto(char* buffer, int size, const char* format, va_list arguments);
TARNKIT_API int FormatInto(char16_t* buffer, int size, const char16_t* format, va_list arguments);

///@{
/// Describes a code address for diagnostics: "0x" and at least eight hexadecimal digits, followed by the path
/// of the module that contains it, in parentheses, if there is one.
TARNKIT_API CString FormatAddress(const void* address);
TARNKIT_API CUnicodeString UnicodeFormatAddress(const void* address);
///@}

} // namespace Tarn
