#include "commands.h"
#include "book.h"
#include "book_lock.h"
#include "console.h"
#include "messages.h"
#include "note_time.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_of_values.h>

using namespace Tarn;

namespace {

constexpr char16_t kByteOrderMark = u'\uFEFF';

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
    return FileSystem::GetName(fileName);
}

CNote readNote(const CUnicodeString& fileName, const CArguments& arguments) {
    CNote note;
    note.Text = ImportText(fileName, arguments.codePage);
    note.Title = titleOf(note.Text, fileName);
    note.Time = arguments.time ? *arguments.time : CTime::GetCurrentTime();
    return note;
}

void addNote(CBook& book, const CUnicodeString& bookName, const CNote& note) {
    if (FileSystem::AccessFile(bookName, 0))
        book.Load(bookName);
    book.Add(note);
}

// Does all that an import does with a book in memory, and leaves no trace outside.
void tryImport(const CUnicodeString& bookName, const CNote& note) {
    CBook book;
    addNote(book, bookName, note);
    CMemoryFile file;
    book.Save(file);
    file.SeekToBegin();
    book.Load(file);
    printLine(MSG_NOTEBOOK_WOULD_WRITE.SubstParam(bookName, UnicodeStr(file.GetLength(), 10)));
}

void importNote(const CArguments& arguments) {
    const CUnicodeString& bookName = arguments.words[1];
    const CNote note = readNote(arguments.words[2], arguments);
    if (arguments.isDryRun)
        return tryImport(bookName, note);
    CBookLock lock(bookName);
    CBook book;
    addNote(book, bookName, note);
    book.Save(bookName);
    printLine(MSG_NOTEBOOK_IMPORTED.SubstParam(UnicodeStr(book.Size(), 10), note.Title, bookName,
                                               ShowLongTime(note.Time)));
}

void listNotes(const CArguments& arguments) {
    CBook book;
    book.Load(arguments.words[1]);
    if (book.Size() == 0)
        printLine(MSG_NOTEBOOK_EMPTY.SubstParam(arguments.words[1]));
    const CUnicodeSet characters = ParseCharacters(arguments.characters);
    const CNoteList list(book, arguments.order, arguments.characters.IsEmpty() ? nullptr : &characters);
    for (const CListedNote* note = list.FirstNote(); note != nullptr; note = note->NextNote())
        printLine(Format(u"%3d  %-17s  %s", note->Number(), ShowShortTime(note->Note().Time).Ptr(),
                         note->Note().Title.Ptr()));
}

const CNote& findNote(const CBook& book, const CUnicodeString& bookName, const CUnicodeString& numberText) {
    int number = 0;
    if (!numberText.Value(number, 10))
        GenCheck(ERR_NOTEBOOK_BAD_NUMBER, numberText);
    if (number < 1 || number > book.Size())
        GenCheck(ERR_NOTEBOOK_NO_NOTE, bookName, UnicodeStr(number, 10), UnicodeStr(book.Size(), 10));
    return book.Note(number - 1);
}

void showNote(const CArguments& arguments) {
    CBook book;
    book.Load(arguments.words[1]);
    Console::Print(findNote(book, arguments.words[1], arguments.words[2]).Text);
}

void exportNote(const CArguments& arguments) {
    const CUnicodeString& fileName = arguments.words[3];
    CBook book;
    book.Load(arguments.words[1]);
    const CUnicodeString& text = findNote(book, arguments.words[1], arguments.words[2]).Text;
    if (arguments.isDryRun) {
        const int size = MeasureExport(fileName, text, arguments.codePage);
        printLine(MSG_NOTEBOOK_WOULD_WRITE.SubstParam(fileName, UnicodeStr(size, 10)));
    } else {
        ExportText(fileName, text, arguments.codePage);
        printLine(MSG_NOTEBOOK_EXPORTED.SubstParam(arguments.words[2], fileName));
    }
}

const struct {
    const char16_t* name;
    int numberOfWords; // with the name
    void (*run)(const CArguments& arguments);
} kCommands[] = {
    {u"import", 3, importNote},
    {u"list", 2, listNotes},
    {u"show", 3, showNote},
    {u"export", 4, exportNote},
};

} // namespace

void Execute(const CArguments& arguments) {
    const CArray<CUnicodeString>& words = arguments.words;
    for (const auto& command : kCommands)
        if (words.Size() == command.numberOfWords && words[0] == command.name)
            return command.run(arguments);
    GenCheck(ERR_NOTEBOOK_USAGE);
}
