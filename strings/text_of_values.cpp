#include <tarnkit/text_of_values.h>

#include "platform/platform.h"
#include "strings/integer_digits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <type_traits>

namespace Tarn {

namespace {

// Enough for most formats.
constexpr int kFirstFormatRoom = 256;

constexpr int kModuleNameRoom = 261;

constexpr int kDoubleRoom = 32; // for ten digits, signs, a point and an exponent

// The text of a number, without a terminator.
template<class String>
String numberText(const char* begin, const char* end) {
    String text;
    std::copy(begin, end, text.GetBufferSetLength(static_cast<int>(end - begin)));
    return text;
}

template<class String>
String magnitudeText(unsigned long long magnitude, bool isNegative, int radix) {
    if (radix < 2 || radix > 36)
        return String();
    CIntegerDigits digits(magnitude, radix);
    if (isNegative)
        digits.PutMinus();
    return numberText<String>(digits.begin(), digits.end());
}

template<class String>
String doubleText(double value) {
    constexpr int kDigits = 10;
    if (!std::isfinite(value)) {
        const CString name = Format("%f", value);
        return numberText<String>(name.Ptr(), name.Ptr() + name.GetLength());
    }
    char text[kDoubleRoom];
    const auto end = std::to_chars(text, std::end(text), value, std::chars_format::general, kDigits).ptr;
    return numberText<String>(text, end);
}

// A number of any integer type, as wide as that type is. 64-bit numbers have only three radixes.
template<class String, class Number>
String integerText(Number value, int radix) {
    using Magnitude = std::make_unsigned_t<Number>;
    if (sizeof(Number) > sizeof(int) && radix != 8 && radix != 16)
        radix = 10;
    const bool isNegative = value < 0 && radix == 10;
    const auto magnitude = static_cast<Magnitude>(value);
    return magnitudeText<String>(isNegative ? static_cast<Magnitude>(0 - magnitude) : magnitude, isNegative,
                                 radix);
}

template<class String, class Unit>
String formatted(const Unit* format, va_list arguments) {
    Unit text[kFirstFormatRoom];
    const int shortLength = FormatInto(text, kFirstFormatRoom, format, arguments);
    String result;
    if (shortLength > 0)
        std::copy_n(text, shortLength, result.GetBufferSetLength(shortLength));
    if (shortLength >= 0)
        return result;
    constexpr int kLongest = String::Body::kLongestLength;
    for (int room = 2 * kFirstFormatRoom;; room = room > kLongest / 2 ? kLongest : room * 2) {
        const int length = FormatInto(result.GetBuffer(room), room, format, arguments);
        if (length >= 0) {
            result.ReleaseBuffer(length);
            return result;
        }
        if (room == kLongest)
            ThrowMemoryException();
    }
}

// The path, as the system spells it, of the module whose committed memory holds `address`; empty when there
// is none.
CUnicodeString moduleNameOf(const void* address) {
    MEMORY_BASIC_INFORMATION region;
    if (Platform::VirtualQuery(address, &region, sizeof region) != sizeof region ||
        region.State != MEM_COMMIT)
        return CUnicodeString();
    HINSTANCE module = Platform::GetModuleHandleFromAddress(address);
    char16_t name[kModuleNameRoom];
    const DWORD length = module == nullptr ? 0 : Platform::GetModuleFileNameW(module, name, kModuleNameRoom);
    char native[3 * kModuleNameRoom];
    const DWORD size = length == 0 ? 0 : Platform::GetNativeName(name, sizeof native, native);
    if (size == 0 || size > sizeof native)
        return CUnicodeString(name, static_cast<int>(length));
    return CString(native, static_cast<int>(size)).CreateUnicodeString(CP_UTF8);
}

template<class String, class Unit>
String rationalText(const rational& value, Unit slash) {
    String result = integerText<String>(value.Numerator(), 10);
    if (value.Denominator() != 1) {
        result += slash;
        result += integerText<String>(value.Denominator(), 10);
    }
    return result;
}

UInt64 addressNumber(const void* address) { return reinterpret_cast<std::uintptr_t>(address); }

} // namespace

CString Str(int value, int radix) { return integerText<CString>(value, radix); }
CString Str(long value, int radix) { return integerText<CString>(value, radix); }
CString Str(unsigned int value, int radix) { return integerText<CString>(value, radix); }
CString Str(unsigned long value, int radix) { return integerText<CString>(value, radix); }
CString Str(Int64 value, int radix) { return integerText<CString>(value, radix); }
CString Str(UInt64 value, int radix) { return integerText<CString>(value, radix); }

CUnicodeString UnicodeStr(int value, int radix) { return integerText<CUnicodeString>(value, radix); }
CUnicodeString UnicodeStr(long value, int radix) { return integerText<CUnicodeString>(value, radix); }
CUnicodeString UnicodeStr(unsigned int value, int radix) { return integerText<CUnicodeString>(value, radix); }
CUnicodeString UnicodeStr(unsigned long value, int radix) {
    return integerText<CUnicodeString>(value, radix);
}
CUnicodeString UnicodeStr(Int64 value, int radix) { return integerText<CUnicodeString>(value, radix); }
CUnicodeString UnicodeStr(UInt64 value, int radix) { return integerText<CUnicodeString>(value, radix); }

CString Str(double value) { return doubleText<CString>(value); }
CUnicodeString UnicodeStr(double value) { return doubleText<CUnicodeString>(value); }

CString Str(const rational& value) { return rationalText<CString>(value, '/'); }
CUnicodeString UnicodeStr(const rational& value) { return rationalText<CUnicodeString>(value, u'/'); }

CString Vsprintf(const char* format, va_list arguments) { return formatted<CString>(format, arguments); }

CUnicodeString Vsprintf(const char16_t* format, va_list arguments) {
    return formatted<CUnicodeString>(format, arguments);
}

CString Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CString result = Vsprintf(format, arguments);
    va_end(arguments);
    return result;
}

CUnicodeString Format(const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CUnicodeString result = Vsprintf(format, arguments);
    va_end(arguments);
    return result;
}

CString Sprintf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CString result = Vsprintf(format, arguments);
    va_end(arguments);
    return result;
}

CUnicodeString Sprintf(const char16_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CUnicodeString result = Vsprintf(format, arguments);
    va_end(arguments);
    return result;
}

CString FormatAddress(const void* address) {
    CString result = Format("0x%08I64X", addressNumber(address));
    const CUnicodeString module = moduleNameOf(address);
    if (!module.IsEmpty())
        result += " (" + module.CreateString() + ")";
    return result;
}

CUnicodeString UnicodeFormatAddress(const void* address) {
    CUnicodeString result = Format(u"0x%08I64X", addressNumber(address));
    const CUnicodeString module = moduleNameOf(address);
    if (!module.IsEmpty())
        result += u" (" + module + u")";
    return result;
}

} // namespace Tarn
