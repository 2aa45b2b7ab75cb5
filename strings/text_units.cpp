#include "strings/text_units.h"

#include "platform/platform.h"
#include "strings/unit_blocks.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
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

template<class Unit>
int order(Unit a, Unit b) {
    return a == b ? 0 : a < b ? -1 : 1;
}

// How many blocks are looked at before one decision: to make it takes longer than to look at a block.
constexpr std::size_t kGroup = 4;

// As below, for a text at an odd address: in a packed record, or a literal for which GCC 12 shares the bytes
// of an 8-bit one.
const char16_t* findEndUnaligned(const char16_t* text, char16_t unit, std::size_t limit) {
    for (const auto* bytes = reinterpret_cast<const char*>(text);; bytes += sizeof(char16_t), limit--) {
        char16_t current = 0;
        if (limit > 0)
            std::memcpy(&current, bytes, sizeof current);
        if (current == unit || current == 0)
            return reinterpret_cast<const char16_t*>(bytes);
    }
}

// The first unit that is `unit` or a terminator, or the one behind `limit` others. Aligned blocks and groups
// are read whole, also what stands in them before and behind the text: they never reach into a page that the
// text does not.
template<bool isLimited>
__attribute__((no_sanitize("address", "thread"))) const char16_t* findEnd(const char16_t* text, char16_t unit,
                                                                          std::size_t limit = SIZE_MAX) {
    if constexpr (!isLimited)
        limit = SIZE_MAX; // known to the compiler, which leaves out the comparisons with it
    const CBlock units = EachUnit(unit);
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    if (address % sizeof(char16_t) != 0) [[unlikely]]
        return findEndUnaligned(text, unit, limit);
    const auto* block = reinterpret_cast<const CTextBlock*>(address - address % sizeof(CBlock));
    const std::size_t skipped = address % sizeof(CBlock) / sizeof(char16_t);
    CBlockMask wanted = ~CBlockMask{0} << skipped * kMaskBits;
    for (std::size_t passed = kBlockUnits - skipped;; passed += kBlockUnits, wanted = ~CBlockMask{0}) {
        if (const CBlockMask found = MaskOf(IsEither(*block, units, CBlock{})) & wanted; found != 0)
            return text + std::min(passed - kBlockUnits + FirstOf(found), limit);
        if (passed >= limit)
            return text + limit;
        block++;
        if (reinterpret_cast<std::uintptr_t>(block) % (kGroup * sizeof(CBlock)) != 0)
            continue;
        for (; limit - passed > kGroup * kBlockUnits; passed += kGroup * kBlockUnits, block += kGroup)
            if (Any(IsEither(block[0], units, CBlock{}) | IsEither(block[1], units, CBlock{}) |
                    IsEither(block[2], units, CBlock{}) | IsEither(block[3], units, CBlock{})))
                break;
    }
}

int compareOneByOne(const char16_t* a, const char16_t* b, int count) {
    for (int i = 0; i < count; i++)
        if (a[i] != b[i] || a[i] == 0)
            return order(a[i], b[i]);
    return 0;
}

// Compares `count` units, all of which can be read.
int compareReadable(const char16_t* a, const char16_t* b, int count) {
    constexpr auto kStep = static_cast<int>(kBlockUnits);
    const auto where = [&](int skipped) {
        return AreDifferentOrZero(LoadBlock(a + skipped), LoadBlock(b + skipped));
    };
    for (constexpr int kSteps = kGroup * kStep; count >= kSteps; count -= kSteps, a += kSteps, b += kSteps)
        if (Any(where(0) | where(kStep) | where(2 * kStep) | where(3 * kStep)))
            break;
    for (; count >= kStep; count -= kStep, a += kStep, b += kStep)
        if (const CBlockMask end = MaskOf(where(0)); end != 0)
            return order(a[FirstOf(end)], b[FirstOf(end)]);
    return compareOneByOne(a, b, count);
}

