// tarnreg shows and changes the registry that programs of this library keep their settings in: the system's
// on Windows, two databases elsewhere. See MSG_TARNREG_HELP in en.po.
//
//   key_name, data   how users write keys, types and data
//   reg_file         .reg files
//   registry         whole keys, read and written
//   commands         query, set, delete, copy, export, import
//   stores           check, repair
//   watch            watch
#include "examples/notebook/console.h"
#include "tools/tarnreg/commands.h"
#include "tools/tarnreg/data.h"
#include "tools/tarnreg/messages.h"
#include "tools/tarnreg/registry.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/resource_modules.h>

using namespace Tarn;
using namespace tarnreg;

namespace {

constexpr char16_t kProgram[] = u"tarnreg";

using Command = int (*)(const Arguments& arguments);

constexpr std::size_t kNoFile = std::u16string_view::npos;

// The words behind a command, which of them names a file, and the options that it takes besides --language.
const struct {
    const char16_t* name;
    Command run;
    std::size_t fewestWords;
    std::size_t file;
    std::u16string_view options;
} kCommands[] = {{u"query", Query, 1, kNoFile, u" --recursive --default --data "},
                 {u"set", Set, 1, kNoFile, u" --default --type "},
                 {u"delete", Delete, 1, kNoFile, u" --recursive --default "},
                 {u"copy", Copy, 2, kNoFile, u""},
                 {u"export", Export, 2, 1, u" --format --force "},
                 {u"import", Import, 1, 0, u""},
                 {u"check", Check, 0, kNoFile, u""},
                 {u"repair", Repair, 1, kNoFile, u""},
                 {u"watch", Watch, 1, kNoFile, u" --once --timeout "}};

[[noreturn]] void failForUsage(const CMessage& message, const CUnicodeString& word) {
    throw Failure{kExitUsage, message.SubstParam(word)};
}

// The short forms of options.
std::u16string longName(const std::u16string& word) {
    constexpr std::pair<const char16_t*, const char16_t*> kNames[] = {
        {u"-r", u"--recursive"}, {u"-d", u"--default"}, {u"-t", u"--type"},
        {u"-f", u"--force"},     {u"-h", u"--help"},    {u"-V", u"--version"}};
    for (const auto& [shortName, name] : kNames)
        if (word == shortName)
            return name;
    return word;
}

// The command line without the options that every command takes.
struct CommandLine {
    std::u16string command;
    std::u16string language;
    Arguments arguments;
    std::vector<std::u16string> options; // as given
};

// Everything behind "--" is a word, and so is what begins with a minus and a digit.
CommandLine parse(const CArray<CUnicodeString>& values) {
    CommandLine line;
    Arguments& arguments = line.arguments;
    const std::pair<std::u16string_view, std::u16string*> texts[] = {{u"--type", &arguments.type},
                                                                     {u"--format", &arguments.format},
                                                                     {u"--timeout", &arguments.timeout},
                                                                     {u"--language", &line.language}};
    const std::pair<std::u16string_view, bool*> flags[] = {{u"--recursive", &arguments.isRecursive},
                                                           {u"--default", &arguments.isUnnamed},
                                                           {u"--data", &arguments.isDataOnly},
                                                           {u"--force", &arguments.isForced},
                                                           {u"--once", &arguments.isOnce}};
    bool areWords = false;
    for (int i = 0; i < values.Size(); i++) {
        std::u16string word(values[i].Ptr());
        const bool isOption =
            !areWords && word.size() > 1 && word[0] == u'-' && (word[1] < u'0' || word[1] > u'9');
        if (!isOption) {
            (line.command.empty() ? line.command : arguments.words.emplace_back()) = word;
            continue;
        }
        if (word == u"--") {
            areWords = true;
            continue;
        }
        const std::size_t equals = word.find(u'=');
        const std::u16string name = longName(word.substr(0, equals));
        line.options.push_back(name);
        bool isKnown = name == u"--help" || name == u"--version";
        for (const auto& [known, flag] : flags)
            if (name == known && equals == word.npos)
                *flag = isKnown = true;
        for (const auto& [known, text] : texts)
            if (name == known && (equals != word.npos || i + 1 < values.Size())) {
                *text = equals != word.npos ? word.substr(equals + 1) : std::u16string(values[++i].Ptr());
                isKnown = true;
            }
        if (!isKnown)
            failForUsage(MSG_TARNREG_BAD_OPTION, ToText(word));
    }
    return line;
}

void selectLanguage(const std::u16string& text) {
    UInt64 code;
    if (text.empty())
        return;
    if (!ParseNumber(text, 1, code) || FindLanguageIndex(static_cast<int>(code)) < 0)
        failForUsage(MSG_TARNREG_BAD_OPTION, u"--language " + ToText(text));
    SetCurrentLanguageCode(static_cast<int>(code));
}

int run(const CArray<CUnicodeString>& values) {
    FileSystem::ChangeToWorkingDir();
    const CommandLine line = parse(values);
    selectLanguage(line.language);
    const auto isGiven = [&line](std::u16string_view option) {
        return std::find(line.options.begin(), line.options.end(), option) != line.options.end();
    };
    if (isGiven(u"--help")) {
        Console::Print(MSG_TARNREG_HELP.UnicodeStr() + u"\n");
        return kExitDone;
    }
    if (isGiven(u"--version")) {
        Console::Print(CUnicodeString(kProgram) + u" " TARNREG_VERSION u"\n");
        return kExitDone;
    }
    for (const auto& command : kCommands) {
        if (line.command != command.name)
            continue;
        for (const std::u16string& option : line.options)
            if (option != u"--language" && command.options.find(u" " + option + u" ") == option.npos)
                failForUsage(MSG_TARNREG_BAD_OPTION, ToText(option));
        const std::vector<std::u16string>& words = line.arguments.words;
        for (std::size_t i = 0; i < words.size(); i++)
            if (const CUnicodeString word = ToText(words[i]); i != command.file && !Console::IsText(word))
                throw Failure{kExitUsage,
                              MSG_TARNREG_FAILED.SubstParam(word, MSG_TARNREG_BAD_TEXT.UnicodeStr())};
        if (words.size() < command.fewestWords)
            break;
        return command.run(line.arguments);
    }
    throw Failure{kExitUsage, MSG_TARNREG_USAGE.UnicodeStr()};
}

void showError(const CUnicodeString& text) {
    Console::PrintError(CUnicodeString(kProgram) + u": " + text + u"\n");
}

// Runs `action` and shows what goes wrong, a lack of memory included.
template<class Action>
int report(Action action) {
    try {
        return action();
    } catch (const Failure& failure) {
        showError(failure.text);
        return failure.code;
    } catch (CException* e) {
        showError(e->MessageText());
        e->Delete();
    } catch (const std::exception&) {
        showError(CLastErrorException::GetErrorText(ERROR_NOT_ENOUGH_MEMORY));
    }
    return kExitFailed;
}

void addTexts() {
    const CUnicodeString folder = FileSystem::GetEXEDir();
    for (const CUnicodeString& place : {folder, FileSystem::CombinePath(folder, u"" TARNREG_LANGUAGES)})
        for (const char16_t* family : {u"Tarnreg", u"Tarnkit"})
            AddResourcePrefix(place, family);
}

} // namespace

int main(int argc, char** argv) {
    CErrorOutputHandler errorOutput;
    CMessageHandlerSwitcher toErrorOutput(&errorOutput);
    int result = report([&] {
        SetAppTitle(kProgram);
        addTexts();
        const int done = Initialize(u"Software\\Velmora\\tarnreg", u"Software\\Velmora\\tarnreg")
                             ? run(Console::Arguments(argc, argv))
                             : kExitFailed;
        if (!Console::IsAllPrinted())
            ThrowFileException(CFileException::generic, u"stdout");
        return done;
    });
    const int clean = report([] {
        Clean();
        return int{kExitDone};
    });
    return result != kExitDone ? result : clean;
}
