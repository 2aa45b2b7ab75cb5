/// \file
/// Strings as arguments of the library {fmt}: a `CString` with its bytes, a `CUnicodeString` in UTF-8. Format
/// specifications are those of text. This header needs {fmt} and is not part of tarnkit.h.
///
/// \code
/// fmt::print("{:>10} is {}\n", CUnicodeString(u"Grüße"), 5);
/// \endcode
#pragma once

#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <fmt/format.h>

/// \cond
template<>
struct fmt::formatter<Tarn::CString> : fmt::formatter<fmt::string_view> {
    template<class Context>
    auto format(const Tarn::CString& text, Context& context) const {
        const std::string_view view = text.View();
        return fmt::formatter<fmt::string_view>::format({view.data(), view.size()}, context);
    }
};

template<>
struct fmt::formatter<Tarn::CUnicodeString> : fmt::formatter<Tarn::CString> {
    template<class Context>
    auto format(const Tarn::CUnicodeString& text, Context& context) const {
        return fmt::formatter<Tarn::CString>::format(text.CreateString(Tarn::kUtf8CodePage), context);
    }
};
/// \endcond
