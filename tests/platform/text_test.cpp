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

TEST(CodePages, EveryByteOfASingleBytePageSurvivesARoundTrip) {
    for (const UINT page : std::initializer_list<UINT>{
             437,   737,   775,   850,   852,   855,   857,   860,   861,   862,   863,   864,   865,   866,
             869,   874,   1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,  1258,  10000, 10007, 20866,
             21866, 28591, 28592, 28593, 28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605}) {
        std::string bytes;
        for (int byte = 0; byte <= 0xFF; byte++)
            bytes.push_back(static_cast<char>(byte));
        const std::u16string text = decode(page, 0, bytes);
        EXPECT_EQ(text.size(), bytes.size()) << page;
        EXPECT_EQ(encode(page, WC_NO_BEST_FIT_CHARS, text), bytes) << page;
    }
}

// scripts/compare-ports compares every byte, pair of bytes and unit in every code page with Windows. Here are
// pages and characters of each kind.
TEST(CodePages, MapBytesToTheSameCharactersAsWindows) {
    const std::tuple<UINT, std::string, std::u16string> table[] = {
        {1252, "\x80\x81\x9F\xE9", u"\u20AC\u0081\u0178\u00E9"},
        {1253, "\xC1\xAA", u"\u0391\uF8F9"},
        // Backslash and tilde are unchanged; among similar characters the choice is that of Windows.
        {932, "\\~\xB1\x82\xA0\x81\x60\x87\x40\xFA\x54", u"\\~\uFF71\u3042\uFF5E\u2460\uFFE2"},
        {932, "\xFA\x40\xED\x40\xF0\x40\xA0\xFD", u"\u2170\u7E8A\uE000\uF8F0\uF8F1"},
        {949, "\xB0\xA1\x81\x41\xC9\xA1", u"\uAC00\uAC02\uE000"},
        {864, "%\xA6\xFF", u"%\uF8BE\uF8C0"},
        {1361, "\\\xD0\x65\x88\x41\x84\x42\xDA\xD4\xD8\x31", u"\\\uD55C\u1100\u11A8\u115F\uE000"},
        {20932, "\xB0\xA1\xB0\x21\x8E\xB1\xF5\xA1", u"\u4E9C\u4E02\uFF71\uE000"},
        {20949, "\xB0\xA1\xA0\xAD", u"\uAC00\uF8E6\uF8E7"},
        {28598, "\xAF\xE0\xFD", u"\u203E\u05D0\uF7BF"},
    };
    for (const auto& [page, bytes, text] : table)
        EXPECT_EQ(decode(page, 0, bytes), text) << page;
    // If several byte pairs mean the same character, the one that Windows writes.
    EXPECT_EQ(encode(932, 0, u"\uFFE2\u2252\u2160\u2170\u7E8A"), "\x81\xCA\x81\xE0\x87\x54\xFA\x40\xFA\x5C");
}

TEST(Utf8, EveryPlaneAndBadSequence) {
    const std::string valid = "a\xC2\x80\xC3\xA9\xE0\xA0\x80\xE2\x82\xAC\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    const std::u16string text = u"a\u0080\u00E9\u0800\u20AC\xD800\xDC00\xDBFF\xDFFF";
    EXPECT_EQ(decode(CP_UTF8, MB_ERR_INVALID_CHARS, valid), text);
    EXPECT_EQ(encode(CP_UTF8, WC_ERR_INVALID_CHARS, text), valid);
    const std::pair<std::string, std::u16string> invalid[] = {
        {"\x80z", u"\uFFFDz"},                       // a trail byte alone
        {"\xC0\xAFz", u"\uFFFD\uFFFDz"},             // overlong
        {"\xE2\x82z", u"\uFFFDz"},                   // cut by another character
        {"\xF0\x9F\x98", u"\uFFFD"},                 // cut by the end
        {"\xED\xA0\x80", u"\uFFFD\uFFFD"},           // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD"}, // beyond Unicode
        {"12345678\xFFz", u"12345678\uFFFDz"},
    };
    for (const auto& [bytes, replaced] : invalid) {
        EXPECT_EQ(decode(CP_UTF8, 0, bytes), replaced) << bytes;
        EXPECT_EQ(errorOf(decode(CP_UTF8, MB_ERR_INVALID_CHARS, bytes)), ERROR_NO_UNICODE_TRANSLATION);
    }
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

TEST(Conversion, LookAlikesReplaceUnitsThatACodePageLacks) {
    const std::tuple<UINT, std::u16string, std::string, std::string> table[] = {
        {1252, u"\u0100\uFF21\u2033\u221E", "AA?8", "????"},
        {437, u"\u266B\u2020\u03BC", "\x0E+\xE6", "???"},
        {932, u"\u00E9\u00A5", "e\\", "??"},
        {1361, u"\u20A9\u3131", "\\\x88\x41", "??"},
        {20127, u"\u00E9\u2122\u00C6", "eTA", "???"},
        {28592, u"\u00A2\u2019\u0142", "c'\xB3", "??\xB3"},
    };
    for (const auto& [page, text, best, exact] : table) {
        EXPECT_EQ(encode(page, 0, text), best) << page;
        EXPECT_EQ(encode(page, WC_NO_BEST_FIT_CHARS, text), exact) << page;
    }
    EXPECT_EQ(encode(1252, WC_COMPOSITECHECK, u"c\u030Cx"), "cx"); // the look-alike of U+010D
}

TEST(Conversion, LettersWithMarksBecomeOneCharacterWhereThereIsOne) {
    constexpr DWORD kComposed = WC_COMPOSITECHECK | WC_NO_BEST_FIT_CHARS;
    constexpr DWORD kSeparate = kComposed | WC_SEPCHARS;
    constexpr DWORD kReplaced = kSeparate | WC_DEFAULTCHAR;
    constexpr DWORD kDiscarded = kComposed | WC_DISCARDNS;
    EXPECT_EQ(encode(1252, kReplaced, u"aXe\u0301y"), "aX\xE9y");
    EXPECT_EQ(encode(932, kSeparate, u"\u304B\u3099"), "\x82\xAA");
    EXPECT_EQ(encode(1252, WC_NO_BEST_FIT_CHARS, u"e\u0301", "*"), "e*");
    // A single character that the code page lacks.
    EXPECT_EQ(encode(1252, kSeparate, u"c\u030Cx", "*"), "c*x");
    EXPECT_EQ(encode(1252, kReplaced, u"c\u030Cx", "*"), "*x");
    EXPECT_EQ(encode(1252, kDiscarded, u"c\u030Cx", "*"), "cx");
    EXPECT_EQ(decode(1252, MB_COMPOSITE, "e\xE9"), u"ee\u0301");
}

} // namespace
