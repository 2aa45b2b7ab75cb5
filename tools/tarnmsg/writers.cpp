#include "tools/tarnmsg/writers.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace tarnmsg {

namespace {

// The functions of the protocol, the same in every module.
constexpr char kExports[] = R"(
int compare(const char16_t* a, const char16_t* b) {
    while (*a != 0 && *a == *b) {
        a++;
        b++;
    }
    return *a < *b ? -1 : *a > *b;
}

} // namespace

extern "C" {

TARNKIT_MODULE_EXPORT int GetResourceID(const char16_t* name) {
    int first = 0;
    int end = nameCount;
    while (first < end) {
        const int middle = first + (end - first) / 2;
        const int order = compare(name, names[middle].name);
        if (order == 0)
            return names[middle].id;
        if (order < 0)
            end = middle;
        else
            first = middle + 1;
    }
    return 0;
}

TARNKIT_MODULE_EXPORT int NumberOfMessages() { return nameCount; }

TARNKIT_MODULE_EXPORT const char16_t* GetMessageName(int index) { return names[index].name; }

TARNKIT_MODULE_EXPORT int GetMessageSystemVersion() { return 200; }
)";

template<class... Values>
std::string format(const char* pattern, Values... values) {
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), pattern, values...);
    return buffer;
}

bool isPlain(char16_t unit) { return unit >= 0x20 && unit < 0x7F && unit != u'"' && unit != u'\\'; }

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }

unsigned joinSurrogates(char16_t high, char16_t low) {
    return 0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u);
}

// A literal of 16-bit text. Octal escapes have at most three digits, so that a digit may follow them; they
// are for the characters that universal character names cannot express.
std::string quoteForCpp(const std::u16string& text) {
    std::string literal = "u\"";
    for (std::size_t i = 0; i < text.size(); i++) {
        if (isPlain(text[i]))
            literal += static_cast<char>(text[i]);
        else if (text[i] < 0xA0)
            literal += format("\\%03o", static_cast<unsigned>(text[i]));
        else if (isHighSurrogate(text[i])) {
            literal += format("\\U%08X", joinSurrogates(text[i], text[i + 1]));
            i++;
        } else
            literal += format("\\u%04X", static_cast<unsigned>(text[i]));
    }
    return literal + "\"";
}

// A wide string of a resource script, where an escape has at most four digits.
std::string quoteForScript(const std::u16string& text) {
    std::string literal = "L\"";
    for (const char16_t unit : text)
        literal += isPlain(unit) ? std::string(1, static_cast<char>(unit))
                                 : format("\\x%04X", static_cast<unsigned>(unit));
    return literal + "\"";
}

std::string writeHeading(const std::string& origin) {
    return "// Made by tarnmsg from " + origin + "; edit that file instead.\n";
}

std::string writeNameTable(const std::vector<Message>& messages) {
    std::string source = "struct Name {\n    int id;\n    const char16_t* name;\n};\n\n";
    source += "const int nameCount = " + std::to_string(messages.size()) + ";\n";
    source += "const Name names[] = {\n";
    for (const Message& message : messages)
        source += "    {" + std::to_string(message.id) + ", u\"" + message.name + "\"},\n";
    return source + "    {0, u\"\"}, // the end\n};\n";
}

std::string writeStringTable(const Catalogue& catalogue) {
    std::string source = "\nconst Tarn::CResourceString strings[] = {\n";
    for (const auto& [id, text] : StringsOf(catalogue))
        source += "    {" + std::to_string(id) + ", " + quoteForCpp(text) + ", " +
                  std::to_string(text.size()) + "},\n";
    return source + "    {0, u\"\", 0}, // the end\n};\n";
}

// Without plural forms there are as many strings as names.
std::string stringCount(const Catalogue& catalogue) {
    const std::size_t count = StringsOf(catalogue).size();
    return count == catalogue.messages.size() ? "nameCount" : std::to_string(count);
}

