/// \file
/// The messages of one resource module, checked and numbered.
#pragma once

#include "tools/tarnmsg/diagnostics.h"
#include "tools/tarnmsg/po_file.h"

#include <string>
#include <vector>

namespace tarnmsg {

struct Message {
    int id;
    std::string name;
    std::u16string text; // of the last plural form, if there are several
    // The other forms, from the first on; their strings have ids from `firstFormId` on.
    std::vector<std::u16string> otherForms = {};
    int firstFormId = 0;
    int pluralParameter = 0;
    std::size_t rule = 0;
};

struct CatalogueOptions {
    std::string fileName;
    std::string originalFileName; // empty if the file is the original itself
    int firstId = 1;
    bool isChecking = false; // a translation must keep all parameters; what is not translated is counted
    bool isFilling = false;  // what is not translated takes the text of the original
};

/// How many of the messages are translated, or have a text if the file is the original.
struct Statistics {
    int translated = 0;
    int fuzzy = 0;
    int untranslated = 0;
};

struct Catalogue {
    std::vector<Message> messages;
    std::vector<std::string> pluralRules; // the sources of those that messages use
    std::vector<int> numbersOfForms;      // by rule
    Statistics statistics;
};

/// The messages in the order of their names, numbered in that order from the first id. A translation takes
/// the ids of its original, so that an id means the same in every language; names that only the translation
/// has are numbered after those, and plural forms other than the last after all names. Fuzzy and untranslated
/// entries are left out: their texts come from the next module that has the name.
Catalogue ReadCatalogue(const CatalogueOptions& options, Diagnostics& diagnostics);

/// Whether this is the name of a template, which holds the original texts as its `msgid`s.
bool IsTemplate(const std::string& fileName);

/// Whether a message can have this name.
bool IsIdentifier(const std::string& name);

} // namespace tarnmsg
