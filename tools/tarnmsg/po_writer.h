/// \file
/// Writes the gettext PO format.
#pragma once

#include "tools/tarnmsg/po_file.h"

#include <string>
#include <vector>

namespace tarnmsg {

/// The header with this text; an empty one becomes that of a template, to be filled in.
std::string WriteHeader(const std::string& text, const std::string& project, bool hasPlurals = false);

/// An entry in the form that translators know: its comments, the places that refer to it, and its fields.
std::string WriteEntry(const PoEntry& entry, const std::vector<Place>& references);

/// The entry as an obsolete one, which is kept for later.
std::string WriteObsolete(const PoEntry& entry);

} // namespace tarnmsg
