#include "book_commands.h"
#include "book.h"
#include "book_lock.h"
#include "console.h"
#include "messages.h"
#include "note_time.h"
#include "text_files.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_of_values.h>

using namespace Tarn;

namespace {

struct CBookCommand {
    const CUnicodeString& bookName;
    const CUnicodeString* words; // those after the book
    const CArguments& arguments;
    CSettings& settings;
};

void printLine(const CUnicodeString& text) { Console::Print(text + u"\n"); }

// The first line with text in it, or the name of the file.
CUnicodeString titleOf(const CUnicodeString& text, const CUnicodeString& fileName) {
    for (int start = text[0] == kByteOrderMark ? 1 : 0; start < text.GetLength();) {
        const int end = text.Strcspn(u"\r\n", start);
        CUnicodeString line = text.Mid(start, end - start);
        line.Trim();
        if (!line.IsEmpty())
            return line;
        start = text.Strspn(u"\r\n", end);
    }
    return FileSystem::ForDisplay(FileSystem::GetName(fileName));
}

CNote readNote(const CUnicodeString& fileName, const CArguments& arguments) {
    CNote note;
    note.Text = ImportText(fileName, arguments.CodePage());
    note.Title = titleOf(note.Text, fileName);
    note.Time = arguments.Time();
    return note;
}

// Only a book that does not exist is begun. Any other failure must not replace the user's notes by one.
void loadIfThere(CBook& book, const CUnicodeString& bookName) {
    try {
        book.Load(bookName);
    } catch (CFileException* e) {
        if (e->ErrorCode() != ERROR_FILE_NOT_FOUND)
            throw;
        e->Delete();
    }
}

void addNote(CBook& book, const CUnicodeString& bookName, const CNote& note) {
    loadIfThere(book, bookName);
    book.Add(note);
}

// Does everything that an import does, but with a book in memory, and writes nothing.
void tryImport(const CUnicodeString& bookName, const CNote& note) {
    CBook book;
    addNote(book, bookName, note);
    CMemoryFile file;
    book.Save(file);
    file.SeekToBegin();
    book.Load(file);
    printLine(MSG_NOTEBOOK_WOULD_WRITE.SubstParam(FileSystem::ForDisplay(bookName),
                                                  UnicodeStr(file.GetLength(), 10)));
}

void importNote(const CBookCommand& command) {
    const CNote note = readNote(command.words[0], command.arguments);
    if (command.arguments.IsDryRun())
        return tryImport(command.bookName, note);
    CBookLock lock(command.bookName);
    CBook book;
    addNote(book, command.bookName, note);
    book.Save(command.bookName);
    printLine(MSG_NOTEBOOK_IMPORTED.SubstParam(UnicodeStr(book.Size(), 10), note.Title,
                                               FileSystem::ForDisplay(command.bookName),
                                               ShowLongTime(note.Time)));
}

// For a terminal that knows the usual escape sequences. The lowest byte of a color is its red.
CUnicodeString inColor(const CUnicodeString& text, int color) {
    return Format(u"\x1B[38;2;%d;%d;%dm", color & 0xFF, color >> 8 & 0xFF, color >> 16 & 0xFF) +
           TerminalText(text, true) + u"\x1B[m";
}

void listNote(const CListedNote& listed, const CBookCommand& command) {
    CUnicodeString time = Format(u"%-17s", ShowShortTime(listed.Note().Time).Ptr());
    CUnicodeString title = listed.Note().Title;
    if (command.arguments.IsColored()) {
        time = inColor(time, command.settings.TimeColor.Get());
        title = inColor(title, command.settings.TitleColor.Get());
    }
    Console::Print(Format(u"%3d  ", listed.Number()) + time + u"  " + title + u"\n",
                   command.arguments.IsColored());
}

void listNotes(const CBookCommand& command) {
    CBook book;
    book.Load(command.bookName);
    if (book.Size() == 0)
        printLine(MSG_NOTEBOOK_EMPTY.SubstParam(FileSystem::ForDisplay(command.bookName)));
    const CUnicodeString with = command.arguments.Characters();
    const CUnicodeSet characters = ParseCharacters(with);
    const CNoteList list(book, command.arguments.Order(), with.IsEmpty() ? nullptr : &characters);
    for (const CListedNote* note = list.FirstNote(); note != nullptr; note = note->NextNote())
        listNote(*note, command);
}

const CNote& findNote(const CBook& book, const CUnicodeString& bookName, const CUnicodeString& numberText) {
    int number = 0;
    if (!numberText.Value(number, 10))
        GenCheck(ERR_NOTEBOOK_BAD_NUMBER, numberText);
    if (number < 1 || number > book.Size())
        GenCheck(ERR_NOTEBOOK_NO_NOTE, FileSystem::ForDisplay(bookName), UnicodeStr(number, 10),
                 UnicodeStr(book.Size(), 10));
    return book.Note(number - 1);
}

void showNote(const CBookCommand& command) {
    CBook book;
    book.Load(command.bookName);
    Console::Print(findNote(book, command.bookName, command.words[0]).Text);
}

void exportNote(const CBookCommand& command) {
    const CUnicodeString& fileName = command.words[1];
    const unsigned codePage = command.arguments.CodePage();
    // Open until the end: the note must not take the place of its book, under whatever name.
    CFile file(command.bookName, CFile::ForReading | CFile::DenyWrite);
    CBook book;
    book.Load(file);
    const CUnicodeString& text = findNote(book, command.bookName, command.words[0]).Text;
    if (command.arguments.IsDryRun()) {
        const int size = MeasureExport(fileName, text, codePage);
        printLine(
            MSG_NOTEBOOK_WOULD_WRITE.SubstParam(FileSystem::ForDisplay(fileName), UnicodeStr(size, 10)));
    } else {
        ExportText(fileName, text, codePage);
        printLine(MSG_NOTEBOOK_EXPORTED.SubstParam(command.words[0], FileSystem::ForDisplay(fileName)));
    }
}

const struct {
    const char16_t* name;
    int numberOfWords; // not counting the name and the book
    void (*run)(const CBookCommand& command);
} kCommands[] = {
    {u"import", 1, importNote},
    {u"list", 0, listNotes},
    {u"show", 1, showNote},
    {u"export", 2, exportNote},
};

CUnicodeString lastBook(const CSettings& settings) {
    const CUnicodeString name = settings.LastBook.GetString();
    if (name.IsEmpty())
        GenCheck(ERR_NOTEBOOK_NO_BOOK);
    return name;
}

} // namespace

bool ExecuteBookCommand(const CArguments& arguments, CSettings& settings) {
    const CArray<CUnicodeString>& words = arguments.Words();
    for (const auto& command : kCommands) {
        const int given = words.Size() - 1 - command.numberOfWords; // 1 when there is a book among them
        if ((given != 0 && given != 1) || words[0] != command.name)
            continue;
        const CUnicodeString bookName = given == 1 ? words[1] : lastBook(settings);
        command.run({bookName, words.Ptr() + 1 + given, arguments, settings});
        if (!arguments.IsDryRun())
            settings.Remember(bookName);
        return true;
    }
    return false;
}
