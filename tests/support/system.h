// What tests need from the operating system that the library does not offer. Each port has its own source.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace Tarn {

/// Null removes the variable.
void SetEnvironment(const char* name, const char* value);

/// Closes an open file of this process behind the back of the object that owns it.
void CloseBehindItsOwner(void* handle, const std::filesystem::path& name);

/// Acts as a debugger: a breakpoint ends this process immediately, and trace output goes to the standard
/// error output if TARNKIT_TRACE is "stderr".
void ReplaceDebugger();

/// Gives this process a registry of its own, in `folder` if registries are files.
void EnterOwnRegistry(const std::filesystem::path& folder);
/// Removes it again.
void LeaveOwnRegistry();

struct CProgramRun {
    int exitCode;
    std::string output; // standard output and error output
};

/// Runs a program of this target to its end, without input. The command line is its path in quotes, then the
/// arguments.
CProgramRun RunProgram(const std::string& commandLine);

/// Runs `action` in a copy of this process, which ends with its result. Returns that, or -1 if the copy does
/// not end within some seconds. Needs kFork.
int RunInChild(const std::function<int()>& action);

} // namespace Tarn
