// The library's own settings: its debug switches, and what administrators set for the machine.
#include "platform/platform.h"
#include "settings/registry_text.h"

#include <tarnkit/lifecycle.h>

namespace Tarn {

namespace {

constexpr char16_t kLibraryKey[] = u"Software\\Velmora\\Tarnkit";

CUnicodeString readSwitch(HKEY root, const char16_t* valueName, const char16_t* defaultValue) {
    const DWORD lastError = Platform::GetLastError();
    CUnicodeString text = QueryRegistryText(root, kLibraryKey, valueName, defaultValue);
    Platform::SetLastError(lastError);
    return text;
}

} // namespace

CUnicodeString ReadLibrarySwitch(const char16_t* valueName, const char16_t* defaultValue) {
    return readSwitch(HKEY_CURRENT_USER, valueName, defaultValue);
}

CUnicodeString ReadMachineSwitch(const char16_t* valueName, const char16_t* defaultValue) {
    return readSwitch(HKEY_LOCAL_MACHINE, valueName, defaultValue);
}

int ReadLibraryNumber(const char16_t* valueName, int defaultValue, int radix) {
    int value;
    return ReadLibrarySwitch(valueName, u"").Value(value, radix) ? value : defaultValue;
}

bool ReadLibraryFlag(const char16_t* valueName, bool defaultValue) {
    return ReadLibraryNumber(valueName, defaultValue) != 0;
}

} // namespace Tarn
