// Names of files: 16-bit text with either separator above the door, bytes below it.
//
// The translation loses nothing. On disk a name is UTF-8. Bytes that are not stand above the door as the
// units U+DC80..U+DCFF; characters that a name must not have above the door (`*?<>"|:\` and the control
// characters) stand as U+F000 plus their code; a surrogate without its partner is written as the three bytes
// it would have if it were a character.
//
// A name is looked for as given first. Only where a component is missing is its directory searched for one
// that differs in nothing but case.
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

/// The name above the door of a path or a component on disk. Separators come out as backslashes.
U16String ToWide(const char* path, std::size_t size);
inline U16String ToWide(const String& path) { return ToWide(path.data(), path.size()); }

/// The path on disk of a name, "." and ".." resolved in the text. Returns a code: 3 for an empty name, 53 for
/// one with a server, 123 for one that cannot exist.
DWORD ToDisk(const char16_t* name, String& path);

/// The text in the form that compares names without regard to case.
U16String Fold(U16String text);

bool IsSeparator(char16_t unit);
/// Whether the last unit of the text, which may be null, is a separator.
bool EndsWithSeparator(const char16_t* name);

/// The directory of a path on disk, "." for a lone name.
String ParentOf(const String& path);
/// The last component of a path on disk, empty for the root.
String LastOf(const String& path);
String Join(const String& directory, const String& last);

/// What `Find` found.
struct Name {
    /// On disk as it is spelled there; where it would be made, if it is missing.
    String path;
    /// The last component as the caller spelled it.
    String given;
    bool endsWithSeparator = false;
    /// The name itself, and what it leads to: another file when the name is a symbolic link.
    FileInformation entry;
    FileInformation target;

    bool IsDirectory() const { return target.IsDirectory(); }
    bool IsBrokenLink() const { return target.IsLink(); }
};

/// Looks for `name`. Returns 0, 2 when only the last component is missing, 3 when one before it is, or
/// another code. A file's name with a separator at its end is 123.
DWORD Find(const char16_t* name, Name& result);

/// 5 when nobody may change the directory that `path` lies in, else 0.
DWORD CheckParentWritable(const String& path);

} // namespace Tarn::Platform::Posix
