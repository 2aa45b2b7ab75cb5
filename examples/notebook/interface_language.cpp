#include "interface_language.h"
#include "messages.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/resource_modules.h>

using namespace Tarn;

int CheckedLanguage(const CUnicodeString& text) {
    int code = 0;
    if (!text.Value(code, 10) || FindLanguageIndex(code) < 0)
        GenCheck(ERR_NOTEBOOK_BAD_LANGUAGE, text);
    return code;
}

void SelectLanguage(const CUnicodeString& option, CSettings& settings) {
    const int code = option.IsEmpty() ? settings.Language.Get() : CheckedLanguage(option);
    if (FindLanguageIndex(code) >= 0)
        SetCurrentLanguageCode(code);
}
