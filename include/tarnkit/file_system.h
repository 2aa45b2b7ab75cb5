/// \file
/// FileSystem: path names as text, the current directory, and calls on files and directories by name.
///
/// A path is a `CUnicodeString`. The single root is `\`; both `\` and `/` separate components everywhere, and
/// drives ("C:") and network paths (`\\server\share\...`) are understood. Windows CE has no current
/// directory, so the library keeps one for the process, on every system: each call that touches the file
/// system first makes its names full paths with it. Functions on text alone touch nothing and never throw;
/// the others throw a `CFileException*` with the system's code and the full path that failed; an empty path
/// never names anything. Any thread may call anything here at any time. The current directory and the
/// application data paths belong to the process: a relative path is resolved against the directory that is
/// current at that moment, whichever thread has set it.
///
/// \code
/// const CUnicodeString dir = FileSystem::CombinePath(FileSystem::GetEXEDir(), u"data");
/// FileSystem::MakeDir(dir);
/// CArray<CUnicodeString> names;
/// FileSystem::GetFilesInDir(dir, u"*.txt", names);
/// for (const CUnicodeString& name : names)
///     FileSystem::Remove(FileSystem::Merge(dir, name));
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

namespace FileSystem {

/// `UNC` is a network path, which begins with two equal separators.
enum TPathType { Ordinary = 0, UNC = 1 };

/// Whose data the application keeps under a data path: `User` for data that follows the user to other
/// machines, `Common` for data shared by all users, `Local` for the user's data on this machine only.
enum class TApplicationDataPathType { User = 0, Common = 1, Local = 2 };

/// A folder of the user's that the system's shell knows.
enum class TSpecialFolder {
    Desktop = 0,
    Programs = 1,
    Documents = 2,
    StartUp = 3,
    Recent = 4,
    StartMenu = 5,
    Fonts = 6,
    Favorites = 7
};

/// A file in a directory.
struct CFileInfo {
    CUnicodeString Name;  ///< name and extension, without the directory
    Int64 Size = 0;       ///< bytes
    DWORD Attributes = 0; ///< `FILE_ATTRIBUTE_...` bits
};

// Functions on the text of paths.

/// Splits a path so that `drive` + `dir` + `name` + `ext` is the path again, unless a part is longer than 259
/// units and was cut off there. `dir` ends with its separator, `ext` begins with its dot.
TARNKIT_API void Split(const CUnicodeString& path, CUnicodeString& drive, CUnicodeString& dir,
                       CUnicodeString& name, CUnicodeString& ext);
/// Fills `parts` with the non-empty components between separators, in order.
TARNKIT_API void Split(const CUnicodeString& path, CArray<CUnicodeString>& parts);
/// The directory part, without the drive.
TARNKIT_API CUnicodeString GetPath(const CUnicodeString& path);
/// The name without its extension.
TARNKIT_API CUnicodeString GetName(const CUnicodeString& path);
/// The extension with its dot; empty if there is none.
TARNKIT_API CUnicodeString GetExt(const CUnicodeString& path);
/// The name with its extension.
TARNKIT_API CUnicodeString GetNameExt(const CUnicodeString& path);
/// The drive and the directory.
TARNKIT_API CUnicodeString GetDrivePath(const CUnicodeString& path);

/// `UNC` for a path that begins with two equal separators.
TARNKIT_API TPathType GetPathType(const CUnicodeString& path);
/// Whether the path is a network path.
TARNKIT_API bool IsUNCRootPath(const CUnicodeString& path);
/// `\\server\share\` of a network path (the whole path and a separator if it names no share), otherwise `\`.
TARNKIT_API CUnicodeString GetRoot(const CUnicodeString& path);
/// The index of the last separator; -1 if there is none or it belongs to the root of a drive or server.
TARNKIT_API int FindLastSeparator(const CUnicodeString& path);
/// The path with a separator at its end, of the kind that it already uses.
TARNKIT_API CUnicodeString AddPathSeparator(const CUnicodeString& path);
/// Removes one separator from the end, even if it is the whole path.
TARNKIT_API void NormalizePath(CUnicodeString& path);
/// Replaces every `/` by a backslash.
TARNKIT_API void ForceBackslashes(CUnicodeString& path);

/// `path` as seen from the directory `base`. An absolute path is returned unchanged, but `\x` seen from a
/// network path stays on its share.
TARNKIT_API CUnicodeString MergePath(const CUnicodeString& base, const CUnicodeString& path);
/// Replaces `path` by the same path as seen from the current directory; an empty path stays empty.
TARNKIT_API void MakeFullPath(CUnicodeString& path);
/// `MergePath`, then `MakeFullPath`.
TARNKIT_API CUnicodeString CombinePath(const CUnicodeString& base, const CUnicodeString& path);
/// The full path in its canonical spelling: no separator at the end, backslashes only, the root in upper
/// case. The path `\` becomes empty.
TARNKIT_API CUnicodeString CanonicalizePath(const CUnicodeString& path);
/// `path` relative to the directory `base`, with `..\` for each step up; empty if both are the same. Returns
/// `path` unchanged if no relative form exists (different drives or servers, or only one begins at the root).
/// Components are compared without regard to case.
TARNKIT_API CUnicodeString RelativePath(const CUnicodeString& base, const CUnicodeString& path);

/// Joins a directory with the name and extension of `file`, whose own directory is dropped. An empty
/// directory adds no separator.
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& file);
/// Joins the pieces; separators and the dot of `ext` are added where missing, empty pieces are left out.
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& name,
                                 const CUnicodeString& ext);
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& subdir,
                                 const CUnicodeString& name, const CUnicodeString& ext);
