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
char16_t mapUnit(char16_t unit, Map map, Map back, locale_t locale) {
    const wint_t mapped = map(static_cast<wint_t>(unit), locale);
    const bool isPair = mapped < kFirstSupplementary && back(mapped, locale) == unit;
    return isPair ? static_cast<char16_t>(mapped) : unit;
}

/// What the units of the BMP become, found out for 256 neighbours when the first of them is asked for. Zeros
/// until then, so that the table takes no memory before it is used.
template<wint_t (*map)(wint_t, locale_t), wint_t (*back)(wint_t, locale_t)>
class CaseTable {
public:
    /// What a unit becomes; the unit itself if there is no memory to find it out.
    static char16_t Map(char16_t unit) {
        const unsigned page = unit / kPage;
        return isKnown[page].load(std::memory_order_acquire) || find(page) ? mapped[unit] : unit;
    }

private:
    static constexpr unsigned kPage = 256;
    static constexpr unsigned kUnits = 0x10000;

    static inline constinit std::atomic<bool> isKnown[kUnits / kPage] = {};
    static inline constinit char16_t mapped[kUnits] = {};

    static bool find(unsigned page) {
        const locale_t locale = unicodeLocale();
        if (locale == nullptr)
            return false;
        const CLibraryGuard guard(cLibraryLock);
        if (isKnown[page].load(std::memory_order_relaxed))
            return true;
        for (unsigned unit = page * kPage; unit < (page + 1) * kPage; unit++)
            mapped[unit] = mapUnit(static_cast<char16_t>(unit), map, back, locale);
        isKnown[page].store(true, std::memory_order_release);
        return true;
    }
};

/// ASCII needs no locale.
template<class Table>
void mapText(char16_t* text, DWORD size, char16_t first, char16_t last, int asciiShift) {
    for (char16_t* end = text + size; text != end; text++)
        if (*text >= 0x80)
            *text = Table::Map(*text);
        else if (*text >= first && *text <= last)
            *text = static_cast<char16_t>(*text + asciiShift);
}

} // namespace

void MapToUpper(char16_t* text, DWORD size) {
    mapText<CaseTable<towupper_l, towlower_l>>(text, size, u'a', u'z', 'A' - 'a');
}

void MapToLower(char16_t* text, DWORD size) {
    mapText<CaseTable<towlower_l, towupper_l>>(text, size, u'A', u'Z', 'a' - 'A');
}

} // namespace Tarn::Platform::Posix
