/// \file
/// `CUnicodeString`: 16-bit text (UTF-16 code units), the string type of nearly every interface of the
/// library.
///
/// It has the members, costs and rules of `CString` (string.h), in 16-bit units: copies share a body,
/// positions are not checked, and the same rule for threads holds. Comparisons return -1, 0 or 1. Case and
/// white space are those of Unicode within the BMP; the numbers of `SubstParam` have the digits 0 to 9 only.
///
/// What passes through code page 0 depends on the system's ANSI code page and therefore on the locale:
/// conversions without another code page, and the numbers that `Value` reads.
///
/// \code
/// CUnicodeString name(u"  Grüße.txt ");
/// name.Trim();
/// const CString utf8 = name.CreateString(65001);
/// int number = 0;
/// if (!name.Value(number))
///     name = CUnicodeString(u"%0 is not a number").SubstParam(name);
/// \endcode
#pragma once

#include <tarnkit/string.h>

namespace Tarn {

/// The 16-bit text value.
class TARNKIT_API CUnicodeString : public CStringOf<char16_t> {
public:
    using CStringOf::CStringOf;
    using CStringOf::operator=;
    using CStringOf::operator+=;

    CUnicodeString() = default;
    /// Converts 8-bit text. Empty when `text` is null or cannot be converted. Code pages as in `CString`.
    CUnicodeString(const char* text, unsigned codePage);
    CUnicodeString(const char* text, int length, unsigned codePage);

    ///@{
    /// Wide text (`wchar_t`), on systems where its units have 16 bits.
    template<CWideUnit Wide>
    CUnicodeString(const Wide* text) : CStringOf(FromWide(text)) {}
    template<CWideUnit Wide>
    CUnicodeString(const Wide* text, int count) : CStringOf(FromWide(text), count) {}
    template<CWideUnit Wide>
    CUnicodeString(Wide unit, int count) : CStringOf(static_cast<char16_t>(unit), count) {}
    template<CWideUnit Wide>
    CUnicodeString& operator=(const Wide* text) {
        return *this = FromWide(text);
    }
    template<CWideUnit Wide>
    CUnicodeString& operator=(Wide unit) {
        return *this = static_cast<char16_t>(unit);
    }
    template<CWideUnit Wide>
    CUnicodeString& operator+=(const Wide* text) {
        return *this += FromWide(text);
    }
    template<CWideUnit Wide>
    CUnicodeString& operator+=(Wide unit) {
        return *this += static_cast<char16_t>(unit);
    }
    template<CWideUnit Wide>
    friend CUnicodeString operator+(const CUnicodeString& a, Wide b) {
        return a + static_cast<char16_t>(b);
    }
    template<CWideUnit Wide>
    friend bool operator==(const CUnicodeString& a, const Wide* b) {
        return a == FromWide(b);
    }
    template<CWideUnit Wide>
    friend std::strong_ordering operator<=>(const CUnicodeString& a, const Wide* b) {
        return a <=> FromWide(b);
    }
    ///@}

    /// Converts a view or standard string of 8-bit text, up to its first NUL.
    template<CForeignText<char> Text>
    CUnicodeString(const Text& text, unsigned codePage) : CUnicodeString(CString(text).Ptr(), codePage) {}

    /// Converts to 8-bit text in a code page. Empty when the text cannot be converted.
    CString CreateString(unsigned codePage = 0) const;
};
TARNKIT_LAYOUT(CUnicodeString, 4, body);

/// Writes the text in UTF-8, whatever the locale.
template<class Traits>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream,
                                             const CUnicodeString& text) {
    return stream << text.CreateString(kUtf8CodePage).Ptr();
}

} // namespace Tarn

template<>
struct std::hash<Tarn::CUnicodeString> : Tarn::CTextHash<char16_t> {};