std::string joinNumbers(std::initializer_list<int> numbers) {
    std::string text;
    for (const int number : numbers)
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    return text;
}

bool hasPlurals(const Catalogue& catalogue) { return !catalogue.pluralRules.empty(); }

// The tables of plural forms; nothing if there are none.
std::string writePluralTables(const Catalogue& catalogue) {
    if (!hasPlurals(catalogue))
        return {};
    std::string source;
    std::string rules;
    for (std::size_t i = 0; i < catalogue.pluralRules.size(); i++) {
        const std::string name = "formOf" + std::to_string(i);
        source += "\nunsigned long long " + name + "([[maybe_unused]] unsigned long long n) {\n    return " +
                  catalogue.pluralRules[i] + ";\n}\n";
        rules += "    {" + std::to_string(catalogue.numbersOfForms[i]) + ", " + name + "},\n";
    }
    std::map<int, const Message*> plurals;
    for (const Message& message : catalogue.messages)
        if (!message.otherForms.empty())
            plurals.emplace(message.id, &message);
    source += "\nconst Tarn::CPluralRule pluralRules[] = {\n" + rules +
              "};\n\nconst int pluralCount = " + std::to_string(plurals.size()) +
              ";\nconst Tarn::CPluralText pluralTexts[] = {\n";
    for (const auto& [id, message] : plurals)
        source += "    {" +
                  joinNumbers(
                      {id, message->pluralParameter, message->firstFormId, static_cast<int>(message->rule)}) +
                  "},\n";
    return source + "};\n";
}

std::string writePluralExport(const Catalogue& catalogue) {
    if (!hasPlurals(catalogue))
        return {};
    return "\nconst Tarn::CPluralTexts ___TarnkitPlurals = {Tarn::CPluralTexts::kVersion, pluralCount, "
           "pluralTexts, pluralRules};\n";
}

} // namespace

std::map<int, std::u16string> StringsOf(const Catalogue& catalogue) {
    std::map<int, std::u16string> strings;
    for (const Message& message : catalogue.messages) {
        strings.emplace(message.id, message.text);
        for (std::size_t i = 0; i < message.otherForms.size(); i++)
            strings.emplace(message.firstFormId + static_cast<int>(i), message.otherForms[i]);
    }
    return strings;
}

std::string WritePosixSource(const Catalogue& catalogue, const std::string& origin) {
    return writeHeading(origin) + (hasPlurals(catalogue) ? "#include <tarnkit/plural_texts.h>\n" : "") +
           "#include <tarnkit/resource_strings.h>\n\nnamespace {\n\n" + writeNameTable(catalogue.messages) +
           writeStringTable(catalogue) + writePluralTables(catalogue) + kExports +
           "\nconst Tarn::CResourceStrings ___TarnkitStrings = {Tarn::CResourceStrings::kVersion, " +
           stringCount(catalogue) + ", strings};\n" + writePluralExport(catalogue) + "\n} // extern \"C\"\n";
}

std::string WriteWindowsSource(const Catalogue& catalogue, const std::string& origin) {
    return writeHeading(origin) + "#include <tarnkit/export.h>\n" +
           (hasPlurals(catalogue) ? "#include <tarnkit/plural_texts.h>\n" : "") + "\nnamespace {\n\n" +
           writeNameTable(catalogue.messages) + writePluralTables(catalogue) + kExports +
           writePluralExport(catalogue) + "\n} // extern \"C\"\n";
}

std::string WriteResourceScript(const Catalogue& catalogue, const std::string& origin, int languageId) {
    std::string script = writeHeading(origin) + "LANGUAGE " + std::to_string(languageId & 0x3FF) + ", " +
                         std::to_string(languageId >> 10) + "\n";
    if (catalogue.messages.empty())
        return script;
    script += "STRINGTABLE\nBEGIN\n";
    for (const auto& [id, text] : StringsOf(catalogue))
        script += "    " + std::to_string(id) + " " + quoteForScript(text) + "\n";
    return script + "END\n";
}

} // namespace tarnmsg
