#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include "strings/text_units.h"

namespace Tarn {

namespace {

constexpr unsigned kDelete = 0x7F;

// Appends a unit that is no visible character, or one with a meaning in literals, as an escape; false for
// every other unit.
template<class String>
bool appendEscape(String& literal, unsigned unit) {
    using Unit = typename String::value_type;
    constexpr char kNamed[] = "\"\"\\\\\nn\rr\tt"; // pairs: the unit, its letter
    for (const char* pair = kNamed; *pair != 0; pair += 2)
        if (static_cast<unsigned>(*pair) == unit) {
            literal += Unit('\\');
            literal += static_cast<Unit>(pair[1]);
            return true;
        }
    if (unit >= ' ' && unit < kDelete)
        return false;
    constexpr char kDigits[] = "0123456789ABCDEF";
    literal += Unit('\\');
    literal += Unit('x');
    for (int shift = unit > 0xFF ? 12 : 4; shift >= 0; shift -= 4)
        literal += static_cast<Unit>(kDigits[unit >> shift & 0xF]);
    return true;
}

bool isUtf8(const CString& text) {
    return text.CreateUnicodeString(kUtf8CodePage).CreateString(kUtf8CodePage) == text;
}

} // namespace

CString LiteralOf(const CString& text) {
    CString literal("\"");
    const bool showsBytes = isUtf8(text);
    for (const char unit : text)
        if ((showsBytes && static_cast<unsigned char>(unit) > kDelete) ||
            !appendEscape(literal, static_cast<unsigned char>(unit)))
            literal += unit;
    return literal += '"';
}

CString LiteralOf(const CUnicodeString& text) {
    CUnicodeString literal(u"u\"");
    for (const char16_t* unit = text.begin(); unit != text.end(); unit++) {
        const bool isPair = TextUnits::IsHighSurrogate(unit[0]) && TextUnits::IsLowSurrogate(unit[1]);
        const bool isHalf = TextUnits::IsHighSurrogate(*unit) || TextUnits::IsLowSurrogate(*unit);
        if (isPair)
            literal += *unit++;
        if (isPair || (*unit > kDelete && !isHalf) || !appendEscape(literal, *unit))
            literal += *unit;
    }
    literal += u'"';
    return literal.CreateString(kUtf8CodePage);
}

} // namespace Tarn
