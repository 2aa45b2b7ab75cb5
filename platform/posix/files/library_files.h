// Where the files of loadable modules lie.
//
// All paths here are the system's own: bytes, separated by slashes. Functions throw `std::bad_alloc` only.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

/// The absolute path of the file that `name` stands for; empty when there is none. A name with separators is
/// a path; a bare one is looked for beside the executable, then where the loader searches. ".dll" is added
/// to a name without an extension that is not found as it is.
String FindLibraryFile(const char16_t* name);

/// The file that this process runs.
String ExecutableFile();
bool IsExecutableFile(const String& path);

enum class LibraryKind {
    kNone,
    kLibrary,
    kProgram, // or a library that can be run, which only the loader tells apart
};

/// Whether the loader may be given a file; if not, the code that a load reports.
DWORD CheckLibraryFile(const String& path, LibraryKind* kind);

} // namespace Tarn::Platform::Posix
