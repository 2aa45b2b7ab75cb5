// CUnicodeString: 16-bit text (UTF-16 code units), the string of nearly every interface of the library.
//
// It has the members, the cost and the rules of CString (string.h), in 16-bit units: copies share a body,
// positions are not checked, one thread at a time. Comparisons give -1, 0 or 1; case and white space are
// those of Unicode within the BMP, digits are 0 to 9.
#pragma once

#include <tarnkit/string.h>
#include <tarnkit/wide_text.h>

namespace Tarn {

/// The 16-bit text value.
class TARNKIT_API CUnicodeString : public CStringOf<char16_t> {
public:
    using CStringOf::CStringOf;
    using CStringOf::operator=;
    using CStringOf::operator+=;

    CUnicodeString() = default;
    /// Converts 8-bit text; empty when `text` is null or cannot be converted. Code pages as in `CString`.
    CUnicodeString(const char* text, unsigned codePage);
    CUnicodeString(const char* text, int length, unsigned codePage);

    // Wide text, where it has 16-bit units.
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

    /// 8-bit text in a code page; empty when it cannot be converted.
    CString CreateString(unsigned codePage = 0) const;

private:
    static CUnicodeStringBody* construct(const char* text, int length, unsigned codePage);
};
TARNKIT_LAYOUT(CUnicodeString, 4, body);

} // namespace Tarn
