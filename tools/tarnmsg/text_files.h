/// \file
/// Reads and writes whole files.
#pragma once

#include "tools/tarnmsg/diagnostics.h"

#include <optional>
#include <string>

namespace tarnmsg {

/// The bytes of a file; no value, and an error, if it cannot be read.
std::optional<std::string> ReadFile(const std::string& fileName, Diagnostics& diagnostics);

/// Writes the file under another name first, so that it appears complete or not at all. False, and a line on
/// the standard error stream, if it cannot be written.
bool WriteFile(const std::string& fileName, const std::string& text);

} // namespace tarnmsg
