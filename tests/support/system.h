// What tests ask of the operating system beyond the library's own door. One source for each port.
#pragma once

#include <filesystem>
#include <string>

namespace Tarn {

/// Null removes the variable.
void SetEnvironment(const char* name, const char* value);

/// Gives this process a registry of its own, below `folder` where registries are files.
void EnterOwnRegistry(const std::filesystem::path& folder);
/// Removes it again.
void LeaveOwnRegistry();

struct CProgramRun {
    int exitCode;
    std::string output; // standard output and error output
};

/// Runs a program of this target to its end, without input: its path in quotes, then the arguments.
CProgramRun RunProgram(const std::string& commandLine);

} // namespace Tarn
