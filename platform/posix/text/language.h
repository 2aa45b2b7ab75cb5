// The user's language and codeset, as the environment tells them.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

struct Language {
    LANGID id;
    UINT oemCodePage; // what the language's texts of DOS are in
};

/// Of a locale name such as "pt_BR.UTF-8" or "sr_RS@latin"; American English for "C" and unknown ones.
Language LanguageOf(const char* locale);

/// The name of the user's locale for a category such as "LC_TIME": the value of LC_ALL, of the category or of
/// LANG, the first that is set; null when none is.
const char* LocaleName(const char* category);

/// The language that messages are wanted in.
Language UserLanguage();

/// The ANSI and the OEM code page as the environment is now.
void FindCodePages(UINT* ansi, UINT* oem);

} // namespace Tarn::Platform::Posix
