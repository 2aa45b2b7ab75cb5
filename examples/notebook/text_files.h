// The text files that notes are imported from and exported to.
//
// A text file is UTF-16 with a byte order mark, or text in a code page. Reading recognises the mark in either
// byte order; writing for the code page kUtf16 makes little-endian UTF-16. Zeros in a file become spaces.
#pragma once

#include <tarnkit/unicode_string.h>

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kUtf16 = 1200;
constexpr char16_t kByteOrderMark = u'\uFEFF';

/// Throws when the file is not text of its encoding: but for zeros, a note is what its file is.
Tarn::CUnicodeString ImportText(const Tarn::CUnicodeString& fileName, unsigned codePage);

/// Throws, before the file is touched, when the code page lacks characters of the text.
void ExportText(const Tarn::CUnicodeString& fileName, const Tarn::CUnicodeString& text, unsigned codePage);

/// The size of the file that `ExportText` would make; throws for what the code page lacks, as it does.
int MeasureExport(const Tarn::CUnicodeString& fileName, const Tarn::CUnicodeString& text, unsigned codePage);
