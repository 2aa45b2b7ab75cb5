// What the user asks for on the command line: a few words and the options between them.
#pragma once

#include "selection.h"
#include "text_files.h"

#include <tarnkit/array.h>
#include <tarnkit/time.h>
#include <tarnkit/unicode_string.h>

#include <optional>

struct CArguments {
    Tarn::CArray<Tarn::CUnicodeString> words; // the command and what belongs to it
    Tarn::CUnicodeString logName;
    unsigned codePage = kUtf8;
    std::optional<Tarn::CTime> time;
    TNoteOrder order = NO_Number;
    Tarn::CUnicodeString characters; // one of which a note must have; empty for all notes
    bool isDryRun = false;
};

/// Makes the language of an option the current one. Throws with the usage, or with what is wrong about the
/// value of an option.
CArguments ParseArguments(const Tarn::CArray<Tarn::CUnicodeString>& values);

/// The values of options, wherever they stand; what is no such value is refused.
unsigned CheckedCodePage(const Tarn::CUnicodeString& text);
TNoteOrder CheckedOrder(const Tarn::CUnicodeString& text);
