// A command-line program's connection to its user: the arguments and the two outputs. One source for each
// port.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/unicode_string.h>

namespace Console {

/// The arguments of `main`, without the program's name.
Tarn::CArray<Tarn::CUnicodeString> Arguments(int argc, char** argv);
/// False for an argument with bytes that are not UTF-8, which can only be the name of a file.
bool IsText(const Tarn::CUnicodeString& argument);

/// Print text for the user, or for a program that reads it as UTF-8. What a terminal would obey, such as an
/// escape sequence in a note, is shown there as `TerminalText` does, unless the program itself put it into
/// the text.
void Print(const Tarn::CUnicodeString& text, bool hasOwnSequences = false);
/// Errors are shown that way wherever they go.
void PrintError(const Tarn::CUnicodeString& text);
/// Whether everything that was printed has been written.
bool IsAllPrinted();

} // namespace Console

/// Shows messages on the error output and asks nobody: the preselected button answers.
class CErrorOutputHandler : public Tarn::CMessageHandler {
public:
    int ShowMessage(HWND, const char16_t* text, const char16_t* caption, unsigned flags) override {
        Console::PrintError(Tarn::CUnicodeString(caption) + u": " + text + u"\n");
        return GetDefaultReturnValue(flags);
    }
};
