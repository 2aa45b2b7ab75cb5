#include <tarnkit/rational.h>
#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include "strings/number_parser.h"
#include "strings/text_units.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <type_traits>

namespace Tarn {

namespace {

// What the 8-bit parsers read of a text, which must outlive it.
class CNumberText {
public:
    template<class Unit>
    CNumberText(const Unit* begin, const Unit* end) : start(buffer) {
        constexpr bool is8Bit = sizeof(Unit) == 1;
        if constexpr (is8Bit)
            if (*end == 0) {
                start = begin;
                return;
            }
        // A part of an 8-bit text, with no NUL behind it, is copied like 16-bit text: without the kinds of
        // white space that only the latter has. ASCII is the same in every code page.
        while (begin != end && TextUnits::IsSpace(*begin))
            begin++;
        while (begin != end && TextUnits::IsSpace(end[-1]))
            end--;
        const auto isAscii = [](Unit unit) { return (unit & ~Unit{0x7F}) == 0; };
        const int length = static_cast<int>(end - begin);
        if (length < kRoom && std::all_of(begin, end, isAscii)) {
            *std::transform(begin, end, buffer, [](Unit unit) { return static_cast<char>(unit); }) = 0;
            return;
        }
        if constexpr (is8Bit)
            converted.emplace(begin, length);
        else
            converted = CUnicodeString(begin, length).CreateString();
        start = converted->Ptr();
    }
    template<class Unit>
    explicit CNumberText(const CStringOf<Unit>& text)
        : CNumberText(text.Ptr(), text.Ptr() + text.GetLength()) {}

    CNumberText(const CNumberText&) = delete;
    CNumberText& operator=(const CNumberText&) = delete;

    const char* Ptr() const { return start; }

private:
    static constexpr int kRoom = 64;

    std::optional<CString> converted;
    char buffer[kRoom];
    const char* start;
};

// Stores what was parsed; true when nothing but white space is left of the text.
template<class Number, class Target>
bool store(const CNumberText& text, const CParsedNumber<Number>& parsed, Target& result) {
    result = parsed.value;
    const char* rest = parsed.end;
    while (TextUnits::IsSpace(*rest))
        rest++;
    return parsed.isInRange && parsed.end != text.Ptr() && *rest == 0;
}

// Reads an integer within the limits of a type, which may be one of the two `long`s.
template<class Target>
bool readInteger(const CNumberText& text, Target& result, int radix) {
    using Signed = std::conditional_t<sizeof(Target) == sizeof(int), int, Int64>;
    using Number = std::conditional_t<std::is_signed_v<Target>, Signed, std::make_unsigned_t<Signed>>;
    return store(text, ParseInteger<Number>(text.Ptr(), radix), result);
}

} // namespace

template<class Unit>
bool CStringOf<Unit>::Value(bool& result) const {
    static constexpr Unit kTrue[][5] = {{'t', 'r', 'u', 'e'}, {'o', 'n'}, {'y', 'e', 's'}, {'1'}};
    static constexpr Unit kFalse[][6] = {{'f', 'a', 'l', 's', 'e'}, {'o', 'f', 'f'}, {'n', 'o'}, {'0'}};
    String trimmed(self());
    trimmed.Trim();
    const auto isIt = [&trimmed](const Unit* word) { return trimmed.CompareNoCase(word) == 0; };
    const bool isTrue = std::any_of(std::begin(kTrue), std::end(kTrue), isIt);
    if (!isTrue && std::none_of(std::begin(kFalse), std::end(kFalse), isIt))
        return false;
    result = isTrue;
    return true;
}

template<class Unit>
bool CStringOf<Unit>::Value(int& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(long& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(Int64& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(unsigned int& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(unsigned long& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(UInt64& result, int radix) const {
    return readInteger(CNumberText(*this), result, radix);
}

template<class Unit>
bool CStringOf<Unit>::Value(double& result) const {
    const CNumberText text(*this);
    return store(text, ParseDouble(text.Ptr()), result);
}

template<class Unit>
bool CStringOf<Unit>::Value(rational& result) const {
    const int slash = Find(static_cast<Unit>('/'));
    const Unit* const end = Ptr() + GetLength();
    const Unit* const numeratorEnd = slash < 0 ? end : Ptr() + slash;
    int numerator = 0;
    int denominator = 1;
    if (!readInteger(CNumberText(Ptr(), numeratorEnd), numerator, 10) ||
        (slash >= 0 && !readInteger(CNumberText(numeratorEnd + 1, end), denominator, 10)))
        return false;
    result = rational(numerator, denominator);
    return true;
}

template bool CStringOf<char>::Value(bool&) const;
template bool CStringOf<char>::Value(int&, int) const;
template bool CStringOf<char>::Value(long&, int) const;
template bool CStringOf<char>::Value(Int64&, int) const;
template bool CStringOf<char>::Value(unsigned int&, int) const;
template bool CStringOf<char>::Value(unsigned long&, int) const;
template bool CStringOf<char>::Value(UInt64&, int) const;
template bool CStringOf<char>::Value(double&) const;
template bool CStringOf<char>::Value(rational&) const;
template bool CStringOf<char16_t>::Value(bool&) const;
template bool CStringOf<char16_t>::Value(int&, int) const;
template bool CStringOf<char16_t>::Value(long&, int) const;
template bool CStringOf<char16_t>::Value(Int64&, int) const;
template bool CStringOf<char16_t>::Value(unsigned int&, int) const;
template bool CStringOf<char16_t>::Value(unsigned long&, int) const;
template bool CStringOf<char16_t>::Value(UInt64&, int) const;
template bool CStringOf<char16_t>::Value(double&) const;
template bool CStringOf<char16_t>::Value(rational&) const;

} // namespace Tarn
