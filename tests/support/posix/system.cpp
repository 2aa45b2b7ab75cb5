#include "tests/support/system.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>

namespace Tarn {

void SetEnvironment(const char* name, const char* value) {
    if (value != nullptr)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

void EnterOwnRegistry(const std::filesystem::path& folder) {
    SetEnvironment("TARNKIT_REGISTRY", (folder / "registry").c_str());
}

void LeaveOwnRegistry() {}

CProgramRun RunProgram(const std::string& commandLine) {
    CProgramRun run{-1, {}};
    const std::string command = TARNKIT_TEST_EMULATOR " " + commandLine + " </dev/null 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return run;
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe))
        run.output.append(part.data(), size);
    const int status = pclose(pipe);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace Tarn
