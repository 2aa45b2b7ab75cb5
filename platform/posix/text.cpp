#include "platform/platform.h"
#include "platform/posix/text/code_page.h"
#include "platform/posix/text/language.h"

#include <locale.h>
#include <wctype.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>

namespace Tarn::Platform {
namespace {

using Posix::CodePage;

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char16_t kFirstHighSurrogate = 0xD800;
constexpr char16_t kFirstLowSurrogate = 0xDC00;
constexpr char16_t kLastSurrogate = 0xDFFF;

constexpr DWORD kDecodingFlags = MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
constexpr DWORD kEncodingFlags =
    WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR | WC_NO_BEST_FIT_CHARS;

bool isHighSurrogate(char32_t unit) { return unit >= kFirstHighSurrogate && unit < kFirstLowSurrogate; }
bool isLowSurrogate(char32_t unit) { return unit >= kFirstLowSurrogate && unit <= kLastSurrogate; }
bool isPrivate(char16_t unit) { return unit >= 0xE000 && unit <= 0xF8FF; }

int fail(DWORD code) {
    SetLastError(code);
    return 0;
}

/// Takes the units of a result: writes those that there is room for and counts them all. Without a buffer it
/// only counts.
template<class Unit>
class Output {
public:
    Output(Unit* buffer, int roomUnits)
        : next(buffer), end(roomUnits == 0 ? buffer : buffer + roomUnits), room(roomUnits) {}

    void Put(Unit unit) {
        count++;
        if (next != end)
            *next++ = unit;
    }

    /// Takes `length` ASCII characters.
    template<class Source>
    void PutAscii(const Source* text, std::size_t length) {
        count += static_cast<long long>(length);
        std::size_t left = static_cast<std::size_t>(end - next);
        if (left < length)
            length = left;
        for (std::size_t i = 0; i < length; i++)
            next[i] = static_cast<Unit>(text[i]);
        if (length != 0)
            next += length;
    }

