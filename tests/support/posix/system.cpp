#include "tests/support/system.h"

#include <array>
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

void ReplaceDebugger() {} // that is what the system does

void EnterOwnRegistry(const std::filesystem::path& folder) {
    SetEnvironment("TARNKIT_REGISTRY", (folder / "registry").c_str());
}

void LeaveOwnRegistry() {}

namespace {

CProgramRun run(const std::string& before, const std::string& commandLine) {
    CProgramRun result{-1, {}};
    const std::string command = before + TARNKIT_TEST_EMULATOR + commandLine + " </dev/null 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return result;
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe))
        result.output.append(part.data(), size);
    const int status = pclose(pipe);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

} // namespace

CProgramRun RunProgram(const std::string& commandLine) { return run("", commandLine); }

CProgramRun RunProgramWithLittleRoom(const std::string& commandLine, int blocks) {
    // A write beyond the limit then fails instead of ending the program.
    return run("trap '' XFSZ; ulimit -f " + std::to_string(blocks) + "; ", commandLine);
}

} // namespace Tarn
