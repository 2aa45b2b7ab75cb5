// Last error, debugger output and the end of the process.
#include "platform/platform.h"
#include "platform/windows/text16.h"

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

} // namespace Tarn::Platform
