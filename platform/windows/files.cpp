// Files, directories and the shell's special folders.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HANDLE CreateFileW(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes) {
    return ::CreateFileW(wide(name), access, share, nullptr, disposition, attributes, nullptr);
}

HANDLE CreateFileForMappingW(const char16_t* name, DWORD access, DWORD share, DWORD disposition,
                             DWORD attributes) {
    return CreateFileW(name, access, share, disposition, attributes);
}

BOOL CloseHandle(HANDLE file) { return ::CloseHandle(file); }

BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read) {
    return ::ReadFile(file, buffer, size, read, nullptr);
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written) {
    return ::WriteFile(file, buffer, size, written, nullptr);
}

DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD from) {
    return ::SetFilePointer(file, low, high, from);
}

BOOL SetEndOfFile(HANDLE file) { return ::SetEndOfFile(file); }

DWORD GetFileSize(HANDLE file, DWORD* high) { return ::GetFileSize(file, high); }

BOOL FlushFileBuffers(HANDLE file) { return ::FlushFileBuffers(file); }

BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) {
    return ::GetFileTime(file, creation, access, write);
}

BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write) {
    return ::SetFileTime(file, creation, access, write);
}

DWORD GetFileAttributesW(const char16_t* name) { return ::GetFileAttributesW(wide(name)); }

BOOL SetFileAttributesW(const char16_t* name, DWORD attributes) {
    return ::SetFileAttributesW(wide(name), attributes);
}

HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) {
    return ::FindFirstFileW(wide(pattern), data);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) { return ::FindNextFileW(search, data); }

BOOL FindClose(HANDLE search) { return ::FindClose(search); }

BOOL DeleteFileW(const char16_t* name) { return ::DeleteFileW(wide(name)); }

BOOL CopyFileW(const char16_t* from, const char16_t* to, BOOL failIfExists) {
    return ::CopyFileW(wide(from), wide(to), failIfExists);
}

BOOL MoveFileW(const char16_t* from, const char16_t* to) { return ::MoveFileW(wide(from), wide(to)); }

BOOL CreateDirectoryW(const char16_t* name) { return ::CreateDirectoryW(wide(name), nullptr); }

BOOL RemoveDirectoryW(const char16_t* name) { return ::RemoveDirectoryW(wide(name)); }

DWORD GetTempPathW(DWORD size, char16_t* buffer) { return ::GetTempPathW(size, wide(buffer)); }

UINT GetTempFileNameW(const char16_t* directory, const char16_t* prefix, UINT unique, char16_t* name) {
    return ::GetTempFileNameW(wide(directory), wide(prefix), unique, wide(name));
}

BOOL GetDiskFreeSpaceExW(const char16_t* directory, UInt64* available, UInt64* total, UInt64* free) {
    static_assert(sizeof(UInt64) == sizeof(ULARGE_INTEGER));
    return ::GetDiskFreeSpaceExW(wide(directory), reinterpret_cast<ULARGE_INTEGER*>(available),
                                 reinterpret_cast<ULARGE_INTEGER*>(total),
                                 reinterpret_cast<ULARGE_INTEGER*>(free));
}

UINT GetSystemDirectoryW(char16_t* buffer, UINT size) { return ::GetSystemDirectoryW(wide(buffer), size); }

UINT GetWindowsDirectoryW(char16_t* buffer, UINT size) { return ::GetWindowsDirectoryW(wide(buffer), size); }

HRESULT SHGetMalloc(IMalloc** allocator) { return ::SHGetMalloc(allocator); }

HRESULT SHGetSpecialFolderLocation(HWND owner, int folder, ITEMIDLIST** location) {
    return ::SHGetSpecialFolderLocation(owner, folder, location);
}

BOOL SHGetPathFromIDListW(const ITEMIDLIST* location, char16_t* path) {
    return ::SHGetPathFromIDListW(location, wide(path));
}

} // namespace Tarn::Platform
