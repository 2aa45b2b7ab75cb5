#include "tools/tarnmsg/po_file.h"

#include "tools/tarnmsg/unicode.h"

#include <cctype>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace tarnmsg {

namespace {

struct SyntaxError {
    int line;
    std::string message;
};

int digitValue(char c, int radix) {
    const int value = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : radix;
    return value < radix ? value : -1;
}

std::string toLower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Reads one line of a PO file from left to right.
class Line {
public:
    Line(std::string_view lineText, int lineNumber) : text(lineText), number(lineNumber) { skipSpace(); }

    bool IsAtEnd() const { return position == text.size(); }
    bool IsAtString() const { return !IsAtEnd() && text[position] == '"'; }
    bool IsComment() const { return !IsAtEnd() && text[position] == '#'; }
    int Number() const { return number; }
    std::string_view Rest() const { return text.substr(position); }

    /// The keyword before the string: letters, digits and the brackets of plural forms.
    std::string Keyword() {
        const std::size_t start = position;
        while (!IsAtEnd() && text[position] != '"' && text[position] != ' ' && text[position] != '\t')
            position++;
        const std::string keyword(text.substr(start, position - start));
        skipSpace();
        return keyword;
    }

    /// The strings up to the end of the line, joined and without their escapes.
    std::string Strings() {
        std::string bytes;
        if (!IsAtString())
            fail("a string in quotation marks is missing");
        while (IsAtString())
            readString(bytes);
        if (!IsAtEnd())
            fail("text outside quotation marks");
        return bytes;
    }

private:
    std::string_view text;
    std::size_t position = 0;
    int number;

    [[noreturn]] void fail(const std::string& message) const { throw SyntaxError{number, message}; }

    void skipSpace() {
        while (!IsAtEnd() && std::string_view(" \t\r\f\v").find(text[position]) != std::string_view::npos)
            position++;
    }

    char take() {
        if (IsAtEnd())
            fail("the string has no closing quotation mark");
        return text[position++];
    }

    void readString(std::string& bytes) {
        take();
        for (char c = take(); c != '"'; c = take()) {
            if (c == '\\')
                c = readEscape();
            if (c == 0)
                fail("a text cannot hold the NUL character");
            bytes += c;
        }
        skipSpace();
    }

    char readEscape() {
        static constexpr std::string_view kLetters = "abfnrtv\\\"'?";
        static constexpr std::string_view kMeanings = "\a\b\f\n\r\t\v\\\"'?";
        const char c = take();
        if (const std::size_t index = kLetters.find(c); index != std::string_view::npos)
            return kMeanings[index];
        if (c == 'x')
            return readByte(16, static_cast<int>(text.size()));
        if (digitValue(c, 8) < 0)
            fail(std::string("unknown escape \\") + c);
        position--;
        return readByte(8, 3);
    }

    char readByte(int radix, int mostDigits) {
        int value = 0;
        int digits = 0;
        for (; digits < mostDigits && !IsAtEnd() && digitValue(text[position], radix) >= 0; digits++) {
            value = value * radix + digitValue(text[position++], radix);
            if (value > 0xFF)
                fail("an escape stands for more than one byte");
        }
        if (digits == 0)
            fail("\\x needs hexadecimal digits");
        return static_cast<char>(value);
    }
};

// Assembles entries from lines.
class Reader {
public:
    explicit Reader(const std::string& catalogueName) : fileName(catalogueName) {}

    void Read(const Line& line) {
        if (line.IsAtEnd())
            return;
        if (line.IsComment())
            readComment(line);
        else
            readField(line);
    }

    std::vector<PoEntry> Finish() {
        finishEntry();
        return std::move(entries);
    }

private:
    struct Field {
        std::string bytes;
        int line = 0;
    };

    std::string fileName;
    std::vector<PoEntry> entries;
    std::optional<Field> name;
    std::optional<Field> text;
    bool isFuzzy = false;     // of the entry being read
    bool isNextFuzzy = false; // of the entry after the comments being read
    int headerLine = 0;

