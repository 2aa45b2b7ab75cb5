#include "tools/tarnmsg/po_file.h"

#include "tools/tarnmsg/text_files.h"
#include "tools/tarnmsg/unicode.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

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

bool isDigit(char c) { return digitValue(c, 10) >= 0; }

std::string toLower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\f\v";
    const std::size_t start = text.find_first_not_of(kSpace);
    return start == std::string_view::npos ? std::string_view()
                                           : text.substr(start, text.find_last_not_of(kSpace) + 1 - start);
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

// A string that may go on over several lines.
struct Field {
    std::string bytes;
    int line = 0;
    std::vector<std::pair<std::size_t, int>> pieces; // where each line's part begins

    void Add(Line& source) {
        pieces.emplace_back(bytes.size(), source.Number());
        bytes += source.Strings();
    }
    int LineOf(std::size_t position) const {
        const auto after = std::upper_bound(pieces.begin(), pieces.end(), std::pair(position, INT_MAX));
        return std::prev(after)->second;
    }
};

// Assembles entries from lines.
class Reader {
public:
    Reader(const std::string& fileName, Diagnostics& output) : diagnostics(output) { file.name = fileName; }

    void Read(std::string_view bytes, int number) {
        const Line line(bytes, number);
        try {
            if (!ToUtf16(bytes))
                throw SyntaxError{number, "bytes that are not UTF-8"};
            if (line.IsComment())
                readComment(line);
            else if (!line.IsAtEnd())
                readField(line);
        } catch (const SyntaxError& error) {
            report(error);
            if (!line.IsComment())
                skipEntry();
        }
    }

    PoFile Finish() {
        finishEntry();
        for (PoEntry& complete : file.entries)
            complete.rule = file.rule;
        return std::move(file);
    }

private:
    Diagnostics& diagnostics;
    PoFile file;
    // The entry being read.
    std::optional<Field> context;
    std::optional<Field> id;
    std::optional<Field> plural;
    std::vector<Field> texts;
    Field* last = nullptr; // of these
    PoEntry entry;         // what comments say about it
    PoEntry next;          // what they say about the one that follows
    bool isSkipping = false;
    bool hasSkippedId = true;
    int headerLine = 0;

    void report(const SyntaxError& error) { diagnostics.Error({file.name, error.line}, error.message); }

    // Leaves out the rest of an entry with an error.
    void skipEntry() {
        hasSkippedId = id.has_value() || hasSkippedId;
        isSkipping = true;
        resetEntry();
    }

    void resetEntry() {
        context.reset();
        id.reset();
        plural.reset();
        texts.clear();
        last = nullptr;
        entry = PoEntry();
    }

    void readComment(const Line& line) {
        // A comment belongs to the entry after it.
        if (!texts.empty())
            finishEntry();
        const std::string_view comment = line.Rest();
        if (comment.starts_with("#~")) {
            next = PoEntry(); // that entry was obsolete
            file.obsolete.emplace_back(trimmed(comment));
        } else if (comment.starts_with("#,"))
            next.isFuzzy = next.isFuzzy || comment.find("fuzzy") != std::string_view::npos;
        else if (comment.size() == 1 || std::string_view(" \t\r.").find(comment[1]) != std::string_view::npos)
            keepComment(line);
    }

    void keepComment(const Line& line) {
        const std::string_view kept = trimmed(line.Rest());
        next.comments.emplace_back(kept);
        constexpr std::string_view kDirective = "tarnmsg:";
        const std::string_view content = trimmed(kept.substr(kept.starts_with("#.") ? 2 : 1));
        if (!content.starts_with(kDirective))
            return;
        const std::string_view directive = trimmed(content.substr(kDirective.size()));
        if (directive == "other placeholders")
            next.mayHaveOtherPlaceholders = true;
        else if (directive.starts_with("plural %") && directive.size() == 9 && isDigit(directive[8]))
            next.pluralParameter = directive[8] - '0';
        else
            throw SyntaxError{line.Number(),
                              "unknown remark '" + std::string(directive) + "' after tarnmsg:"};
    }

    void readField(Line line) {
        const std::string keyword = line.IsAtString() ? std::string() : line.Keyword();
        if (isSkipping && !isNewEntry(keyword))
            return;
        if (keyword.empty())
            continueField(line);
        else if (keyword == "msgctxt")
            readContext(line);
        else if (keyword == "msgid")
            readId(line);
        else if (keyword == "msgid_plural")
            readPlural(line);
        else if (keyword == "msgstr")
            readText(line);
        else if (keyword.starts_with("msgstr["))
            readForm(keyword, line);
        else
            throw SyntaxError{line.Number(), "unknown keyword '" + keyword + "'"};
    }

    // Whether the entry that is skipped ends before this keyword.
    bool isNewEntry(const std::string& keyword) {
        const bool isId = keyword == "msgid";
        if (keyword != "msgctxt" && !(isId && hasSkippedId)) {
            hasSkippedId = hasSkippedId || isId;
            return false;
        }
        isSkipping = false;
        return true;
    }

    void beginEntry() {
        finishEntry();
        hasSkippedId = false;
        entry = std::exchange(next, PoEntry());
    }

    void begin(Field& field, Line& line) {
        last = &field;
        field.line = line.Number();
        field.Add(line);
    }

    void readContext(Line& line) {
        beginEntry();
        begin(context.emplace(), line);
    }

