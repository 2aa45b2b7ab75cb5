/// \file
/// The user's language and code pages, according to the environment.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

struct Language {
    LANGID id;
    UINT oemCodePage; // the one that DOS used for the language
};

/// The language of a locale name such as "pt_BR.UTF-8" or "sr_RS@latin"; American English for "C" and unknown
/// names.
Language LanguageOf(const char* locale);

/// The name of the user's locale for a category such as "LC_TIME": the value of LC_ALL, of the category or of
/// LANG, whichever is set first; null if none is.
const char* LocaleName(const char* category);

/// The language that the user wants messages in.
Language UserLanguage();

/// Determines the ANSI and OEM code pages from the current environment.
void FindCodePages(UINT* ansi, UINT* oem);

} // namespace Tarn::Platform::Posix
