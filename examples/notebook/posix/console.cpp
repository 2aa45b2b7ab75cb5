#include "console.h"

#include <tarnkit/file_system.h>

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
        // What is not UTF-8 can only be the name of a file, which is found by its bytes.
        const CUnicodeString argument(argv[i], kUtf8);
        arguments.Add(CString(argument, kUtf8) == argv[i] ? argument : FileSystem::FromNative(argv[i]));
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
