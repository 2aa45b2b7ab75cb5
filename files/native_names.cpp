// Names of files for other libraries and for people.
#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>

#include "files/platform_text.h"
#include "platform/platform.h"

namespace Tarn::FileSystem {

namespace {

constexpr unsigned kUtf8 = 65001;

// Empty, with the last error, for a name that no file can have.
CString nativeName(const CUnicodeString& name) {
    return AskPlatformForText<CString>(
        [&](char* bytes, DWORD size) { return Platform::GetNativeName(name, size, bytes); });
}

} // namespace

CString ToNative(const CUnicodeString& name) {
    CString native = nativeName(name);
    if (native.IsEmpty())
        ThrowFileException(Platform::GetLastError(), name);
    return native;
}

CUnicodeString FromNative(const char* native) {
    CUnicodeString name = AskPlatformForText(
        [&](char16_t* units, DWORD size) { return Platform::GetNameOfNative(native, size, units); });
    if (name.IsEmpty())
        ThrowFileException(Platform::GetLastError(), CUnicodeString(native, kUtf8));
    return name;
}

CUnicodeString ForDisplay(const CUnicodeString& name) {
    const DWORD code = Platform::GetLastError(); // of the failure that this name is shown for
    const CString native = nativeName(name);
    Platform::SetLastError(code);
    return native.IsEmpty() ? name : native.CreateUnicodeString(kUtf8);
}

void ChangeToWorkingDir() {
    const CUnicodeString dir = AskPlatformForText(
        [](char16_t* units, DWORD size) { return Platform::GetCurrentDirectoryW(size, units); });
    if (dir.IsEmpty())
        ThrowFileException(Platform::GetLastError(), u".");
    ChangeDir(dir);
}

} // namespace Tarn::FileSystem
