#include "strings/formatter.h"

#include <tarnkit/data_model.h>
#include <tarnkit/text_of_values.h>

#include "platform/platform.h"
#include "strings/integer_digits.h"
#include "strings/text_units.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Tarn {

namespace {

// No double has more digits than this after the decimal point; any more that are asked for are zeros.
constexpr int kLongestFraction = 1074;
constexpr int kLongestDouble = kLongestFraction + 320;
constexpr int kDefaultPrecision = 6;

constexpr char toUpper(char unit) {
    return unit >= 'a' && unit <= 'z' ? static_cast<char>(unit - 0x20) : unit;
}
constexpr char toLower(char unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + 0x20) : unit;
}

void makeUpper(char* text, char* end) { std::transform(text, end, text, toUpper); }

CUnicodeString otherWidth(const char* text, int length) { return CUnicodeString(text, length, CP_ACP); }
CString otherWidth(const char16_t* text, int length) { return CString(text, length, CP_ACP); }

// The whole characters at the start of `text` that have at most `limit` units in the other width. Nothing
// after them is read, so `text` need not be terminated. A text that ends before the limit is converted as a
// whole: characters may combine, and a single invalid one makes the whole result empty.
template<class Unit>
auto otherWidthUpTo(const Unit* text, int limit) {
    constexpr int kLongestCharacter = 4; // in units, in either width
    auto result = otherWidth(text, 0);
    int taken = 0;
    while (result.GetLength() < limit && text[taken] != 0) {
        const int surelyFitting = std::max((limit - result.GetLength()) / kLongestCharacter, 1);
        taken += TextUnits::LengthUpTo(text + taken, surelyFitting);
        if constexpr (sizeof(Unit) > 1)
            if (TextUnits::IsHighSurrogate(text[taken - 1]) && TextUnits::IsLowSurrogate(text[taken]))
                taken++;
        auto longer = otherWidth(text, taken);
        // Take further bytes until the last 8-bit character is complete.
        for (int bytes = 1; longer.IsEmpty() && bytes < kLongestCharacter && text[taken] != 0; bytes++)
            longer = otherWidth(text, ++taken);
        if (longer.GetLength() > limit)
            break;
        result = longer;
        if (result.IsEmpty())
            break;
    }
    return result;
}

template<class Unit>
using COtherUnit = std::conditional_t<sizeof(Unit) == 1, char16_t, char>;

template<class Unit>
const Unit* nullText() {
    static constexpr Unit kText[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
    return kText;
}

// The digits of a finite number that is not negative, as `printf` writes them without flags.
class CFloatDigits {
public:
    CFloatDigits(double value, char letter, int precision, bool isAlternate) {
        switch (toLower(letter)) {
        case 'f':
            write(value, std::chars_format::fixed, precision);
            break;
        case 'e':
            write(value, std::chars_format::scientific, precision);
            break;
        case 'g':
            writeGeneral(value, precision, isAlternate);
            break;
        default:
            writeHex(value, precision);
        }
        if (isAlternate)
            addPoint();
        if (toUpper(letter) == letter)
            makeUpper(text, end);
    }

    std::string_view Mantissa() const { return {text, static_cast<std::size_t>(exponent - text)}; }
    int TrailingZeros() const { return missingZeros; }
    std::string_view Exponent() const { return {exponent, static_cast<std::size_t>(end - exponent)}; }

private:
    char text[kLongestDouble];
    char* exponent = text;
    char* end = text;
    int missingZeros = 0;

    void write(double value, std::chars_format form, long long precision) {
        const int digits = static_cast<int>(std::min<long long>(precision, kLongestFraction));
        missingZeros = static_cast<int>(std::min<long long>(precision - digits, INT_MAX));
        end = std::to_chars(text, text + kLongestDouble - 1, value, form, digits).ptr;
        findExponent('e');
    }

    void writeHex(double value, int precision) {
        if (precision >= 0) {
            write(value, std::chars_format::hex, precision);
        } else {
            end = std::to_chars(text, text + kLongestDouble - 1, value, std::chars_format::hex).ptr;
        }
        findExponent('p');
    }

    // `precision` significant digits; with zeros at the end, the exponent of the rounded number decides
    // between the two forms here.
    void writeGeneral(double value, int precision, bool keepsZeros) {
        const long long digits = std::max(precision, 1);
        if (!keepsZeros) {
            write(value, std::chars_format::general, digits);
            missingZeros = 0;
            return;
        }
        constexpr int kSmallestFixedExponent = -4;
        write(value, std::chars_format::scientific, digits - 1);
        int power = 0;
        std::from_chars(exponent + (exponent[1] == '+' ? 2 : 1), end, power);
        if (power >= kSmallestFixedExponent && power < digits)
            write(value, std::chars_format::fixed, digits - 1 - power);
    }

    void findExponent(char letter) { exponent = std::find(text, end, letter); }

    void addPoint() {
        if (std::find(text, exponent, '.') != exponent)
            return;
        std::move_backward(exponent, end, end + 1);
        *exponent++ = '.';
        end++;
    }
};

} // namespace

