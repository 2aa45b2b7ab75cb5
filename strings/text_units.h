// The C runtime's operations on terminated text, under the same names for both widths. C++ runtimes lack them
// for 16-bit text, and where they have them they depend on the locale; these do not.
#pragma once

#include <tarnkit/failures.h>

#include <climits>
#include <cstddef>
#include <cstring>

namespace Tarn::TextUnits {

inline std::size_t Length(const char* text) { return std::strlen(text); }
std::size_t Length(const char16_t* text);

/// The length as an `int`, as strings store it. Raises the memory exception when it does not fit.
template<class Unit>
int CheckedLength(const Unit* text) {
    const std::size_t length = Length(text);
    if (length > INT_MAX)
        ThrowMemoryException();
    return static_cast<int>(length);
}

/// The length of a text, or `limit` when there is no terminator within `limit` units.
inline int LengthUpTo(const char* text, int limit) {
    const void* const end = limit > 0 ? std::memchr(text, 0, static_cast<std::size_t>(limit)) : nullptr;
    return end != nullptr ? static_cast<int>(static_cast<const char*>(end) - text) : limit;
}
int LengthUpTo(const char16_t* text, int limit);

inline int Compare(const char* a, const char* b) { return std::strcmp(a, b); }
int Compare(const char16_t* a, const char16_t* b);
/// The same for texts whose lengths are known. Either may have a NUL before its end, which then ends it.
inline int Compare(const char* a, int, const char* b, int) { return std::strcmp(a, b); }
int Compare(const char16_t* a, int lengthA, const char16_t* b, int lengthB);
inline int Compare(const char* a, const char* b, int count) {
    return std::strncmp(a, b, static_cast<std::size_t>(count));
}
int Compare(const char16_t* a, const char16_t* b, int count);

int CompareNoCase(const char* a, const char* b);
int CompareNoCase(const char16_t* a, const char16_t* b);
int CompareNoCase(const char* a, const char* b, int count);
int CompareNoCase(const char16_t* a, const char16_t* b, int count);

/// The first `unit` of `text`, the terminator included, or null.
inline const char* FindUnit(const char* text, char unit) { return std::strchr(text, unit); }
const char16_t* FindUnit(const char16_t* text, char16_t unit);
/// The last `unit` of `text`, the terminator included, or null.
inline const char* FindLastUnit(const char* text, char unit) { return std::strrchr(text, unit); }
const char16_t* FindLastUnit(const char16_t* text, char16_t unit);

/// The first place of `wanted` in `text`, or null. Takes time in proportion to the lengths of both.
inline const char* FindText(const char* text, const char* wanted) { return std::strstr(text, wanted); }
const char16_t* FindText(const char16_t* text, const char16_t* wanted);

/// The number of leading units that are in `set`.
inline std::size_t Span(const char* text, const char* set) { return std::strspn(text, set); }
std::size_t Span(const char16_t* text, const char16_t* set);
/// The number of leading units that are not in `set`.
inline std::size_t SpanOutside(const char* text, const char* set) { return std::strcspn(text, set); }
std::size_t SpanOutside(const char16_t* text, const char16_t* set);

void ToUpper(char* text, int count);
void ToUpper(char16_t* text, int count);
void ToLower(char* text, int count);
void ToLower(char16_t* text, int count);

bool IsSpace(char unit);
bool IsSpace(char16_t unit);

template<class Unit>
constexpr bool IsDigit(Unit unit) {
    return unit >= '0' && unit <= '9';
}

/// The two units of a character beyond the BMP.
constexpr bool IsHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool IsLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

} // namespace Tarn::TextUnits
