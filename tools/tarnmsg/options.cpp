#include "tools/tarnmsg/options.h"

#include <charconv>
#include <functional>
#include <map>
#include <system_error>

namespace tarnmsg {

namespace {

constexpr char kUsage[] = R"(Usage: tarnmsg [options] CATALOGUE.po
   or: tarnmsg extract [options] SOURCE.cpp...

The first compiles a catalogue of named messages into the sources of a resource module.
  --posix FILE.cpp      write the source of a module for systems without Windows resources
  --windows FILE.cpp    write the source of a module for Windows, which also needs
  --rc FILE.rc          write the resource script of a module for Windows
  --first-id N          number the messages, in the order of their names, from N on (1 to 65535; default 1)
  --language ID         Windows language identifier for the resource script (default 1033, which is 0x0409)
  --original FILE.po    the catalogue that CATALOGUE.po translates, or its template (.pot)
  --fill                give messages that are not translated the text of the original
  --check               refuse a translation without a parameter (%0, %1, ...) that the original has, unless
                        a comment of the message says "tarnmsg: other placeholders"; count what is missing
  --statistics          print how many messages are translated

The second finds the names of CMessage and CError objects in C++ sources, and writes a template for translators.
  --original FILE.po    the texts of the names; may be given several times. A name without a text is an error.
                        Without any, the names are written as a catalogue that can be given texts
  --output FILE.pot     where the template goes (default: the standard output)
  --translation FILE.po write a catalogue instead, with the header and the texts of this one
  --undefined FILE.po   let names be without a text, and write a catalogue of them
  --unused              list the texts that no source uses
  --macro NAME:N        a macro whose argument number N is the name of a message; may be given several times

  --help                show this text
  --version             show the version
)";

// What an option does with its value; switches have none.
struct Option {
    bool hasValue;
    std::function<void(const std::string& value)> use;
};
using OptionTable = std::map<std::string, Option>;

Option storeIn(std::string& text) {
    return {true, [&text](const std::string& value) { text = value; }};
}

Option turnOn(bool& isOn) {
    return {false, [&isOn](const std::string&) { isOn = true; }};
}

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

Option addTo(std::vector<std::string>& list) {
    return {true, [&list](const std::string& value) { list.push_back(value); }};
}

Option storeNumber(const std::string& option, int& number, int smallest, int largest) {
    return {true,
            [=, &number](const std::string& text) { number = parseNumber(option, text, smallest, largest); }};
}

Option addMacro(MacroArguments& macros) {
    return {true, [&macros](const std::string& value) {
                const std::size_t colon = value.find(':');
                if (colon == std::string::npos)
                    throw UsageError{"--macro: '" + value + "' is not a name, a colon and a number"};
                macros[value.substr(0, colon)] = parseNumber("--macro", value.substr(colon + 1), 1, 99);
            }};
}

// Uses the options, with their values in the next argument or after "="; returns the other arguments.
std::vector<std::string> useOptions(const std::vector<std::string>& arguments, const OptionTable& table) {
    std::vector<std::string> others;
    for (std::size_t i = 0; i < arguments.size(); i++) {
        if (!arguments[i].starts_with("-")) {
            others.push_back(arguments[i]);
            continue;
        }
        const std::size_t equals = arguments[i].find('=');
        const std::string name = arguments[i].substr(0, equals);
        const auto option = table.find(name);
        if (option == table.end())
            throw UsageError{"unknown option '" + name + "'"};
        std::string value;
        if (equals != std::string::npos)
            value = arguments[i].substr(equals + 1);
        else if (option->second.hasValue && i + 1 < arguments.size())
            value = arguments[++i];
        if (option->second.hasValue == value.empty())
            throw UsageError{name + (value.empty() ? " needs a value" : " takes no value")};
        option->second.use(value);
    }
    return others;
}

} // namespace

std::string AnswerTo(const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        if (argument == "--help")
            return kUsage;
        if (argument == "--version")
            return "tarnmsg " TARNMSG_VERSION "\n";
    }
    return {};
}

CompileOptions ParseCompileOptions(const std::vector<std::string>& arguments) {
    CompileOptions options;
    const OptionTable table = {
        {"--posix", storeIn(options.posixSource)},
        {"--windows", storeIn(options.windowsSource)},
        {"--rc", storeIn(options.resourceScript)},
        {"--first-id", storeNumber("--first-id", options.catalogue.firstId, 1, 65535)},
        {"--language", storeNumber("--language", options.languageId, 0, 65535)},
        {"--original", storeIn(options.catalogue.originalFileName)},
        {"--fill", turnOn(options.catalogue.isFilling)},
        {"--check", turnOn(options.catalogue.isChecking)},
        {"--statistics", turnOn(options.isCounting)},
    };
    const std::vector<std::string> files = useOptions(arguments, table);
    if (files.size() != 1)
        throw UsageError{files.empty() ? "no catalogue was given" : "more than one catalogue was given"};
    options.catalogue.fileName = files[0];
    if (options.catalogue.isFilling && options.catalogue.originalFileName.empty())
        throw UsageError{"--fill needs --original"};
    return options;
}

ExtractCommand ParseExtractCommand(const std::vector<std::string>& arguments) {
    ExtractCommand command;
    ExtractOptions& options = command.options;
    const OptionTable table = {
        {"--original", addTo(options.originals)},        {"--output", storeIn(command.output)},
        {"--translation", storeIn(options.translation)}, {"--undefined", storeIn(command.undefined)},
        {"--unused", turnOn(options.isListingUnused)},   {"--macro", addMacro(options.macros)},
    };
    options.sources = useOptions(arguments, table);
    if (options.sources.empty() && options.translation.empty())
        throw UsageError{"no source was given"};
    if (options.originals.empty() && !(options.translation + command.undefined).empty())
        throw UsageError{"--translation and --undefined need --original"};
    return command;
}

} // namespace tarnmsg
