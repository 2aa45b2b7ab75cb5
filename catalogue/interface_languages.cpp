// The table of interface languages, and the functions that need nothing else.
#include "catalogue/resource_registry.h"

#include <tarnkit/failures.h>
#include <tarnkit/resource_modules.h>

namespace Tarn {

namespace {

constexpr char16_t kSource[] = u"ResourceInfo";

struct CLanguage {
    int codePage; // the ANSI code page that the language needs; 0 if none
    int primaryLanguage;
    int subLanguage;
};

// By interface language code; the codes without a language are all zero.
constexpr CLanguage kLanguages[] = {
    {0, 9, 0},     // 0 English
    {1251, 25, 0}, // 1 Russian
    {1252, 7, 0},  // 2 German
    {1252, 12, 0}, // 3 French
    {1251, 34, 0}, // 4 Ukrainian
    {1252, 10, 0}, // 5 Spanish
    {1252, 16, 0}, // 6 Italian
    {1252, 19, 1}, // 7 Dutch
    {1252, 6, 0},  // 8 Danish
    {1252, 29, 0}, // 9 Swedish
    {1252, 11, 0}, // 10 Finnish
    {1252, 20, 0}, // 11 Norwegian
    {0, 0, 0},     // 12
    {1252, 22, 2}, // 13 Portuguese
    {1250, 27, 0}, // 14 Slovak
    {1250, 21, 0}, // 15 Polish
    {1250, 5, 0},  // 16 Czech
    {1250, 14, 0}, // 17 Hungarian
    {1257, 39, 0}, // 18 Lithuanian
    {1257, 38, 0}, // 19 Latvian
    {1257, 37, 0}, // 20 Estonian
    {1252, 15, 0}, // 21 Icelandic
    {1253, 8, 0},  // 22 Greek
    {1251, 2, 0},  // 23 Bulgarian
    {1254, 31, 0}, // 24 Turkish
    {0, 68, 0},    // 25 Tatar
    {0, 17, 0},    // 26 Japanese
    {1252, 22, 1}, // 27 Portuguese (Brazil)
    {1252, 19, 2}, // 28 Dutch (Belgium)
    {1255, 13, 0}, // 29 Hebrew
    {0, 0, 0},     // 30
    {0, 0, 0},     // 31
    {0, 0, 0},     // 32
    {0, 0, 0},     // 33
    {0, 57, 0},    // 34 Hindi
    {1251, 26, 3}, // 35 Serbian (Cyrillic)
    {1250, 26, 0}, // 36 Croatian
    {1250, 24, 0}, // 37 Romanian
    {1250, 36, 0}, // 38 Slovenian
    {1252, 3, 0},  // 39 Catalan
    {1251, 47, 0}, // 40 Macedonian
    {0, 0, 0},     // 41
    {0, 0, 0},     // 42
    {0, 0, 0},     // 43
    {0, 0, 0},     // 44
    {0, 0, 0},     // 45
    {0, 0, 0},     // 46
    {0, 0, 0},     // 47
};
static_assert(sizeof(kLanguages) / sizeof(CLanguage) == kNumberOfLanguageCodes);

bool isCode(int code) { return code >= 0 && code < kNumberOfLanguageCodes; }

int findLanguage(int primaryLanguage, int subLanguage) {
    for (int code = 0; code < kNumberOfLanguageCodes; code++)
        if (kLanguages[code].primaryLanguage == primaryLanguage &&
            kLanguages[code].subLanguage == subLanguage)
            return code;
    return -1;
}

} // namespace

bool CanDisplayLanguage(int code) {
    if (!isCode(code))
        GenAssert(kSource, 364);
    // Every system that this library runs on can display any language; code pages matter only to 8-bit text.
    return true;
}

int GetSystemLanguageIdFromInterfaceCode(int code) {
    if (!isCode(code)) {
        GenAssert(kSource, 435);
        return 0;
    }
    return kLanguages[code].subLanguage << 10 | kLanguages[code].primaryLanguage;
}

int GetInterfaceCodeFromSystemLanguageId(unsigned short languageId) {
    if (languageId == 0)
        return -1;
    const int primaryLanguage = PrimaryLanguage(languageId);
    const int code = findLanguage(primaryLanguage, languageId >> 10);
    return code >= 0 ? code : findLanguage(primaryLanguage, 0);
}

} // namespace Tarn
