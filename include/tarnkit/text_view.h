/// \file
/// Which types of others the strings take as text: `std::string_view`, `std::u16string` and every other class
/// that converts to a view of the standard library, but not to a pointer.
///
/// A view may contain NULs. The texts of this library end at their first NUL, and so does whatever is read
/// from a view: what is made of it, compared with it or found by it takes the units before the NUL.
#pragma once

#include <tarnkit/wide_text.h>

#include <concepts>
#include <string_view>
#include <type_traits>

namespace Tarn {

/// Text of such a class in the units of `Unit`. Where `wchar_t` has 16 bits, its views are 16-bit text too.
template<class Text, class Unit>
concept CForeignText = std::is_class_v<Text> && !std::is_convertible_v<const Text&, const Unit*> &&
                       (std::is_convertible_v<const Text&, std::basic_string_view<Unit>> ||
                        (std::is_same_v<Unit, char16_t> && CWideUnit<wchar_t> &&
                         std::is_convertible_v<const Text&, std::wstring_view>));

/// Such a text as a view.
template<class Unit, CForeignText<Unit> Text>
std::basic_string_view<Unit> ViewOf(const Text& text) {
    if constexpr (std::is_convertible_v<const Text&, std::basic_string_view<Unit>>) {
        return text;
    } else {
        const std::wstring_view wide = text;
        return {reinterpret_cast<const Unit*>(wide.data()), wide.size()};
    }
}

} // namespace Tarn
