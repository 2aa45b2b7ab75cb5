// The few constants and names that depend on the data model of the target. Nothing else tests for it.
#pragma once

namespace Tarn {

using Int64 = long long;
using UInt64 = unsigned long long;

/// Bytes of a pointer on this target.
inline constexpr int kPointerSize = sizeof(void*);

/// Whether `wchar_t` text is 16-bit text, which the library then takes as its own.
inline constexpr bool kIsWideTextUtf16 = sizeof(wchar_t) == sizeof(char16_t);

/// Memory from the library's managers is aligned and rounded to this many bytes: the size of the prefix of
/// `doAlloc`, of the link area of a pool page and of the rounding unit. On 32-bit targets the word of the
/// handheld format, on 64-bit targets the alignment that any object may need.
inline constexpr int kAllocationUnit = kPointerSize == 4 ? 4 : 16;

} // namespace Tarn