    void readComment(const Line& line) {
        if (line.Rest().starts_with("#~")) {
            isNextFuzzy = false; // that entry was obsolete
            return;
        }
        // A comment belongs to the entry after it.
        if (text)
            finishEntry();
        if (line.Rest().starts_with("#,") && line.Rest().find("fuzzy") != std::string_view::npos)
            isNextFuzzy = true;
    }

    void readField(Line line) {
        const std::string keyword = line.IsAtString() ? std::string() : line.Keyword();
        if (keyword.empty())
            continueField(line);
        else if (keyword == "msgid")
            beginName(line);
        else if (keyword == "msgstr")
            beginText(line);
        else if (keyword == "msgctxt")
            throw SyntaxError{line.Number(), "messages have no contexts"};
        else if (keyword == "msgid_plural" || keyword.starts_with("msgstr["))
            throw SyntaxError{line.Number(), "messages have no plural forms"};
        else
            throw SyntaxError{line.Number(), "unknown keyword '" + keyword + "'"};
    }

    void beginName(Line& line) {
        finishEntry();
        name = Field{line.Strings(), line.Number()};
        isFuzzy = isNextFuzzy;
        isNextFuzzy = false;
    }

    void beginText(Line& line) {
        if (!name || text)
            throw SyntaxError{line.Number(), "msgstr without a preceding msgid"};
        text = Field{line.Strings(), line.Number()};
    }

    void continueField(Line& line) {
        if (!name)
            throw SyntaxError{line.Number(), "a string outside an entry"};
        (text ? text : name)->bytes += line.Strings();
    }

    void finishEntry() {
        if (!name)
            return;
        if (!text)
            throw SyntaxError{name->line, "msgid without a following msgstr"};
        const std::optional<std::u16string> converted = ToUtf16(text->bytes);
        if (!converted || !ToUtf16(name->bytes))
            throw SyntaxError{converted ? name->line : text->line, "escapes that do not form UTF-8"};
        if (name->bytes.empty())
            checkHeader();
        else
            entries.push_back(
                {name->bytes, *converted, {fileName, name->line}, {fileName, text->line}, isFuzzy});
        name.reset();
        text.reset();
    }

    void checkHeader() {
        if (headerLine != 0)
            throw SyntaxError{name->line,
                              "a second header; the first is on line " + std::to_string(headerLine)};
        headerLine = name->line;
        const std::string header = toLower(text->bytes);
        const std::size_t position = header.find("charset=");
        if (position == std::string::npos)
            return;
        const std::size_t start = position + 8;
        const std::string charset = header.substr(start, header.find_first_of(" ;\r\n", start) - start);
        if (charset != "utf-8" && charset != "utf8" && charset != "us-ascii" && charset != "charset")
            throw SyntaxError{text->line, "the charset is '" + charset + "'; catalogues must be UTF-8"};
    }
};

void readLines(std::string_view bytes, Reader& reader) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(kByteOrderMark))
        bytes.remove_prefix(kByteOrderMark.size());
    for (int number = 1; !bytes.empty(); number++) {
        const std::size_t end = bytes.find('\n');
        const std::string_view line = bytes.substr(0, end);
        if (!ToUtf16(line))
            throw SyntaxError{number, "bytes that are not UTF-8"};
        reader.Read(Line(line, number));
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    }
}

} // namespace

std::vector<PoEntry> ReadPoFile(const std::string& fileName, Diagnostics& diagnostics) {
    try {
        std::ifstream file(fileName, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        if (file.is_open())
            return ReadPo(bytes, fileName, diagnostics);
        diagnostics.Error({fileName, 1}, "the file cannot be opened");
    } catch (const std::ios_base::failure&) {
        diagnostics.Error({fileName, 1}, "the file cannot be read");
    }
    return {};
}

std::vector<PoEntry> ReadPo(std::string_view bytes, const std::string& fileName, Diagnostics& diagnostics) {
    try {
        Reader reader(fileName);
        readLines(bytes, reader);
        return reader.Finish();
    } catch (const SyntaxError& error) {
        diagnostics.Error({fileName, error.line}, error.message);
    }
    return {};
}

} // namespace tarnmsg
