// What files of text consist of besides their text.
#pragma once

namespace Tarn {

/// The first unit of a file of UTF-16, little-endian.
inline constexpr char16_t kByteOrderMark = 0xFEFF;
/// The same as a file with the high bytes first shows it.
inline constexpr char16_t kSwappedByteOrderMark = 0xFFFE;

} // namespace Tarn
