#include "tools/tarnmsg/po_writer.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace tarnmsg {

namespace {

std::string quote(const std::string& text) {
    std::string literal = "\"";
    for (const char c : text) {
        const std::size_t index = std::string_view("\a\b\f\n\r\t\v\\\"").find(c);
        char escape[8] = {c};
        if (index != std::string_view::npos) {
            escape[0] = '\\';
            escape[1] = "abfnrtv\\\""[index];
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            std::snprintf(escape, sizeof(escape), "\\%03o", static_cast<unsigned>(c));
        literal += escape;
    }
    return literal + "\"\n";
}

// A field; a text of several lines stands below its keyword, one line each.
std::string field(const std::string& keyword, const std::string& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string::npos || end + 1 == text.size())
        return keyword + " " + quote(text);
    std::string lines = keyword + " \"\"\n";
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t next = std::min(text.find('\n', start), text.size() - 1) + 1;
        lines += quote(text.substr(start, next - start));
        start = next;
    }
    return lines;
}

std::string fieldsOf(const PoEntry& entry) {
    std::string fields = entry.hasContext ? field("msgctxt", entry.name) + field("msgid", entry.original)
                                          : field("msgid", entry.name);
    if (entry.isPlural)
        fields += field("msgid_plural", entry.pluralOriginal);
    for (std::size_t i = 0; i < entry.texts.size(); i++)
        fields +=
            field(entry.isPlural ? "msgstr[" + std::to_string(i) + "]" : "msgstr", entry.texts[i].bytes);
    return fields;
}

} // namespace

std::string WriteHeader(const std::string& text, const std::string& project, bool hasPlurals) {
    if (!text.empty())
        return field("msgid", "") + field("msgstr", text);
    return "#, fuzzy\n" + field("msgid", "") +
           field("msgstr", "Project-Id-Version: " + project +
                               "\n"
                               "PO-Revision-Date: YEAR-MO-DA HO:MI+ZONE\n"
                               "Last-Translator: FULL NAME <EMAIL@ADDRESS>\n"
                               "Language-Team: LANGUAGE <LL@li.org>\n"
                               "Language: \n"
                               "MIME-Version: 1.0\n"
                               "Content-Type: text/plain; charset=UTF-8\n"
                               "Content-Transfer-Encoding: 8bit\n" +
                               (hasPlurals ? "Plural-Forms: nplurals=INTEGER; plural=EXPRESSION;\n" : ""));
}

std::string WriteEntry(const PoEntry& entry, const std::vector<Place>& references) {
    std::string lines = "\n";
    for (const std::string& comment : entry.comments)
        lines += comment + "\n";
    for (const Place& place : references)
        lines += "#: " + place.file + ":" + std::to_string(place.line) + "\n";
    if (entry.isFuzzy)
        lines += "#, fuzzy\n";
    return lines + fieldsOf(entry);
}

std::string WriteObsolete(const PoEntry& entry) {
    std::string lines = "\n";
    const std::string fields = fieldsOf(entry);
    for (std::size_t start = 0; start < fields.size();) {
        const std::size_t next = fields.find('\n', start) + 1;
        lines += "#~ " + fields.substr(start, next - start);
        start = next;
    }
    return lines;
}

} // namespace tarnmsg
