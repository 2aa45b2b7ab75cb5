/// \file
/// Makes a template for translators from sources and the original catalogues.
#pragma once

#include "tools/tarnmsg/diagnostics.h"
#include "tools/tarnmsg/source_names.h"

#include <string>
#include <vector>

namespace tarnmsg {

struct ExtractOptions {
    std::vector<std::string> sources;
    std::vector<std::string> originals;
    MacroArguments macros;
    std::string translation; // its texts go into the template, which becomes a catalogue
    bool isListingUnused = false;
};

struct Extract {
    std::string catalogue; // the template
    std::string undefined; // a catalogue of the names that no original has a text for
};

/// A template has an entry for each message of the originals: the name as its context, the text as its
/// `msgid`, the developers' comments, and where the sources have it. Without originals it has the names
/// instead, to be given texts. A name of the sources without a text is an error unless `mayBeUndefined`; a
/// text that no source uses is a warning if those are listed.
Extract ExtractTemplate(const ExtractOptions& options, bool mayBeUndefined, Diagnostics& diagnostics);

} // namespace tarnmsg
