// TempFile: temporary files of the process, handed out as new empty files and cleaned up together.
//
// The library remembers every file it hands out until it is deleted or made permanent; `DeleteAll`, which the
// library's clean-up calls, removes the rest. Names are compared without case. With the library's switch
// "KeepTempFiles" on, files are only forgotten and stay on disk. Not locked: for the main thread.
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

namespace TempFile {

/// The directory set, else the platform's, else the Windows directory; without a trailing separator when it
/// is not the one set.
TARNKIT_API CUnicodeString GetTemporaryDir();
TARNKIT_API void SetTemporaryDir(const CUnicodeString& dir);

/// Creates an empty file with a name of its own and returns the full name. Of `prefix` (null or empty for
/// "tmp") the first three units count. Raises `ERR_CREATE_TEMP_FILE`.
TARNKIT_API CUnicodeString New(const char16_t* prefix);
TARNKIT_API CUnicodeString NewInDir(const CUnicodeString& dir, const char16_t* prefix);

/// Whether the library handed the file out and still owns it.
TARNKIT_API bool IsTempFile(const CUnicodeString& name);

/// Removes a temporary file; asserts when it is none. A file that cannot be removed throws and stays listed.
TARNKIT_API void Delete(const CUnicodeString& name);

/// Gives a temporary file its final name, replacing an existing file, and forgets it. When that fails the
/// temporary file keeps its name and contents, an existing file of the final name too, and the
/// `CFileException*` tells why. A read-only file is not replaced.
TARNKIT_API void MakePermanent(const CUnicodeString& tempName, const CUnicodeString& permanentName);

/// Forgets the directory set and removes all temporary files. All are tried; those that cannot be removed
/// stay listed, and the first failure is thrown.
TARNKIT_API void DeleteAll();

/// `DeleteAll`, then gives the memory of the list back. For the library's clean-up.
TARNKIT_API void Reset();

} // namespace TempFile

} // namespace Tarn
