// Finds the files of loadable modules.
//
// All paths returned are the system's own: bytes, separated by slashes. Functions throw `std::bad_alloc`
// only.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

/// The absolute path of the file that `name` stands for; empty if there is none. A name with separators is a
/// path; any other is looked for beside the executable, then where the loader searches. A name without an
/// extension that is not found is tried again with ".dll".
String FindLibraryFile(const char16_t* name);

/// The executable of this process.
String ExecutableFile();
bool IsExecutableFile(const String& path);

enum class LibraryKind {
    kNone,
    kLibrary,
    kProgram, // or a library that can also be run; only the loader can tell the two apart
};

/// Checks whether the loader may be given a file; if not, returns the code that loading it reports.
DWORD CheckLibraryFile(const String& path, LibraryKind* kind);

} // namespace Tarn::Platform::Posix
