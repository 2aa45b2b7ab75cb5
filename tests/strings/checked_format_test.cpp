#include "tests/strings/text_literals.h"

#include <tarnkit/checked_format.h>

namespace Tarn {
namespace {

using enum TFormatFault;
enum class TColor : short { red = 7 };

template<class... Arguments>
constexpr TFormatFault faultOf(const auto* format) {
    return FaultOfFormat<Arguments...>(format);
}

static_assert(faultOf("no conversion, 100%%") == none && faultOf(u"") == none);
static_assert(faultOf("%") == unknownConversion && faultOf<int>("%y") == unknownConversion &&
              faultOf<int*>(u"%n") == unknownConversion && faultOf<int>(u"%\u0164") == unknownConversion &&
              faultOf<int>("%99999999999d") == unknownConversion);
static_assert(faultOf("%d") == missingArgument && faultOf<int>("%*d") == missingArgument &&
              faultOf<int, int>("%.*f") == wrongArgument && faultOf<int>("%%") == unusedArgument &&
              faultOf<int, int>(u"%d") == unusedArgument);

// Which arguments a conversion takes, of one of each kind.
template<class... Arguments>
constexpr unsigned takenBy(const auto* format) {
    unsigned taken = 0, bit = 1;
    ((taken |= faultOf<Arguments>(format) == none ? bit : 0, bit *= 2), ...);
    return taken;
}
constexpr unsigned takes(const auto* format) {
    return takenBy<short, bool, TColor, char, char16_t, char32_t, long long, float, long double, const char*,
                   const char16_t*, CString, std::u16string, std::nullptr_t, int*>(format);
}
constexpr unsigned kInts = 0x3F, kInt64 = 0x40, kReal = 0x80, kLongReal = 0x100, kPointers = 0x6600;
constexpr unsigned kChars = 0x0D, kUnits = 0x15; // an `int` or an enumeration, and the character
constexpr unsigned kTexts = 0x2A00, kWideTexts = 0x3400;
static_assert(takes("%d") == kInts && takes(u"%+08.3hX") == kInts && takes("%I32u") == kInts);
static_assert(takes("%lld") == kInt64 && takes("%I64x") == kInt64 && takes("%ji") == kInt64);
static_assert(takes("%zu") == (kPointerSize == 8 ? kInt64 : kInts) && takes("%td") == takes("%Io"));
static_assert(takes("%ld") == (sizeof(long) == 8 ? kInt64 : kInts));
static_assert(takes("%g") == kReal && takes(u"%-8.2lf") == kReal && takes("%LA") == kLongReal);
static_assert(takes("%c") == kChars && takes(u"%C") == kChars && takes("%hc") == kChars);
static_assert(takes(u"%c") == kUnits && takes("%lc") == kUnits && takes("%C") == kUnits);
static_assert(takes("%s") == kTexts && takes(u"%S") == kTexts && takes(u"%hs") == kTexts);
static_assert(takes(u"%s") == kWideTexts && takes("%ls") == kWideTexts && takes("%wS") == kWideTexts);
static_assert(takes("%p") == kPointers);

TEST(CheckedFormats, GiveWhatTheUncheckedOnesGive) {
    const CUnicodeString wide(u"wide");
    const CString narrow("narrow");
    EXPECT_EQ(CheckedFormat(u"%-6s|%3d|%.2f|%c|%lld|%hs|%p", wide, 30, 1.5f, u'c', 5LL, narrow, nullptr),
              Format(u"%-6s|%3d|%.2f|%c|%lld|%hs|%p", wide.Ptr(), 30, 1.5, u'c', 5LL, narrow.Ptr(), nullptr));
    EXPECT_EQ(CheckedFormat("%s%s%s%S", "a", std::string("b"), std::string_view("cd", 1), wide), "abcwide");
    EXPECT_EQ(CheckedFormat("%d %hhu %*d %i", TColor::red, 300, 4, 'A', true), "7 44   65 1");
    EXPECT_EQ(CheckedFormat(u"%.2s%5s", std::u16string_view(u"x\0y", 3), u"\u00FC"), u"x    \u00FC");
}

} // namespace
} // namespace Tarn
