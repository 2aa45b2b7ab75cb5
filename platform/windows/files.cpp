// File handles: opening, transfers, positions, lengths and times.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HANDLE CreateFileW(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes) {
    return ::CreateFileW(wide(name), access, share, nullptr, disposition, attributes, nullptr);
}

BOOL CreateTemporaryFileW(const char16_t* name) {
    const HANDLE file = CreateFileW(name, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY);
    if (file != INVALID_HANDLE_VALUE)
        ::CloseHandle(file);
    return file != INVALID_HANDLE_VALUE;
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

DWORD GetFileType(HANDLE file) { return ::GetFileType(file); }

BOOL GetFileTime(HANDLE file, FILETIME* creation, FILETIME* access, FILETIME* write) {
    return ::GetFileTime(file, creation, access, write);
}

BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write) {
    return ::SetFileTime(file, creation, access, write);
}

} // namespace Tarn::Platform