// Compares at most `count` units of texts whose lengths are not known. Most texts differ soon, so how far
// both can be read is found out for a part at a time.
int compareUpTo(const char16_t* a, const char16_t* b, int count) {
    constexpr int kFirst = 8;
    constexpr int kLargestPart = 4096;
    const int first = std::min(count, kFirst);
    for (int i = 0; i < first; i++)
        if (a[i] != b[i] || a[i] == 0)
            return order(a[i], b[i]);
    for (int done = first, part = kFirst; done < count; done += part) {
        part = std::min({4 * part, kLargestPart, count - done});
        const int common = std::min(LengthUpTo(a + done, part), LengthUpTo(b + done, part));
        const int result = compareReadable(a + done, b + done, std::min(common + 1, part));
        if (result != 0 || common < part)
            return result;
    }
    return 0;
}

int compareLowered(const char* a, const char* b, int count) {
    for (int i = 0; i < count; i++)
        if (const auto lowA = lower(a[i]); lowA != lower(b[i]) || lowA == 0)
            return order(lowA, lower(b[i]));
    return 0;
}

// The units at the start of a text, in lower case. The system is asked for many at a time.
class CLoweredUnits {
public:
    CLoweredUnits(const char16_t* text, int limit) {
        while (count < std::min(limit, kRoom) && text[count] != 0) {
            units[count] = text[count];
            count++;
        }
        Platform::CharLowerBuffW(units, static_cast<DWORD>(count));
        units[count] = 0;
    }

    const char16_t* Units() const { return units; }
    int Count() const { return count; }

private:
    static constexpr int kRoom = 64;
    int count = 0;
    char16_t units[kRoom + 1];
};

int compareLowered(const char16_t* a, const char16_t* b, int count) {
    while (count > 0) {
        const bool isPlain = *a == *b || (isAscii(*a) && isAscii(*b));
        if (isPlain) {
            if (const int result = order(asciiLower(*a), asciiLower(*b)); result != 0 || *a == 0)
                return result;
            a++, b++, count--;
            continue;
        }
        const CLoweredUnits lowA(a, count);
        const CLoweredUnits lowB(b, count);
        const int both = std::min(lowA.Count(), lowB.Count());
        if (const int result = compareReadable(lowA.Units(), lowB.Units(), both + 1);
            result != 0 || both == 0)
            return result;
        a += both, b += both, count -= both;
    }
    return 0;
}

// The number of leading units that are all in `set`, or all outside it.
std::size_t spanOf(const char16_t* text, std::u16string_view set, bool isInside) {
    std::size_t count = 0;
    while (text[count] != 0 && (set.find(text[count]) != set.npos) == isInside)
        count++;
    return count;
}

// Finds a text in time proportional to the lengths of both, whatever they are, and without memory: the
// two-way algorithm of Crochemore and Perrin. The wanted text is divided at a place from which comparing to
// the right, and only then to the left, never needs a unit of the searched text again that did not match.
class CTwoWaySearch {
public:
    explicit CTwoWaySearch(std::u16string_view text) : wanted(text) {
        const CSuffix ascending = maximalSuffix([](char16_t a, char16_t b) { return a < b; });
        const CSuffix descending = maximalSuffix([](char16_t a, char16_t b) { return a > b; });
        const CSuffix& later = ascending.start > descending.start ? ascending : descending;
        middle = later.start;
        period = later.period;
        isPeriodic = wanted.compare(0, middle, wanted, period, middle) == 0;
        if (!isPeriodic)
            period = std::max(middle, wanted.size() - middle) + 1;
    }

    std::size_t Find(std::u16string_view text) const {
        std::size_t known = 0; // that many units at the start are known to match
        for (std::size_t place = 0; place + wanted.size() <= text.size();) {
            std::size_t right = std::max(middle, known);
            while (right < wanted.size() && wanted[right] == text[place + right])
                right++;
            if (right < wanted.size()) {
                place += right - middle + 1;
                known = 0;
                continue;
            }
            std::size_t left = middle;
            while (left > known && wanted[left - 1] == text[place + left - 1])
                left--;
            if (left <= known)
                return place;
            place += period;
            known = isPeriodic ? wanted.size() - period : 0;
        }
        return text.npos;
    }

private:
    struct CSuffix {
        std::size_t start;
        std::size_t period;
    };