template<class Unit>
CPrintfFormatter<Unit>::CPrintfFormatter(Unit* outputBuffer, int outputSize, const Unit* formatText,
                                         va_list list)
    : buffer(outputBuffer), size(outputSize), format(formatText) {
    va_copy(arguments, list);
}

template<class Unit>
CPrintfFormatter<Unit>::~CPrintfFormatter() {
    va_end(arguments);
}

template<class Unit>
int CPrintfFormatter<Unit>::Run() {
    while (*format != 0 && !isFull) {
        const Unit* literal = format;
        while (*format != 0 && *format != '%')
            format++;
        put(literal, static_cast<int>(std::min<std::ptrdiff_t>(format - literal, INT_MAX)));
        if (*format == 0)
            break;
        format++;
        CConversion conversion;
        if (!parse(conversion) || !convert(conversion))
            break;
    }
    if (isFull)
        return -1;
    if (used < size)
        buffer[used] = 0;
    return used;
}

// Parsing. -----------------------------------------------------------------------------------------------

// False when the format ends here or a number in it is beyond `int`.
template<class Unit>
bool CPrintfFormatter<Unit>::parse(CConversion& conversion) {
    while (parseFlag(conversion))
        format++;
    if (!parseCount(conversion.width))
        return false;
    if (conversion.width < 0) {
        conversion.isLeft = true;
        conversion.width = conversion.width == INT_MIN ? INT_MAX : -conversion.width;
    }
    if (*format == '.') {
        format++;
        if (!parseCount(conversion.precision))
            return false;
        if (conversion.precision < 0)
            conversion.precision = kNoPrecision;
    }
    parseSize(conversion);
    if (*format == 0 || *format > 'z')
        return false;
    conversion.letter = static_cast<char>(*format++);
    return true;
}

template<class Unit>
bool CPrintfFormatter<Unit>::parseFlag(CConversion& conversion) {
    switch (*format) {
    case '-':
        return conversion.isLeft = true;
    case '+':
        return conversion.hasPlus = true;
    case ' ':
        return conversion.hasBlank = true;
    case '#':
        return conversion.isAlternate = true;
    case '0':
        return conversion.hasZeros = true;
    default:
        return false;
    }
}

template<class Unit>
bool CPrintfFormatter<Unit>::parseCount(int& count) {
    if (*format == '*') {
        format++;
        count = va_arg(arguments, int);
        return true;
    }
    long long value = 0;
    for (; TextUnits::IsDigit(*format) && value <= INT_MAX; format++)
        value = value * 10 + (*format - '0');
    count = static_cast<int>(value);
    return value <= INT_MAX;
}

template<class Unit>
bool CPrintfFormatter<Unit>::skip(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); i++)
        if (format[i] != static_cast<Unit>(text[i]))
            return false;
    format += text.size();
    return true;
}

template<class Unit>
void CPrintfFormatter<Unit>::parseSize(CConversion& conversion) {
    constexpr std::string_view kFirstLetters = "hlIztjLw";
    if (*format > 'z' || kFirstLetters.find(static_cast<char>(*format)) == kFirstLetters.npos)
        return;
    // Of two prefixes that begin alike, the longer comes first.
    static constexpr struct {
        std::string_view text;
        TLength length;
    } kPrefixes[] = {
        {"hh", TLength::asChar},   {"h", TLength::asShort},      {"ll", TLength::asLongLong},
        {"l", TLength::asLong},    {"I64", TLength::asLongLong}, {"I32", TLength::none},
        {"I", TLength::asPointer}, {"z", TLength::asPointer},    {"t", TLength::asPointer},
        {"j", TLength::asIntMax},  {"L", TLength::asLongDouble}, {"w", TLength::wide},
    };
    for (const auto& prefix : kPrefixes) {
        if (skip(prefix.text)) {
            conversion.length = prefix.length;
            return;
        }
    }
}

// Conversions. -------------------------------------------------------------------------------------------

