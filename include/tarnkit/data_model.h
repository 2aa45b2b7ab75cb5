/// \file
/// The constants and types that depend on the data model of the target. No other code examines it.
#pragma once

namespace Tarn {

///@{
/// Integers of 64 bits on every target.
using Int64 = long long;
using UInt64 = unsigned long long;
///@}

/// The size of a pointer, in bytes.
inline constexpr int kPointerSize = sizeof(void*);

/// Whether `wchar_t` has 16 bits, as on Windows. The library then accepts `wchar_t` text as its own.
inline constexpr bool kIsWideTextUtf16 = sizeof(wchar_t) == sizeof(char16_t);

/// The unit, in bytes, to which the library's managers align and round memory; also the size of the prefix of
/// `doAlloc` and of the link in a page of a pool. It is a word on 32-bit targets, as on Windows CE, and the
/// alignment that any object may need on 64-bit targets.
inline constexpr int kAllocationUnit = kPointerSize == 4 ? 4 : 16;

} // namespace Tarn
