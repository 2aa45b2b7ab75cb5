#include "tools/tarnmsg/catalogue.h"

#include <algorithm>
#include <climits>
#include <map>
#include <optional>
#include <set>

namespace tarnmsg {

namespace {

constexpr int kLargestId = 65535;
constexpr std::size_t kMostNames = 5; // that one warning lists

// Names are ASCII, so ordering them by bytes is the same as ordering them by 16-bit units, as the modules do.
using EntriesByName = std::map<std::string, PoEntry>;

// The numbers of the parameters that the text refers to, read as the library reads them: a number too large
// for `int` does not count.
std::set<int> findPlaceholders(const std::string& text) {
    std::set<int> placeholders;
    for (std::size_t i = text.find('%'); i != std::string::npos; i = text.find('%', i)) {
        long long number = 0;
        const std::size_t firstDigit = ++i;
        for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; i++)
            number = std::min<long long>(number * 10 + (text[i] - '0'), INT_MAX + 1LL);
        if (i > firstDigit && number <= INT_MAX)
            placeholders.insert(static_cast<int>(number));
    }
    return placeholders;
}

// Those that are in any form, and those that are in all.
struct Placeholders {
    explicit Placeholders(const PoEntry& entry) {
        for (const PoText& text : entry.texts) {
            const std::set<int> found = findPlaceholders(text.bytes);
            if (&text == &entry.texts.front())
                inAll = found;
            std::erase_if(inAll, [&](int placeholder) { return found.count(placeholder) == 0; });
            inAny.insert(found.begin(), found.end());
        }
    }

    std::set<int> inAny;
    std::set<int> inAll;
};

std::string shown(int placeholder) { return "%" + std::to_string(placeholder); }

bool hasText(const PoEntry& entry) { return !entry.isFuzzy && entry.HasTexts(); }

void useOriginalAsText(PoEntry& entry) {
    static const auto kRule = std::make_shared<const PluralRule>(PluralRule::OfOriginals());
    entry.SetTexts(entry.isPlural ? std::vector{entry.original, entry.pluralOriginal}
                                  : std::vector{entry.original});
    entry.rule = kRule;
}

// Returns each name once; entries without a usable text are among them.
EntriesByName readEntries(const std::string& fileName, Diagnostics& diagnostics) {
    EntriesByName entries;
    for (PoEntry& entry : ReadPoFile(fileName, diagnostics).entries) {
        if (!IsIdentifier(entry.name))
            diagnostics.Error(entry.place, "the name '" + entry.name + "' is not an identifier");
        if (IsTemplate(fileName) && entry.hasContext)
            useOriginalAsText(entry);
        const auto [first, isNew] = entries.try_emplace(entry.name, entry);
        if (!isNew)
            diagnostics.Error(entry.place, "the name '" + entry.name + "' is already defined on line " +
                                               std::to_string(first->second.place.line));
    }
    return entries;
}

// What the contexts of a catalogue say that its originals are.
EntriesByName originalsIn(const EntriesByName& entries) {
    EntriesByName originals;
    for (auto [name, entry] : entries)
        if (entry.hasContext) {
            useOriginalAsText(entry);
            originals.emplace(name, entry);
        }
    return originals;
}

void removeUnusable(EntriesByName& entries) {
    std::erase_if(entries, [](const auto& entry) { return !hasText(entry.second); });
}

// The parameter that decides about the plural form.
int parameterOf(const PoEntry& entry, const PoEntry* original) {
    const std::optional<int> ofOriginal = original == nullptr ? std::nullopt : original->pluralParameter;
    return entry.pluralParameter.value_or(ofOriginal.value_or(0));
}

// Compares a translation with its original.
class Comparison {
public:
    Comparison(const CatalogueOptions& options, Diagnostics& output)
        : isChecking(options.isChecking), originalName(options.originalFileName), diagnostics(output) {}

    void Compare(const EntriesByName& entries, const EntriesByName& originals) {
        for (const auto& [name, entry] : entries) {
            if (!hasText(entry))
                continue;
            const auto original = originals.find(name);
            if (original != originals.end())
                compare(entry, original->second);
            else if (!originalName.empty())
                diagnostics.Warning(entry.place, "the original has no '" + name + "'");
        }
    }

private:
    bool isChecking;
    std::string originalName;
    Diagnostics& diagnostics;