template<class Unit>
bool CPrintfFormatter<Unit>::convert(const CConversion& conversion) {
    switch (conversion.letter) {
    case '%':
        fill('%', 1);
        return true;
    case 'd':
    case 'i':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
        convertInteger(conversion);
        return true;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        convertFloat(conversion);
        return true;
    case 'p':
        convertPointer(conversion);
        return true;
    case 'c':
    case 'C':
        convertUnit(conversion);
        return true;
    case 's':
    case 'S':
        convertText(conversion);
        return true;
    default:
        return false;
    }
}

// Takes an integer argument and extends it to 64 bits, with or without its sign.
template<class Unit>
unsigned long long CPrintfFormatter<Unit>::takeInteger(TLength length, bool isSigned) {
    const auto extend = [isSigned](auto value) {
        using Value = decltype(value);
        return isSigned ? static_cast<unsigned long long>(static_cast<long long>(value))
                        : static_cast<unsigned long long>(static_cast<std::make_unsigned_t<Value>>(value));
    };
    switch (length) {
    case TLength::asChar:
        return extend(static_cast<signed char>(va_arg(arguments, int)));
    case TLength::asShort:
        return extend(static_cast<short>(va_arg(arguments, int)));
    case TLength::asLong:
        return extend(va_arg(arguments, long));
    case TLength::asLongLong:
    case TLength::asLongDouble:
        return extend(va_arg(arguments, long long));
    case TLength::asPointer:
        return extend(va_arg(arguments, std::ptrdiff_t));
    case TLength::asIntMax:
        return extend(va_arg(arguments, std::intmax_t));
    default:
        return extend(va_arg(arguments, int));
    }
}

template<class Unit>
void CPrintfFormatter<Unit>::convertInteger(const CConversion& conversion) {
    const char letter = conversion.letter;
    const bool isSigned = letter == 'd' || letter == 'i';
    unsigned long long value = takeInteger(conversion.length, isSigned);
    const bool isNegative = isSigned && static_cast<long long>(value) < 0;
    if (isNegative)
        value = 0 - value;

    const int radix = letter == 'o' ? 8 : toLower(letter) == 'x' ? 16 : 10;
    CIntegerDigits digits(value, radix);
    if (letter == 'X')
        makeUpper(digits.begin(), digits.end());

    CNumberText number;
    if (value != 0 || conversion.precision != 0)
        number.digits = {digits.begin(), digits.end()};
    number.zeros = std::max(conversion.precision - static_cast<int>(number.digits.size()), 0);
    if (isSigned)
        number.prefix = isNegative ? "-" : conversion.hasPlus ? "+" : conversion.hasBlank ? " " : "";
    else if (conversion.isAlternate && radix == 16 && value != 0)
        number.prefix = letter == 'x' ? "0x" : "0X";
    else if (conversion.isAlternate && radix == 8 && number.zeros == 0 && !number.digits.starts_with('0'))
        number.zeros = 1;
    putNumber(conversion, number, conversion.precision == kNoPrecision);
}

template<class Unit>
void CPrintfFormatter<Unit>::convertFloat(const CConversion& conversion) {
    const double value = conversion.length == TLength::asLongDouble
                             ? static_cast<double>(va_arg(arguments, long double))
                             : va_arg(arguments, double);
    const bool isHex = toLower(conversion.letter) == 'a';
    const bool isUpper = toUpper(conversion.letter) == conversion.letter;
    char prefix[3] = {};
    std::size_t prefixSize = 0;
    if (std::signbit(value))
        prefix[prefixSize++] = '-';
    else if (conversion.hasPlus || conversion.hasBlank)
        prefix[prefixSize++] = conversion.hasPlus ? '+' : ' ';

    CNumberText number;
    if (!std::isfinite(value)) {
        number.prefix = {prefix, prefixSize};
        if (std::isnan(value))
            number.digits = isUpper ? "NAN" : "nan";
        else
            number.digits = isUpper ? "INF" : "inf";
        putNumber(conversion, number, false);
        return;
    }
    if (isHex) {
        prefix[prefixSize++] = '0';
        prefix[prefixSize++] = isUpper ? 'X' : 'x';
    }
    const int precision = conversion.precision < 0 && !isHex ? kDefaultPrecision : conversion.precision;
    const CFloatDigits digits(std::fabs(value), conversion.letter, precision, conversion.isAlternate);
    number.prefix = {prefix, prefixSize};
    number.digits = digits.Mantissa();
    number.trailingZeros = digits.TrailingZeros();
    number.exponent = digits.Exponent();
    putNumber(conversion, number, true);
}

