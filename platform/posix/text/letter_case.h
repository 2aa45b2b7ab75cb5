/// \file
/// Upper and lower case, unit by unit: the size of a text never changes, and surrogates stay as they are.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

void MapToUpper(char16_t* text, DWORD size);
void MapToLower(char16_t* text, DWORD size);

} // namespace Tarn::Platform::Posix
