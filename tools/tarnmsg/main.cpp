// tarnmsg, the message compiler: reads a catalogue of named messages, a gettext PO file, and writes the
// sources that a resource module is built from. See `kUsage`.
//
// An output file is written under another name first, so that it appears complete or not at all. The program
// uses no part of the library, because the library's own catalogue is compiled with it.
#include "tools/tarnmsg/catalogue.h"
#include "tools/tarnmsg/writers.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using namespace tarnmsg;

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

constexpr char kUsage[] = R"(Usage: tarnmsg [options] CATALOGUE.po
Compiles a catalogue of named messages into the sources of a resource module.
  --posix FILE.cpp      write the source of a module for systems without Windows resources
  --windows FILE.cpp    write the source of a module for Windows, which also needs
  --rc FILE.rc          write the resource script of a module for Windows
  --first-id N          number the messages, in the order of their names, from N on (1 to 65535; default 1)
  --language ID         Windows language identifier for the resource script (default 1033, which is 0x0409)
  --original FILE.po    the catalogue that CATALOGUE.po translates
  --help                show this text
)";

struct Options {
    CatalogueOptions catalogue;
    std::string posixSource;
    std::string windowsSource;
    std::string resourceScript;
    int languageId = 1033;
};

struct UsageError {
    std::string message;
};

int parseNumber(const std::string& option, const std::string& text, int smallest, int largest) {
    int number = 0;
    const bool hexadecimal = text.starts_with("0x");
    const char* digits = text.data() + (hexadecimal ? 2 : 0);
    const char* textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(digits, textEnd, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != textEnd || number < smallest || number > largest)
        throw UsageError{option + ": '" + text + "' is not a number from " + std::to_string(smallest) +
                         " to " + std::to_string(largest)};
    return number;
}

void setOption(Options& options, const std::string& option, const std::string& value) {
    if (option == "--posix")
        options.posixSource = value;
    else if (option == "--windows")
        options.windowsSource = value;
    else if (option == "--rc")
        options.resourceScript = value;
    else if (option == "--first-id")
        options.catalogue.firstId = parseNumber(option, value, 1, 65535);
    else if (option == "--language")
        options.languageId = parseNumber(option, value, 0, 65535);
    else if (option == "--original")
        options.catalogue.originalFileName = value;
    else
        throw UsageError{"unknown option '" + option + "'"};
}

Options parseArguments(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); i++) {
        if (arguments[i].starts_with("--")) {
            if (i + 1 == arguments.size())
                throw UsageError{arguments[i] + " needs a value"};
            setOption(options, arguments[i], arguments[i + 1]);
            i++;
        } else if (options.catalogue.fileName.empty())
            options.catalogue.fileName = arguments[i];
        else
            throw UsageError{"more than one catalogue was given"};
    }
    if (options.catalogue.fileName.empty())
        throw UsageError{"no catalogue was given"};
    return options;
}

bool writeFile(const std::string& fileName, const std::string& text) {
    const std::string temporaryName = fileName + ".part";
    std::ofstream file(temporaryName, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    std::error_code error;
    if (file.good()) {
        std::filesystem::rename(temporaryName, fileName, error);
        if (!error)
            return true;
    }
    std::cerr << Visible(fileName) << ": the file cannot be written\n";
    std::filesystem::remove(temporaryName, error);
    return false;
}

int compile(const Options& options) {
    Diagnostics diagnostics;
    const std::vector<Message> messages = ReadCatalogue(options.catalogue, diagnostics);
    if (diagnostics.HasErrors())
        return kExitRefused;
    const std::string origin = std::filesystem::path(options.catalogue.fileName).filename().string();
    const std::pair<std::string, std::string> outputs[] = {
        {options.posixSource, WritePosixSource(messages, origin)},
        {options.windowsSource, WriteWindowsSource(messages, origin)},
        {options.resourceScript, WriteResourceScript(messages, origin, options.languageId)},
    };
    for (const auto& [fileName, text] : outputs)
        if (!fileName.empty() && !writeFile(fileName, text))
            return kExitRefused;
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 1 && arguments[0] == "--help") {
        std::cout << kUsage;
        return 0;
    }
    try {
        return compile(parseArguments(arguments));
    } catch (const UsageError& error) {
        std::cerr << "tarnmsg: " << Visible(error.message) << '\n' << kUsage;
        return kExitUsage;
    }
}