// All digits of a pointer, in upper case.
template<class Unit>
void CPrintfFormatter<Unit>::convertPointer(const CConversion& conversion) {
    CIntegerDigits digits(reinterpret_cast<std::uintptr_t>(va_arg(arguments, void*)), 16);
    makeUpper(digits.begin(), digits.end());
    CNumberText number;
    number.digits = {digits.begin(), digits.end()};
    number.zeros = 2 * kPointerSize - static_cast<int>(number.digits.size());
    number.prefix = conversion.isAlternate ? "0X" : "";
    putNumber(conversion, number, false);
}

template<class Unit>
bool CPrintfFormatter<Unit>::isWide(const CConversion& conversion) const {
    switch (conversion.length) {
    case TLength::asChar:
    case TLength::asShort:
        return false;
    case TLength::asLong:
    case TLength::wide:
        return true;
    default:
        return (sizeof(Unit) > 1) == (toLower(conversion.letter) == conversion.letter);
    }
}

template<class Unit>
void CPrintfFormatter<Unit>::convertUnit(const CConversion& conversion) {
    const int argument = va_arg(arguments, int);
    const auto own = static_cast<Unit>(argument);
    const auto other = static_cast<COtherUnit<Unit>>(argument);
    if (isWide(conversion) == (sizeof(Unit) > 1)) {
        putText(conversion, &own, 1);
    } else if (other == 0) { // a NUL would end the text that it is converted to
        putText(conversion, &other, 1);
    } else {
        const auto text = otherWidth(&other, 1);
        putText(conversion, text.Ptr(), text.GetLength());
    }
}

template<class Unit>
void CPrintfFormatter<Unit>::convertText(const CConversion& conversion) {
    const void* argument = va_arg(arguments, void*);
    const int limit = conversion.precision == kNoPrecision ? INT_MAX : conversion.precision;
    if (argument == nullptr || isWide(conversion) == (sizeof(Unit) > 1)) {
        const Unit* text = argument != nullptr ? static_cast<const Unit*>(argument) : nullText<Unit>();
        putText(conversion, text, TextUnits::LengthUpTo(text, limit));
        return;
    }
    const auto* other = static_cast<const COtherUnit<Unit>*>(argument);
    const auto text = conversion.precision == kNoPrecision
                          ? otherWidth(other, TextUnits::CheckedLength(other))
                          : otherWidthUpTo(other, limit);
    putText(conversion, text.Ptr(), text.GetLength());
}

// Output. ------------------------------------------------------------------------------------------------

template<class Unit>
void CPrintfFormatter<Unit>::putNumber(const CConversion& conversion, const CNumberText& number,
                                       bool mayPadWithZeros) {
    const auto length =
        static_cast<long long>(number.prefix.size() + number.digits.size() + number.exponent.size()) +
        number.zeros + number.trailingZeros;
    const int padding = static_cast<int>(std::max(conversion.width - length, 0LL));
    const bool padsWithZeros = conversion.hasZeros && mayPadWithZeros;
    if (!conversion.isLeft && !padsWithZeros)
        fill(' ', padding);
    put(number.prefix);
    if (!conversion.isLeft && padsWithZeros)
        fill('0', padding);
    fill('0', number.zeros);
    put(number.digits);
    fill('0', number.trailingZeros);
    put(number.exponent);
    if (conversion.isLeft)
        fill(' ', padding);
}

template<class Unit>
template<class TextUnit>
void CPrintfFormatter<Unit>::putText(const CConversion& conversion, const TextUnit* text, int length) {
    const int padding = std::max(conversion.width - length, 0);
    if (!conversion.isLeft)
        fill(conversion.hasZeros ? '0' : ' ', padding);
    put(text, length);
    if (conversion.isLeft)
        fill(' ', padding);
}

template<class Unit>
template<class TextUnit>
void CPrintfFormatter<Unit>::put(const TextUnit* text, int count) {
    if (count == 0) // most parts of a number are empty
        return;
    const int fitting = std::min(count, size - used);
    std::transform(text, text + fitting, buffer + used,
                   [](TextUnit unit) { return static_cast<Unit>(unit); });
    used += fitting;
    isFull = isFull || fitting < count;
}

template<class Unit>
void CPrintfFormatter<Unit>::fill(char unit, int count) {
    if (count == 0)
        return;
    const int fitting = std::min(count, size - used);
    std::fill_n(buffer + used, fitting, static_cast<Unit>(unit));
    used += fitting;
    isFull = isFull || fitting < count;
}

int FormatInto(char* buffer, int size, const char* format, va_list arguments) {
    return CPrintfFormatter<char>(buffer, size, format, arguments).Run();
}

int FormatInto(char16_t* buffer, int size, const char16_t* format, va_list arguments) {
    return CPrintfFormatter<char16_t>(buffer, size, format, arguments).Run();
}

} // namespace Tarn
