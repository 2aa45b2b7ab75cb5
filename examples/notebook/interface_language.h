// The language in which the notebook speaks to its user.
#pragma once

#include "settings.h"

/// Reads the code of an installed language. Throws for every other text.
int CheckedLanguage(const Tarn::CUnicodeString& text);

/// Makes the language of the option the current one or, when that is empty, the language of the settings, if
/// it is still installed.
void SelectLanguage(const Tarn::CUnicodeString& option, CSettings& settings);
