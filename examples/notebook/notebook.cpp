// notebook: keeps text files as notes in a book.
//
// The program shows a complete use of the library: it starts the library, stores a document through strings,
// archive and file, reads it back, and explains failures to its user in his language.
//
//   arguments           the command line; maps, INI files
//   settings            the user's settings; setup values and registry keys
//   interface_language  the language of the program; language libraries
//   message_windows     messages in boxes; window systems
//   messages            the texts; messages and errors, whose texts are in *.po
//   book, book_lock     the document; archives, files that are replaced as a whole, exclusive files
//   note_time           times on the command line and in the user's locale
//   selection           sorting and filtering; lists, Unicode sets
//   text_files          text in all encodings; text files and streams
//   *_commands          the commands; memory files
//   console             the outputs, and a message handler for them
#include "arguments.h"
#include "book_commands.h"
#include "console.h"
#include "interface_language.h"
#include "message_windows.h"
#include "messages.h"
#include "setting_commands.h"
#include "text_files.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/resource_modules.h>

#include <optional>

using namespace Tarn;

namespace {

// A log is text in UTF-16. Any other file, such as a book, would be damaged by appending to it.
void checkLog(const CUnicodeString& name) {
    CFile log(name, CFile::ForReading | CFile::DenyNone | CFile::Create | CFile::KeepContents);
    if (log.GetLength() > 0 && log.ReadWord() != kByteOrderMark)
        GenCheck(ERR_NOTEBOOK_BAD_LOG, FileSystem::ForDisplay(name));
}

// Commands on settings have no dry run.
bool execute(const CArguments& arguments, CSettings& settings) {
    return arguments.AreUnderstood() &&
           (ExecuteBookCommand(arguments, settings) ||
            (!arguments.IsDryRun() && ExecuteSettingCommand(arguments.Words(), settings)));
}

// Shows whatever goes wrong in `action`, a lack of memory included.
template<class Action>
bool report(Action action) {
    try {
        action();
        return true;
    } catch (CException* e) {
        Warning(e);
        e->Delete();
        return false;
    }
}

// Runs the command and shows what goes wrong, in boxes or in a log when the user named a toolkit or a log.
bool runAndReport(const CArray<CUnicodeString>& argumentList) {
    std::optional<CMessageWindows> windows;
    std::optional<CFileMessageHandler> log;
    std::optional<CMessageHandlerSwitcher> logging;
    return report([&] {
        FileSystem::ChangeToWorkingDir();
        CArguments arguments(argumentList);
        CSettings settings(arguments.Profile());
        SelectLanguage(arguments.Language(), settings);
        if (!arguments.Windows().IsEmpty())
            windows.emplace(arguments.Windows());
        if (!arguments.LogName().IsEmpty()) {
            checkLog(arguments.LogName());
            logging.emplace(&log.emplace(arguments.LogName()), true, false);
        }
        arguments.ReadIniFile();
        if (!execute(arguments, settings))
            GenCheck(ERR_NOTEBOOK_USAGE);
        if (!Console::IsAllPrinted())
            ThrowFileException(CFileException::generic, u"stdout");
    });
}

void prepare() {
    const CUnicodeString folder = FileSystem::GetEXEDir();
    AddResourcePrefix(folder, u"Notebook");
    AddResourcePrefix(folder, u"Tarnkit");
    SetAppTitle(u"Notebook");
}

} // namespace

int main(int argc, char** argv) {
    CErrorOutputHandler errorOutput;
    CMessageHandlerSwitcher toErrorOutput(&errorOutput);
    bool isDone = false;
    report([&] {
        prepare();
        isDone = Initialize(u"Software\\Velmora\\Notebook", u"Software\\Velmora\\Notebook") &&
                 runAndReport(Console::Arguments(argc, argv));
    });
    const bool isClean = report(Clean);
    return isDone && isClean ? 0 : 1;
}
