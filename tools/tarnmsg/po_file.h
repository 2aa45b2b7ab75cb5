/// \file
/// Reads the gettext PO format, in UTF-8, as catalogues of named messages use it.
///
/// The name of a message is the `msgctxt` of its entry, and its original text the `msgid`; an entry without a
/// context has the name as its `msgid`. `msgstr` is the text. An entry with `msgid_plural` has a text for
/// each plural form, `msgstr[0]` and so on; the header's Plural-Forms says which number goes with which. An
/// entry that has neither context nor name is the header. Obsolete entries (#~) are skipped; domains are
/// refused.
///
/// A comment of a translator (#) or developer (#.) that begins with "tarnmsg:" tells something about the
/// entry: "other placeholders" that its text may have other parameters than the original, and "plural %1"
/// that this parameter, and not %0, is the number that decides about the plural form.
#pragma once

#include "tools/tarnmsg/diagnostics.h"
#include "tools/tarnmsg/plural_rule.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnmsg {

/// A text in UTF-8, and the line of its keyword.
struct PoText {
    std::string bytes;
    int line = 0;
};

struct PoEntry {
    std::string name;
    Place place; // of the name
    bool hasContext = false;
    std::string original; // the original text, if there is a context
    bool isPlural = false;
    std::string pluralOriginal;             // the same for the plural
    std::vector<PoText> texts;              // one, or the plural forms
    std::optional<int> pluralParameter;     // if a comment says so
    std::shared_ptr<const PluralRule> rule; // of the file; may be null
    bool isFuzzy = false;
    bool mayHaveOtherPlaceholders = false;
    std::vector<std::string> comments; // whole lines: the translator's and the developer's

    Place PlaceOf(const PoText& text) const { return {place.file, text.line}; }
    /// Whether every text is there; otherwise the entry counts as untranslated.
    bool HasTexts() const;
    void SetTexts(const std::vector<std::string>& bytes);
};

struct PoFile {
    std::string name;
    std::string header; // the text of the header
    std::vector<std::string> headerComments;
    std::vector<PoEntry> entries;           // in the order of the file, without the header
    std::vector<std::string> obsolete;      // the lines of obsolete entries
    std::shared_ptr<const PluralRule> rule; // null if the header has none

    /// That of the rule; 2 without one.
    std::size_t NumberOfForms() const { return rule ? static_cast<std::size_t>(rule->NumberOfForms()) : 2; }
};

/// All errors go to `diagnostics`; an entry with an error is left out.
PoFile ReadPoFile(const std::string& fileName, Diagnostics& diagnostics);

/// The same for the bytes of a file; `fileName` is used for the locations of entries and errors.
PoFile ReadPo(std::string_view bytes, const std::string& fileName, Diagnostics& diagnostics);

} // namespace tarnmsg