    std::u16string_view wanted;
    std::size_t middle;
    std::size_t period;
    bool isPeriodic;

    // The suffix that comes last in an order, and its period.
    template<class IsBefore>
    CSuffix maximalSuffix(IsBefore isBefore) const {
        CSuffix best{0, 1};
        std::size_t offset = 0;
        for (std::size_t candidate = 1; candidate + offset < wanted.size();) {
            const char16_t unit = wanted[candidate + offset];
            const char16_t bestUnit = wanted[best.start + offset];
            if (isBefore(unit, bestUnit)) {
                candidate += offset + 1;
                offset = 0;
                best.period = candidate - best.start;
            } else if (unit != bestUnit) {
                best = {candidate++, 1};
                offset = 0;
            } else if (++offset == best.period) {
                candidate += best.period;
                offset = 0;
            }
        }
        return best;
    }
};

} // namespace

std::size_t Length(const char16_t* text) { return static_cast<std::size_t>(findEnd<false>(text, 0) - text); }

int LengthUpTo(const char16_t* text, int limit) {
    return limit > 0 ? static_cast<int>(findEnd<true>(text, 0, static_cast<std::size_t>(limit)) - text)
                     : limit;
}

int Compare(const char16_t* a, const char16_t* b) { return compareUpTo(a, b, INT_MAX); }
int Compare(const char16_t* a, int lengthA, const char16_t* b, int lengthB) {
    return compareReadable(a, b, std::min(lengthA, lengthB) + 1);
}
int Compare(const char16_t* a, const char16_t* b, int count) { return compareUpTo(a, b, count); }
int CompareNoCase(const char* a, const char* b) { return compareLowered(a, b, INT_MAX); }
int CompareNoCase(const char16_t* a, const char16_t* b) { return compareLowered(a, b, INT_MAX); }
int CompareNoCase(const char* a, const char* b, int count) { return compareLowered(a, b, count); }
int CompareNoCase(const char16_t* a, const char16_t* b, int count) { return compareLowered(a, b, count); }

const char16_t* FindUnit(const char16_t* text, char16_t unit) {
    const char16_t* const place = findEnd<false>(text, unit);
    return *place == unit ? place : nullptr;
}

const char16_t* FindLastUnit(const char16_t* text, char16_t unit) {
    const CBlock units = EachUnit(unit);
    const char16_t* place = text + Length(text) + 1;
    for (; place - text >= static_cast<std::ptrdiff_t>(kBlockUnits); place -= kBlockUnits)
        if (const CBlockMask found = MaskOf(IsEither(LoadBlock(place - kBlockUnits), units, units));
            found != 0)
            return place - kBlockUnits + LastOf(found);
    while (place != text)
        if (*--place == unit)
            return place;
    return nullptr;
}

const char16_t* FindText(const char16_t* text, const char16_t* wanted) {
    if (*wanted == 0)
        return text;
    // Most places that begin like the wanted text differ soon. Where they do not, comparing at each would
    // take time in proportion to the product of the lengths.
    constexpr std::ptrdiff_t kAllowance = 256;
    std::ptrdiff_t compared = 0;
    const char16_t* place = text;
    for (; (place = FindUnit(place, *wanted)) != nullptr; place++) {
        std::ptrdiff_t equal = 1;
        while (wanted[equal] != 0 && wanted[equal] == place[equal])
            equal++;
        if (wanted[equal] == 0)
            return place;
        compared += equal;
        if (compared > kAllowance + 2 * (place - text)) {
            const std::u16string_view rest(place, Length(place));
            const std::size_t found = CTwoWaySearch({wanted, Length(wanted)}).Find(rest);
            return found != rest.npos ? place + found : nullptr;
        }
    }
    return nullptr;
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
