#include "console.h"

#include <cstdio>
#include <unistd.h>

using namespace Tarn;

namespace Console {

namespace {

constexpr unsigned kUtf8 = 65001;

void print(std::FILE* output, const CUnicodeString& text) {
    const CString bytes(text, text.GetLength(), kUtf8);
    std::fwrite(bytes.Ptr(), 1, static_cast<std::size_t>(bytes.GetLength()), output);
}

} // namespace

CArray<CUnicodeString> Arguments(int argc, char** argv) {
    CArray<CUnicodeString> arguments;
    for (int i = 1; i < argc; i++) {
        // Command lines are UTF-8 today; those of older systems are in the system's code page.
        const CUnicodeString argument(argv[i], kUtf8);
        arguments.Add(argument.IsEmpty() ? CUnicodeString(argv[i], 0) : argument);
    }
    return arguments;
}

void Print(const CUnicodeString& text, bool hasOwnSequences) {
    const bool isShown = !hasOwnSequences && isatty(STDOUT_FILENO) != 0;
    print(stdout, isShown ? TerminalText(text) : text);
}

void PrintError(const CUnicodeString& text) {
    std::fflush(stdout);
    print(stderr, TerminalText(text));
}

bool IsAllPrinted() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

} // namespace Console
