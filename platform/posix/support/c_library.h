/// \file
/// The lock for what the C library keeps for the whole process: locales, time zones and converters.
///
/// The C library locks its own data; these calls are rare, and one at a time is easier to follow, also for
/// the thread sanitizer, which cannot see the C library's locks. Reading what they have made needs no lock.
#pragma once

#include <mutex>

namespace Tarn::Platform::Posix {

// Making a locale's texts may load a code page.
inline constinit std::recursive_mutex cLibraryLock;

/// Held during a fork as well: what the C library does under this lock has locks of its own, which would stay
/// locked in the child.
using CLibraryGuard = std::lock_guard<std::recursive_mutex>;

} // namespace Tarn::Platform::Posix
