// Strings and the text of the standard library.
#include "tests/strings/text_literals.h"

#include <tarnkit/map.h>
#include <tarnkit/std_format.h>

#include <iomanip>
#include <map>
#include <ranges>
#include <sstream>
#include <unordered_map>

#ifdef TARNKIT_TEST_FMT
#include <tarnkit/fmt.h>
#endif

namespace Tarn {
namespace {

template<class String>
class StandardText : public StringTest<String> {};
TYPED_TEST_SUITE(StandardText, BothWidths);

template<class String>
concept HasSize = requires(const String text) {
    std::size(text) + std::empty(text);
};

template<class String>
constexpr bool IsStandardText() {
    using Unit = UnitOf<String>;
    using View = std::basic_string_view<Unit>;
    return std::ranges::contiguous_range<String> && std::ranges::sized_range<const String> &&
           HasSize<String> && std::is_convertible_v<String, View> && std::is_convertible_v<View, String> &&
           std::is_convertible_v<std::basic_string<Unit>, String> &&
           std::is_constructible_v<std::basic_string<Unit>, String> &&
           !std::is_convertible_v<std::basic_string_view<char32_t>, String> &&
           std::is_convertible_v<std::string_view, String> == (sizeof(Unit) == 1);
}
static_assert(IsStandardText<CString>() && IsStandardText<CUnicodeString>());
static_assert(std::is_convertible_v<std::wstring_view, CUnicodeString> == kIsWideTextUtf16);

// Texts of few different units, some of them NUL, some negative as a `char`; as views and as strings.
TYPED_TEST(StandardText, IsTakenUpToItsFirstNulWhereverAStringIs) {
    using Unit = UnitOf<TypeParam>;
    using View = std::basic_string_view<Unit>;
    std::mt19937 random(12);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    const auto makeText = [&] {
        std::basic_string<Unit> text(below(below(4) == 0 ? 40 : 4), 0);
        for (Unit& unit : text)
            unit = static_cast<Unit>(below(12) == 0 ? 0 : below(3) == 0 ? 0xF0 : 'a' + below(2));
        return text;
    };
    std::unordered_map<TypeParam, int, std::hash<TypeParam>, std::equal_to<>> hashed;
    CMap<TypeParam, int> map;
    CHashTable<TypeParam> table;
    std::map<std::basic_string<Unit>, int> expected;
    for (int step = 0; step < 20000; step++) {
        const auto a = makeText(), b = makeText();
        const View left(a.c_str()), right(b.c_str()); // up to the NUL
        const TypeParam text(a), other = View(b);
        ASSERT_EQ(text.View(), left);
        ASSERT_TRUE(std::ranges::equal(text, left));
        ASSERT_EQ(text == b, left == right);
        ASSERT_EQ(View(b) == text, text == other);
        ASSERT_EQ(text <=> View(b), text <=> other);
        ASSERT_EQ(b < text, other < text);
        ASSERT_EQ((text + b).View(), (View(a) + other).View());
        TypeParam changed = text;
        const TypeParam copy = changed; // whose body is shared
        const std::size_t from = below(left.size() + 1), units = below(left.size() - from + 1);
        changed = changed.View().substr(from, units);
        ASSERT_EQ(changed.View(), left.substr(from, units));
        changed += b;
        changed += changed.View();
        changed = changed.View().substr(units / 2); // of its own body now
        const std::basic_string<Unit> sum = std::basic_string<Unit>(left.substr(from, units)).append(right);
        ASSERT_EQ(changed.View(), (sum + sum).substr(units / 2));
        ASSERT_EQ(copy, text);

        ASSERT_EQ(HashOfKey(View(a)), HashOfKey(text));
        ASSERT_EQ(hashed.contains(View(a)), expected.contains(a.c_str()));
        ASSERT_EQ(map.Has(View(a)), map.Has(text));
        ASSERT_EQ(table.FindByKey(b) != nullptr, hashed.contains(b.c_str()));
        expected[a.c_str()] = hashed[text] = map[View(a)] = step;
        table.FindOrInsert(text);
        ASSERT_EQ(*map.Find(a.c_str()), hashed.find(View(a))->second);
        if (step % 3 == 0) {
            ASSERT_EQ(map.Delete(b), expected.erase(b.c_str()) > 0);
            ASSERT_EQ(table.DeleteByKey(View(b)), hashed.erase(other) > 0);
        }
    }
    EXPECT_EQ(map.size(), expected.size());
    TypeParam empty = View();
    EXPECT_TRUE(this->IsSharedEmpty(empty));
    empty = View();
    empty += View();
    EXPECT_TRUE(empty == View() && View() + empty == empty);
}

TEST(UnicodeStrings, AreWrittenToNarrowStreamsInUtf8) {
    std::ostringstream stream;
    Tarn::operator<< <>(stream << std::setw(4) << std::left, CUnicodeString(u"\u00FC")) << '|';
    Tarn::operator<< <>(stream, CUnicodeString(u"\U0001F600"));
    EXPECT_EQ(stream.str(), "\u00FC  |\U0001F600") << "the width counts bytes";
    EXPECT_EQ(CUnicodeString(std::string("\xC3\xBC\0x", 4), kUtf8CodePage), u"\u00FC");
}

TEST(StringLiterals, ShowWhatIsInAStringWhenATestFails) {
    EXPECT_EQ(testing::PrintToString(CString("a\"\\\n\x01\xC3\xBC")), "\"a\\\"\\\\\\n\\x01\u00FC\"");
    EXPECT_EQ(testing::PrintToString(CString("\xFC\x7F")), "\"\\xFC\\x7F\"");
    EXPECT_EQ(testing::PrintToString(CUnicodeString(u"\u00FC\t\xD800\U0001F600")),
              "u\"\u00FC\\t\\xD800\U0001F600\"");
}

#ifdef TARNKIT_TEST_FMT
TEST(StringsInFmt, AreFormattedAsText) {
    EXPECT_EQ(fmt::format("{:>3}{:<3}{}", CUnicodeString(u"\u00FC"), CString("b"), 5), "  \u00FCb  5");
}
#endif
#ifdef __cpp_lib_format
TEST(StringsInStandardFormats, AreFormattedAsText) {
    EXPECT_EQ(std::format("{:>3}{:<3}{}", CUnicodeString(u"\u00FC"), CString("b"), 5), "  \u00FCb  5");
}
#endif

} // namespace
} // namespace Tarn
