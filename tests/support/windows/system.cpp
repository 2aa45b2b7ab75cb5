#include "tests/support/system.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <windows.h>

namespace Tarn {

namespace {

std::wstring ownRegistry; // a key below the user's own, as long as it takes that one's place

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

HANDLE inheritable(HANDLE handle) {
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    return handle;
}

std::string readToEnd(HANDLE pipe) {
    std::string all;
    std::array<char, 4096> part;
    DWORD size = 0;
    while (ReadFile(pipe, part.data(), part.size(), &size, nullptr) && size != 0)
        all.append(part.data(), size);
    return all;
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
    // Below that of the program that started this one, whose end then leaves nothing of it.
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
    CProgramRun run{-1, {}};
    HANDLE input = inheritable(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
    HANDLE reader = nullptr;
    HANDLE writer = nullptr;
    CreatePipe(&reader, &writer, nullptr, 0);
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input;
    start.hStdOutput = start.hStdError = inheritable(writer);
    PROCESS_INFORMATION process{};
    std::wstring line = wide(commandLine);
    const BOOL isStarted = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                                          nullptr, nullptr, &start, &process);
    CloseHandle(input);
    CloseHandle(writer);
    if (isStarted) {
        run.output = readToEnd(reader);
        WaitForSingleObject(process.hProcess, INFINITE);
        DWORD exitCode = 0;
        GetExitCodeProcess(process.hProcess, &exitCode);
        run.exitCode = static_cast<int>(exitCode);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(reader);
    return run;
}

CProgramRun RunProgramWithLittleRoom(const std::string&, int) { return {-1, "no limits here"}; }

} // namespace Tarn
