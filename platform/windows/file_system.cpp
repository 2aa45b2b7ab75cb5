// Files and directories by name: attributes, removal, copying, moving and creation.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

DWORD GetFileAttributesW(const char16_t* name) { return ::GetFileAttributesW(wide(name)); }

BOOL SetFileAttributesW(const char16_t* name, DWORD attributes) {
    return ::SetFileAttributesW(wide(name), attributes);
}

BOOL DeleteFileW(const char16_t* name) { return ::DeleteFileW(wide(name)); }

BOOL CopyFileW(const char16_t* from, const char16_t* to, BOOL failIfExists) {
    return ::CopyFileW(wide(from), wide(to), failIfExists);
}

BOOL MoveFileW(const char16_t* from, const char16_t* to) { return ::MoveFileW(wide(from), wide(to)); }

BOOL MoveFileExW(const char16_t* from, const char16_t* to, DWORD flags) {
    return ::MoveFileExW(wide(from), wide(to), flags);
}

BOOL CreateDirectoryW(const char16_t* name) { return ::CreateDirectoryW(wide(name), nullptr); }

BOOL RemoveDirectoryW(const char16_t* name) { return ::RemoveDirectoryW(wide(name)); }

} // namespace Tarn::Platform
