// Wide text (`wchar_t`, `L"..."`) on systems where its units have 16 bits, as those of Windows do: there it
// is the library's own text under another type, and `CUnicodeString` takes it as it takes `u"..."`.
//
// For functions that take a `const char16_t*`, and for calls of the system, a pointer changes its type
// without changing what it points at. Where wide units are larger, nothing here can be called.
#pragma once

#include <tarnkit/data_model.h>

#include <type_traits>

namespace Tarn {

template<class Unit>
concept CWideUnit = std::is_same_v<Unit, wchar_t> && kIsWideTextUtf16;

/// The same text as the library's; null stays null.
template<CWideUnit Unit>
const char16_t* FromWide(const Unit* text) {
    return reinterpret_cast<const char16_t*>(text);
}

/// The library's text as the system's; null stays null.
template<CWideUnit Unit = wchar_t>
const Unit* ToWide(const char16_t* text) {
    return reinterpret_cast<const Unit*>(text);
}

} // namespace Tarn
