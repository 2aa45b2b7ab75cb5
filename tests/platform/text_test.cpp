#include "tests/platform/codes.h"

namespace {

namespace Platform = Tarn::Platform;

constexpr DWORD kStrict = MB_PRECOMPOSED | MB_ERR_INVALID_CHARS;

/// The result of `call` in a buffer of the size that it asks for.
template<class Char, class Call>
std::basic_string<Char> convert(Call call) {
    Platform::SetLastError(0);
    const int needed = call(nullptr, 0);
    std::basic_string<Char> result(static_cast<std::size_t>(needed), Char('#'));
    EXPECT_EQ(needed == 0 ? 0 : call(result.data(), needed), needed);
    return result;
}

std::u16string decode(UINT page, DWORD flags, const std::string& bytes) {
    return convert<char16_t>([&, size = static_cast<int>(bytes.size())](char16_t* room, int roomSize) {
        return Platform::MultiByteToWideChar(page, flags, bytes.data(), size, room, roomSize);
    });
}

std::string encode(UINT page, DWORD flags, const std::u16string& text, const char* replacement = nullptr,
                   BOOL* isReplaced = nullptr) {
    return convert<char>([&, size = static_cast<int>(text.size())](char* room, int roomSize) {
        return Platform::WideCharToMultiByte(page, flags, text.data(), size, room, roomSize, replacement,
                                             isReplaced);
    });
}

/// The last error of a conversion that failed.
DWORD errorOf(const auto& converted) {
    EXPECT_TRUE(converted.empty());
    return Platform::GetLastError();
}

// scripts/compare-ports compares with Windows what every byte, pair of bytes and unit becomes in every code
// page, with look-alikes and with marks. Here are the other flags, and what callers give and get.
TEST(Utf8, EveryPlaneAndBadSequence) {
    const std::string valid = "a\xC2\x80\xC3\xA9\xE0\xA0\x80\xE2\x82\xAC\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    const std::u16string text = u"a\u0080\u00E9\u0800\u20AC\xD800\xDC00\xDBFF\xDFFF";
    EXPECT_EQ(decode(CP_UTF8, MB_ERR_INVALID_CHARS, valid), text);
    EXPECT_EQ(encode(CP_UTF8, WC_ERR_INVALID_CHARS, text), valid);
    const std::string invalid = "12345678\xFF\xC0\xAFz\xE2\x82z\xF4\x90\x80\x80\xF0\x9F\x98";
    EXPECT_EQ(decode(CP_UTF8, 0, invalid), u"12345678\uFFFD\uFFFD\uFFFDz\uFFFDz\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(errorOf(decode(CP_UTF8, MB_ERR_INVALID_CHARS, invalid)), ERROR_NO_UNICODE_TRANSLATION);
    for (const std::u16string lone : {u"\xD83D", u"a\xDE00", u"\xD83Dz", u"\xDE00\xD83D"}) {
        EXPECT_NE(encode(CP_UTF8, 0, lone).find("\xEF\xBF\xBD"), std::string::npos);
        EXPECT_EQ(errorOf(encode(CP_UTF8, WC_ERR_INVALID_CHARS, lone)), ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(Conversion, SizesTerminatorsAndSmallBuffers) {
    for (const UINT page : std::initializer_list<UINT>{CP_UTF8, 1251}) {
        char16_t wide[16] = {};
        char bytes[16] = {};
        EXPECT_EQ(Platform::MultiByteToWideChar(page, 0, "abcdefghij", -1, wide, 16), 11);
        EXPECT_EQ(std::u16string(wide), u"abcdefghij");
        EXPECT_EQ(Platform::MultiByteToWideChar(page, 0, "abcdefghij", 10, wide, 10), 10);
        EXPECT_EQ(Platform::MultiByteToWideChar(page, 0, "abcdefghij", -1, wide, 10), 0);
        EXPECT_EQ(Platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(Platform::WideCharToMultiByte(page, 0, u"\u0430bc", -1, bytes, 16, nullptr, nullptr),
                  page == CP_UTF8 ? 5 : 4);
        bytes[2] = '#';
        EXPECT_EQ(Platform::WideCharToMultiByte(page, 0, u"\u0430bc", 3, bytes, 2, nullptr, nullptr), 0);
        EXPECT_EQ(Platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(bytes[2], '#');
    }
}

TEST(Conversion, BadArgumentsHaveDifferentErrorCodes) {
    const auto decodingError = [](UINT page, DWORD flags, const char* text, int size, int room) {
        char16_t wide[4];
        EXPECT_EQ(Platform::MultiByteToWideChar(page, flags, text, size, wide, room), 0);
        return Platform::GetLastError();
    };
    Platform::expectEach(ERROR_INVALID_PARAMETER,
                         {decodingError(12345, 0, "a", 1, 4), decodingError(1252, 0, nullptr, 1, 4),
                          decodingError(1252, 0, "a", 0, 4), decodingError(1252, 0, "a", 1, -1),
                          errorOf(encode(12345, 0, u"a"))});
    Platform::expectEach(ERROR_INVALID_FLAGS,
                         {decodingError(1252, 0x1000, "a", 1, 4), errorOf(encode(1252, 0x10000, u"a"))});
    // For UTF-8 Wine accepts arguments that are valid only for other code pages, and both forms together.
    const auto refusal = [](Tarn::Int64 documented, const auto& converted) {
        return Platform::orWines(0, documented, converted.empty() ? Platform::GetLastError() : 0);
    };
    EXPECT_EQ(refusal(ERROR_INVALID_PARAMETER, encode(CP_UTF8, 0, u"a", "?")), ERROR_INVALID_PARAMETER);
    Platform::expectEach(ERROR_INVALID_FLAGS,
                         {refusal(ERROR_INVALID_FLAGS, decode(CP_UTF8, 0x1000, "a")),
                          refusal(ERROR_INVALID_FLAGS, decode(1252, MB_PRECOMPOSED | MB_COMPOSITE, "a"))});
    // Callers pass these flags without knowing what the user's code pages are.
    EXPECT_EQ(decode(CP_ACP, kStrict, "abc") + decode(CP_OEMCP, kStrict, "abc"), u"abcabc");
}

TEST(Conversion, UnitsThatACodePageLacksBecomeTheDefaultCharacter) {
    BOOL used = FALSE;
    EXPECT_EQ(encode(1251, 0, u"\u0430\u4E2D!", nullptr, &used), "\xE0?!");
    EXPECT_TRUE(used);
    EXPECT_EQ(encode(1251, 0, u"\u0430!", "*", &used), "\xE0!");
    EXPECT_FALSE(used);
    EXPECT_EQ(encode(1251, 0, u"\u4E2D\xD83D\xDE00", "*", &used), "***");
    EXPECT_EQ(encode(932, 0, u"\uAC00z", "\x81\xAC", &used), "\x81\xACz");
}

TEST(Conversion, LookAlikesReplaceUnitsThatACodePageLacksUnlessTheyAreRefused) {
    const std::tuple<UINT, std::u16string, std::string, std::string> table[] = {
        {1252, u"\u0100\uFF21\u2033\u221E", "AA?8", "????"},
        {932, u"\u00E9\u00A5", "e\\", "??"},
        {28592, u"\u00A2\u2019\u0142", "c'\xB3", "??\xB3"}};
    for (const auto& [page, text, best, exact] : table) {
        EXPECT_EQ(encode(page, 0, text), best) << page;
        EXPECT_EQ(encode(page, WC_NO_BEST_FIT_CHARS, text), exact) << page;
    }
}

TEST(Conversion, LettersWithMarksBecomeOneCharacterWhereThereIsOne) {
    constexpr DWORD kComposed = WC_COMPOSITECHECK | WC_NO_BEST_FIT_CHARS;
    const std::tuple<DWORD, std::u16string, std::string> table[] = {
        {kComposed, u"aXe\u0301y", "aX\xE9y"},
        {WC_NO_BEST_FIT_CHARS, u"e\u0301", "e*"},
        // A single character that the code page lacks.
        {kComposed | WC_SEPCHARS, u"c\u030Cx", "c*x"},
        {kComposed | WC_SEPCHARS | WC_DEFAULTCHAR, u"c\u030Cx", "*x"},
        {kComposed | WC_DISCARDNS, u"c\u030Cx", "cx"}};
    for (const auto& [flags, text, bytes] : table)
        EXPECT_EQ(encode(1252, flags, text, "*"), bytes) << flags;
    EXPECT_EQ(decode(1252, MB_COMPOSITE, "e\xE9"), u"ee\u0301");
}

} // namespace
