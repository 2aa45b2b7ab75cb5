/// \file
/// The command line.
#pragma once

#include "tools/tarnmsg/catalogue.h"
#include "tools/tarnmsg/template.h"

#include <string>
#include <vector>

namespace tarnmsg {

struct CompileOptions {
    CatalogueOptions catalogue;
    std::string posixSource;
    std::string windowsSource;
    std::string resourceScript;
    int languageId = 1033;
    bool isCounting = false;
};

struct ExtractCommand {
    ExtractOptions options;
    std::string output; // empty for the standard output
    std::string undefined;
};

/// A command line that cannot be understood.
struct UsageError {
    std::string message;
};

/// The text that --help or --version asks for; empty if neither is there.
std::string AnswerTo(const std::vector<std::string>& arguments);

/// Throws a `UsageError`.
CompileOptions ParseCompileOptions(const std::vector<std::string>& arguments);
/// The same for what follows the word "extract".
ExtractCommand ParseExtractCommand(const std::vector<std::string>& arguments);

} // namespace tarnmsg
