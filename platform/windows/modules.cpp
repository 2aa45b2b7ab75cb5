// Modules and resources.
#include "platform/platform.h"
#include "platform/windows/text16.h"

#include <psapi.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <span>

namespace Tarn::Platform {

namespace {

constexpr int kLongestExport = 4096;
constexpr DWORD kLongestPath = 4096;
constexpr DWORD kMostModules = 1024;
// In these bits the system marks the handles of files that it maps only as data.
constexpr std::uintptr_t kDataFileBits = 3;

/// Gets the file that is mapped at an address, in the system's own form; false if there is none.
bool getMappedFile(const void* address, wchar_t (&name)[kLongestPath]) {
    return ::K32GetMappedFileNameW(::GetCurrentProcess(), const_cast<void*>(address), name, kLongestPath) !=
           0;
}

/// The loaded module whose file is the same as a data file; null if there is none. A module of the same name
/// may have been loaded from another folder.
HINSTANCE loadedModuleOf(const void* dataFile) {
    wchar_t file[kLongestPath], loadedFile[kLongestPath];
    HMODULE modules[kMostModules];
    DWORD size = 0;
    if (!getMappedFile(dataFile, file) ||
        !::K32EnumProcessModules(::GetCurrentProcess(), modules, sizeof(modules), &size))
        return nullptr;
    const DWORD count = std::min<DWORD>(size / sizeof(HMODULE), kMostModules);
    for (const HINSTANCE module : std::span(modules, count))
        if (getMappedFile(module, loadedFile) && std::wcscmp(file, loadedFile) == 0)
            return module;
    return nullptr;
}

/// A data file has no exports; those of the loaded module of the same file are used instead.
HINSTANCE moduleWithExports(HINSTANCE module) {
    const auto address = reinterpret_cast<std::uintptr_t>(module);
    const HINSTANCE loaded = (address & kDataFileBits) != 0
                                 ? loadedModuleOf(reinterpret_cast<const void*>(address & ~kDataFileBits))
                                 : nullptr;
    return loaded != nullptr ? loaded : module;
}

} // namespace

bool AreFileNamesCaseSensitive() { return false; }

HINSTANCE LoadLibraryW(const char16_t* name) { return ::LoadLibraryW(wide(name)); }

HINSTANCE LoadLibraryExW(const char16_t* name, DWORD flags) {
    return ::LoadLibraryExW(wide(name), nullptr, flags);
}

BOOL FreeLibrary(HINSTANCE module) { return ::FreeLibrary(module); }

FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name) {
    module = moduleWithExports(module);
    if (IS_INTRESOURCE(name)) // the number of an export
        return ::GetProcAddress(module, reinterpret_cast<const char*>(name));
    // Export names are bytes. A conversion to another code page might replace characters by look-alikes.
    char bytes[kLongestExport];
    if (::WideCharToMultiByte(CP_UTF8, 0, wide(name), -1, bytes, kLongestExport, nullptr, nullptr) != 0)
        return ::GetProcAddress(module, bytes);
    ::SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}

HINSTANCE GetModuleHandleW(const char16_t* name) { return ::GetModuleHandleW(wide(name)); }

HINSTANCE GetModuleHandleFromAddress(const void* address) {
    constexpr DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HINSTANCE module = nullptr;
    // The system would take null to mean the program.
    const bool isFound =
        address != nullptr && ::GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), &module);
    return isFound ? module : nullptr;
}

DWORD GetModuleFileNameW(HINSTANCE module, char16_t* name, DWORD size) {
    return ::GetModuleFileNameW(module, wide(name), size);
}

DWORD SearchLibraryPathW(const char16_t* name, DWORD size, char16_t* path) {
    return ::SearchPathW(nullptr, wide(name), L".dll", size, wide(path), nullptr);
}

HRSRC FindResourceW(HINSTANCE module, const char16_t* name, const char16_t* type) {
    return ::FindResourceW(module, wide(name), wide(type));
}

int LoadStringW(HINSTANCE module, UINT id, char16_t* buffer, int size) {
    return ::LoadStringW(module, id, wide(buffer), size);
}

const CResourceStrings* FindResourceStrings(HINSTANCE) {
    ::SetLastError(ERROR_RESOURCE_DATA_NOT_FOUND);
    return nullptr;
}

} // namespace Tarn::Platform
