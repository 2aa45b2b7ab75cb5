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
    std::u16string text;
};

struct CatalogueOptions {
    std::string fileName;
    std::string originalFileName; // empty if the file is the original itself
    int firstId = 1;
};

/// The messages in the order of their names, numbered in that order from the first id. A translation takes
/// the ids of its original, so that an id means the same in every language; names that only the translation
/// has are numbered after those. Fuzzy and untranslated entries are left out: their texts come from the next
/// module that has the name.
std::vector<Message> ReadCatalogue(const CatalogueOptions& options, Diagnostics& diagnostics);

} // namespace tarnmsg
