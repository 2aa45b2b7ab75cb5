/// \file
/// The mark at the start of files of UTF-16, which says that they are that and which byte of a unit comes
/// first.
#pragma once

namespace Tarn {

/// The first unit of such a file; the library writes the low byte first.
inline constexpr char16_t kByteOrderMark = 0xFEFF;
/// How the mark reads in a file with the high byte first.
inline constexpr char16_t kSwappedByteOrderMark = 0xFFFE;

} // namespace Tarn
