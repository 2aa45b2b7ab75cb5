#include "tests/support/system.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn {

void SetEnvironment(const char* name, const char* value) {
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

void CloseBehindItsOwner(void*, const std::filesystem::path& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        if (std::error_code gone; read_symlink(entry, gone) == name)
            close(std::stoi(entry.path().filename().string()));
}

void ReplaceDebugger() {} // POSIX systems do this anyway

void EnterOwnRegistry(const std::filesystem::path& folder) {
    SetEnvironment("TARNKIT_REGISTRY", (folder / "registry").c_str());
}

void LeaveOwnRegistry() {}

CProgramRun RunProgram(const std::string& commandLine) {
    CProgramRun result{-1, {}};
    const std::string command = TARNKIT_TEST_EMULATOR + commandLine + " </dev/null 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return result;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        result.output += static_cast<char>(c);
    const int status = pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

int RunInChild(const std::function<int()>& action) {
    constexpr int kMostSeconds = 20;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
        _exit(action());
    int status = -1;
    for (int milliseconds = 0; waitpid(child, &status, WNOHANG) == 0; milliseconds++) {
        if (milliseconds == kMostSeconds * 1000)
            kill(child, SIGKILL);
        usleep(1000);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace Tarn
