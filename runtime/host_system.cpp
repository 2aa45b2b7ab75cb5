// The system that the library runs on.
#include "platform/platform.h"

#include <tarnkit/failures.h>
#include <tarnkit/lifecycle.h>

namespace Tarn {

namespace {

constexpr char16_t kSource[] = u"Tarnkit";

OSVERSIONINFOW getVersion(long assertionLine) {
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    static_assert(sizeof(version) == 276);
    if (!Platform::GetVersionExW(&version))
        GenAssert(kSource, assertionLine);
    return version;
}

// Whether the version is at least `major`.`minor`.
bool isAtLeast(const OSVERSIONINFOW& version, DWORD major, DWORD minor) {
    return version.dwMajorVersion > major ||
           (version.dwMajorVersion == major && version.dwMinorVersion >= minor);
}

bool isHandheldOfType(const char16_t* type) {
    constexpr DWORD kHandheldPlatform = 3;
    constexpr UINT kGetPlatformType = 257;
    constexpr UINT kBufferSize = 40;
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    Platform::GetVersionExW(&version);
    char16_t platformType[kBufferSize / sizeof(char16_t)] = {};
    return version.dwPlatformId == kHandheldPlatform &&
           Platform::SystemParametersInfoW(kGetPlatformType, kBufferSize, platformType) &&
           CUnicodeString(platformType) == type;
}

} // namespace

bool IsWindows95() { return getVersion(900).dwPlatformId == VER_PLATFORM_WIN32_WINDOWS; }

bool IsWindows98() {
    const OSVERSIONINFOW version = getVersion(908);
    return version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS && isAtLeast(version, 4, 10);
}

bool IsWindowsME() {
    const OSVERSIONINFOW version = getVersion(917);
    return version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS && isAtLeast(version, 4, 90);
}

bool IsWindowsNT() { return getVersion(926).dwPlatformId == VER_PLATFORM_WIN32_NT; }

bool IsWindows2000() {
    const OSVERSIONINFOW version = getVersion(934);
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT && version.dwMajorVersion >= 5;
}

bool IsWindowsXP() {
    const OSVERSIONINFOW version = getVersion(942);
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT && isAtLeast(version, 5, 1);
}

bool IsPocketPC2000() { return isHandheldOfType(u"Palm PC2"); }
bool IsPocketPC2002() { return isHandheldOfType(u"PocketPC"); }

} // namespace Tarn
