#include "strings/text_units.h"

#include "platform/platform.h"

#include <climits>
#include <string_view>

namespace Tarn::TextUnits {

namespace {

// The 256-bit set of the 8-bit white space.
struct CSpaceSet {
    unsigned words[8] = {};

    constexpr CSpaceSet() {
        for (const char unit : {' ', '\t', '\r', '\n', '\f', '\v'})
            words[unit / 32] |= 1u << (unit % 32);
    }
    constexpr bool Has(unsigned char unit) const { return (words[unit / 32] >> (unit % 32) & 1) != 0; }
};
constexpr CSpaceSet kSpaces;

constexpr int kCaseDistance = 'a' - 'A';

template<class Unit>
constexpr Unit asciiLower(Unit unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<Unit>(unit + kCaseDistance) : unit;
}

template<class Unit>
constexpr Unit asciiUpper(Unit unit) {
    return unit >= 'a' && unit <= 'z' ? static_cast<Unit>(unit - kCaseDistance) : unit;
}

constexpr bool isAscii(char16_t unit) { return unit < 0x80; }

unsigned char lower(char unit) { return static_cast<unsigned char>(asciiLower(unit)); }

char16_t lower(char16_t unit) {
    if (isAscii(unit))
        return asciiLower(unit);
    Platform::CharLowerBuffW(&unit, 1);
    return unit;
}

char16_t same(char16_t unit) { return unit; }

// Compares at most `count` units by what `key` makes of them.
template<class Unit, class Key>
int compareBy(const Unit* a, const Unit* b, int count, Key key) {
    for (int i = 0; i < count; i++) {
        const auto unitA = key(a[i]);
        const auto unitB = key(b[i]);
        if (unitA != unitB)
            return unitA < unitB ? -1 : 1;
        if (unitA == 0)
            break;
    }
    return 0;
}

template<class Unit>
int compareLowered(const Unit* a, const Unit* b, int count) {
    return compareBy(a, b, count, [](Unit unit) { return lower(unit); });
}

// The number of leading units that are all in `set`, or all outside it.
std::size_t spanOf(const char16_t* text, std::u16string_view set, bool isInside) {
    std::size_t count = 0;
    while (text[count] != 0 && (set.find(text[count]) != set.npos) == isInside)
        count++;
    return count;
}

bool startsWith(const char16_t* text, const char16_t* prefix) {
    while (*prefix != 0 && *text == *prefix)
        text++, prefix++;
    return *prefix == 0;
}

} // namespace

std::size_t Length(const char16_t* text) { return std::char_traits<char16_t>::length(text); }

int Compare(const char16_t* a, const char16_t* b) { return compareBy(a, b, INT_MAX, same); }
int Compare(const char16_t* a, const char16_t* b, int count) { return compareBy(a, b, count, same); }
int CompareNoCase(const char* a, const char* b) { return compareLowered(a, b, INT_MAX); }
int CompareNoCase(const char16_t* a, const char16_t* b) { return compareLowered(a, b, INT_MAX); }
int CompareNoCase(const char* a, const char* b, int count) { return compareLowered(a, b, count); }
int CompareNoCase(const char16_t* a, const char16_t* b, int count) { return compareLowered(a, b, count); }

const char16_t* FindUnit(const char16_t* text, char16_t unit) {
    while (*text != unit)
        if (*text++ == 0)
            return nullptr;
    return text;
}

const char16_t* FindLastUnit(const char16_t* text, char16_t unit) {
    for (const char16_t* place = text + Length(text) + 1; place != text;)
        if (*--place == unit)
            return place;
    return nullptr;
}

const char16_t* FindText(const char16_t* text, const char16_t* wanted) {
    if (*wanted == 0)
        return text;
    while ((text = FindUnit(text, *wanted)) != nullptr && !startsWith(text, wanted))
        text++;
    return text;
}

std::size_t Span(const char16_t* text, const char16_t* set) { return spanOf(text, set, true); }
std::size_t SpanOutside(const char16_t* text, const char16_t* set) { return spanOf(text, set, false); }

void ToUpper(char* text, int count) {
    for (int i = 0; i < count; i++)
        text[i] = asciiUpper(text[i]);
}

void ToLower(char* text, int count) {
    for (int i = 0; i < count; i++)
        text[i] = asciiLower(text[i]);
}

void ToUpper(char16_t* text, int count) {
    for (; count > 0 && isAscii(*text); text++, count--)
        *text = asciiUpper(*text);
    if (count > 0)
        Platform::CharUpperBuffW(text, static_cast<DWORD>(count));
}

void ToLower(char16_t* text, int count) {
    for (; count > 0 && isAscii(*text); text++, count--)
        *text = asciiLower(*text);
    if (count > 0)
        Platform::CharLowerBuffW(text, static_cast<DWORD>(count));
}

bool IsSpace(char unit) { return kSpaces.Has(static_cast<unsigned char>(unit)); }

// The Unicode property White_Space within the BMP.
bool IsSpace(char16_t unit) {
    if (unit <= 0x20)
        return unit == 0x20 || (unit >= 0x09 && unit <= 0x0D);
    if (unit < 0x2000)
        return unit == 0x85 || unit == 0xA0 || unit == 0x1680;
    return unit <= 0x200A || unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F ||
           unit == 0x3000;
}

} // namespace Tarn::TextUnits
