/// \file
/// The mark at the start of UTF-16 files, which identifies them and gives their byte order.
#pragma once

namespace Tarn {

/// The first unit of such a file; the library writes the low byte first.
inline constexpr char16_t kByteOrderMark = 0xFEFF;
/// How the mark reads in a file with the high byte first.
inline constexpr char16_t kSwappedByteOrderMark = 0xFFFE;

} // namespace Tarn
