// Literals for tests that run for both widths of text.
#pragma once

#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include "tests/support/testing.h"

namespace Tarn {

inline std::ostream& operator<<(std::ostream& stream, const CString& text) {
    return stream << '"' << text.Ptr() << '"';
}
inline std::ostream& operator<<(std::ostream& stream, const CUnicodeString& text) {
    return stream << text.CreateString(65001);
}

/// An ASCII text in the width of `Unit`, for as long as the expression lives.
template<class Unit>
struct CLiteral {
    std::basic_string<Unit> text;

    explicit CLiteral(std::string_view ascii) : text(ascii.begin(), ascii.end()) {}
    operator const Unit*() const { return text.c_str(); }

    friend std::ostream& operator<<(std::ostream& stream, const CLiteral& literal) {
        return stream << '"' << std::string(literal.text.begin(), literal.text.end()) << '"';
    }
};

template<class String>
using UnitOf = decltype(std::declval<String>().GetAt(0));

template<class String>
class StringTest : public testing::Test {
public:
    static CLiteral<UnitOf<String>> T(std::string_view ascii) { return CLiteral<UnitOf<String>>(ascii); }
    static String S(std::string_view ascii) { return String(T(ascii)); }
    static bool IsSharedEmpty(const String& text) {
        return text.Ptr() == String::Body::emptyStringBody.Body() && text.IsEmpty();
    }
};

using BothWidths = testing::Types<CString, CUnicodeString>;

} // namespace Tarn
