// Modules and resources.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HINSTANCE LoadLibraryW(const char16_t* name) { return ::LoadLibraryW(wide(name)); }

HINSTANCE LoadLibraryExW(const char16_t* name, DWORD flags) {
    return ::LoadLibraryExW(wide(name), nullptr, flags);
}

BOOL FreeLibrary(HINSTANCE module) { return ::FreeLibrary(module); }

FARPROC GetProcAddressW(HINSTANCE module, const char16_t* name) {
    char ascii[256];
    const int size = ::WideCharToMultiByte(CP_ACP, 0, wide(name), -1, ascii, sizeof(ascii), nullptr, nullptr);
    return size > 0 ? ::GetProcAddress(module, ascii) : nullptr;
}

HINSTANCE GetModuleHandleW(const char16_t* name) { return ::GetModuleHandleW(wide(name)); }

HINSTANCE GetModuleHandleFromAddress(const void* address) {
    constexpr DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    HINSTANCE module = nullptr;
    return ::GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), &module) ? module : nullptr;
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

} // namespace Tarn::Platform
