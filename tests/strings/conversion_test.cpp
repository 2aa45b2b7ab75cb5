#include "tests/strings/text_literals.h"

namespace Tarn {
namespace {

constexpr unsigned kAnsi = 0;
constexpr unsigned kOem = 1;
constexpr unsigned kShiftJis = 932;
constexpr unsigned kCyrillic = 1251;
constexpr unsigned kUtf8 = 65001;
constexpr unsigned kUnknown = 4711;

TEST(Conversion, RoundTripsInEveryKindOfCodePage) {
    const std::tuple<const char*, const char16_t*, unsigned> kCases[] = {
        {"plain", u"plain", kAnsi},
        {"plain", u"plain", kOem},
        {"\xCF\xF0\xE8", u"\u041F\u0440\u0438", kCyrillic},
        {"\x93\xFA\x96{\xB1", u"\u65E5\u672C\uFF71", kShiftJis},
        {"\xD0\x9F\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u041F\u20AC\U0001F600", kUtf8}};
    for (const auto& [bytes, text, codePage] : kCases) {
        EXPECT_EQ(CUnicodeString(bytes, codePage), text) << codePage;
        EXPECT_EQ(CString(text, codePage), bytes) << codePage;
        EXPECT_EQ(CUnicodeString(text).CreateString(codePage).CreateUnicodeString(codePage), text);
    }
    EXPECT_EQ(CUnicodeString("\xCF\xF0\xE8", 2, kCyrillic), u"\u041F\u0440");
    EXPECT_EQ(CString(u"\u041F\u0440", 1, kCyrillic), "\xCF");
    EXPECT_EQ(CUnicodeString("ab\0cd", 5, kUtf8).GetLength(), 2) << "an embedded NUL ends the result";
    EXPECT_EQ(CString(u"ab\0cd", 5, kCyrillic).GetLength(), 2);
    CUnicodeString buffer(u"a\u041Fcd");
    buffer.GetBuffer()[2] = u'\0';
    for (const unsigned codePage : {kUtf8, kCyrillic, kShiftJis}) {
        const CString bytes = buffer.CreateString(codePage);
        EXPECT_EQ(bytes.GetLength(), static_cast<int>(std::strlen(bytes.Ptr()))) << codePage;
        EXPECT_EQ(bytes.CreateUnicodeString(codePage), u"a\u041F") << codePage;
    }
}

TEST(Conversion, NullEmptyAndInvalidInputGivesTheEmptyString) {
    const char* noBytes = nullptr;
    const char16_t* noText = nullptr;
    for (const CUnicodeString& text :
         {CUnicodeString(noBytes, kAnsi), CUnicodeString("x", 0, kAnsi), CUnicodeString("x", kUnknown),
          CUnicodeString("\x93", kShiftJis), CUnicodeString("", kUtf8)})
        EXPECT_EQ(text.Ptr(), CUnicodeString().Ptr());
    for (const CString& text : {CString(noText, kAnsi), CString(noText, 3, kAnsi), CString(u"x", 0, kUtf8),
                                CString(u"x", kUnknown), CString(u"", kAnsi)})
        EXPECT_EQ(text.Ptr(), CString().Ptr());
}

TEST(Conversion, UnknownCharactersBecomeTheDefaultAndInvalidUtf8TheReplacement) {
    EXPECT_EQ(CString(u"a\u4E00b", kCyrillic), "a?b");
    EXPECT_EQ(CString(u"a\u0416b", kShiftJis), "a\x84\x47"
                                               "b");
    EXPECT_EQ(CString(u"a\u00F7\u0E01", kShiftJis), "a\x81\x80?") << "the retry allows the default";
    EXPECT_EQ(CUnicodeString("a\xFF", kUtf8), u"a\uFFFD");
}

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
