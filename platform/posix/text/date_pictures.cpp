#include "platform/posix/text/date_pictures.h"

#include <algorithm>

namespace Tarn::Platform::Posix {
namespace {

using View = std::u16string_view;

// A format may refer to others; none that comes from a locale refers to itself.
constexpr int kDeepestFormat = 3;
constexpr View kHalfDayTime = u"%I:%M:%S %p";
constexpr View kTimeCodes = u"HIklMpPrRSTXsZz";

constexpr struct {
    char16_t code;
    View padded;
    View unpadded;
} kLetters[] = {
    {u'd', u"dd", u"d"},    {u'e', u"d", u"d"},       {u'm', u"MM", u"M"},      {u'b', u"MMM", u"MMM"},
    {u'h', u"MMM", u"MMM"}, {u'B', u"MMMM", u"MMMM"}, {u'a', u"ddd", u"ddd"},   {u'A', u"dddd", u"dddd"},
    {u'y', u"yy", u"yy"},   {u'Y', u"yyyy", u"yyyy"}, {u'G', u"yyyy", u"yyyy"}, {u'H', u"HH", u"H"},
    {u'k', u"H", u"H"},     {u'I', u"hh", u"h"},      {u'l', u"h", u"h"},       {u'M', u"mm", u"mm"},
    {u'S', u"ss", u"ss"},   {u'p', u"tt", u"tt"},     {u'P', u"tt", u"tt"},
};
constexpr std::size_t kAbbreviated = 3; // letters for an abbreviated name; one more means the full name

constexpr struct {
    char16_t code;
    View format;
} kComposites[] = {
    {u'D', u"%m/%d/%y"}, {u'F', u"%Y-%m-%d"}, {u'R', u"%H:%M"},
    {u'T', u"%H:%M:%S"}, {u'n', u" "},        {u't', u" "},
};

constexpr View kBlanks = u" \u00A0\u202F"; // the latter two do not break

bool isLetter(char16_t unit) { return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z'); }

/// A conversion in a format: `%`, flags and modifiers, and the code.
struct Conversion {
    char16_t code = 0;
    bool isUnpadded = false;
    bool isOfEra = false;
};

/// Removes a conversion from the start of a format and returns it.
Conversion takeConversion(View& format) {
    Conversion conversion;
    format.remove_prefix(1);
    while (!format.empty() && conversion.code == 0) {
        const char16_t unit = format.front();
        format.remove_prefix(1);
        if (unit == u'-' || unit == u'_')
            conversion.isUnpadded = true;
        else if (unit == u'E')
            conversion.isOfEra = true;
        else if (View(u"O^#0").find(unit) == View::npos)
            conversion.code = unit;
    }
    return conversion;
}

/// Removes the text up to the next blank, and that blank, from the start of a format; returns it.
View takeWord(View& format) {
    const std::size_t end = format.find_first_of(kBlanks);
    const View word = format.substr(0, end);
    format.remove_prefix(end == View::npos ? format.size() : end + 1);
    return word;
}

bool hasTime(View word) {
    for (std::size_t start = word.find(u'%'); start != View::npos; start = word.find(u'%')) {
        word.remove_prefix(start);
        if (kTimeCodes.find(takeConversion(word).code) != View::npos)
            return true;
    }
    return false;
}

class Translator {
public:
    Translator(const DateFormats& formatsOfLocale, bool writesNamesInFull)
        : formats(formatsOfLocale), inFull(writesNamesInFull) {}

    void Translate(View format) {
        if (depth == kDeepestFormat)
            return;
        depth++;
        while (!format.empty()) {
            if (format.front() == u'%') {
                translate(takeConversion(format));
                continue;
            }
            putText(format.front());
            format.remove_prefix(1);
        }
        depth--;
    }

    U16String Finish() {
        closeQuote();
        return std::move(picture);
    }

private:
    void translate(Conversion conversion) {
        if (conversion.code == u'x')
            return Translate(formats.date);
        if (conversion.code == u'X')
            return Translate(formats.time);
        if (conversion.code == u'r')
            return Translate(formats.halfDayTime.empty() ? kHalfDayTime : View(formats.halfDayTime));
        for (const auto& [code, format] : kComposites)
            if (code == conversion.code)
                return Translate(format);
        for (const auto& [code, padded, unpadded] : kLetters)
            if (code == conversion.code)
                put(conversion.isUnpadded ? unpadded : padded);
        if (conversion.code == u'C' && conversion.isOfEra)
            put(u"gg");
    }

    void put(View letters) {
        closeQuote();
        putBlankIfDue();
        picture += letters;
        if (inFull && letters.size() == kAbbreviated)
            picture += letters.front();
    }

    void putText(char16_t unit) {
        if (kBlanks.find(unit) != View::npos) {
            isBlankDue = true;
            return;
        }
        const bool needsQuote = isLetter(unit) || unit == u'\'';
        if (!needsQuote || isBlankDue)
            closeQuote();
        putBlankIfDue();
        if (needsQuote && !isQuoting)
            picture += u'\'';
        isQuoting = needsQuote;
        picture += unit;
        if (unit == u'\'')
            picture += unit;
    }

    void closeQuote() {
        if (isQuoting)
            picture += u'\'';
        isQuoting = false;
    }

    void putBlankIfDue() {
        if (isBlankDue && !picture.empty())
            picture += u' ';
        isBlankDue = false;
    }

    const DateFormats& formats;
    const bool inFull;
    int depth = 0;
    bool isBlankDue = false;
    bool isQuoting = false;
    U16String picture;
};

} // namespace

U16String ShortDatePicture(const DateFormats& formats) {
    Translator translator(formats, false);
    translator.Translate(formats.date);
    return translator.Finish();
}

U16String TimePicture(const DateFormats& formats) {
    Translator translator(formats, false);
    translator.Translate(formats.time);
    return translator.Finish();
}

U16String LongDatePicture(const DateFormats& formats) {
    U16String date;
    for (View rest = formats.both; !rest.empty();) {
        const View word = takeWord(rest);
        if (!hasTime(word))
            (date += word) += u' ';
    }
    while (!date.empty() && View(u" ,\u060C").find(date.back()) != View::npos)
        date.pop_back();
    if (date.find(u'%') == U16String::npos) // date and time form one word
        date = formats.date;
    Translator translator(formats, true);
    translator.Translate(date);
    return translator.Finish();
}

std::u16string_view TakeElement(std::u16string_view& picture) {
    const char16_t first = picture.front();
    std::size_t length = 1;
    if (first == u'\'') {
        // Two quotes stand for one and do not end the text.
        while (length < picture.size() && (picture[length] != u'\'' || picture.substr(length, 2) == u"''"))
            length += picture[length] == u'\'' ? 2 : 1;
        length = std::min(length + 1, picture.size());
    } else if (isLetter(first)) {
        length = std::min(picture.find_first_not_of(first), picture.size());
    }
    const View element = picture.substr(0, length);
    picture.remove_prefix(length);
    return element;
}

U16String Unquoted(std::u16string_view quoted) {
    U16String text;
    for (std::size_t i = 1; i < quoted.size(); i++) {
        if (quoted[i] != u'\'')
            text += quoted[i];
        else if (++i < quoted.size())
            text += u'\'';
    }
    return text;
}

} // namespace Tarn::Platform::Posix
