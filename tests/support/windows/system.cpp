#include "tests/support/system.h"

#include <cstdio>
#include <cstdlib>
#include <windows.h>

namespace Tarn {

namespace {

std::wstring ownRegistry; // a key below the user's root key, while it replaces that one

// The texts of tests are UTF-8.
std::wstring wide(const std::string& text) {
    return std::filesystem::path(std::u8string(text.begin(), text.end())).wstring();
}

LONG CALLBACK heedDebugger(EXCEPTION_POINTERS* pointers) {
    const EXCEPTION_RECORD& exception = *pointers->ExceptionRecord;
    const char* const trace = std::getenv("TARNKIT_TRACE");
    if (exception.ExceptionCode == EXCEPTION_BREAKPOINT)
        TerminateProcess(GetCurrentProcess(), exception.ExceptionCode);
    if (exception.ExceptionCode == DBG_PRINTEXCEPTION_C && trace != nullptr && trace == std::string("stderr"))
        std::fputs(reinterpret_cast<const char*>(exception.ExceptionInformation[1]), stderr);
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

void SetEnvironment(const char* name, const char* value) {
    // Both the system's variables and the C library's copy of them.
    const std::string text = value != nullptr ? value : "";
    _wputenv(wide(name + ("=" + text)).c_str());
}

void CloseBehindItsOwner(void* handle, const std::filesystem::path&) { CloseHandle(handle); }

void ReplaceDebugger() { AddVectoredExceptionHandler(1, heedDebugger); }

void EnterOwnRegistry(const std::filesystem::path& folder) {
    // Below the registry of the program that started this one, so that it is removed with that one.
    const wchar_t* const outer = _wgetenv(L"TARNKIT_REGISTRY");
    ownRegistry = std::wstring(outer != nullptr ? outer : L"Software") + L"\\" + folder.filename().wstring();
    _wputenv((L"TARNKIT_REGISTRY=" + ownRegistry).c_str());
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, ownRegistry.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                    nullptr);
    if (RegOverridePredefKey(HKEY_CURRENT_USER, key) != ERROR_SUCCESS)
        std::abort();
    RegCloseKey(key);
}

void LeaveOwnRegistry() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, ownRegistry.c_str());
}

CProgramRun RunProgram(const std::string& commandLine) {
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                  OPEN_EXISTING, 0, nullptr);
    HANDLE reader = nullptr;
    CreatePipe(&reader, &start.hStdOutput, &inherited, 0);
    start.hStdError = start.hStdOutput;
    PROCESS_INFORMATION process{};
    CProgramRun run{-1, {}};
    if (!CreateProcessW(nullptr, wide(commandLine).data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &start, &process))
        run.output = "CreateProcessW failed with " + std::to_string(GetLastError());
    CloseHandle(start.hStdInput);
    CloseHandle(start.hStdOutput);
    char part[4096];
    for (DWORD size; ReadFile(reader, part, sizeof(part), &size, nullptr) && size != 0;)
        run.output.append(part, size);
    WaitForSingleObject(process.hProcess, INFINITE);
    if (DWORD code; GetExitCodeProcess(process.hProcess, &code))
        run.exitCode = static_cast<int>(code);
    for (const HANDLE handle : {reader, process.hThread, process.hProcess})
        CloseHandle(handle);
    return run;
}

int RunInChild(const std::function<int()>&) { return -1; }

} // namespace Tarn
