#include "platform/posix/text/language.h"

#include "platform/posix/support/c_library.h"
#include "platform/posix/text/code_page.h"

#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

namespace Tarn::Platform::Posix {
namespace {

struct KnownLanguage {
    std::string_view language;
    std::string_view variant; // territory or modifier; the row without one is for all others
    Language values;
};

constexpr UINT kDefaultOem = 437;
constexpr Language kAmericanEnglish = {0x0409, kDefaultOem};

constexpr KnownLanguage kLanguages[] = {
    {"af", "", {0x0436, 850}},    {"ar", "", {0x0401, 864}},   {"az", "", {0x042C, 857}},
    {"be", "", {0x0423, 866}},    {"bg", "", {0x0402, 866}},   {"bs", "", {0x141A, 852}},
    {"ca", "", {0x0403, 850}},    {"cs", "", {0x0405, 852}},   {"da", "", {0x0406, 850}},
    {"de", "AT", {0x0C07, 850}},  {"de", "CH", {0x0807, 850}}, {"de", "LI", {0x1407, 850}},
    {"de", "LU", {0x1007, 850}},  {"de", "", {0x0407, 850}},   {"el", "", {0x0408, 737}},
    {"en", "AU", {0x0C09, 850}},  {"en", "CA", {0x1009, 850}}, {"en", "GB", {0x0809, 850}},
    {"en", "IE", {0x1809, 850}},  {"en", "NZ", {0x1409, 850}}, {"en", "ZA", {0x1C09, 437}},
    {"en", "", kAmericanEnglish}, {"es", "AR", {0x2C0A, 850}}, {"es", "CL", {0x340A, 850}},
    {"es", "CO", {0x240A, 850}},  {"es", "MX", {0x080A, 850}}, {"es", "PE", {0x280A, 850}},
    {"es", "US", {0x540A, 850}},  {"es", "VE", {0x200A, 850}}, {"es", "", {0x0C0A, 850}},
    {"et", "", {0x0425, 775}},    {"eu", "", {0x042D, 850}},   {"fa", "", {0x0429, 864}},
    {"fi", "", {0x040B, 850}},    {"fo", "", {0x0438, 850}},   {"fr", "BE", {0x080C, 850}},
    {"fr", "CA", {0x0C0C, 850}},  {"fr", "CH", {0x100C, 850}}, {"fr", "LU", {0x140C, 850}},
    {"fr", "", {0x040C, 850}},    {"gl", "", {0x0456, 850}},   {"he", "", {0x040D, 862}},
    {"hi", "", {0x0439, 437}},    {"hr", "", {0x041A, 852}},   {"hu", "", {0x040E, 852}},
    {"hy", "", {0x042B, 437}},    {"id", "", {0x0421, 850}},   {"is", "", {0x040F, 850}},
    {"it", "CH", {0x0810, 850}},  {"it", "", {0x0410, 850}},   {"iw", "", {0x040D, 862}},
    {"ja", "", {0x0411, 932}},    {"ka", "", {0x0437, 437}},   {"kk", "", {0x043F, 866}},
    {"ko", "", {0x0412, 949}},    {"ky", "", {0x0440, 866}},   {"lt", "", {0x0427, 775}},
    {"lv", "", {0x0426, 775}},    {"mk", "", {0x042F, 866}},   {"mn", "", {0x0450, 866}},
    {"ms", "", {0x043E, 850}},    {"nb", "", {0x0414, 850}},   {"nl", "BE", {0x0813, 850}},
    {"nl", "", {0x0413, 850}},    {"nn", "", {0x0814, 850}},   {"no", "", {0x0414, 850}},
    {"pl", "", {0x0415, 852}},    {"pt", "BR", {0x0416, 850}}, {"pt", "", {0x0816, 850}},
    {"ro", "", {0x0418, 852}},    {"ru", "", {0x0419, 866}},   {"sk", "", {0x041B, 852}},
    {"sl", "", {0x0424, 852}},    {"sq", "", {0x041C, 852}},   {"sr", "latin", {0x081A, 852}},
    {"sr", "", {0x0C1A, 855}},    {"sv", "FI", {0x081D, 850}}, {"sv", "", {0x041D, 850}},
    {"th", "", {0x041E, 874}},    {"tr", "", {0x041F, 857}},   {"tt", "", {0x0444, 866}},
    {"uk", "", {0x0422, 866}},    {"ur", "", {0x0420, 864}},   {"uz", "cyrillic", {0x0843, 866}},
    {"uz", "", {0x0443, 857}},    {"vi", "", {0x042A, 1258}},  {"zh", "HK", {0x0C04, 950}},
    {"zh", "MO", {0x1404, 950}},  {"zh", "SG", {0x1004, 936}}, {"zh", "TW", {0x0404, 950}},
    {"zh", "", {0x0804, 936}},
};

struct CodePagePair {
    UINT ansi;
    UINT oem;
};

// Pairs of code pages that follow from the script alone; those missing here depend on the language.
constexpr CodePagePair kOemOfAnsi[] = {
    {874, 874},   {932, 932},   {936, 936},   {949, 949},   {950, 950},   {1250, 852},  {1251, 866},
    {1253, 737},  {1254, 857},  {1255, 862},  {1256, 864},  {1257, 775},  {1258, 1258}, {20866, 866},
    {20932, 932}, {21866, 866}, {28592, 852}, {28595, 866}, {28597, 737}, {28598, 862}, {28599, 857},
};

/// The part of `name` after its `mark` and before the next one.
std::string_view partOfName(std::string_view name, char mark) {
    std::size_t begin = name.find(mark);
    if (begin == std::string_view::npos)
        return {};
    std::string_view part = name.substr(begin + 1);
    return part.substr(0, part.find_first_of("_.@"));
}

UINT ansiOfLocale() {
    UINT page = 0;
    const CLibraryGuard guard(cLibraryLock);
    locale_t locale = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(nullptr));
    if (locale != static_cast<locale_t>(nullptr)) {
        page = CodePage::FromCodeset(nl_langinfo_l(CODESET, locale));
        freelocale(locale);
    } else if (const char* name = LocaleName("LC_CTYPE")) {
        // Even if the locale is not installed, its name says how the user's text is encoded.
        const char* dot = std::strchr(name, '.');
        char codeset[32] = {};
        if (dot != nullptr) {
            std::size_t length = std::strcspn(dot + 1, "@");
            if (length < sizeof(codeset))
                std::memcpy(codeset, dot + 1, length);
        }
        page = CodePage::FromCodeset(codeset);
    }
    return page != 0 ? page : 1252;
}

/// The code page that a variable names; 0 if it is not set or names none that exists.
UINT codePageVariable(const char* name) {
    const char* text = secure_getenv(name);
    if (text == nullptr)
        return 0;
    UINT number = 0;
    for (; *text >= '0' && *text <= '9' && number < 100000; text++)
        number = number * 10 + static_cast<UINT>(*text - '0');
    return *text == '\0' && (number == CP_UTF8 || CodePage::IsKnown(number)) ? number : 0;
}

} // namespace