    void compare(const PoEntry& entry, const PoEntry& original) {
        if (isChecking && entry.hasContext &&
            (entry.original != original.texts.front().bytes ||
             (entry.isPlural && entry.pluralOriginal != original.texts.back().bytes)))
            diagnostics.Warning(entry.place, "the original of '" + entry.name + "' has changed");
        if (entry.mayHaveOtherPlaceholders || original.mayHaveOtherPlaceholders)
            return;
        const Placeholders known(original);
        for (std::size_t form = 0; form < entry.texts.size(); form++)
            comparePlaceholders(entry, form, known, numberOf(entry, original));
    }

    static std::optional<int> numberOf(const PoEntry& entry, const PoEntry& original) {
        if (!entry.isPlural && !original.isPlural)
            return std::nullopt;
        return parameterOf(entry, &original);
    }

    void comparePlaceholders(const PoEntry& entry, std::size_t form, const Placeholders& known,
                             std::optional<int> number) {
        const PoText& text = entry.texts[form];
        const std::set<int> used = findPlaceholders(text.bytes);
        for (const int placeholder : used)
            if (known.inAny.count(placeholder) == 0)
                diagnostics.Error(entry.PlaceOf(text),
                                  "the original of '" + entry.name + "' has no " + shown(placeholder));
        for (const int placeholder : known.inAny) {
            // "One guest" needs no number, but "1 guest" does where the same form is for 21.
            const bool isForOneNumber =
                entry.isPlural && (!entry.rule || entry.rule->IsForOneNumber(static_cast<int>(form)));
            const bool isNeeded =
                placeholder == number ? !isForOneNumber : known.inAll.count(placeholder) != 0;
            if (isChecking && isNeeded && used.count(placeholder) == 0)
                diagnostics.Error(entry.PlaceOf(text),
                                  "the translation of '" + entry.name + "' lacks " + shown(placeholder));
        }
    }
};

void checkPlural(const PoEntry& entry, int parameter, Diagnostics& diagnostics) {
    const auto report = [&](const std::string& message) { diagnostics.Error(entry.place, message); };
    if (!entry.rule)
        return report("'" + entry.name + "' has plural forms, but the header has no rule (Plural-Forms)");
    if (entry.texts.size() != static_cast<std::size_t>(entry.rule->NumberOfForms()))
        return report("'" + entry.name + "' has " + std::to_string(entry.texts.size()) +
                      " plural forms instead of the " + std::to_string(entry.rule->NumberOfForms()) +
                      " of the header's rule");
    if (Placeholders(entry).inAny.count(parameter) == 0)
        report("no plural form of '" + entry.name + "' has the number " + shown(parameter) +
               "; a comment \"tarnmsg: plural %1\" would choose %1");
}

// Finds what is not translated.
class Count {
public:
    Count(const EntriesByName& entries, const EntriesByName& wanted) {
        for (const auto& [name, original] : wanted) {
            const auto entry = entries.find(name);
            if (entry == entries.end() || !entry->second.HasTexts())
                untranslated.push_back(name);
            else if (entry->second.isFuzzy)
                fuzzy.push_back(name);
            else
                translated++;
        }
    }

    Statistics Result() const {
        return {translated, static_cast<int>(fuzzy.size()), static_cast<int>(untranslated.size())};
    }

    void Warn(const std::string& fileName, Diagnostics& diagnostics) const {
        warn(fileName, untranslated, "without translation", diagnostics);
        warn(fileName, fuzzy, "with a fuzzy translation", diagnostics);
    }

private:
    int translated = 0;
    std::vector<std::string> fuzzy;
    std::vector<std::string> untranslated;

    void warn(const std::string& fileName, const std::vector<std::string>& names, const char* what,
              Diagnostics& diagnostics) const {
        if (names.empty())
            return;
        std::string text = std::to_string(names.size()) + (names.size() == 1 ? " message " : " messages ");
        text += what;
        for (std::size_t i = 0; i < std::min(names.size(), kMostNames); i++)
            text += (i == 0 ? ": " : ", ") + names[i];
        diagnostics.Warning({fileName, 1}, text + (names.size() > kMostNames ? ", ..." : ""));
    }
};

class Numbering {
public:
    Numbering(int firstId, Diagnostics& output) : nextId(firstId), diagnostics(output) {}