    int Finish() const {
        if (count > INT_MAX)
            return fail(ERROR_INVALID_PARAMETER);
        if (room != 0 && count > room)
            return fail(ERROR_INSUFFICIENT_BUFFER);
        return static_cast<int>(count);
    }

private:
    Unit* next;
    Unit* end;
    int room;
    long long count = 0;
};

/// How many units from `text` on, which is not the end, are ASCII.
template<class Unit>
std::size_t asciiRun(const Unit* text, const Unit* end) {
    if (static_cast<std::uint32_t>(*text) >= 0x80)
        return 0;
    constexpr std::size_t kAtOnce = sizeof(std::uint64_t) / sizeof(Unit);
    constexpr std::uint64_t kBeyondAscii = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
    const Unit* at = text;
    for (; static_cast<std::size_t>(end - at) >= kAtOnce; at += kAtOnce) {
        std::uint64_t word;
        std::memcpy(&word, at, sizeof(word));
        if ((word & kBeyondAscii) != 0)
            break;
    }
    while (at != end && static_cast<std::uint32_t>(*at) < 0x80)
        at++;
    return static_cast<std::size_t>(at - text);
}

/// Reads one character of UTF-8. At bytes that are none it skips those that could begin one, at least a byte,
/// and gives false. A second byte counts as such even where it makes the form overlong, a surrogate or too
/// large.
bool readUtf8(const unsigned char** text, const unsigned char* end, char32_t* character) {
    unsigned lead = *(*text)++;
    if (lead < 0x80) {
        *character = lead;
        return true;
    }
    if (lead < 0xC2 || lead > 0xF4)
        return false;
    int following = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t value = lead & (0x3Fu >> following);
    for (; following > 0; following--) {
        if (*text == end || **text < 0x80 || **text > 0xBF)
            return false;
        unsigned byte = *(*text)++;
        if (byte < low || byte > high)
            return false;
        value = value << 6 | (byte & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    *character = value;
    return true;
}

void putUtf16(Output<char16_t>& output, char32_t character) {
    if (character >= kFirstSupplementary) {
        character -= kFirstSupplementary;
        output.Put(static_cast<char16_t>(kFirstHighSurrogate + (character >> 10)));
        character = kFirstLowSurrogate + (character & 0x3FF);
    }
    output.Put(static_cast<char16_t>(character));
}

int decodeUtf8(const unsigned char* text, int size, bool failOnInvalid, Output<char16_t> output) {
    const unsigned char* end = text + size;
    while (text != end) {
        std::size_t ascii = asciiRun(text, end);
        output.PutAscii(text, ascii);
        text += ascii;
        char32_t character;
        if (text == end)
            break;
        if (!readUtf8(&text, end, &character)) {
            if (failOnInvalid)
                return fail(ERROR_NO_UNICODE_TRANSLATION);
            character = kReplacement;
        }
        putUtf16(output, character);
    }
    return output.Finish();
}

void putUtf8(Output<char>& output, char32_t character) {
    auto put = [&](char32_t byte) { output.Put(static_cast<char>(byte)); };
    if (character < 0x80)
        return put(character);
    if (character < 0x800) {
        put(0xC0 | character >> 6);
    } else {
        if (character < kFirstSupplementary) {
            put(0xE0 | character >> 12);
        } else {
            put(0xF0 | character >> 18);
            put(0x80 | (character >> 12 & 0x3F));
        }
        put(0x80 | (character >> 6 & 0x3F));
    }
    put(0x80 | (character & 0x3F));
}

int encodeUtf8(const char16_t* text, int size, bool failOnInvalid, Output<char> output) {
    const char16_t* end = text + size;
    while (text != end) {
        std::size_t ascii = asciiRun(text, end);
        output.PutAscii(text, ascii);
        text += ascii;
        if (text == end)
            break;
        char32_t character = *text++;
        if (isHighSurrogate(character) && text != end && isLowSurrogate(*text)) {
            character = kFirstSupplementary + ((character - kFirstHighSurrogate) << 10) +
                        (*text++ - kFirstLowSurrogate);
        } else if (isHighSurrogate(character) || isLowSurrogate(character)) {
            if (failOnInvalid)
                return fail(ERROR_NO_UNICODE_TRANSLATION);
            character = kReplacement;
        }
        putUtf8(output, character);
    }
    return output.Finish();
}

/// What the code pages of DOS show for control characters.
char16_t glyphOf(char16_t unit) {
    static constexpr char16_t kGlyphs[] =
        u"\0\u263A\u263B\u2665\u2666\u2663\u2660\u2022\u25D8\u25CB\u25D9\u2642"
        u"\u2640\u266A\u266B\u263C\u25BA\u25C4\u2195\u203C\u00B6\u00A7\u25AC"
        u"\u21A8\u2191\u2193\u2192\u2190\u221F\u2194\u25B2\u25BC";
    return unit < 0x20 ? kGlyphs[unit] : unit == 0x7F ? u'\u2302' : unit;
}

bool isDosCodePage(UINT number) { return number >= 437 && number <= 869; }

void putDecoded(Output<char16_t>& output, char16_t unit, DWORD flags) {
    char16_t letter;
    char16_t mark;
    if ((flags & MB_COMPOSITE) == 0 || !Posix::DecomposeCharacter(unit, &letter, &mark))
        return output.Put(unit);
    putDecoded(output, letter, flags);
    output.Put(mark);
}

int decode(const CodePage& page, DWORD flags, bool glyphs, const unsigned char* text, int size,
           Output<char16_t> output) {
    const unsigned char* end = text + size;
    while (text != end) {
        if (page.IsAsciiCompatible() && !glyphs) {
            std::size_t ascii = asciiRun(text, end);
            output.PutAscii(text, ascii);
            text += ascii;
            if (text == end)
                break;
        }
        char16_t unit;
        bool valid;
        unsigned char byte = *text++;
        if (!page.IsLead(byte)) {
            unit = page.Decode(byte);
            // Only a byte that the code page leaves open becomes a private character.
            valid = !isPrivate(unit);
        } else if (text == end || *text == 0) {
            unit = CodePage::kNone;
            valid = false;
        } else {
            unit = page.Decode(byte, *text++);
            valid = unit != CodePage::kNone;
        }
        if (!valid && (flags & MB_ERR_INVALID_CHARS) != 0)
            return fail(ERROR_NO_UNICODE_TRANSLATION);
        if (unit == CodePage::kNone)
            unit = page.DefaultUnit();
        putDecoded(output, glyphs ? glyphOf(unit) : unit, flags);
    }
    return output.Finish();
}

/// Converts to a code page of tables.
///
/// A unit that the code page lacks becomes the default character whatever the flags are: WC_DEFAULTCHAR, like
/// WC_SEPCHARS and WC_DISCARDNS, only says what happens to a letter with marks after it for which
/// WC_COMPOSITECHECK finds a single character that the code page lacks. So conversions fail for bad arguments
/// only. Where look-alikes will do, they count as characters of the code page.
class Encoder {
public:
    Encoder(const CodePage& toPage, DWORD withFlags, const char* defaultChar, Output<char> toOutput)
        : page(toPage), flags(withFlags), output(toOutput) {
        if (defaultChar == nullptr)
            return;
        auto first = static_cast<unsigned char>(defaultChar[0]);
        auto second = first == 0 ? u'\0' : static_cast<unsigned char>(defaultChar[1]);
        defaultBytes =
            page.IsDoubleByte() && second != 0 ? static_cast<unsigned>(first << 8 | second) : first;
    }

    int Encode(const char16_t* text, int size) {
        const char16_t* end = text + size;
        while (text != end) {
            if (page.IsAsciiCompatible()) {
                std::size_t ascii = asciiRun(text, end);
                // The last letter may have a mark after it.
                if (ascii > 0 && text + ascii != end && (flags & WC_COMPOSITECHECK) != 0)
                    ascii--;
                output.PutAscii(text, ascii);
                text += ascii;
                if (text == end)
                    break;
            }
            bool marked = (flags & WC_COMPOSITECHECK) != 0 && end - text > 1 && Posix::MayBeMark(text[1]);
            int taken = marked ? putComposed(text, end) : 0;
            if (taken == 0) {
                put(*text);
                taken = 1;
            }
            text += taken;
        }
        return output.Finish();
    }

    bool UsedDefault() const { return usedDefault; }

private:
    void put(char16_t unit) {
        bool found;
        unsigned bytes = encode(unit, &found);
        if (found)
            putBytes(bytes);
        else
            putDefault();
    }

    unsigned encode(char16_t unit, bool* found) const {
        return page.Encode(unit, (flags & WC_NO_BEST_FIT_CHARS) == 0, found);
    }

    void putBytes(unsigned bytes) {
        if (bytes > 0xFF)
            output.Put(static_cast<char>(bytes >> 8));
        output.Put(static_cast<char>(bytes & 0xFF));
    }

    void putDefault() {
        usedDefault = true;
        putBytes(defaultBytes);
    }

    /// The units that were converted as one; 0 when the first is to be converted alone.
    int putComposed(const char16_t* text, const char16_t* end) {
        int length = 1;
        int foundLength = 0;
        unsigned foundBytes = 0;
        char16_t composed = *text;
        while (text + length != end) {
            composed = Posix::ComposeCharacter(composed, text[length]);
            if (composed == 0)
                break;
            length++;
            bool found;
            unsigned bytes = encode(composed, &found);
            if (found) {
                foundBytes = bytes;
                foundLength = length;
            }
        }
        if (foundLength != 0) {
            putBytes(foundBytes);
            return foundLength;
        }
        if (length == 1 || (flags & (WC_DEFAULTCHAR | WC_DISCARDNS)) == 0)
            return 0;
        if ((flags & WC_DEFAULTCHAR) != 0)
            putDefault();
        else
            put(*text);
        return length;
    }

    const CodePage& page;
    DWORD flags;
    Output<char> output;
    unsigned defaultBytes = '?';
    bool usedDefault = false;
};

constexpr int kNoSize = -1;

/// The number of units to convert; `kNoSize`, with the last error, for arguments that no conversion takes.
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

/// Both code pages of the process in one word, so that they are read once and together; 0 before.
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

constinit std::atomic<locale_t> caseLocale = nullptr;

/// The locale whose case mapping is Unicode's; where the system has none it is that of ASCII.
locale_t unicodeLocale() {
    locale_t locale = caseLocale.load(std::memory_order_acquire);
    if (locale != nullptr)
        return locale;
    for (const char* name : {"C.UTF-8", "en_US.UTF-8", "C"})
        if (locale == nullptr)
            locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
    locale_t before = nullptr;
    if (locale != nullptr && !caseLocale.compare_exchange_strong(before, locale)) {
        freelocale(locale);
        locale = before;
    }
    return locale;
}

/// A unit changes only to one that changes back: what has a third form, or the same other form as another
/// unit, stays.
template<class Map>
void mapCase(char16_t* text, DWORD size, char16_t first, char16_t last, int asciiShift, Map map, Map back) {
    for (char16_t* end = text + size; text != end; text++) {
        if (*text < 0x80) {
            if (*text >= first && *text <= last)
                *text = static_cast<char16_t>(*text + asciiShift);
            continue;
        }
        locale_t locale = unicodeLocale();
        wint_t mapped = locale == nullptr ? *text : map(static_cast<wint_t>(*text), locale);
        if (mapped < kFirstSupplementary && mapped != *text && back(mapped, locale) == *text)
            *text = static_cast<char16_t>(mapped);
    }
}

} // namespace

UINT GetACP() { return static_cast<UINT>(codePages()); }

UINT GetOEMCP() { return static_cast<UINT>(codePages() >> 32); }

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int size, char16_t* result,
                        int resultSize) {
    size = checkedSize(text, size, result, resultSize);
    if (size == kNoSize)
        return 0;
    auto bytes = reinterpret_cast<const unsigned char*>(text);
    Output<char16_t> output(result, resultSize);
    UINT number = resolvedCodePage(codePage);
    if (number == CP_UTF8) {
        // A caller who asks for the user's code page cannot know that it takes no other flag.
        DWORD allowed = MB_ERR_INVALID_CHARS | (codePage == CP_UTF8 ? 0 : MB_PRECOMPOSED);
        if ((flags & ~allowed) != 0)
            return fail(ERROR_INVALID_FLAGS);
        return decodeUtf8(bytes, size, (flags & MB_ERR_INVALID_CHARS) != 0, output);
    }
    const CodePage* page = CodePage::Get(number);
    if (page == nullptr)
        return 0;
    constexpr DWORD kEitherForm = MB_PRECOMPOSED | MB_COMPOSITE;
    if ((flags & ~kDecodingFlags) != 0 || (flags & kEitherForm) == kEitherForm)
        return fail(ERROR_INVALID_FLAGS);
    bool glyphs = (flags & MB_USEGLYPHCHARS) != 0 && isDosCodePage(number);
    return decode(*page, flags, glyphs, bytes, size, output);
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
            return fail(ERROR_INVALID_PARAMETER);
        DWORD allowed = WC_ERR_INVALID_CHARS | (codePage == CP_UTF8 ? 0 : kEncodingFlags);
        if ((flags & ~allowed) != 0)
            return fail(ERROR_INVALID_FLAGS);
        return encodeUtf8(text, size, (flags & WC_ERR_INVALID_CHARS) != 0, output);
    }
    const CodePage* page = CodePage::Get(number);
    if (page == nullptr)
        return 0;
    if ((flags & ~kEncodingFlags) != 0)
        return fail(ERROR_INVALID_FLAGS);
    Encoder encoder(*page, flags, defaultChar, output);
    int count = encoder.Encode(text, size);
    if (usedDefault != nullptr)
        *usedDefault = encoder.UsedDefault() ? TRUE : FALSE;
    return count;
}

void CharUpperBuffW(char16_t* text, DWORD size) {
    mapCase(text, size, u'a', u'z', 'A' - 'a', towupper_l, towlower_l);
}

void CharLowerBuffW(char16_t* text, DWORD size) {
    mapCase(text, size, u'A', u'Z', 'a' - 'A', towlower_l, towupper_l);
}

} // namespace Tarn::Platform
