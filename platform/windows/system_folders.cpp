// The folders of the system, and the free space on a disk.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

DWORD GetTempPathW(DWORD size, char16_t* buffer) { return ::GetTempPathW(size, wide(buffer)); }

BOOL GetDiskFreeSpaceExW(const char16_t* directory, UInt64* available, UInt64* total, UInt64* free) {
    static_assert(sizeof(UInt64) == sizeof(ULARGE_INTEGER));
    return ::GetDiskFreeSpaceExW(wide(directory), reinterpret_cast<ULARGE_INTEGER*>(available),
                                 reinterpret_cast<ULARGE_INTEGER*>(total),
                                 reinterpret_cast<ULARGE_INTEGER*>(free));
}

UINT GetSystemDirectoryW(char16_t* buffer, UINT size) { return ::GetSystemDirectoryW(wide(buffer), size); }

UINT GetWindowsDirectoryW(char16_t* buffer, UINT size) { return ::GetWindowsDirectoryW(wide(buffer), size); }

} // namespace Tarn::Platform
