// notebook: keeps text files as notes in a book.
//
// The program shows the library's main job whole: it starts the library, stores a document through strings,
// archive and file, reads it back, and tells its user in his language what went wrong when something does.
#include "book.h"
#include "console.h"
#include "messages.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/text_of_values.h>

#include <filesystem>
#include <optional>

using namespace Tarn;

namespace {

constexpr unsigned kUtf8 = 65001;
constexpr unsigned kLastCodePage = 65535;

struct CArguments {
    CArray<CUnicodeString> words; // the command and what belongs to it
    CUnicodeString logName;
    unsigned codePage = kUtf8;
    std::optional<int> language;
};

CArguments parseArguments(const CArray<CUnicodeString>& values) {
    CArguments arguments;
    for (int i = 0; i < values.Size(); i++) {
        const CUnicodeString& word = values[i];
        const bool isOption = word == u"--code-page" || word == u"--language" || word == u"--log";
        if (!isOption) {
            arguments.words.Add(word);
            continue;
        }
        if (++i == values.Size())
            GenCheck(ERR_NOTEBOOK_USAGE);
        const CUnicodeString& value = values[i];
        int number = 0;
        if (word == u"--log") {
            arguments.logName = value;
        } else if (word == u"--language") {
            if (!value.Value(number, 10))
                GenCheck(ERR_NOTEBOOK_BAD_LANGUAGE, value);
            arguments.language = number;
        } else {
            if (!value.Value(arguments.codePage, 10) || arguments.codePage > kLastCodePage)
                GenCheck(ERR_NOTEBOOK_BAD_CODE_PAGE, value);
        }
    }
    return arguments;
}

void printLine(const CUnicodeString& text) { Console::Print(text + u"\n"); }

CString readBytes(const CUnicodeString& fileName) {
    CFile file(fileName, CFile::ForReading | CFile::DenyWrite);
    const int size = file.GetLength();
    CString bytes;
    file.ReadRecord(bytes.GetBufferSetLength(size), size);
    return bytes;
}

CUnicodeString readText(const CUnicodeString& fileName, unsigned codePage) {
    const CString bytes = readBytes(fileName);
    const CUnicodeString text(bytes.Ptr(), bytes.GetLength(), codePage);
    // A conversion that fails is empty, and one that meets a zero byte is cut there. Only a text that gives
    // back the very bytes of the file is kept.
    const CString back(text, text.GetLength(), codePage);
    if (back.GetLength() != bytes.GetLength() || back.Compare(bytes) != 0)
        GenCheck(ERR_NOTEBOOK_CANT_DECODE, fileName, UnicodeStr(codePage, 10));
    return text;
}

void writeText(const CUnicodeString& fileName, const CUnicodeString& text, unsigned codePage) {
    const CString bytes(text, text.GetLength(), codePage);
    const CUnicodeString back(bytes.Ptr(), bytes.GetLength(), codePage);
    if (back != text)
        GenCheck(ERR_NOTEBOOK_CANT_ENCODE, UnicodeStr(codePage, 10), fileName);
    CFile file(fileName, CFile::ForWriting | CFile::Create);
    file.Write(bytes.Ptr(), bytes.GetLength());
    file.Close();
}

// The first line with text in it, or the name of the file.
CUnicodeString titleOf(const CUnicodeString& text, const CUnicodeString& fileName) {
    for (int start = 0; start < text.GetLength();) {
        const int end = text.Strcspn(u"\r\n", start);
        CUnicodeString line = text.Mid(start, end - start);
        line.Trim();
        if (!line.IsEmpty())
            return line;
        start = text.Strspn(u"\r\n", end);
    }
    return FileSystem::GetName(fileName);
}

// Keeps a second program from changing the same book meanwhile: the later one is told that the book is in
// use.
class CBookLock {
public:
    explicit CBookLock(const CUnicodeString& bookName)
        : name(bookName + u".lock"), file(name, CFile::ForWriting | CFile::Create) {}
    ~CBookLock() {
        file.Abort();
        FileSystem::RemoveIgnoreErrors(name);
    }
    CBookLock(const CBookLock&) = delete;
    CBookLock& operator=(const CBookLock&) = delete;

private:
    CUnicodeString name;
    CFile file;
};

const CNote& findNote(const CBook& book, const CUnicodeString& bookName, const CUnicodeString& numberText) {
    int number = 0;
    if (!numberText.Value(number, 10))
        GenCheck(ERR_NOTEBOOK_BAD_NUMBER, numberText);
    if (number < 1 || number > book.Size())
        GenCheck(ERR_NOTEBOOK_NO_NOTE, bookName, UnicodeStr(number, 10), UnicodeStr(book.Size(), 10));
    return book.Note(number - 1);
}

void importNote(const CUnicodeString& bookName, const CUnicodeString& fileName, unsigned codePage) {
    CNote note;
    note.Text = readText(fileName, codePage);
    note.Title = titleOf(note.Text, fileName);
    CBookLock lock(bookName);
    CBook book;
    if (FileSystem::AccessFile(bookName, 0))
        book.Load(bookName);
    book.Add(note);
    book.Save(bookName);
    printLine(MSG_NOTEBOOK_IMPORTED.SubstParam(UnicodeStr(book.Size(), 10), note.Title, bookName));
}

void listNotes(const CUnicodeString& bookName) {
    CBook book;
    book.Load(bookName);
    if (book.Size() == 0)
        printLine(MSG_NOTEBOOK_EMPTY.SubstParam(bookName));
    for (int i = 0; i < book.Size(); i++)
        printLine(Format(u"%3d  %s", i + 1, book.Note(i).Title.Ptr()));
}

void showNote(const CUnicodeString& bookName, const CUnicodeString& number) {
    CBook book;
    book.Load(bookName);
    Console::Print(findNote(book, bookName, number).Text);
}

void exportNote(const CUnicodeString& bookName, const CUnicodeString& number, const CUnicodeString& fileName,
                unsigned codePage) {
    CBook book;
    book.Load(bookName);
    writeText(fileName, findNote(book, bookName, number).Text, codePage);
    printLine(MSG_NOTEBOOK_EXPORTED.SubstParam(number, fileName));
}

void selectLanguage(int code) {
    if (FindLanguageIndex(code) < 0)
        GenCheck(ERR_NOTEBOOK_BAD_LANGUAGE, UnicodeStr(code, 10));
    SetCurrentLanguageCode(code);
}

void execute(const CArguments& arguments) {
    if (arguments.language)
        selectLanguage(*arguments.language);
    const CArray<CUnicodeString>& words = arguments.words;
    const int count = words.Size();
    if (count == 3 && words[0] == u"import")
        importNote(words[1], words[2], arguments.codePage);
    else if (count == 2 && words[0] == u"list")
        listNotes(words[1]);
    else if (count == 3 && words[0] == u"show")
        showNote(words[1], words[2]);
    else if (count == 4 && words[0] == u"export")
        exportNote(words[1], words[2], words[3], arguments.codePage);
    else
        GenCheck(ERR_NOTEBOOK_USAGE);
}

// Runs the command and shows what goes wrong, in a log when the user named one.
bool runAndReport(const CArray<CUnicodeString>& argumentList) {
    std::optional<CFileMessageHandler> log;
    std::optional<CMessageHandlerSwitcher> logging;
    try {
        // Relative names mean the folder the user is in, as in every command-line program.
        FileSystem::ChangeDir(std::filesystem::current_path().u16string().c_str());
        const CArguments arguments = parseArguments(argumentList);
        if (!arguments.logName.IsEmpty())
            logging.emplace(&log.emplace(arguments.logName), true, false);
        execute(arguments);
        return true;
    } catch (CException* e) {
        Warning(e);
        e->Delete();
        return false;
    }
}

} // namespace

int main(int argc, char** argv) {
    CErrorOutputHandler errorOutput;
    CMessageHandlerSwitcher toErrorOutput(&errorOutput);
    const CUnicodeString folder = FileSystem::GetEXEDir();
    AddResourcePrefix(folder, u"Notebook");
    AddResourcePrefix(folder, u"Tarnkit");
    SetAppTitle(u"Notebook");
    const bool isDone = Initialize(u"Software\\Velmora\\Notebook", u"Software\\Velmora\\Notebook") &&
                        runAndReport(Console::Arguments(argc, argv));
    Clean();
    return isDone && Console::IsAllPrinted() ? 0 : 1;
}
