// The user's home and the XDG base directories below it, as absolute paths on disk. A program that has other
// rights than the user who started it takes none of them from the environment, but from the system's list.
#pragma once

#include "platform/posix/memory/allocator.h"

namespace Tarn::Platform::Posix {

/// The value of an environment variable if it is an absolute path, otherwise an empty string.
String AbsolutePathIn(const char* variable);

/// From HOME, or else from the system's list of users; empty if the user has no home.
String HomeFolder();

/// Where programs keep the user's settings, and their other data. Empty if XDG_CONFIG_HOME or XDG_DATA_HOME
/// is not an absolute path and the user has no home.
String ConfigFolder();
String DataFolder();

} // namespace Tarn::Platform::Posix
