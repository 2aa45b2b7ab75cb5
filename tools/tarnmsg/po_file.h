/// \file
/// Reads the part of the gettext PO format that catalogues of named messages use, in UTF-8.
///
/// `msgid` is the name of a message, `msgstr` its text; an entry with an empty name is the header. Comments
/// and obsolete entries (#~) are skipped. Contexts, plural forms and domains have no meaning here and are
/// refused.
#pragma once

#include "tools/tarnmsg/diagnostics.h"

#include <string>
#include <string_view>
#include <vector>

namespace tarnmsg {

struct PoEntry {
    std::string name;
    std::u16string text;
    Place namePlace;
    Place textPlace;
    bool isFuzzy = false;
};

/// The entries in the order of the file, without the header. Errors go to `diagnostics`; reading ends at the
/// first error.
std::vector<PoEntry> ReadPoFile(const std::string& fileName, Diagnostics& diagnostics);

/// The same for the bytes of a file; `fileName` is used for the locations of entries and errors.
std::vector<PoEntry> ReadPo(std::string_view bytes, const std::string& fileName, Diagnostics& diagnostics);

} // namespace tarnmsg
