#include "console.h"

#include <tarnkit/file_system.h>

#include <algorithm>
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

bool isUtf8(const CString& bytes) { return CString(CUnicodeString(bytes, kUtf8), kUtf8) == bytes; }

// Bytes that are not UTF-8 may belong to the name of a file, so they become what they are in one.
CUnicodeString argumentOf(CString bytes) {
    CUnicodeString argument;
    while (!bytes.IsEmpty()) {
        constexpr int kLongestCharacter = 4;
        int size = std::min(bytes.GetLength(), kLongestCharacter);
        while (size > 1 && !isUtf8(bytes.Left(size)))
            size--;
        const CString part = bytes.Left(size);
        argument += isUtf8(part) ? CUnicodeString(part, kUtf8) : FileSystem::FromNative(part);
        bytes = bytes.Mid(size);
    }
    return argument;
}

} // namespace

CArray<CUnicodeString> Arguments(int argc, char** argv) {
    CArray<CUnicodeString> arguments;
    for (int i = 1; i < argc; i++)
        arguments.Add(isUtf8(argv[i]) ? CUnicodeString(argv[i], kUtf8) : argumentOf(argv[i]));
    return arguments;
}

bool IsText(const CUnicodeString& argument) {
    return CUnicodeString(CString(argument, kUtf8), kUtf8) == argument;
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
