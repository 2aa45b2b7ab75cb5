/// \file
/// Strings as arguments of `std::format`, where the standard library has it: a `CString` with its bytes, a
/// `CUnicodeString` in UTF-8. Format specifications are those of `std::string_view`.
#pragma once

#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <version>

#ifdef __cpp_lib_format
#include <format>

template<>
struct std::formatter<Tarn::CString> : std::formatter<std::string_view> {
    template<class Context>
    auto format(const Tarn::CString& text, Context& context) const {
        return std::formatter<std::string_view>::format(text.View(), context);
    }
};

template<>
struct std::formatter<Tarn::CUnicodeString> : std::formatter<Tarn::CString> {
    template<class Context>
    auto format(const Tarn::CUnicodeString& text, Context& context) const {
        return std::formatter<Tarn::CString>::format(text.CreateString(Tarn::kUtf8CodePage), context);
    }
};
#endif
