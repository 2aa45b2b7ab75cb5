// Last error, debugger output and the end of the process.
#include "platform/platform.h"
#include "platform/windows/text16.h"

#include <ntsecapi.h>

#undef RtlGenRandom // a macro for the name that the library exports

namespace Tarn::Platform {

DWORD GetLastError() { return ::GetLastError(); }

void SetLastError(DWORD code) { ::SetLastError(code); }

void OutputDebugStringW(const char16_t* text) { ::OutputDebugStringW(wide(text)); }

void DebugBreak() { ::DebugBreak(); }

void TerminateThisProcess(UINT exitCode) {
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
    ::ExitProcess(exitCode); // not reached; tells the compiler so
}

DWORD GetCurrentProcessId() { return ::GetCurrentProcessId(); }

BOOL RtlGenRandom(void* buffer, DWORD size) { return SystemFunction036(buffer, size); }

} // namespace Tarn::Platform
