// Passes 16-bit text to Windows, which has another type for the same units.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform {

inline const wchar_t* wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }
inline wchar_t* wide(char16_t* text) { return reinterpret_cast<wchar_t*>(text); }

} // namespace Tarn::Platform