    void readId(Line& line) {
        if (!context || id)
            beginEntry();
        hasSkippedId = true;
        begin(id.emplace(), line);
    }

    void readText(Line& line) {
        if (!id || !texts.empty())
            throw SyntaxError{line.Number(), "msgstr without a preceding msgid"};
        if (plural)
            throw SyntaxError{line.Number(), "msgstr of an entry with msgid_plural, which needs msgstr[0]"};
        begin(texts.emplace_back(), line);
    }

    void readPlural(Line& line) {
        if (!id || plural || !texts.empty())
            throw SyntaxError{line.Number(), "msgid_plural without a preceding msgid"};
        begin(plural.emplace(), line);
    }

    void readForm(const std::string& keyword, Line& line) {
        const std::string due = "msgstr[" + std::to_string(texts.size()) + "]";
        if (!plural)
            throw SyntaxError{line.Number(), keyword + " without a preceding msgid_plural"};
        if (keyword != due)
            throw SyntaxError{line.Number(), keyword + " where " + due + " is due"};
        begin(texts.emplace_back(), line);
    }

    void continueField(Line& line) {
        if (last == nullptr)
            throw SyntaxError{line.Number(), "a string outside an entry"};
        last->Add(line);
    }

    void finishEntry() {
        if (!context && !id)
            return;
        try {
            completeEntry();
        } catch (const SyntaxError& error) {
            report(error);
        }
        resetEntry();
    }

    void completeEntry() {
        if (!id)
            throw SyntaxError{context->line, "msgctxt without a following msgid"};
        if (texts.empty())
            throw SyntaxError{id->line, "msgid without a following msgstr"};
        for (const auto* const field : {&context, &id, &plural})
            if (*field)
                checkUtf8(**field);
        for (const Field& text : texts)
            checkUtf8(text);
        if (!context && id->bytes.empty() && !plural)
            return readHeader();
        const Field& name = context ? *context : *id;
        entry.name = name.bytes;
        entry.place = {file.name, name.line};
        entry.hasContext = context.has_value();
        if (context)
            entry.original = id->bytes;
        entry.isPlural = plural.has_value();
        if (plural)
            entry.pluralOriginal = plural->bytes;
        for (const Field& text : texts)
            entry.texts.push_back({text.bytes, text.line});
        file.entries.push_back(std::move(entry));
    }

    static void checkUtf8(const Field& field) {
        if (!ToUtf16(field.bytes))
            throw SyntaxError{field.line, "escapes that do not form UTF-8"};
    }

    void readHeader() {
        if (headerLine != 0)
            throw SyntaxError{id->line,
                              "a second header; the first is on line " + std::to_string(headerLine)};
        headerLine = id->line;
        const Field& text = texts.front();
        file.header = text.bytes;
        file.headerComments = std::move(entry.comments);
        readRule(text);
        checkCharset(text);
    }

    void readRule(const Field& text) {
        constexpr std::string_view kName = "\nplural-forms:";
        const std::size_t found = ("\n" + toLower(text.bytes)).find(kName);
        if (found == std::string::npos)
            return;
        const std::size_t start = found + kName.size() - 1;
        const std::string_view value =
            std::string_view(text.bytes).substr(start, text.bytes.find('\n', start) - start);
        if (PluralRule::IsUnfilled(value))
            return;
        try {
            file.rule = std::make_shared<const PluralRule>(PluralRule::Parse(value));
        } catch (const PluralRule::Error& error) {
            report({text.LineOf(start + error.position), "Plural-Forms: " + error.message});
        }
    }

    static void checkCharset(const Field& text) {
        const std::string header = toLower(text.bytes);
        const std::size_t position = header.find("charset=");
        if (position == std::string::npos)
            return;
        const std::size_t start = position + 8;
        const std::string charset = header.substr(start, header.find_first_of(" ;\r\n", start) - start);
        if (charset != "utf-8" && charset != "utf8" && charset != "us-ascii" && charset != "charset")
            throw SyntaxError{text.LineOf(position),
                              "the charset is '" + charset + "'; catalogues must be UTF-8"};
    }
};

void readLines(std::string_view bytes, Reader& reader) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (bytes.starts_with(kByteOrderMark))
        bytes.remove_prefix(kByteOrderMark.size());
    for (int number = 1; !bytes.empty(); number++) {
        const std::size_t end = bytes.find('\n');
        reader.Read(bytes.substr(0, end), number);
        bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    }
}

} // namespace

bool PoEntry::HasTexts() const {
    return !texts.empty() &&
           std::none_of(texts.begin(), texts.end(), [](const PoText& text) { return text.bytes.empty(); });
}

void PoEntry::SetTexts(const std::vector<std::string>& bytes) {
    const int line = texts.empty() ? place.line : texts.front().line;
    texts.clear();
    for (const std::string& text : bytes)
        texts.push_back({text, line});
}

PoFile ReadPoFile(const std::string& fileName, Diagnostics& diagnostics) {
    const std::optional<std::string> bytes = ReadFile(fileName, diagnostics);
    return bytes ? ReadPo(*bytes, fileName, diagnostics) : PoFile{fileName, {}, {}, {}, {}, {}};
}

PoFile ReadPo(std::string_view bytes, const std::string& fileName, Diagnostics& diagnostics) {
    Reader reader(fileName, diagnostics);
    readLines(bytes, reader);
    return reader.Finish();
}

} // namespace tarnmsg