/// Joins components with backslashes; a network path gets `\\` in front.
TARNKIT_API CUnicodeString Merge(const CArray<CUnicodeString>& parts, TPathType type);
/// Adds the extension if the path has none; `ext` may be given with or without its dot.
TARNKIT_API void AddExtIfNone(CUnicodeString& path, const CUnicodeString& ext);
/// Replaces the extension, or adds it if there is none; an empty `ext` removes it.
TARNKIT_API void ReplaceExt(CUnicodeString& path, const CUnicodeString& ext);

/// Compares names without regard to case or to the kind of separator: negative, 0 or positive.
TARNKIT_API int CmpNames(const CUnicodeString* a, const CUnicodeString* b);
/// Whether a file could have this path: no component is empty or contains any of `*?<>:"|\/`, and a network
/// path names a share. A path with a drive is not valid.
TARNKIT_API bool CheckName(const CUnicodeString& path);

// Names for other libraries and for people. Every call takes `/` and `\` for the same.

/// The name in the bytes that the system's calls and other libraries take: on POSIX those on the disk, with
/// `/` and without "." and ".." as components; on Windows UTF-8. Throws for a name that no file can have.
TARNKIT_API CString ToNative(const CUnicodeString& name);
/// The reverse: from it, `ToNative` makes the same bytes again, whatever they are. Throws for an empty name
/// and, on Windows, for one that is not UTF-8.
TARNKIT_API CUnicodeString FromNative(const char* native);
/// The name as people know it: spelled in the system's way, but unchanged if no file can have it. What is not
/// text in it shows as U+FFFD, so that it does not serve for opening a file.
TARNKIT_API CUnicodeString ForDisplay(const CUnicodeString& name);

// The current directory and other directories.

/// The directory as it was set, with or without a trailing separator; until `ChangeDir` sets another, the
/// executable's directory.
TARNKIT_API CUnicodeString GetCurrentDir();
/// Throws if `dir` cannot be accessed, and keeps the current directory then.
TARNKIT_API void ChangeDir(const CUnicodeString& dir);
/// Makes the folder that the user is in the current directory: the working directory of the process. Programs
/// for the command line call this at their start, so that names among their arguments mean what users expect.
TARNKIT_API void ChangeToWorkingDir();

