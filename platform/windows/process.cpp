// Last error, debugger output and the end of the process.
#include "platform/platform.h"
#include "platform/windows/text16.h"

#include <ntsecapi.h>

#include <algorithm>
#include <string>

#undef RtlGenRandom // a macro for the name that the library exports

namespace Tarn::Platform {

DWORD GetLastError() { return ::GetLastError(); }

void SetLastError(DWORD code) { ::SetLastError(code); }

void OutputDebugStringW(const char16_t* text) { ::OutputDebugStringW(wide(text)); }

namespace {

// Writes to a console, or as UTF-8 to a file or pipe.
void writeTo(HANDLE output, const char16_t* text) {
    const auto length = static_cast<DWORD>(std::char_traits<char16_t>::length(text));
    DWORD written = 0;
    if (::WriteConsoleW(output, wide(text), length, &written, nullptr))
        return;
    char bytes[512];
    constexpr DWORD kUnitsAtOnce = sizeof(bytes) / 3; // no unit takes more bytes
    for (DWORD done = 0; done < length;) {
        DWORD part = std::min(length - done, kUnitsAtOnce);
        if (part > 1 && done + part < length && (text[done + part - 1] & 0xFC00) == 0xD800)
            part--; // both halves of a character together
        const int size = ::WideCharToMultiByte(CP_UTF8, 0, wide(text) + done, static_cast<int>(part), bytes,
                                               sizeof(bytes), nullptr, nullptr);
        ::WriteFile(output, bytes, static_cast<DWORD>(size), &written, nullptr);
        done += part;
    }
}

} // namespace

void WriteLastWords(const char16_t* title, const char16_t* text) {
    OutputDebugStringW(text);
    const HANDLE output = ::GetStdHandle(STD_ERROR_HANDLE);
    if (output == nullptr || output == INVALID_HANDLE_VALUE) {
        ::MessageBoxW(nullptr, wide(text), wide(title), MB_OK | MB_ICONHAND);
        return;
    }
    for (const char16_t* part : {title, u": ", text, u"\r\n"})
        writeTo(output, part);
}

void DebugBreak() { ::DebugBreak(); }

void TerminateThisProcess(UINT exitCode) {
    ::TerminateProcess(::GetCurrentProcess(), exitCode);
    ::ExitProcess(exitCode); // not reached; tells the compiler so
}

DWORD GetCurrentProcessId() { return ::GetCurrentProcessId(); }

BOOL RtlGenRandom(void* buffer, DWORD size) { return SystemFunction036(buffer, size); }

} // namespace Tarn::Platform
