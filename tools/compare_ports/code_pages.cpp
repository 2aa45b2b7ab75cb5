// Conversions between the code pages and 16-bit text, with the flags that the strings use.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

#include <iterator>
#include <utility>

namespace compare_ports {

namespace {

namespace Platform = Tarn::Platform;

constexpr UINT kCodePages[] = {437,   737,   775,   850,   852,   855,   857,   860,   861,    862,
                               863,   864,   865,   866,   869,   874,   932,   936,   949,    950,
                               1250,  1251,  1252,  1253,  1254,  1255,  1256,  1257,  1258,   1361,
                               10000, 10007, 20127, 20866, 20932, 20949, 21866, 28591, 28592,  28593,
                               28594, 28595, 28596, 28597, 28598, 28599, 28603, 28605, CP_UTF8};

constexpr int kRandomTexts = 5000;

struct Flags {
    DWORD decoding[2];
    DWORD encoding[2];
};

constexpr DWORD kSeparate = WC_COMPOSITECHECK | WC_SEPCHARS;
constexpr Flags kFlags = {{0, MB_PRECOMPOSED | MB_ERR_INVALID_CHARS},
                          {kSeparate, kSeparate | WC_DEFAULTCHAR}};
constexpr Flags kUtf8Flags = {{0, MB_ERR_INVALID_CHARS}, {0, WC_ERR_INVALID_CHARS}};

std::string decoded(UINT page, DWORD flags, std::string_view bytes) {
    char16_t text[64];
    const int count = Platform::MultiByteToWideChar(page, flags, bytes.data(), static_cast<int>(bytes.size()),
                                                    text, static_cast<int>(std::size(text)));
    return count == 0 ? Failure(Platform::GetLastError())
                      : Hex(std::u16string_view(text, static_cast<std::size_t>(count)));
}

std::string encoded(UINT page, DWORD flags, std::u16string_view text) {
    char bytes[128];
    const int count = Platform::WideCharToMultiByte(page, flags, text.data(), static_cast<int>(text.size()),
                                                    bytes, sizeof(bytes), nullptr, nullptr);
    return count == 0 ? Failure(Platform::GetLastError())
                      : Hex(std::string_view(bytes, static_cast<std::size_t>(count)));
}

std::string groupName(const char* kind, UINT page, DWORD flags) {
    return kind + std::to_string(page) + "/" + std::to_string(flags);
}

void printDecoding(ResultFile& results, UINT page, DWORD flags) {
    for (unsigned byte = 0; byte <= 0xFF; byte++) {
        const char text[] = {static_cast<char>(byte)};
        results.Add(groupName("byte/", page, flags), byte, decoded(page, flags, {text, 1}));
    }
    // The ports differ where a text ends within a UTF-8 character (see printCut). These texts do not.
    const std::string_view end = page == CP_UTF8 ? "|||" : "";
    const std::string group = groupName("bytes/", page, flags);
    for (unsigned pair = 0; pair <= 0xFFFF; pair++) {
        const char bytes[] = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
        std::string text(bytes, 2);
        results.Add(group, pair, decoded(page, flags, text.append(end)));
    }
    Random random(page);
    for (unsigned number = 0; number < kRandomTexts; number++) {
        static constexpr unsigned char kLikelyBytes[] = {0x41, 0x81, 0x8F, 0xA0, 0xBF,
                                                         0xC3, 0xE2, 0xED, 0xF0, 0xF4};
        std::string text;
        for (unsigned length = 1 + random.Below(8); length > 0; length--)
            text += static_cast<char>(random.OneIn(3) ? random.Below(0x100) : random.Pick(kLikelyBytes));
        text += end;
        results.Add(groupName("text/", page, flags), number, Words(Hex(text), decoded(page, flags, text)));
    }
}

/// Texts that end in the lead byte of a longer UTF-8 character and one more byte.
void printCut(ResultFile& results, DWORD flags) {
    const std::string group = groupName("cut/", CP_UTF8, flags);
    for (unsigned pair = 0xE000; pair <= 0xF4FF; pair++) {
        const char text[] = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
        results.Add(group, pair, decoded(CP_UTF8, flags, {text, 2}));
    }
}

/// Every letter of some scripts with every mark that composes with letters.
void printMarked(ResultFile& results, UINT page, DWORD flags) {
    constexpr std::pair<char16_t, char16_t> kMarks[] = {{0x0300, 0x0345}, {0x0653, 0x0655}, {0x3099, 0x309A}};
    constexpr std::pair<char16_t, char16_t> kLetters[] = {
        {0x0041, 0x024F}, {0x0370, 0x0451}, {0x0621, 0x064A}, {0x3041, 0x30FE}};
    for (const auto& [firstMark, lastMark] : kMarks)
        for (char16_t mark = firstMark; mark <= lastMark; mark++) {
            const std::string group = groupName("marked/", page, flags) + "/" + Hex({&mark, 1});
            for (const auto& [first, last] : kLetters)
                for (char16_t letter = first; letter <= last; letter++) {
                    const char16_t text[] = {letter, mark};
                    results.Add(group, letter, encoded(page, flags, {text, 2}));
                }
        }
}

void printEncoding(ResultFile& results, UINT page, DWORD flags) {
    const std::string group = groupName("unit/", page, flags);
    for (unsigned unit = 0; unit <= 0xFFFF; unit++) {
        const char16_t text[] = {static_cast<char16_t>(unit)};
        results.Add(group, unit, encoded(page, flags, {text, 1}));
    }
    if (page != CP_UTF8)
        printMarked(results, page, flags);
    Random random(page);
    for (unsigned number = 0; number < kRandomTexts; number++) {
        static constexpr char16_t kLikelyUnits[] =
            u"aeE\u00C5\u0391\u0415\u304B\u0300\u0301\u0308\u0345\u3099\xD800\xDBFF\xDC00\xDFFF";
        std::u16string text;
        for (unsigned length = 1 + random.Below(8); length > 0; length--)
            text +=
                static_cast<char16_t>(random.OneIn(4) ? random.Below(0x10000) : random.Pick(kLikelyUnits));
        results.Add(groupName("units/", page, flags), number, Words(Hex(text), encoded(page, flags, text)));
    }
}

} // namespace

void PrintCodePages(ResultFile& results) {
    for (const UINT page : kCodePages) {
        const Flags& flags = page == CP_UTF8 ? kUtf8Flags : kFlags;
        for (const DWORD decoding : flags.decoding) {
            printDecoding(results, page, decoding);
            if (page == CP_UTF8)
                printCut(results, decoding);
        }
        for (const DWORD encoding : flags.encoding)
            printEncoding(results, page, encoding);
    }
}

} // namespace compare_ports
