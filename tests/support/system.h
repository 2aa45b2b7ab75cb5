// What tests ask of the operating system beyond the library's own door. One source for each port.
#pragma once

#include <filesystem>
#include <string>

namespace Tarn {

/// Null removes the variable.
void SetEnvironment(const char* name, const char* value);

/// Closes an open file of this process in the system, behind the back of the object that owns it.
void CloseBehindItsOwner(void* handle, const std::filesystem::path& name);

/// Stands in for a debugger: a breakpoint ends this process at once, and what it traces goes to the standard
/// error output if TARNKIT_TRACE says "stderr".
void ReplaceDebugger();

/// Gives this process a registry of its own, below `folder` where registries are files.
void EnterOwnRegistry(const std::filesystem::path& folder);
/// Removes it again.
void LeaveOwnRegistry();

struct CProgramRun {
    int exitCode;
    std::string output; // standard output and error output
};

/// Runs a program of this target to its end, without input: its path in quotes, then the arguments. Where the
/// system has kFileSizeLimit, a number of `blocks` of 512 bytes limits the size of the program's files.
CProgramRun RunProgram(const std::string& commandLine, int blocks = 0);

} // namespace Tarn