Language LanguageOf(const char* locale) {
    std::string_view name = locale;
    std::string_view language = name.substr(0, name.find_first_of("_.@"));
    std::string_view territory = partOfName(name, '_');
    std::string_view modifier = partOfName(name, '@');
    for (const KnownLanguage& known : kLanguages)
        if (known.language == language &&
            (known.variant.empty() || known.variant == territory || known.variant == modifier))
            return known.values;
    return kAmericanEnglish;
}

const char* LocaleName(const char* category) {
    for (const char* name : {"LC_ALL", category, "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0')
            return value;
    }
    return nullptr;
}

Language UserLanguage() {
    const char* locale = LocaleName("LC_MESSAGES");
    return locale == nullptr ? kAmericanEnglish : LanguageOf(locale);
}

void FindCodePages(UINT* ansi, UINT* oem) {
    UINT ansiPage = codePageVariable("TARNKIT_ACP");
    if (ansiPage == 0)
        ansiPage = ansiOfLocale();
    UINT oemPage = codePageVariable("TARNKIT_OEMCP");
    for (const CodePagePair& pair : kOemOfAnsi)
        if (oemPage == 0 && pair.ansi == ansiPage)
            oemPage = pair.oem;
    *ansi = ansiPage;
    *oem = oemPage != 0 ? oemPage : UserLanguage().oemCodePage;
}

} // namespace Tarn::Platform::Posix
