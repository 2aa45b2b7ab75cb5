/// \file
/// TempFile: temporary files of the process, created empty and removed together at the end.
///
/// The library remembers every file that it creates here until the file is deleted or made permanent;
/// `DeleteAll`, which `Clean` calls, removes the rest. Names are compared without regard to case. With the
/// library's switch "KeepTempFiles" on, the files are forgotten but stay on disk for inspection. Any thread
/// may call anything here at any time; one file is created, deleted or made permanent by one thread.
///
/// \code
/// const CUnicodeString document = u"\\home\\me\\letter.txt";
/// const CUnicodeString temp = TempFile::NewInDir(FileSystem::GetDrivePath(document), nullptr);
/// CFile::WriteText(temp, u"Dear reader");
/// TempFile::MakePermanent(temp, document); // replaces the old letter, if there is one
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

namespace TempFile {

/// The directory that `SetTemporaryDir` has set, as it was given; otherwise the system's without a trailing
/// separator, or the Windows directory (`FileSystem::GetWindowsDir`) if the system names none that exists.
TARNKIT_API CUnicodeString GetTemporaryDir();
/// Where `New` creates files from now on; empty for the system's directory.
TARNKIT_API void SetTemporaryDir(const CUnicodeString& dir);

/// Creates an empty file with a unique name that nobody can guess, and returns its full name. The name begins
/// with the first three units of `prefix`, or with "tmp" if `prefix` is null or empty. On POSIX, only the
/// owner can read the file; on Windows, whoever may read new files in that directory. Raises
/// `ERR_CREATE_TEMP_FILE`, also for a prefix with units that no name contains. The first file in a directory
/// also removes the temporary files that this user's processes which were killed have left there.
TARNKIT_API CUnicodeString New(const char16_t* prefix);
/// The same in the directory `dir`.
TARNKIT_API CUnicodeString NewInDir(const CUnicodeString& dir, const char16_t* prefix);

/// Whether the file is one of those that the library remembers.
TARNKIT_API bool IsTempFile(const CUnicodeString& name);

/// Removes a temporary file; asserts if it is not one. If it cannot be removed, this throws and the library
/// still remembers the file.
TARNKIT_API void Delete(const CUnicodeString& name);

/// Stores a temporary file on the disk, gives it its final name in one step, replacing an existing file, and
/// forgets it: at every moment, also after a power cut, the final name stands for the whole old or the whole
/// new file. On POSIX, the new file gets the old one's mode, owner, group, access-control list and extended
/// attributes as far as the system allows; on Windows, the access-control list and some attributes. If the
/// name is a symbolic link, the file that it leads to is replaced. The final name can be the temporary file's
/// own. If this fails, a `CFileException*` says why, and both files keep their names, contents and rights,
/// unless it is the disk that fails at the very end. A read-only file is not replaced.
TARNKIT_API void MakePermanent(const CUnicodeString& tempName, const CUnicodeString& permanentName);

/// Forgets the directory of `SetTemporaryDir` and removes all temporary files but those with which the
/// library itself is saving a file. Those that cannot be removed are still remembered, and the first failure
/// is thrown when all have been tried.
TARNKIT_API void DeleteAll();

/// As `DeleteAll`, but for all temporary files; frees the list. Meant for the library's clean-up.
TARNKIT_API void Reset();

} // namespace TempFile

} // namespace Tarn
