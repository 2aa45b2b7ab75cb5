// Records who has a file open, and what others may do with it meanwhile.
//
// Each open file description marks its file with record locks far beyond any real offset: one byte for every
// access that it has and one for every access that it denies to others. The marks are seen by all objects,
// threads and processes, and the system removes them when the process ends. Only regular files carry marks.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

// Accesses, numbered like the share bits that grant them to others.
inline constexpr DWORD kReads = FILE_SHARE_READ;
inline constexpr DWORD kWrites = FILE_SHARE_WRITE;
inline constexpr DWORD kDeletes = FILE_SHARE_DELETE;
inline constexpr DWORD kAllAccesses = kReads | kWrites | kDeletes;

/// Marks the open file with the accesses in `access` and with the denial of those that are not in `share`. If
/// somebody else denies one of the former or has one of the latter, returns ERROR_SHARING_VIOLATION and
/// leaves no mark. Others must not deny the accesses in `needed` either, which are not marked. On a file
/// system without locks everything is granted.
DWORD Claim(int descriptor, DWORD access, DWORD share, DWORD needed = 0);

/// Removes the marks immediately, even while a child process that is just starting shares the description.
void Disclaim(int descriptor);

} // namespace Tarn::Platform::Posix
