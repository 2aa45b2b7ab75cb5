// Names as the system's calls take them.
#pragma once

#include <tarnkit/file_system.h>

namespace Tarn::FileSystem {

/// The path as seen from the library's current directory; an empty path stays empty.
inline CUnicodeString FullPath(CUnicodeString path) {
    MakeFullPath(path);
    return path;
}

} // namespace Tarn::FileSystem
