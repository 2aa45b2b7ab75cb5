#include "platform/platform.h"
#include "platform/posix/text/code_page_conversion.h"
#include "platform/posix/text/language.h"
#include "platform/posix/text/letter_case.h"
#include "platform/posix/text/utf8.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <string>

namespace Tarn::Platform {
namespace {

using Posix::CodePage;
using Posix::FailConversion;
using Posix::Output;

constexpr DWORD kDecodingFlags = MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
constexpr DWORD kEncodingFlags =
    WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR | WC_NO_BEST_FIT_CHARS;

constexpr UINT kFirstDosPage = 437;
constexpr UINT kLastDosPage = 869;

constexpr int kNoSize = -1;

/// The number of units to convert; `kNoSize`, with the last error, for arguments that no conversion accepts.
template<class From, class To>
int checkedSize(const From* text, int size, const To* result, int resultSize) {
    bool good = text != nullptr && size != 0 && resultSize >= 0 && (result != nullptr || resultSize == 0) &&
                static_cast<const void*>(text) != static_cast<const void*>(result);
    if (good && size < 0) {
        std::size_t length = std::char_traits<From>::length(text) + 1;
        good = length <= INT_MAX;
        size = static_cast<int>(length);
    }
    if (good)
        return size;
    SetLastError(ERROR_INVALID_PARAMETER);
    return kNoSize;
}

UINT resolvedCodePage(UINT codePage) {
    return codePage == CP_ACP ? GetACP() : codePage == CP_OEMCP ? GetOEMCP() : codePage;
}

/// Both code pages of the process in one word, because they are read together, once; 0 before that.
constinit std::atomic<std::uint64_t> processCodePages = 0;

std::uint64_t codePages() {
    std::uint64_t pages = processCodePages.load(std::memory_order_acquire);
    if (pages != 0)
        return pages;
    UINT ansi;
    UINT oem;
    Posix::FindCodePages(&ansi, &oem);
    std::uint64_t found = std::uint64_t{oem} << 32 | ansi;
    return processCodePages.compare_exchange_strong(pages, found) ? found : pages;
}

} // namespace

UINT GetACP() { return static_cast<UINT>(codePages()); }

UINT GetOEMCP() { return static_cast<UINT>(codePages() >> 32); }

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int size, char16_t* result,
                        int resultSize) {
    size = checkedSize(text, size, result, resultSize);
    if (size == kNoSize)
        return 0;
    Output<char16_t> output(result, resultSize);
    UINT number = resolvedCodePage(codePage);
    if (number == CP_UTF8) {
        // A caller who asks for the user's code page cannot know that it accepts no other flag.
        DWORD allowed = MB_ERR_INVALID_CHARS | (codePage == CP_UTF8 ? 0 : MB_PRECOMPOSED);
        if ((flags & ~allowed) != 0)
            return FailConversion(ERROR_INVALID_FLAGS);
        return Posix::ConvertFromUtf8(text, size, (flags & MB_ERR_INVALID_CHARS) != 0, output);
    }
    const CodePage* page = CodePage::Get(number);
    if (page == nullptr)
        return 0;
    constexpr DWORD kEitherForm = MB_PRECOMPOSED | MB_COMPOSITE;
    if ((flags & ~kDecodingFlags) != 0 || (flags & kEitherForm) == kEitherForm)
        return FailConversion(ERROR_INVALID_FLAGS);
    const bool isDosPage = number >= kFirstDosPage && number <= kLastDosPage;
    const bool glyphs = (flags & MB_USEGLYPHCHARS) != 0 && isDosPage;
    return Posix::ConvertFromCodePage(*page, flags, glyphs, text, size, output);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* text, int size, char* result,
                        int resultSize, const char* defaultChar, BOOL* usedDefault) {
    size = checkedSize(text, size, result, resultSize);
    if (size == kNoSize)
        return 0;
    Output<char> output(result, resultSize);
    UINT number = resolvedCodePage(codePage);
    if (number == CP_UTF8) {
        if (defaultChar != nullptr || usedDefault != nullptr)
            return FailConversion(ERROR_INVALID_PARAMETER);
        DWORD allowed = WC_ERR_INVALID_CHARS | (codePage == CP_UTF8 ? 0 : kEncodingFlags);
        if ((flags & ~allowed) != 0)
            return FailConversion(ERROR_INVALID_FLAGS);
        return Posix::ConvertToUtf8(text, size, (flags & WC_ERR_INVALID_CHARS) != 0, output);
    }
    const CodePage* page = CodePage::Get(number);
    if (page == nullptr)
        return 0;
    if ((flags & ~kEncodingFlags) != 0)
        return FailConversion(ERROR_INVALID_FLAGS);
    return Posix::ConvertToCodePage(*page, flags, text, size, defaultChar, output, usedDefault);
}

void CharUpperBuffW(char16_t* text, DWORD size) { Posix::MapToUpper(text, size); }

void CharLowerBuffW(char16_t* text, DWORD size) { Posix::MapToLower(text, size); }

} // namespace Tarn::Platform
