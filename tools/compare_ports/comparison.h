/// \file
/// Compares two files of results and checks their differences against a list of explained ones.
#pragma once

#include <ostream>
#include <string>

namespace compare_ports {

/// Writes to `report` what was compared and what differs. Returns true if the differences are exactly those
/// that the list explains; throws std::runtime_error for files that cannot be compared.
bool Compare(const std::string& resultsA, const std::string& resultsB, const std::string& explanations,
             std::ostream& report);

} // namespace compare_ports
