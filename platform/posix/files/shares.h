// Who has a file open, and what he lets others do with it.
//
// Each open file description marks its file with record locks far above any real offset: one byte for every
// access it has and one for every access it denies to others. The system keeps the marks between objects,
// threads and processes alike, and drops them with the process. Only regular files carry marks.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

// Accesses, with the numbers of the share bits that grant them to others.
inline constexpr DWORD kReads = FILE_SHARE_READ;
inline constexpr DWORD kWrites = FILE_SHARE_WRITE;
inline constexpr DWORD kDeletes = FILE_SHARE_DELETE;
inline constexpr DWORD kAllAccesses = kReads | kWrites | kDeletes;

/// Marks the open file with the accesses `access` and the denial of those not in `share`. Returns 0, or 32
/// with no mark left when somebody else denies the one or has the other. `needed` is what others must not
/// deny although it is not marked. On a file system without locks everything is granted.
DWORD Claim(int descriptor, DWORD access, DWORD share, DWORD needed = 0);

/// Removes the marks at once, even if a child process that is just starting still shares the description.
void Disclaim(int descriptor);

} // namespace Tarn::Platform::Posix
