#include "tools/tarnmsg/template.h"

#include "tools/tarnmsg/catalogue.h"
#include "tools/tarnmsg/po_writer.h"
#include "tools/tarnmsg/text_files.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <utility>

namespace tarnmsg {

namespace {

// How many letters must be inserted, removed or exchanged to make `b` of `a`.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); i++) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); j++) {
            const std::size_t exchanged = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

// The value of a field of a header; empty if it is not there.
std::string fieldOf(const std::string& header, const std::string& name) {
    const std::string lines = "\n" + header;
    const std::size_t start = lines.find("\n" + name + ": ");
    if (start == std::string::npos)
        return {};
    const std::size_t value = start + name.size() + 3;
    return lines.substr(value, lines.find('\n', value) - value);
}

// A translator's comment on the original is the developer's for those who translate it.
std::string forTranslators(const std::string& comment) {
    return comment.starts_with("#.") ? comment : "#." + comment.substr(1);
}

std::string linesOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

struct SourceName {
    std::vector<Place> places;
    std::string text;
};

class Extraction {
public:
    Extraction(const ExtractOptions& given, Diagnostics& output) : options(given), diagnostics(output) {
        for (const std::string& name : options.originals)
            addOriginal(ReadPoFile(name, diagnostics));
        for (const std::string& name : options.sources)
            addSource(name);
    }

    void Check(bool mayBeUndefined) const {
        for (const std::string& name : order)
            if (!options.originals.empty() && !isOriginal(name))
                reportUndefined(name, mayBeUndefined);
        for (const PoEntry& entry : entries)
            if (options.isListingUnused && used.count(entry.name) == 0 &&
                entry.name != "CURRENT_LANGUAGE_NAME")
                diagnostics.Warning(entry.place, "no source uses '" + entry.name + "'");
    }

    std::string WriteUndefined() const {
        std::string catalogue = WriteHeader({}, project);
        for (const std::string& name : order)
            if (!isOriginal(name)) {
                PoEntry entry;
                entry.name = name;
                entry.SetTexts({used.at(name).text});
                catalogue += WriteEntry(entry, used.at(name).places);
            }
        return catalogue;
    }

    std::string WriteTemplate() const {
        std::string catalogue = WriteHeader({}, project, hasPlurals());
        for (PoEntry entry : entries) {
            entry.SetTexts(std::vector<std::string>(entry.isPlural ? 2 : 1));
            catalogue += WriteEntry(entry, placesOf(entry.name));
        }
        return catalogue;
    }

    std::string WriteTranslation() const {
        PoFile translation = ReadPoFile(options.translation, diagnostics);
        std::map<std::string, const PoEntry*> translated;
        for (const PoEntry& entry : translation.entries)
            if (!translated.emplace(entry.name, &entry).second)
                diagnostics.Error(entry.place, "the name '" + entry.name + "' is already defined");
        std::string catalogue =
            linesOf(translation.headerComments) + WriteHeader(translation.header, project);
        for (const PoEntry& entry : entries) {
            const auto found = translated.find(entry.name);
            catalogue += WriteEntry(translate(entry, found == translated.end() ? PoEntry() : *found->second,
                                              translation.NumberOfForms()),
                                    placesOf(entry.name));
        }
        for (const PoEntry& entry : translation.entries)
            if (!isOriginal(entry.name))
                catalogue += WriteObsolete(entry);
        return catalogue + (translation.obsolete.empty() ? "" : "\n") + linesOf(translation.obsolete);
    }

private:
    const ExtractOptions& options;
    Diagnostics& diagnostics;
    std::string project = "PACKAGE VERSION";
    std::vector<PoEntry> entries; // of the originals, with the text as their `original`
    std::set<std::string> originalNames;
    std::vector<std::string> order; // of the names in the sources
    std::map<std::string, SourceName> used;

    bool hasPlurals() const {
        return std::any_of(entries.begin(), entries.end(),
                           [](const PoEntry& entry) { return entry.isPlural; });
    }

