// FileSystem: path names as text, the process's current directory, and thin calls on files and directories.
//
// A path is a `CUnicodeString`. The single root is `\`; both `\` and `/` separate components everywhere, and
// "C:" drives and network paths (`\\server\share\...`) are understood. The platform has no current directory,
// so the library keeps one for the process: every call that touches the file system first makes its names
// full paths with it. The text functions touch nothing and never throw; the others throw a `CFileException*`
// with the system's code and the full path that failed. The current directory and the application data paths
// are not locked: change them while no other thread works with files.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

namespace FileSystem {

enum TPathType { Ordinary = 0, UNC = 1 };

/// What the application keeps under a data path: `User` for the user's roaming data, `Common` for what all
/// users share, `Local` for the user's data on this machine only.
enum class TApplicationDataPathType { User = 0, Common = 1, Local = 2 };

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

/// One file of a directory.
struct CFileInfo {
    CUnicodeString Name; ///< name and extension, without the directory
    Int64 Size = 0;      ///< bytes
    DWORD Attributes = 0;
};

// Paths as text.

/// `drive` + `dir` + `name` + `ext` is the path again, unless a part was longer than 259 units and was cut.
/// `dir` ends with its separator, `ext` begins with its dot.
TARNKIT_API void Split(const CUnicodeString& path, CUnicodeString& drive, CUnicodeString& dir,
                       CUnicodeString& name, CUnicodeString& ext);
/// The non-empty components between separators, in order.
TARNKIT_API void Split(const CUnicodeString& path, CArray<CUnicodeString>& parts);
/// The directory part, without the drive.
TARNKIT_API CUnicodeString GetPath(const CUnicodeString& path);
/// The name without its extension.
TARNKIT_API CUnicodeString GetName(const CUnicodeString& path);
/// The extension with its dot, or nothing.
TARNKIT_API CUnicodeString GetExt(const CUnicodeString& path);
TARNKIT_API CUnicodeString GetNameExt(const CUnicodeString& path);
/// Drive and directory.
TARNKIT_API CUnicodeString GetDrivePath(const CUnicodeString& path);

/// `UNC` for a path that begins with two equal separators.
TARNKIT_API TPathType GetPathType(const CUnicodeString& path);
TARNKIT_API bool IsUNCRootPath(const CUnicodeString& path);
/// `\\server\share\` of a network path (all of it, with a separator, when it names no share), else `\`.
TARNKIT_API CUnicodeString GetRoot(const CUnicodeString& path);
/// Index of the last separator; -1 when there is none or it belongs to a drive's or a server's root.
TARNKIT_API int FindLastSeparator(const CUnicodeString& path);
/// The path with a separator at its end, of the kind that it uses already.
TARNKIT_API CUnicodeString AddPathSeparator(const CUnicodeString& path);
/// Removes one separator from the end, even when it is the whole path.
TARNKIT_API void NormalizePath(CUnicodeString& path);
TARNKIT_API void ForceBackslashes(CUnicodeString& path);

/// `path` as seen from the directory `base`: absolute paths stay, `\x` stays on the share of a network base.
TARNKIT_API CUnicodeString MergePath(const CUnicodeString& base, const CUnicodeString& path);
/// `path` as seen from the current directory; an empty path stays empty.
TARNKIT_API void MakeFullPath(CUnicodeString& path);
TARNKIT_API CUnicodeString CombinePath(const CUnicodeString& base, const CUnicodeString& path);
/// A full path in one spelling: no separator at the end, backslashes only, the root in upper case. Nothing is
/// left of a path that is only `\`.
TARNKIT_API CUnicodeString CanonicalizePath(const CUnicodeString& path);
/// `path` as it is written from the directory `base`, with `..\` for each step up; `path` itself when no
/// relative form exists (other drive, other server, only one of them begins at the root), empty when both
/// name the same. Components are compared without case.
TARNKIT_API CUnicodeString RelativePath(const CUnicodeString& base, const CUnicodeString& path);

/// Joins a directory and the name and extension of `file`. An empty directory adds no separator.
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& file);
/// Separators, and the dot of `ext`, are put where they lack; empty pieces are left out.
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& name,
                                 const CUnicodeString& ext);
TARNKIT_API CUnicodeString Merge(const CUnicodeString& dir, const CUnicodeString& subdir,
                                 const CUnicodeString& name, const CUnicodeString& ext);
