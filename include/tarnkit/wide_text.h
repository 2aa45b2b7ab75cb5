/// \file
/// Wide text (`wchar_t`, `L"..."`) on systems where its units have 16 bits, as on Windows. There it is the
/// library's own text under another type, and `CUnicodeString` takes it as it takes `u"..."`.
///
/// For functions that take a `const char16_t*`, and for calls of the system, these functions change the type
/// of a pointer and nothing else. Where wide units are larger, none of them can be called.
///
/// \code
/// bool isHelp(const wchar_t* argument) {
///     return CUnicodeString(u"--help").Compare(FromWide(argument)) == 0;
/// }
/// \endcode
#pragma once

#include <tarnkit/data_model.h>

#include <type_traits>

namespace Tarn {

/// `wchar_t`, where it has 16 bits; no type elsewhere.
template<class Unit>
concept CWideUnit = std::is_same_v<Unit, wchar_t> && kIsWideTextUtf16;

/// The same text with the library's type; null stays null.
template<CWideUnit Unit>
const char16_t* FromWide(const Unit* text) {
    return reinterpret_cast<const char16_t*>(text);
}

/// The library's text with the system's type; null stays null.
template<CWideUnit Unit = wchar_t>
const Unit* ToWide(const char16_t* text) {
    return reinterpret_cast<const Unit*>(text);
}

} // namespace Tarn
