// How whole files of text are read, for readers that need more than `CFile::ReadText` tells.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// Reads as `CFile::ReadText` does, except that text that begins with the mark of UTF-8 is read as UTF-8 and
/// without the mark. `isExact` says whether the text holds everything that the file does: whether all bytes
/// were valid and none of the characters null.
CUnicodeString ReadMarkedText(const CUnicodeString& fileName, unsigned codePage, bool& isExact);

/// Appends the lines of `text` to `lines`, as `CFile::ReadText` finds them.
void SplitLines(const CUnicodeString& text, CArray<CUnicodeString>& lines);

} // namespace Tarn
