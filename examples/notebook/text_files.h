// The text files that notes are imported from and exported to.
//
// A text file is UTF-16 with a byte order mark, or text in a code page. Reading recognises the mark in either
// byte order; writing for the code page kUtf16 makes little-endian UTF-16. Zeros in a file become spaces.
#pragma once

#include <tarnkit/unicode_string.h>

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kUtf16 = 1200;
constexpr char16_t kByteOrderMark = u'\uFEFF';

/// Throws when the file is not valid in its encoding: except for zeros, a note has exactly the text of its
/// file.
Tarn::CUnicodeString ImportText(const Tarn::CUnicodeString& fileName, unsigned codePage);

/// Throws, before it touches the file, when the code page lacks characters of the text.
void ExportText(const Tarn::CUnicodeString& fileName, const Tarn::CUnicodeString& text, unsigned codePage);

/// The size of the file that `ExportText` would write; throws as `ExportText` does when characters are
/// missing.
int MeasureExport(const Tarn::CUnicodeString& fileName, const Tarn::CUnicodeString& text, unsigned codePage);
