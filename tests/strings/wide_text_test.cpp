#include <tarnkit/unicode_string.h>

#include <gtest/gtest.h>

#include <string_view>

namespace Tarn {
namespace {

// A template, so that only the branch that is taken needs to compile.
template<class Unit>
void expectTextOf(const Unit* abc) {
    if constexpr (kIsWideTextUtf16) {
        CUnicodeString text = abc;
        text += abc;
        text += abc[2];
        text = text + abc + abc[0] + CUnicodeString(abc, 1) + CUnicodeString(abc[1], 2);
        EXPECT_TRUE(text == u"\u0416bc\u0416bcc\u0416bc\u0416\u0416bb");
        text = abc;
        EXPECT_TRUE(text == abc && abc == text && text <= abc && !(text < abc) && text != abc + 1);
        EXPECT_EQ(text.Find(abc[1]), 1);
        EXPECT_EQ(text.Compare(FromWide(abc)), 0);
        EXPECT_EQ(ToWide<Unit>(text.Ptr()), std::basic_string_view(abc));
        text = abc[1];
        EXPECT_TRUE(text == u"b");
    } else {
        EXPECT_FALSE((std::is_constructible_v<CUnicodeString, const Unit*>));
    }
}

TEST(WideText, IsAcceptedWhereItsUnitsHave16Bits) { expectTextOf(L"\u0416bc"); }

} // namespace
} // namespace Tarn
