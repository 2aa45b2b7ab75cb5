/// \file
/// Conversions between text and a code page that has tables.
#pragma once

#include "platform/posix/text/code_page.h"
#include "platform/posix/text/conversion.h"

namespace Tarn::Platform::Posix {

/// Converts as MultiByteToWideChar does with these flags. With `glyphs`, control characters become what the
/// DOS code pages show for them.
int ConvertFromCodePage(const CodePage& page, DWORD flags, bool glyphs, const char* text, int size,
                        Output<char16_t> output);

/// Converts as WideCharToMultiByte does with these flags. `usedDefault` says whether the default character
/// was used; it may be null.
int ConvertToCodePage(const CodePage& page, DWORD flags, const char16_t* text, int size,
                      const char* defaultChar, Output<char> output, BOOL* usedDefault);

} // namespace Tarn::Platform::Posix
