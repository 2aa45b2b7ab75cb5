#include "console.h"

#include <shellapi.h>

using namespace Tarn;

namespace Console {

namespace {

constexpr int kLargestPiece = 8192; // units; consoles limit the length of a single write
bool isAllPrinted = true;

bool printOnConsole(HANDLE console, const CUnicodeString& text) {
    DWORD written = 0;
    for (int start = 0; start < text.GetLength(); start += static_cast<int>(written)) {
        const CUnicodeString piece = text.Mid(start, kLargestPiece);
        if (!WriteConsoleW(console, ToWide(piece.Ptr()), static_cast<DWORD>(piece.GetLength()), &written,
                           nullptr))
            return false;
    }
    return true;
}

bool printBytes(HANDLE file, const CString& bytes) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(bytes.GetLength());
    return WriteFile(file, bytes.Ptr(), size, &written, nullptr) && written == size;
}

bool print(DWORD which, const CUnicodeString& text, bool hasOwnSequences) {
    const HANDLE output = GetStdHandle(which);
    DWORD mode = 0;
    if (!GetConsoleMode(output, &mode))
        return printBytes(output, CString(text, text.GetLength(), CP_UTF8));
    SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING); // for colors, where they are supported
    return printOnConsole(output, hasOwnSequences ? text : TerminalText(text));
}

} // namespace

CArray<CUnicodeString> Arguments(int, char**) {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    CArray<CUnicodeString> arguments;
    for (int i = 1; i < count; i++)
        arguments.Add(words[i]);
    LocalFree(words);
    return arguments;
}

bool IsText(const CUnicodeString&) { return true; }

void Print(const CUnicodeString& text, bool hasOwnSequences) {
    isAllPrinted = print(STD_OUTPUT_HANDLE, text, hasOwnSequences) && isAllPrinted;
}

void PrintError(const CUnicodeString& text) { print(STD_ERROR_HANDLE, TerminalText(text), false); }

bool IsAllPrinted() { return isAllPrinted; }

} // namespace Console
