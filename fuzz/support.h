// Shared by the fuzzers. A fuzzer turns its input into calls of one part of the library and stops the
// process when one result contradicts another; the sanitizers stop it at all other faults.
#pragma once

#include "fuzz/input.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>
#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the process if `isTrue` is false, so that the fuzzer keeps the input.
#define MUST(isTrue)                                                                                         \
    do {                                                                                                     \
        if (!(isTrue)) {                                                                                     \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #isTrue);                        \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

/// Bytes as 16-bit text without zeros.
inline Tarn::CUnicodeString UnicodeTextOf(const std::string& bytes) {
    std::u16string text;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const int unit = static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8;
        if (unit != 0)
            text.push_back(static_cast<char16_t>(unit));
    }
    return text.c_str();
}

/// The check or the file failure that stops `action`; both are null if nothing does. Anything else is a
/// fault.
struct Stopped {
    const Tarn::CError* check = nullptr;
    unsigned long fileError = 0;

    explicit operator bool() const { return check != nullptr || fileError != 0; }
};
Stopped StopOf(auto action) {
    Stopped stopped;
    try {
        action();
    } catch (Tarn::CCheckException* e) {
        stopped.check = &e->Error();
        e->Delete();
    } catch (Tarn::CFileException* e) {
        stopped.fileError = e->ErrorCode() != 0 ? e->ErrorCode() : static_cast<unsigned long>(e->ErrorType());
        e->Delete();
    }
    return stopped;
}

/// ASCII text in both widths.
struct AsciiText {
    Tarn::CString narrow;
    Tarn::CUnicodeString wide;

    explicit AsciiText(const std::string& bytes) {
        for (const char c : bytes)
            if (const char ascii = static_cast<char>(c & 0x7F)) {
                narrow += ascii;
                wide += static_cast<char16_t>(ascii);
            }
    }
};

inline bool AreSame(const Tarn::CString& narrow, const Tarn::CUnicodeString& wide) {
    if (narrow.GetLength() != wide.GetLength())
        return false;
    for (int i = 0; i < narrow.GetLength(); i++)
        if (static_cast<unsigned char>(narrow[i]) != wide[i])
            return false;
    return true;
}
