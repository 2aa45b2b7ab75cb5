// Searching for files that match a pattern.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

HANDLE FindFirstFileW(const char16_t* pattern, WIN32_FIND_DATAW* data) {
    return ::FindFirstFileW(wide(pattern), data);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) { return ::FindNextFileW(search, data); }

BOOL FindClose(HANDLE search) { return ::FindClose(search); }

} // namespace Tarn::Platform
