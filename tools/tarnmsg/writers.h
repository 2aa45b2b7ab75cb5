// What a resource module is built from. The texts are pure ASCII and depend on the messages alone.
#pragma once

#include "tools/tarnmsg/catalogue.h"

#include <string>
#include <vector>

namespace tarnmsg {

/// The C++ source of the name table, the string table and the exports, for systems without resources.
std::string WritePosixSource(const std::vector<Message>& messages, const std::string& origin);
/// The C++ source of the name table and the exports, beside a string table in resources.
std::string WriteWindowsSource(const std::vector<Message>& messages, const std::string& origin);
/// The resource script with the string table in a language of Windows.
std::string WriteResourceScript(const std::vector<Message>& messages, const std::string& origin,
                                int languageId);

} // namespace tarnmsg
