/// \file
/// Writes the sources that a resource module is built from. They are pure ASCII and depend on nothing but the
/// messages and the name of their catalogue.
#pragma once

#include "tools/tarnmsg/catalogue.h"

#include <string>
#include <vector>

namespace tarnmsg {

/// The C++ source of the name table, the string table and the exports, for systems without resources.
std::string WritePosixSource(const std::vector<Message>& messages, const std::string& origin);
/// The C++ source of the name table and the exports, for a module whose string table is a resource.
std::string WriteWindowsSource(const std::vector<Message>& messages, const std::string& origin);
/// The resource script with the string table for a Windows language identifier.
std::string WriteResourceScript(const std::vector<Message>& messages, const std::string& origin,
                                int languageId);

} // namespace tarnmsg