    void Add(const EntriesByName& entries) {
        for (const auto& [name, entry] : entries)
            if (ids.emplace(name, nextId).second && nextId++ == kLargestId + 1)
                diagnostics.Error(entry.place, "no id is left for '" + name + "': the largest is " +
                                                   std::to_string(kLargestId));
    }

    /// The first of so many ids that no name has.
    int Take(std::size_t count, const PoEntry& entry) {
        const int first = nextId;
        nextId =
            static_cast<int>(std::min(static_cast<std::size_t>(first) + count, std::size_t{kLargestId} + 2));
        if (nextId == kLargestId + 2 && count != 0)
            diagnostics.Error(entry.place, "no ids are left for the plural forms of '" + entry.name + "'");
        return first;
    }

    int IdOf(const std::string& name) const { return ids.at(name); }

private:
    int nextId;
    std::map<std::string, int> ids;
    Diagnostics& diagnostics;
};

std::size_t indexOfRule(Catalogue& catalogue, const PluralRule& rule) {
    const std::string source = rule.Source();
    std::size_t index = 0;
    while (index < catalogue.pluralRules.size() && (catalogue.pluralRules[index] != source ||
                                                    catalogue.numbersOfForms[index] != rule.NumberOfForms()))
        index++;
    if (index == catalogue.pluralRules.size()) {
        catalogue.pluralRules.push_back(source);
        catalogue.numbersOfForms.push_back(rule.NumberOfForms());
    }
    return index;
}

void addMessage(Catalogue& catalogue, const PoEntry& entry, int parameter, Numbering& numbering) {
    Message message{numbering.IdOf(entry.name), entry.name, *ToUtf16(entry.texts.back().bytes)};
    const std::size_t others = entry.texts.size() - 1;
    for (std::size_t form = 0; form < others; form++)
        message.otherForms.push_back(*ToUtf16(entry.texts[form].bytes));
    if (others > 0 && entry.rule) {
        message.firstFormId = numbering.Take(others, entry);
        message.pluralParameter = parameter;
        message.rule = indexOfRule(catalogue, *entry.rule);
    }
    catalogue.messages.push_back(std::move(message));
}

} // namespace

Catalogue ReadCatalogue(const CatalogueOptions& options, Diagnostics& diagnostics) {
    Catalogue catalogue;
    EntriesByName entries = readEntries(options.fileName, diagnostics);
    EntriesByName originals;
    const int errors = diagnostics.NumberOfErrors();
    if (!options.originalFileName.empty())
        originals = readEntries(options.originalFileName, diagnostics);
    removeUnusable(originals);
    Comparison comparison(options, diagnostics);
    if (!originals.empty() && diagnostics.NumberOfErrors() == errors)
        comparison.Compare(entries, originals);
    else if (options.isChecking && options.originalFileName.empty())
        comparison.Compare(entries, originalsIn(entries));
    const Count count(entries, options.originalFileName.empty() ? entries : originals);
    catalogue.statistics = count.Result();
    if (options.isChecking)
        count.Warn(options.fileName, diagnostics);

    removeUnusable(entries);
    Numbering numbering(options.firstId, diagnostics);
    numbering.Add(originals);
    numbering.Add(entries);
    if (options.isFilling)
        entries.insert(originals.begin(), originals.end()); // keeps those that are there
    for (const auto& [name, entry] : entries) {
        const auto original = originals.find(name);
        const int parameter = parameterOf(entry, original == originals.end() ? nullptr : &original->second);
        if (entry.isPlural)
            checkPlural(entry, parameter, diagnostics);
        addMessage(catalogue, entry, parameter, numbering);
    }
    return catalogue;
}

bool IsIdentifier(const std::string& name) {
    const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return !name.empty() && isLetter(name[0]) &&
           std::all_of(name.begin(), name.end(), [&](char c) { return isLetter(c) || isDigit(c); });
}

bool IsTemplate(const std::string& fileName) { return fileName.ends_with(".pot"); }

} // namespace tarnmsg
