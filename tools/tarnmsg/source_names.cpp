#include "tools/tarnmsg/source_names.h"

#include <algorithm>
#include <cctype>
#include <optional>

namespace tarnmsg {

namespace {

enum class TKind { kEnd, kName, kText, kComment, kOther };

struct Token {
    TKind kind = TKind::kEnd;
    std::string text; // of a text in 16-bit units what is between the quotation marks, of another one nothing
    int line = 0;

    bool Is(char c) const { return kind == TKind::kOther && text.size() == 1 && text[0] == c; }
};

bool isNamePart(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// Divides a source into tokens. Whatever it holds, the end of the source ends the last one.
class Lexer {
public:
    explicit Lexer(std::string_view bytes) : source(bytes) {}

    Token Next() {
        while (position < source.size() && std::isspace(static_cast<unsigned char>(source[position])) != 0)
            take(1);
        Token token;
        token.line = line;
        if (position == source.size())
            return token;
        const char c = source[position];
        if (source.substr(position).starts_with("//") || source.substr(position).starts_with("/*"))
            return readComment(token);
        if (c == '"' || c == '\'')
            return readQuoted(token, std::string_view());
        token.kind = TKind::kOther;
        std::size_t length = 1;
        if (isNamePart(c)) {
            const bool isNumber = std::isdigit(static_cast<unsigned char>(c)) != 0;
            while (isPart(position + length, isNumber))
                length++;
            token.kind = isNumber ? TKind::kOther : TKind::kName;
        }
        token.text = take(length);
        if (token.kind == TKind::kName && position < source.size() && isPrefix(token.text) &&
            (source[position] == '"' || source[position] == '\''))
            return readQuoted(token, token.text);
        return token;
    }

private:
    std::string_view source;
    std::size_t position = 0;
    int line = 1;

    std::string_view take(std::size_t length) {
        const std::string_view taken = source.substr(position, length);
        line += static_cast<int>(std::count(taken.begin(), taken.end(), '\n'));
        position += taken.size();
        return taken;
    }

    std::string_view takeUntil(std::string_view end) {
        const std::size_t found = source.find(end, position);
        const std::string_view taken = take(found == std::string_view::npos ? found : found - position);
        take(end.size());
        return taken;
    }

    // Numbers may have apostrophes between their digits.
    bool isPart(std::size_t place, bool ofNumber) const {
        return place < source.size() &&
               (isNamePart(source[place]) || (ofNumber && (source[place] == '\'' || source[place] == '.')));
    }

    static bool isPrefix(std::string_view name) {
        for (const std::string_view prefix : {"u", "U", "L", "u8", "R", "uR", "UR", "LR", "u8R"})
            if (name == prefix)
                return true;
        return false;
    }

    Token readComment(Token& token) {
        token.kind = TKind::kComment;
        const bool isLine = source[position + 1] == '/';
        take(2);
        token.text = takeUntil(isLine ? "\n" : "*/");
        return token;
    }

    Token readQuoted(Token& token, std::string_view prefix) {
        const bool isWide = prefix.starts_with('u') && !prefix.starts_with("u8");
        token.kind = isWide && source[position] == '"' ? TKind::kText : TKind::kOther;
        const std::string text = prefix.ends_with('R') ? readRaw() : readEscaped();
        token.text = token.kind == TKind::kText ? text : std::string();
        return token;
    }

    std::string readRaw() {
        take(1);
        const std::string delimiter(takeUntil("("));
        return std::string(takeUntil(")" + delimiter + "\""));
    }

    std::string readEscaped() {
        const char quote = take(1)[0];
        const std::size_t start = position;
        while (position < source.size() && source[position] != quote && source[position] != '\n')
            take(source[position] == '\\' ? 2 : 1);
        const std::string text(source.substr(start, position - start));
        take(position < source.size() && source[position] == quote ? 1 : 0);
        return text;
    }
};

// The string in quotation marks that a comment consists of; no value if it is anything else.
std::optional<std::string> textOfComment(std::string_view comment) {
    const std::size_t first = comment.find_first_not_of(" \t/<!");
    const std::size_t last = comment.find_last_not_of(" \t\r");
    if (first == std::string_view::npos || last <= first || comment[first] != '"' || comment[last] != '"')
        return std::nullopt;
    std::string text;
    for (std::size_t i = first + 1; i < last; i++) {
        if (comment[i] == '"')
            return std::nullopt;
        const bool isEscape = comment[i] == '\\' && ++i < last;
        text += isEscape && comment[i] == 'n' ? '\n' : isEscape && comment[i] == 't' ? '\t' : comment[i];
    }
    return text;
}

class Finder {
public:
    Finder(std::string_view source, const std::string& name, const MacroArguments& arguments)
        : fileName(name), macros(arguments) {
        Lexer lexer(source);
        Token token;
        do {
            token = lexer.Next();
            if (token.kind == TKind::kComment)
                comments.push_back(token);
            else if (token.kind == TKind::kText && !tokens.empty() && tokens.back().kind == TKind::kText)
                tokens.back().text += token.text; // literals side by side are one
            else
                tokens.push_back(token);
        } while (token.kind != TKind::kEnd);
    }

    std::vector<SourceMessage> Find() {
        for (std::size_t i = 0; i < tokens.size(); i++) {
            if (tokens[i].kind != TKind::kName)
                continue;
            const auto macro = macros.find(tokens[i].text);
            if (tokens[i].text == "CMessage" || tokens[i].text == "CError")
                readDeclaration(i + 1);
            else if (macro != macros.end() && (i == 0 || tokens[i - 1].text != "define"))
                readMacro(i + 1, macro->second);
        }
        for (const Token& comment : comments)
            giveText(comment);
        return std::move(messages);
    }

private:
    std::string fileName;
    const MacroArguments& macros;
    std::vector<Token> tokens; // without comments; the end is the last one
    std::vector<Token> comments;
    std::vector<SourceMessage> messages;

    void add(const Token& name) { messages.push_back({name.text, {fileName, name.line}, {}}); }

    bool isOpening(std::size_t i) const { return tokens[i].Is('(') || tokens[i].Is('{'); }

    // The place behind the bracket that closes the one at `i`.
    std::size_t behindBracket(std::size_t i) const {
        int depth = 0;
        for (; tokens[i].kind != TKind::kEnd; i++) {
            if (isOpening(i) || tokens[i].Is('['))
                depth++;
            else if ((tokens[i].Is(')') || tokens[i].Is('}') || tokens[i].Is(']')) && --depth == 0)
                return i + 1;
        }
        return i;
    }

    // What follows the class: objects with their initialisers, an array of them, or a nameless one.
    void readDeclaration(std::size_t i) {
        if (tokens[i].Is('>'))
            i++;
        do {
            if (tokens[i].Is(','))
                i++;
            const bool isNamed = tokens[i].kind == TKind::kName;
            if (isNamed)
                i++;
            if (tokens[i].Is('['))
                i = behindBracket(i);
            if (tokens[i].Is('='))
                i++;
            if (!isOpening(i))
                return;
            const std::size_t end = behindBracket(i);
            if (tokens[i + 1].kind == TKind::kText)
                add(tokens[i + 1]);
            else if (isNamed && isOpening(i + 1))
                readArray(i + 1, end);
            i = end;
        } while (tokens[i].Is(','));
    }

    void readArray(std::size_t i, std::size_t end) {
        for (; i + 1 < end; i++)
            if (isOpening(i) && tokens[i + 1].kind == TKind::kText && tokens[i - 1].kind != TKind::kName)
                add(tokens[i + 1]);
    }

    void readMacro(std::size_t i, int wanted) {
        if (!tokens[i].Is('('))
            return;
        const std::size_t end = behindBracket(i);
        int argument = 1;
        for (i++; i + 1 < end && argument < wanted; i = isOpening(i) ? behindBracket(i) : i + 1)
            argument += tokens[i].Is(',') ? 1 : 0;
        if (i + 1 < end && argument == wanted && tokens[i].kind != TKind::kOther)
            add(tokens[i]);
    }

    // Gives the text to the last message on the comment's line.
    void giveText(const Token& comment) {
        const std::optional<std::string> text = textOfComment(comment.text);
        const auto message = std::find_if(messages.rbegin(), messages.rend(), [&](const SourceMessage& m) {
            return m.place.line == comment.line;
        });
        if (text && message != messages.rend())
            message->text = *text;
    }
};

} // namespace

std::vector<SourceMessage> FindMessages(std::string_view source, const std::string& fileName,
                                        const MacroArguments& macros) {
    return Finder(source, fileName, macros).Find();
}

} // namespace tarnmsg