/// The components with a backslash between them; those of a network path with `\\` in front.
TARNKIT_API CUnicodeString Merge(const CArray<CUnicodeString>& parts, TPathType type);
/// Gives `path` the extension when it has none; `ext` with or without its dot.
TARNKIT_API void AddExtIfNone(CUnicodeString& path, const CUnicodeString& ext);
/// Replaces the extension, or appends it; an empty `ext` removes it.
TARNKIT_API void ReplaceExt(CUnicodeString& path, const CUnicodeString& ext);

/// Order of names without regard to case and to the kind of separator: negative, 0 or positive.
TARNKIT_API int CmpNames(const CUnicodeString* a, const CUnicodeString* b);
/// Whether every component is one that a file can have: none is empty, none holds any of `*?<>:"|\/`. A
/// drive makes a path invalid, a network path must name a share.
TARNKIT_API bool CheckName(const CUnicodeString& path);

// The current directory and other directories of the process.

/// With its trailing separator as it was set; the executable's directory until `ChangeDir` sets another.
TARNKIT_API CUnicodeString GetCurrentDir();
/// Throws when `dir` cannot be accessed; the current directory then stays.
TARNKIT_API void ChangeDir(const CUnicodeString& dir);

TARNKIT_API void SetApplicationDataPath(TApplicationDataPathType type, const CUnicodeString& path);
/// Creates the directory when it is missing.
TARNKIT_API CUnicodeString GetApplicationDataPath(TApplicationDataPathType type);
/// Sets all three application data paths to `relative` below the user's documents.
TARNKIT_API void SetRelativeApplicationDataPath(const CUnicodeString& relative);

/// Throws the memory exception or a `CCOMException*` when the shell does not tell.
TARNKIT_API CUnicodeString GetSpecialFolder(TSpecialFolder folder);
TARNKIT_API CUnicodeString GetSystemDir();
TARNKIT_API CUnicodeString GetWindowsDir();
/// The full path of a module's file; of the executable for null.
TARNKIT_API CUnicodeString GetModuleFileNameW(HINSTANCE module);
/// The executable's directory with its trailing separator.
TARNKIT_API CUnicodeString GetEXEDir();
/// The full path of the executable.
TARNKIT_API CUnicodeString GetEXEFileName();

/// Forgets the current directory and the application data paths and gives their memory back. For the
/// library's clean-up.
TARNKIT_API void ResetPaths();

// Files and directories.

/// Whether the directory exists. When not, the thread's last error says why.
TARNKIT_API bool AccessDir(const CUnicodeString& path);
/// Whether the file exists (mode 0), can be opened for writing (2), for reading (4), or both (6). False for
/// directories. When not, the thread's last error says why.
TARNKIT_API bool AccessFile(const CUnicodeString& name, unsigned int mode);
TARNKIT_API DWORD GetAttributes(const CUnicodeString& name);
TARNKIT_API void SetAttributes(const CUnicodeString& name, DWORD attributes);
/// Removes a file.
TARNKIT_API void Remove(const CUnicodeString& name);
TARNKIT_API void RemoveIgnoreErrors(const CUnicodeString& name);
/// Overwrites an existing target.
TARNKIT_API void Copy(const CUnicodeString& from, const CUnicodeString& to);
/// Refuses an existing target.
TARNKIT_API void Move(const CUnicodeString& from, const CUnicodeString& to);
/// Refuses an existing target.
TARNKIT_API void Rename(const CUnicodeString& from, const CUnicodeString& to);
/// Creates the directory and the missing ones above it; an existing directory is accepted.
TARNKIT_API void MakeDir(const CUnicodeString& path);
/// Removes an empty directory.
TARNKIT_API void DelDir(const CUnicodeString& path);
/// Removes a directory with all that is in it, read-only files too. Links are removed, not followed. The
/// first failure ends it and carries the path that could not be removed.
TARNKIT_API void DelTree(const CUnicodeString& path);

/// Bytes that the caller may still use on the volume of the directory (by default the current one), at most
/// 2^31 - 1.
TARNKIT_API long GetDiskFree();
TARNKIT_API long GetDiskFree(const CUnicodeString& path);

/// Fills `files` with the names (without directory) of the files in `dir` that match `mask` (`*` and `?`;
/// empty for all), sorted by `CmpNames`. Directories are left out; no match is no error.
TARNKIT_API void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask,
                               CArray<CUnicodeString>& files);
TARNKIT_API void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask,
                               CArray<CFileInfo>& files);

} // namespace FileSystem

} // namespace Tarn
