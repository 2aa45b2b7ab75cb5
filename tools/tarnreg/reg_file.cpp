#include "tools/tarnreg/reg_file.h"

#include "tools/tarnreg/key_name.h"
#include "tools/tarnreg/messages.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/string.h>
#include <tarnkit/text_of_values.h>

#include <algorithm>
#include <cstring>

namespace tarnreg {

using namespace Tarn;

namespace {

constexpr unsigned kAnsi = 0;
constexpr unsigned kUtf8 = 65001;

constexpr std::u16string_view kHeader5 = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view kHeader4 = u"REGEDIT4";
constexpr std::u16string_view kLineEnd = u"\r\n";

// A line of bytes goes on in the next one when it has become this long.
constexpr std::size_t kLongestHexLine = 77;

constexpr char16_t kReplacement = 0xFFFD;

bool isTextType(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

std::u16string fromText(const CUnicodeString& text) {
    return {text.Ptr(), static_cast<std::size_t>(text.GetLength())};
}

std::string bytesOf(std::u16string_view units) {
    std::string bytes;
    bytes.reserve(2 * units.size());
    for (const char16_t unit : units) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

std::u16string unitsOf(std::string_view bytes) {
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       static_cast<unsigned char>(bytes[i + 1]) << 8);
    return units;
}

// Both conversions stop at a zero, so texts with zeros are converted piece by piece. Each returns false if
// something is lost.
bool decode(std::string_view bytes, unsigned codePage, std::u16string& result) {
    result.clear();
    for (std::size_t start = 0;; start++) {
        const std::string piece(bytes.substr(start, bytes.find('\0', start) - start));
        const std::u16string text = fromText(CUnicodeString(piece.c_str(), codePage));
        const bool isDamaged =
            text.find(kReplacement) != text.npos && piece.find("\xEF\xBF\xBD") == piece.npos;
        if (text.empty() != piece.empty() || isDamaged)
            return false;
        result += text;
        start += piece.size();
        if (start >= bytes.size())
            return true;
        result += u'\0';
    }
}

bool encode(std::u16string_view units, std::string& result) {
    result.clear();
    for (std::size_t start = 0;; start++) {
        const std::u16string piece(units.substr(start, units.find(u'\0', start) - start));
        const CString bytes(ToText(piece), static_cast<int>(piece.size()), kAnsi);
        const std::string text(bytes.Ptr(), static_cast<std::size_t>(bytes.GetLength()));
        std::u16string back;
        if (!decode(text, kAnsi, back) || back != piece)
            return false;
        result += text;
        start += piece.size();
        if (start >= units.size())
            return true;
        result += '\0';
    }
}

// Reading. ------------------------------------------------------------------------------------------------

class Parser {
public:
    Parser(std::u16string_view contents, const CUnicodeString& name) : text(contents), fileName(name) {}

    std::vector<Key> Parse() {
        const std::u16string_view header = restOfLine();
        const std::size_t end = header.find_last_not_of(u" \t");
        const std::u16string_view trimmed = header.substr(0, end == header.npos ? 0 : end + 1);
        if (trimmed != kHeader5 && trimmed != kHeader4)
            fail(line, MSG_TARNREG_NO_HEADER);
        isVersion4 = trimmed == kHeader4;
        takeLine(header);
        while (skipToContents()) {
            if (text[place] == u'[')
                parseKey();
            else
                parseValue();
        }
        return std::move(keys);
    }

private:
    [[noreturn]] void fail(int where, const CMessage& reason) const {
        GenCheck(ERR_TARNREG_BAD_FILE, fileName, UnicodeStr(where), reason.UnicodeStr());
        std::abort(); // checks throw here
    }

    bool isAtEnd() const { return place == text.size(); }
    char16_t current() const { return isAtEnd() ? u'\0' : text[place]; }
    bool isAtLineEnd() const { return isAtEnd() || text[place] == u'\r' || text[place] == u'\n'; }

    std::u16string_view restOfLine() const {
        const std::u16string_view rest = text.substr(place);
        return rest.substr(0, rest.find_first_of(kLineEnd));
    }
    void takeLineEnd() {
        if (isAtEnd())
            return;
        if (text[place] == u'\r' && place + 1 < text.size() && text[place + 1] == u'\n')
            place++;
        place++;
        line++;
    }
    void takeLine(std::u16string_view rest) {
        place += rest.size();
        takeLineEnd();
    }
    void skipSpaces() {
        while (current() == u' ' || current() == u'\t')
            place++;
    }
    bool take(char16_t unit) {
        if (isAtEnd() || text[place] != unit)
            return false;
        place++;
        return true;
    }
    bool takeWord(std::u16string_view word) {
        const std::u16string_view found = text.substr(place, word.size());
        const bool isHere = std::equal(found.begin(), found.end(), word.begin(), word.end(),
                                       [](char16_t a, char16_t b) { return a == b || (a | 0x20) == b; });
        if (isHere)
            place += word.size();
        return isHere;
    }

    // Skips empty lines and comments.
    bool skipToContents() {
        for (skipSpaces(); isAtLineEnd() || text[place] == u';'; skipSpaces()) {
            if (isAtEnd())
                return false;
            takeLine(restOfLine());
        }
        return true;
    }
    void endLine(int where) {
        skipSpaces();
        if (!isAtLineEnd() && text[place] != u';')
            fail(where, MSG_TARNREG_NO_LINE_END);
        takeLine(restOfLine());
    }

    // The name of a key may contain brackets, so the last one of the line ends it.
    void parseKey() {
        const std::u16string_view rest = restOfLine();
        const std::size_t end = rest.rfind(u']');
        if (end == rest.npos)
            fail(line, MSG_TARNREG_BAD_KEY_LINE);
        Key key;
        key.line = line;
        key.isDeleted = rest[1] == u'-';
        const std::size_t start = key.isDeleted ? 2 : 1;
        KeyName name;
        if (end < start || !ParseKeyName(rest.substr(start, end - start), name) ||
            (key.isDeleted && name.path.empty()))
            fail(line, MSG_TARNREG_BAD_KEY_LINE);
        key.path = name.Full();
        keys.push_back(std::move(key));
        place += end + 1;
        endLine(line);
    }

    void parseValue() {
        Value value;
        value.line = line;
        if (current() == u'"')
            value.name = parseQuoted();
        else if (!take(u'@'))
            fail(line, MSG_TARNREG_UNKNOWN_LINE);
        skipSpaces();
        if (!take(u'='))
            fail(value.line, MSG_TARNREG_NO_EQUALS_SIGN);
        if (keys.empty() || keys.back().isDeleted)
            fail(value.line, MSG_TARNREG_VALUE_WITHOUT_KEY);
        if (value.name.size() > kLongestValueName)
            fail(value.line, MSG_TARNREG_NAME_TOO_LONG);
        skipSpaces();
        parseData(value);
        endLine(line);
        keys.back().values.push_back(std::move(value));
    }

    void parseData(Value& value) {
        if (take(u'-'))
            value.isDeleted = true;
        else if (current() == u'"') {
            value.type = REG_SZ;
            value.data = bytesOf(parseQuoted() + u'\0');
        } else if (takeWord(u"dword:")) {
            value.type = REG_DWORD;
            skipSpaces();
            const DWORD number = parseHex(8);
            for (int shift = 0; shift < 32; shift += 8)
                value.data += static_cast<char>(number >> shift & 0xFF);
        } else if (takeWord(u"hex")) {
            value.type = REG_BINARY;
            if (take(u'(')) {
                value.type = parseHex(8);
                if (!take(u')'))
                    fail(line, MSG_TARNREG_BAD_DATA);
            }
            if (!take(u':'))
                fail(line, MSG_TARNREG_BAD_DATA);
            parseBytes(value);
        } else
            fail(line, MSG_TARNREG_BAD_DATA);
    }

    void parseBytes(Value& value) {
        const int start = line;
        for (;;) {
            skipSpaces();
            if (take(u'\\')) {
                endLine(line);
                for (skipSpaces(); current() == u';'; skipSpaces())
                    takeLine(restOfLine());
                continue;
            }
            if (isAtLineEnd() || text[place] == u';')
                break;
            value.data += static_cast<char>(parseHex(2));
            skipSpaces();
            if (!take(u',') && current() != u'\\')
                break;
        }
        std::u16string units;
        if (isVersion4 && isTextType(value.type)) {
            if (!decode(value.data, kAnsi, units))
                fail(start, MSG_TARNREG_BAD_TEXT);
            value.data = bytesOf(units);
        }
    }

    DWORD parseHex(int mostDigits) {
        DWORD number = 0;
        int digits = 0;
        for (;; digits++) {
            const char16_t unit = current();
            const DWORD letter = unit | 0x20u;
            if (unit >= u'0' && unit <= u'9')
                number = number << 4 | (unit - u'0');
            else if (letter >= 'a' && letter <= 'f')
                number = number << 4 | (letter - 'a' + 10);
            else
                break;
            place++;
        }
        if (digits == 0 || digits > mostDigits)
            fail(line, MSG_TARNREG_BAD_DATA);
        return number;
    }

    std::u16string parseQuoted() {
        const int start = line;
        std::u16string result;
        for (place++; !take(u'"');) {
            if (isAtEnd())
                fail(start, MSG_TARNREG_NO_QUOTE);
            if (isAtLineEnd()) { // a text with a line break in it
                const std::size_t first = place;
                takeLineEnd();
                result += text.substr(first, place - first);
                continue;
            }
            char16_t unit = text[place++];
            if (unit == u'\\') {
                constexpr std::u16string_view kEscapes = u"\\\"nr0";
                constexpr std::u16string_view kMeanings = {u"\\\"\n\r\0", 5};
                const std::size_t which = isAtEnd() ? kEscapes.npos : kEscapes.find(text[place]);
                if (which == kEscapes.npos)
                    fail(line, MSG_TARNREG_BAD_ESCAPE);
                unit = kMeanings[which];
                place++;
            }
            if (unit == 0 && text[place - 1] != u'0')
                fail(line, MSG_TARNREG_BAD_TEXT);
            result += unit;
        }
        return result;
    }

    const std::u16string_view text;
    const CUnicodeString fileName;
    std::size_t place = 0;
    int line = 1;
    bool isVersion4 = false;
    std::vector<Key> keys;
};

// Writing. ------------------------------------------------------------------------------------------------

std::u16string quoted(std::u16string_view text) {
    std::u16string result = u"\"";
    for (const char16_t unit : text) {
        if (unit == u'\\' || unit == u'"' || unit == u'\n' || unit == u'\r')
            result += u'\\';
        result += unit == u'\n' ? u'n' : unit == u'\r' ? u'r' : unit;
    }
    return result + u'"';
}

// Whether it is a text with one terminator, at its end, and without line breaks.
bool isPlainText(const Value& value) {
    const std::u16string units = unitsOf(value.data);
    return value.type == REG_SZ && value.data.size() % 2 == 0 && !units.empty() &&
           units.find_first_of(std::u16string_view(u"\0\r\n", 3)) == units.size() - 1 && units.back() == 0;
}

std::u16string hexOf(DWORD number, int digits) {
    std::u16string text;
    for (; number != 0 || digits > 0; number >>= 4, digits--)
        text.insert(text.begin(), u"0123456789abcdef"[number & 15]);
    return text;
}

std::u16string linesOf(const Value& value, std::string_view data) {
    std::u16string lines = value.name.empty() ? u"@" : quoted(value.name);
    lines += u'=';
    if (value.isDeleted)
        return lines + u"-";
    if (isPlainText(value))
        return lines + quoted(std::u16string_view(unitsOf(data)).substr(0, data.size() / 2 - 1));
    if (value.type == REG_DWORD && data.size() == 4) {
        const std::u16string units = unitsOf(data);
        return lines + u"dword:" + hexOf(static_cast<DWORD>(units[1]) << 16 | units[0], 8);
    }
    lines += value.type == REG_BINARY ? u"hex:" : u"hex(" + hexOf(value.type, 1) + u"):";
    std::size_t length = lines.size();
    for (std::size_t i = 0; i < data.size(); i++) {
        lines += hexOf(static_cast<unsigned char>(data[i]), 2);
        if (i + 1 == data.size())
            break;
        lines += u',';
        length += 3;
        if (length >= kLongestHexLine) {
            lines += u"\\\r\n  ";
            length = 2;
        }
    }
    return lines;
}

std::u16string headOf(const Key& key) { return (key.isDeleted ? u"[-" : u"[") + key.path + u"]"; }

[[noreturn]] void refuse(const Key& key, const Value* value) {
    const CUnicodeString name = value == nullptr ? CUnicodeString() : u"\\" + ToText(value->name);
    GenCheck(ERR_TARNREG_CANT_EXPORT, ToText(key.path) + name);
    std::abort(); // checks throw here
}

// The lines of a value in version 4. Texts that are written as bytes are those of the code page there, too.
std::string ansiLinesOf(const Key& key, const Value& value) {
    std::string data = value.data;
    if (isTextType(value.type) && !isPlainText(value) &&
        (data.size() % 2 != 0 || !encode(unitsOf(value.data), data)))
        refuse(key, &value);
    std::string lines;
    if (!encode(linesOf(value, data), lines))
        refuse(key, &value);
    return lines;
}

} // namespace

CUnicodeString ToText(std::u16string_view text) {
    CUnicodeString result;
    std::copy(text.begin(), text.end(), result.GetBufferSetLength(static_cast<int>(text.size())));
    return result;
}

std::vector<Key> ParseRegFile(std::string_view bytes, const CUnicodeString& fileName) {
    std::u16string text;
    bool isSound = true;
    if (bytes.starts_with("\xFF\xFE")) {
        isSound = bytes.size() % 2 == 0;
        text = unitsOf(bytes.substr(2));
    } else if (bytes.starts_with("\xEF\xBB\xBF"))
        isSound = decode(bytes.substr(3), kUtf8, text);
    else
        isSound = decode(bytes, kAnsi, text);
    if (!isSound)
        GenCheck(ERR_TARNREG_BAD_FILE, fileName, u"1", MSG_TARNREG_BAD_TEXT.UnicodeStr());
    return Parser(text, fileName).Parse();
}

std::u16string LinesOf(const Key& key) {
    std::u16string lines = headOf(key) + u"\r\n";
    for (const Value& value : key.values)
        lines += linesOf(value, value.data) + u"\r\n";
    return lines;
}

std::string WriteRegFile(const std::vector<Key>& keys, Version version) {
    const bool isVersion4 = version == Version::Four;
    std::string file =
        isVersion4 ? "REGEDIT4\r\n\r\n" : "\xFF\xFE" + bytesOf(kHeader5) + bytesOf(u"\r\n\r\n");
    for (const Key& key : keys) {
        std::string head;
        if (key.path.find_first_of(kLineEnd) != key.path.npos || (isVersion4 && !encode(headOf(key), head)))
            refuse(key, nullptr);
        if (!isVersion4) {
            file += bytesOf(LinesOf(key) + u"\r\n");
            continue;
        }
        file += head + "\r\n";
        for (const Value& value : key.values)
            file += ansiLinesOf(key, value) + "\r\n";
        file += "\r\n";
    }
    return file;
}

} // namespace tarnreg
