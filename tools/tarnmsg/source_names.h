/// \file
/// Finds the message objects of C++ sources.
#pragma once

#include "tools/tarnmsg/diagnostics.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tarnmsg {

struct SourceMessage {
    std::string name;
    Place place;
    std::string text; // of a comment behind it that is a string in quotation marks; often empty
};

/// By the name of a macro: which of its arguments, counted from 1, is the name of a message, as an identifier
/// or a literal.
using MacroArguments = std::map<std::string, int>;

/// The names that objects of `CMessage` and `CError` are made with, in the order of the source. Those that
/// are not literals are left out; whether the preprocessor would leave out a line does not matter.
std::vector<SourceMessage> FindMessages(std::string_view source, const std::string& fileName,
                                        const MacroArguments& macros);

} // namespace tarnmsg
