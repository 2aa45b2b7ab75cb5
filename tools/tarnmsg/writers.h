/// \file
/// Writes the sources that a resource module is built from. They are pure ASCII and depend on nothing but the
/// messages and the name of their catalogue.
#pragma once

#include "tools/tarnmsg/catalogue.h"

#include <map>
#include <string>

namespace tarnmsg {

/// The C++ source of the name table, the string table and the exports, for systems without resources.
std::string WritePosixSource(const Catalogue& catalogue, const std::string& origin);
/// The C++ source of the name table and the exports, for a module whose string table is a resource.
std::string WriteWindowsSource(const Catalogue& catalogue, const std::string& origin);
/// The resource script with the string table for a Windows language identifier.
std::string WriteResourceScript(const Catalogue& catalogue, const std::string& origin, int languageId);

/// All strings by id, plural forms included.
std::map<int, std::u16string> StringsOf(const Catalogue& catalogue);

} // namespace tarnmsg
