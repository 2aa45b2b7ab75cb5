#include "tools/tarnmsg/catalogue.h"

#include <algorithm>
#include <climits>
#include <map>
#include <set>

namespace tarnmsg {

namespace {

constexpr int kLargestId = 65535;

// Names are ASCII, so ordering them by bytes is the same as ordering them by 16-bit units, as the modules do.
using EntriesByName = std::map<std::string, PoEntry>;

bool isIdentifier(const std::string& name) {
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !name.empty() && isLetter(name[0]) &&
           std::all_of(name.begin(), name.end(), [&](char c) { return isLetter(c) || isDigit(c); });
}

// The numbers of the parameters that the text refers to, read as the library reads them: a number too large
// for `int` does not count.
std::set<int> findPlaceholders(const std::u16string& text) {
    std::set<int> placeholders;
    for (std::size_t i = text.find(u'%'); i != std::u16string::npos; i = text.find(u'%', i)) {
        long long number = 0;
        const std::size_t firstDigit = ++i;
        for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; i++)
            number = std::min<long long>(number * 10 + (text[i] - u'0'), INT_MAX + 1LL);
        if (i > firstDigit && number <= INT_MAX)
            placeholders.insert(static_cast<int>(number));
    }
    return placeholders;
}

// Returns each name once; entries without a usable text are left out.
EntriesByName readEntries(const std::string& fileName, Diagnostics& diagnostics) {
    EntriesByName entries;
    std::map<std::string, int> lines;
    for (PoEntry& entry : ReadPoFile(fileName, diagnostics)) {
        if (!isIdentifier(entry.name))
            diagnostics.Error(entry.namePlace, "the name '" + entry.name + "' is not an identifier");
        const auto [first, isNew] = lines.emplace(entry.name, entry.namePlace.line);
        if (!isNew)
            diagnostics.Error(entry.namePlace, "the name '" + entry.name + "' is already defined on line " +
                                                   std::to_string(first->second));
        else if (!entry.isFuzzy && !entry.text.empty())
            entries.emplace(entry.name, std::move(entry));
    }
    return entries;
}

void compareWithOriginal(const PoEntry& entry, const EntriesByName& originals, Diagnostics& diagnostics) {
    const auto original = originals.find(entry.name);
    if (original == originals.end()) {
        diagnostics.Warning(entry.namePlace, "the original has no '" + entry.name + "'");
        return;
    }
    const std::set<int> known = findPlaceholders(original->second.text);
    for (const int placeholder : findPlaceholders(entry.text))
        if (known.count(placeholder) == 0)
            diagnostics.Error(entry.textPlace,
                              "the original of '" + entry.name + "' has no %" + std::to_string(placeholder));
}

class Numbering {
public:
    Numbering(int firstId, Diagnostics& output) : nextId(firstId), diagnostics(output) {}

    void Add(const EntriesByName& entries) {
        for (const auto& [name, entry] : entries)
            if (ids.emplace(name, nextId).second && nextId++ == kLargestId + 1)
                diagnostics.Error(entry.namePlace, "no id is left for '" + name + "': the largest is " +
                                                       std::to_string(kLargestId));
    }

    int IdOf(const std::string& name) const { return ids.at(name); }

private:
    int nextId;
    std::map<std::string, int> ids;
    Diagnostics& diagnostics;
};

} // namespace

std::vector<Message> ReadCatalogue(const CatalogueOptions& options, Diagnostics& diagnostics) {
    const EntriesByName entries = readEntries(options.fileName, diagnostics);
    Numbering numbering(options.firstId, diagnostics);
    if (!options.originalFileName.empty()) {
        const EntriesByName originals = readEntries(options.originalFileName, diagnostics);
        if (!diagnostics.HasErrors())
            for (const auto& [name, entry] : entries)
                compareWithOriginal(entry, originals, diagnostics);
        numbering.Add(originals);
    }
    numbering.Add(entries);

    std::vector<Message> messages;
    for (const auto& [name, entry] : entries)
        messages.push_back({numbering.IdOf(name), name, entry.text});
    return messages;
}

} // namespace tarnmsg