    bool isOriginal(const std::string& name) const { return originalNames.count(name) != 0; }

    void addOriginal(PoFile file) {
        if (const std::string name = fieldOf(file.header, "Project-Id-Version"); !name.empty())
            project = name;
        for (PoEntry& entry : file.entries) {
            if ((!IsTemplate(file.name) || !entry.hasContext) && entry.HasTexts()) {
                entry.original = entry.texts.front().bytes;
                entry.pluralOriginal = entry.texts.back().bytes;
            }
            if (entry.original.empty() || entry.isFuzzy || !originalNames.insert(entry.name).second)
                continue;
            entry.hasContext = true;
            for (std::string& comment : entry.comments)
                comment = forTranslators(comment);
            entries.push_back(std::move(entry));
        }
    }

    void addSource(const std::string& fileName) {
        const std::optional<std::string> bytes = ReadFile(fileName, diagnostics);
        if (!bytes)
            return;
        for (SourceMessage& message : FindMessages(*bytes, fileName, options.macros)) {
            if (!IsIdentifier(message.name)) {
                diagnostics.Error(message.place, "the name '" + message.name + "' is not an identifier");
                continue;
            }
            if (used.count(message.name) == 0)
                order.push_back(message.name);
            SourceName& name = used[message.name];
            name.places.push_back(message.place);
            if (name.text.empty())
                name.text = std::move(message.text);
        }
    }

    void reportUndefined(const std::string& name, bool isAllowed) const {
        std::string text = "'" + name + "' has no text";
        const auto nearest = std::min_element(originalNames.begin(), originalNames.end(),
                                              [&](const std::string& a, const std::string& b) {
                                                  return distance(name, a) < distance(name, b);
                                              });
        if (nearest != originalNames.end() && distance(name, *nearest) <= 2)
            text += "; is '" + *nearest + "' meant?";
        const Place& place = used.at(name).places.front();
        if (isAllowed)
            diagnostics.Warning(place, text);
        else
            diagnostics.Error(place, text);
    }

    std::vector<Place> placesOf(const std::string& name) const {
        const auto found = used.find(name);
        return found == used.end() ? std::vector<Place>() : found->second.places;
    }

    // The entry of the original with the text of the translation, which is fuzzy if it has another original.
    static PoEntry translate(const PoEntry& original, const PoEntry& translation, std::size_t numberOfForms) {
        PoEntry entry = original;
        entry.isFuzzy =
            translation.isFuzzy || (translation.hasContext && translation.original != original.original);
        entry.texts = translation.texts;
        if (translation.isPlural && !entry.isPlural)
            entry.pluralOriginal = entry.original; // the forms are kept
        else if (entry.isPlural && !translation.isPlural) {
            const std::string text = translation.texts.empty() ? "" : translation.texts.front().bytes;
            entry.SetTexts(std::vector<std::string>(numberOfForms, text));
            entry.isFuzzy = !text.empty();
        }
        entry.isPlural = entry.isPlural || translation.isPlural;
        if (entry.texts.empty())
            entry.SetTexts({""});
        const auto isOfTranslator = [](const std::string& comment) { return !comment.starts_with("#."); };
        std::vector<std::string> comments;
        std::copy_if(translation.comments.begin(), translation.comments.end(), std::back_inserter(comments),
                     isOfTranslator);
        entry.comments.insert(entry.comments.begin(), comments.begin(), comments.end());
        return entry;
    }
};

} // namespace

Extract ExtractTemplate(const ExtractOptions& options, bool mayBeUndefined, Diagnostics& diagnostics) {
    const Extraction extraction(options, diagnostics);
    extraction.Check(mayBeUndefined);
    const std::string undefined = extraction.WriteUndefined();
    if (options.originals.empty())
        return {undefined, undefined};
    return {options.translation.empty() ? extraction.WriteTemplate() : extraction.WriteTranslation(),
            undefined};
}

} // namespace tarnmsg
