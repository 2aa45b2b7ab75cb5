// The names of files as other programs spell them.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

DWORD GetNativeName(const char16_t* name, DWORD size, char* bytes) {
    const int needed = ::WideCharToMultiByte(CP_UTF8, 0, wide(name), -1, nullptr, 0, nullptr, nullptr);
    if (needed <= 1) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    if (size < static_cast<DWORD>(needed))
        return static_cast<DWORD>(needed);
    return static_cast<DWORD>(
        ::WideCharToMultiByte(CP_UTF8, 0, wide(name), -1, bytes, needed, nullptr, nullptr) - 1);
}

DWORD GetNameOfNative(const char* bytes, DWORD size, char16_t* name) {
    const int needed = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, -1, nullptr, 0);
    if (needed == 0)
        return 0;
    if (needed == 1) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return 0;
    }
    if (size < static_cast<DWORD>(needed))
        return static_cast<DWORD>(needed);
    return static_cast<DWORD>(
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, -1, wide(name), needed) - 1);
}

DWORD GetCurrentDirectoryW(DWORD size, char16_t* path) { return ::GetCurrentDirectoryW(size, wide(path)); }

} // namespace Tarn::Platform
