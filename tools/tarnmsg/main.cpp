// tarnmsg, the message compiler: reads a catalogue of named messages, a gettext PO file, and writes the
// sources that a resource module is built from; or makes a template for translators. See `kUsage`.
//
// The program uses no part of the library, because the library's own catalogue is compiled with it.
#include "tools/tarnmsg/catalogue.h"
#include "tools/tarnmsg/options.h"
#include "tools/tarnmsg/text_files.h"
#include "tools/tarnmsg/writers.h"

#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tarnmsg;

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

std::string countOf(int number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? " message" : " messages");
}

void print(const std::string& fileName, const Statistics& statistics) {
    std::cout << Visible(fileName) << ": " << countOf(statistics.translated, "translated") << ", "
              << countOf(statistics.fuzzy, "fuzzy") << ", "
              << countOf(statistics.untranslated, "untranslated") << ".\n";
}

int compile(const CompileOptions& options) {
    Diagnostics diagnostics;
    const Catalogue catalogue = ReadCatalogue(options.catalogue, diagnostics);
    if (options.isCounting)
        print(options.catalogue.fileName, catalogue.statistics);
    if (diagnostics.HasErrors())
        return kExitRefused;
    const std::string origin = std::filesystem::path(options.catalogue.fileName).filename().string();
    const std::pair<std::string, std::string> outputs[] = {
        {options.posixSource, WritePosixSource(catalogue, origin)},
        {options.windowsSource, WriteWindowsSource(catalogue, origin)},
        {options.resourceScript, WriteResourceScript(catalogue, origin, options.languageId)},
    };
    for (const auto& [fileName, text] : outputs)
        if (!fileName.empty() && !WriteFile(fileName, text))
            return kExitRefused;
    return 0;
}

int extract(const ExtractCommand& command) {
    Diagnostics diagnostics;
    const Extract result = ExtractTemplate(command.options, !command.undefined.empty(), diagnostics);
    if (diagnostics.HasErrors())
        return kExitRefused;
    if (!command.undefined.empty() && !WriteFile(command.undefined, result.undefined))
        return kExitRefused;
    if (!command.output.empty())
        return WriteFile(command.output, result.catalogue) ? 0 : kExitRefused;
    std::cout << result.catalogue;
    return 0;
}

int run(const std::vector<std::string>& arguments) {
    if (const std::string answer = AnswerTo(arguments); !answer.empty()) {
        std::cout << answer;
        return 0;
    }
    if (!arguments.empty() && arguments[0] == "extract")
        return extract(ParseExtractCommand({arguments.begin() + 1, arguments.end()}));
    return compile(ParseCompileOptions(arguments));
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run({argv + 1, argv + argc});
    } catch (const UsageError& error) {
        std::cerr << "tarnmsg: " << Visible(error.message) << "\nTry 'tarnmsg --help'.\n";
        return kExitUsage;
    }
}
