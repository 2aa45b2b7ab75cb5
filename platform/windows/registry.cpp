// The registry.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

LSTATUS RegOpenKeyExW(HKEY parent, const char16_t* name, DWORD options, REGSAM access, HKEY* key) {
    return ::RegOpenKeyExW(parent, wide(name), options, access, key);
}

LSTATUS RegCreateKeyExW(HKEY parent, const char16_t* name, REGSAM access, HKEY* key, DWORD* disposition) {
    return ::RegCreateKeyExW(parent, wide(name), 0, nullptr, 0, access, nullptr, key, disposition);
}

LSTATUS RegCloseKey(HKEY key) { return ::RegCloseKey(key); }

LSTATUS RegQueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass, DWORD* values,
                         DWORD* longestValueName, DWORD* longestData) {
    return ::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, subKeys, longestSubKey, longestClass, values,
                              longestValueName, longestData, nullptr, nullptr);
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* type, void* data, DWORD* size) {
    return ::RegQueryValueExW(key, wide(name), nullptr, type, static_cast<BYTE*>(data), size);
}

LSTATUS QueryRegistryValue(HKEY parent, const char16_t* path, const char16_t* name, DWORD* type, void* data,
                           DWORD* size) {
    HKEY key;
    if (const LSTATUS failure = RegOpenKeyExW(parent, path, 0, KEY_READ, &key); failure != ERROR_SUCCESS)
        return failure;
    const LSTATUS result = RegQueryValueExW(key, name, type, data, size);
    ::RegCloseKey(key);
    return result;
}

LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD type, const void* data, DWORD size) {
    return ::RegSetValueExW(key, wide(name), 0, type, static_cast<const BYTE*>(data), size);
}

LSTATUS RegDeleteValueW(HKEY key, const char16_t* name) { return ::RegDeleteValueW(key, wide(name)); }

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* name) { return ::RegDeleteKeyW(key, wide(name)); }

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize) {
    return ::RegEnumKeyExW(key, index, wide(name), nameSize, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* type, void* data,
                      DWORD* size) {
    return ::RegEnumValueW(key, index, wide(name), nameSize, nullptr, type, static_cast<BYTE*>(data), size);
}

LSTATUS RegFlushKey(HKEY key) { return ::RegFlushKey(key); }

LSTATUS CheckRegistryStore(HKEY, RegistryStoreState*) { return ERROR_CALL_NOT_IMPLEMENTED; }

LSTATUS RepairRegistryStore(HKEY, RegistryStoreState*) { return ERROR_CALL_NOT_IMPLEMENTED; }

void ReleaseRegistry() {}

} // namespace Tarn::Platform
