#include "platform/posix/text/letter_case.h"

#include "platform/posix/support/c_library.h"
#include "platform/posix/text/utf8.h"

#include <locale.h>
#include <wctype.h>

#include <atomic>

namespace Tarn::Platform::Posix {
namespace {

constinit std::atomic<locale_t> caseLocale = nullptr;

/// A locale whose case mapping is that of Unicode, or of ASCII if the system has no such locale.
locale_t unicodeLocale() {
    locale_t locale = caseLocale.load(std::memory_order_acquire);
    if (locale != nullptr)
        return locale;
    const CLibraryGuard guard(cLibraryLock);
    locale = caseLocale.load(std::memory_order_relaxed);
    for (const char* name : {"C.UTF-8", "en_US.UTF-8", "C"})
        if (locale == nullptr)
            locale = newlocale(LC_CTYPE_MASK, name, static_cast<locale_t>(nullptr));
    caseLocale.store(locale, std::memory_order_release);
    return locale;
}

/// A unit changes only to one that changes back: a letter with a third form, or one that shares its other
/// form with another letter, stays as it is.
template<class Map>
void mapCase(char16_t* text, DWORD size, char16_t first, char16_t last, int asciiShift, Map map, Map back) {
    for (char16_t* end = text + size; text != end; text++) {
        if (*text < 0x80) {
            if (*text >= first && *text <= last)
                *text = static_cast<char16_t>(*text + asciiShift);
            continue;
        }
        locale_t locale = unicodeLocale();
        wint_t mapped = locale == nullptr ? *text : map(static_cast<wint_t>(*text), locale);
        if (mapped < kFirstSupplementary && mapped != *text && back(mapped, locale) == *text)
            *text = static_cast<char16_t>(mapped);
    }
}

} // namespace

void MapToUpper(char16_t* text, DWORD size) {
    mapCase(text, size, u'a', u'z', 'A' - 'a', towupper_l, towlower_l);
}

void MapToLower(char16_t* text, DWORD size) {
    mapCase(text, size, u'A', u'Z', 'a' - 'A', towlower_l, towupper_l);
}

} // namespace Tarn::Platform::Posix
