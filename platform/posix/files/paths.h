// Translates between the 16-bit file names of platform.h, which may have either separator, and the names on
// disk, which are bytes.
//
// The translation loses nothing. A name on disk is read as UTF-8. In 16-bit names, bytes that are not UTF-8
// become the units U+DC80 to U+DCFF, and characters that must not occur there (`*?<>"|:\` and the control
// characters) become U+F000 plus their code. A surrogate without its partner is written to disk as the three
// bytes that it would have if it were a character.
//
// A name is first looked for as it is spelled. Only if a component is missing is its directory searched for a
// name that differs only in case.
#pragma once

#include "platform/posix/files/information.h"
#include "platform/posix/memory/allocator.h"

#include <dirent.h>
#include <memory>

namespace Tarn::Platform::Posix {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};
using DirectoryEntries = std::unique_ptr<DIR, DirectoryCloser>;

/// The 16-bit name of a path or a component on disk. Separators become backslashes.
U16String ToWide(const char* path, std::size_t size);
inline U16String ToWide(const String& path) { return ToWide(path.data(), path.size()); }

/// The path on disk of a name; "." and ".." are resolved textually. Returns a code: ERROR_PATH_NOT_FOUND for
/// an empty name, ERROR_BAD_NETPATH for one with a server, ERROR_INVALID_NAME for one that cannot exist.
DWORD ToDisk(const char16_t* name, String& path);

/// The text in a form that is equal for names that differ only in case.
U16String Fold(U16String text);

bool IsSeparator(char16_t unit);
/// Whether the text, which may be null, ends with a separator.
bool EndsWithSeparator(const char16_t* name);

/// The directory of a path on disk; "." if the path has none.
String ParentOf(const String& path);
/// The last component of a path on disk; empty for the root.
String LastOf(const String& path);
String Join(const String& directory, const String& last);

/// What `Find` found.
struct Name {
    /// The path on disk as it is spelled there; if the file is missing, the path where it would be created.
    String path;
    /// The last component as the caller spelled it.
    String given;
    bool endsWithSeparator = false;
    /// The name itself, and what it leads to: another file when the name is a symbolic link.
    FileInformation entry;
    FileInformation target;
    /// The directory of a file that is missing; empty if it is not known.
    FileInformation folder;

    bool IsDirectory() const { return target.IsDirectory(); }
    bool IsBrokenLink() const { return target.IsLink(); }
};

/// Looks for `name` and returns a code: ERROR_FILE_NOT_FOUND if only the last component is missing,
/// ERROR_PATH_NOT_FOUND if an earlier one is, ERROR_INVALID_NAME for the name of a file that ends with a
/// separator.
DWORD Find(const char16_t* name, Name& result);

/// ERROR_ACCESS_DENIED if the directory that contains `path` has no write bit, otherwise ERROR_SUCCESS.
DWORD CheckParentWritable(const String& path);
/// The same for a name that `Find` has looked for just now.
DWORD CheckParentWritable(const Name& name);

} // namespace Tarn::Platform::Posix
