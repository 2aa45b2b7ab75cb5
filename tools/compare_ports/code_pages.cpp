// Conversions between the code pages and 16-bit text, with the flags that the strings use.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

#include <iterator>
#include <utility>

namespace compare_ports {

namespace {

namespace Platform = Tarn::Platform;

constexpr UINT kCodePages[] = {437, 850, 866, 932, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, CP_UTF8};

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
    const std::string group = groupName("bytes/", page, flags);
    for (unsigned pair = 0; pair <= 0xFFFF; pair++) {
        const char text[] = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
        results.Add(group, pair, decoded(page, flags, {text, 2}));
    }
    // Longer texts, most of whose bytes begin or go on with a character.
    Random random(page);
    for (unsigned number = 0; number < kRandomTexts; number++) {
        std::string text;
        for (unsigned length = 1 + random.Below(8); length > 0; length--) {
            static constexpr unsigned kLikelyBytes[] = {0x41, 0x81, 0x8F, 0xA0, 0xBF,
                                                        0xC3, 0xE2, 0xED, 0xF0, 0xF4};
            text += static_cast<char>(random.OneIn(3) ? random.Below(0x100) : random.Pick(kLikelyBytes));
        }
        results.Add(groupName("text/", page, flags), number, Hex(text) + " " + decoded(page, flags, text));
    }
}

void printEncoding(ResultFile& results, UINT page, DWORD flags) {
    const std::string group = groupName("unit/", page, flags);
    for (unsigned unit = 0; unit <= 0xFFFF; unit++) {
        const char16_t text[] = {static_cast<char16_t>(unit)};
        results.Add(group, unit, encoded(page, flags, {text, 1}));
    }
    // Letters with the marks that may follow them.
    for (char16_t mark = 0x0300; mark <= 0x3FFF; mark++) {
        if (mark == 0x0363)
            mark = 0x064B;
        if (mark == 0x0656)
            mark = 0x3099;
        if (mark == 0x309B)
            break;
        for (const auto& [first, last] : {std::pair{0x0041, 0x024F},
                                          {0x0370, 0x0670},
                                          {0x1E00, 0x1FFF},
                                          {0x2190, 0x22FF},
                                          {0x3041, 0x30FE}})
            for (int letter = first; letter <= last; letter++) {
                const char16_t text[] = {static_cast<char16_t>(letter), mark};
                results.Add(groupName("marked/", page, flags) + "/" + Hex(std::u16string_view(&mark, 1)),
                            unsigned(letter), encoded(page, flags, {text, 2}));
            }
    }
}

} // namespace

void PrintCodePages(ResultFile& results) {
    for (const UINT page : kCodePages) {
        const Flags& flags = page == CP_UTF8 ? kUtf8Flags : kFlags;
        for (const DWORD decoding : flags.decoding)
            printDecoding(results, page, decoding);
        for (const DWORD encoding : flags.encoding)
            printEncoding(results, page, encoding);
    }
}

} // namespace compare_ports