/// Where the application keeps data of this kind; the directory need not exist yet.
TARNKIT_API void SetApplicationDataPath(TApplicationDataPathType type, const CUnicodeString& path);
/// Creates the directory if it is missing.
TARNKIT_API CUnicodeString GetApplicationDataPath(TApplicationDataPathType type);
/// Sets all three application data paths to `relative` below the user's documents.
TARNKIT_API void SetRelativeApplicationDataPath(const CUnicodeString& relative);

/// Throws the memory exception or a `CCOMException*` if the system's shell refuses.
TARNKIT_API CUnicodeString GetSpecialFolder(TSpecialFolder folder);
///@{
/// The directories of the system, as it names them.
TARNKIT_API CUnicodeString GetSystemDir();
TARNKIT_API CUnicodeString GetWindowsDir();
///@}
/// The full path of a module's file, or of the executable if `module` is null.
TARNKIT_API CUnicodeString GetModuleFileNameW(HINSTANCE module);
/// The executable's directory with its trailing separator.
TARNKIT_API CUnicodeString GetEXEDir();
/// The full path of the executable.
TARNKIT_API CUnicodeString GetEXEFileName();

/// Forgets the current directory and the application data paths and frees their memory. Meant for the
/// library's clean-up.
TARNKIT_API void ResetPaths();

// Files and directories.

/// Whether the directory exists. If not, the thread's last error says why.
TARNKIT_API bool AccessDir(const CUnicodeString& path);
/// Whether the file exists (mode 0) or can be opened for writing (2), for reading (4) or for both (6). False
/// for directories. If false, the thread's last error says why.
TARNKIT_API bool AccessFile(const CUnicodeString& name, unsigned int mode);
/// The `FILE_ATTRIBUTE_...` bits of a file or directory.
TARNKIT_API DWORD GetAttributes(const CUnicodeString& name);
/// Sets those bits of a file or directory that can be set.
TARNKIT_API void SetAttributes(const CUnicodeString& name, DWORD attributes);
/// Removes a file.
TARNKIT_API void Remove(const CUnicodeString& name);
/// Removes a file; a failure is not reported.
TARNKIT_API void RemoveIgnoreErrors(const CUnicodeString& name);
/// Replaces an existing target; where this user may write the target but not replace it, overwrites it.
TARNKIT_API void Copy(const CUnicodeString& from, const CUnicodeString& to);
/// Refuses an existing target.
TARNKIT_API void Move(const CUnicodeString& from, const CUnicodeString& to);
/// Refuses an existing target.
TARNKIT_API void Rename(const CUnicodeString& from, const CUnicodeString& to);
/// Creates the directory and any missing ones above it. An existing directory is no failure.
TARNKIT_API void MakeDir(const CUnicodeString& path);
/// Removes an empty directory.
TARNKIT_API void DelDir(const CUnicodeString& path);
/// Removes a directory with everything in it, including read-only files. Links are removed, not followed,
/// even those that take the place of a directory meanwhile. Stops at the first failure, which carries the
/// path that could not be removed.
TARNKIT_API void DelTree(const CUnicodeString& path);

/// The number of bytes that are free to the user on the volume of the directory (by default the current
/// directory), at most 2^31 - 1.
TARNKIT_API long GetDiskFree();
TARNKIT_API long GetDiskFree(const CUnicodeString& path);

/// Fills `files` with the files in `dir` whose names match `mask` (with `*` and `?`; empty for all), sorted
/// by `CmpNames`. The names come without the directory; directories in `dir` are left out. No match is no
/// failure.
TARNKIT_API void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask,
                               CArray<CUnicodeString>& files);
TARNKIT_API void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask,
                               CArray<CFileInfo>& files);

} // namespace FileSystem

} // namespace Tarn
