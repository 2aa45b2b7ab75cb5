// System texts, versions, the system's language, strings of the COM error object.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

DWORD FormatSystemMessageW(DWORD code, bool ignoreInserts, char16_t* buffer, DWORD size) {
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | (ignoreInserts ? FORMAT_MESSAGE_IGNORE_INSERTS : 0);
    return ::FormatMessageW(flags, nullptr, code, 0, wide(buffer), size, nullptr);
}

BOOL GetVersionExW(OSVERSIONINFOW* information) { return ::GetVersionExW(information); }

BOOL SystemParametersInfoW(UINT action, UINT size, void* data) {
    return ::SystemParametersInfoW(action, size, data, 0);
}

LANGID GetSystemDefaultLangID() { return ::GetSystemDefaultLangID(); }

BSTR SysAllocString(const char16_t* text) { return ::SysAllocString(wide(text)); }

void SysFreeString(BSTR text) { ::SysFreeString(text); }

} // namespace Tarn::Platform
