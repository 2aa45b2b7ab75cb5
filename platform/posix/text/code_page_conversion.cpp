#include "platform/posix/text/code_page_conversion.h"

namespace Tarn::Platform::Posix {
namespace {

/// What the DOS code pages show for control characters.
char16_t glyphOf(char16_t unit) {
    static constexpr char16_t kGlyphs[] =
        u"\0\u263A\u263B\u2665\u2666\u2663\u2660\u2022\u25D8\u25CB\u25D9\u2642"
        u"\u2640\u266A\u266B\u263C\u25BA\u25C4\u2195\u203C\u00B6\u00A7\u25AC"
        u"\u21A8\u2191\u2193\u2192\u2190\u221F\u2194\u25B2\u25BC";
    return unit < 0x20 ? kGlyphs[unit] : unit == 0x7F ? u'\u2302' : unit;
}

template<class AnyOutput>
void putDecoded(AnyOutput& output, char16_t unit, DWORD flags) {
    char16_t letter;
    char16_t mark;
    if ((flags & MB_COMPOSITE) == 0 || !DecomposeCharacter(unit, &letter, &mark))
        return output.Put(unit);
    putDecoded(output, letter, flags);
    output.Put(mark);
}

/// Converts to a code page that has tables.
///
/// A unit that the code page lacks becomes the default character whatever the flags are: WC_DEFAULTCHAR,
/// WC_SEPCHARS and WC_DISCARDNS only decide what happens when a letter and the marks after it make a single
/// character (WC_COMPOSITECHECK) that the code page lacks. So a conversion fails only for bad arguments.
/// Unless WC_NO_BEST_FIT_CHARS rules out look-alikes, they count as characters of the code page.
template<class AnyOutput>
class Encoder {
public:
    Encoder(const CodePage& toPage, DWORD withFlags, const char* defaultChar, AnyOutput toOutput)
        : page(toPage), flags(withFlags), output(toOutput) {
        if (defaultChar == nullptr)
            return;
        auto first = static_cast<unsigned char>(defaultChar[0]);
        auto second = first == 0 ? u'\0' : static_cast<unsigned char>(defaultChar[1]);
        defaultBytes =
            page.IsDoubleByte() && second != 0 ? static_cast<unsigned>(first << 8 | second) : first;
    }

    int Encode(const char16_t* text, int size) {
        constexpr std::ptrdiff_t kBlock = 16;
        const char16_t* end = text + size;
        const bool composes = (flags & WC_COMPOSITECHECK) != 0;
        while (text != end) {
            if (page.IsAsciiCompatible() && IsAscii(*text) && end - text > 1 && IsAscii(text[1])) {
                // The last letter may have a mark after it.
                const std::size_t ascii = AsciiRun(text, end);
                const bool isFollowed = text + ascii != end && composes;
                output.PutAscii(text, text + ascii - isFollowed);
                if (text == end)
                    break;
            }
            const auto isMarked = [&] { return composes && end - text > 1 && MayBeMark(text[1]); };
            if ((flags & WC_NO_BEST_FIT_CHARS) == 0) {
                // Runs of ASCII are looked for between blocks, which costs less than at each unit.
                const char16_t* const blockEnd = end - text > kBlock ? text + kBlock : end;
                for (unsigned bytes; !isMarked() && (bytes = page.EncodeStraight(*text)) != 0;) {
                    putBytes(bytes);
                    if (++text == blockEnd)
                        break;
                }
                if (text == blockEnd)
                    continue;
            }
            int taken = isMarked() ? putComposed(text, end) : 0;
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

    /// The number of units converted as one; 0 if the first is to be converted alone.
    int putComposed(const char16_t* text, const char16_t* end) {
        int length = 1;
        int foundLength = 0;
        unsigned foundBytes = 0;
        char16_t composed = *text;
        while (text + length != end) {
            composed = ComposeCharacter(composed, text[length]);
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
    AnyOutput output;
    unsigned defaultBytes = '?';
    bool usedDefault = false;
};

template<class AnyOutput>
int decode(const CodePage& page, DWORD flags, bool glyphs, const unsigned char* text,
           const unsigned char* end, AnyOutput output) {
    const bool isStraight = !glyphs && (flags & MB_COMPOSITE) == 0;
    while (text != end) {
        if (isStraight)
            for (char16_t unit; text != end && (unit = page.DecodeStraight(*text)) != 0; text++)
                output.Put(unit);
        if (text == end)
            break;
        char16_t unit;
        bool valid;
        unsigned char byte = *text++;
        if (!page.IsLead(byte)) {
            unit = page.Decode(byte);
            valid = CodePage::IsValid(unit, byte);
        } else if (text == end || *text == 0) {
            unit = CodePage::kNone;
            valid = false;
        } else {
            unit = page.Decode(byte, *text++);
            valid = unit != CodePage::kNone;
        }
        if (!valid && (flags & MB_ERR_INVALID_CHARS) != 0)
            return FailConversion(ERROR_NO_UNICODE_TRANSLATION);
        if (unit == CodePage::kNone)
            unit = page.DefaultUnit();
        putDecoded(output, glyphs ? glyphOf(unit) : unit, flags);
    }
    return output.Finish();
}

template<class AnyOutput>
int encode(const CodePage& page, DWORD flags, const char16_t* text, int size, const char* defaultChar,
           AnyOutput output, BOOL* usedDefault) {
    Encoder<AnyOutput> encoder(page, flags, defaultChar, output);
    const int count = encoder.Encode(text, size);
    if (usedDefault != nullptr)
        *usedDefault = encoder.UsedDefault() ? TRUE : FALSE;
    return count;
}

} // namespace

int ConvertFromCodePage(const CodePage& page, DWORD flags, bool glyphs, const char* bytes, int size,
                        Output<char16_t> output) {
    const auto* text = reinterpret_cast<const unsigned char*>(bytes);
    // Decomposed, a byte may become several units.
    return output.HasRoomFor(size) && (flags & MB_COMPOSITE) == 0
               ? decode(page, flags, glyphs, text, text + size, RoomyOutput(output.Buffer()))
               : decode(page, flags, glyphs, text, text + size, output);
}

int ConvertToCodePage(const CodePage& page, DWORD flags, const char16_t* text, int size,
                      const char* defaultChar, Output<char> output, BOOL* usedDefault) {
    constexpr long long kMostBytes = 2; // for a unit
    return output.HasRoomFor(kMostBytes * size)
               ? encode(page, flags, text, size, defaultChar, RoomyOutput(output.Buffer()), usedDefault)
               : encode(page, flags, text, size, defaultChar, output, usedDefault);
}

} // namespace Tarn::Platform::Posix
