// What the user asks for on the command line: a few words and the options between them.
#pragma once

#include "selection.h"

#include <tarnkit/array.h>
#include <tarnkit/map.h>
#include <tarnkit/time.h>
#include <tarnkit/unicode_string.h>

class CArguments {
public:
    /// Every argument that is not an option is a word.
    explicit CArguments(const Tarn::CArray<Tarn::CUnicodeString>& values);

    /// Takes --code-page and --sort, if they are missing, from the section [Options] of notebook.ini beside
    /// the program, if there is such a file. Throws when it can't be read.
    void ReadIniFile();

    /// The command and the words that belong to it.
    const Tarn::CArray<Tarn::CUnicodeString>& Words() const { return words; }
    /// Whether every argument that looks like an option is one and has its value.
    bool AreUnderstood() const { return areUnderstood; }
    bool IsDryRun() const { return isDryRun; }
    bool IsColored() const { return isColored; }
    /// Empty when the option was not given.
    Tarn::CUnicodeString Language() const { return option(u"--language"); }
    Tarn::CUnicodeString LogName() const { return option(u"--log"); }
    Tarn::CUnicodeString Profile() const { return option(u"--profile"); }
    Tarn::CUnicodeString Windows() const { return option(u"--windows"); }
    Tarn::CUnicodeString Characters() const { return option(u"--with"); }
    /// The values of options. Each throws if the value is wrong. The defaults: UTF-8, by number, now.
    unsigned CodePage() const;
    TNoteOrder Order() const;
    Tarn::CTime Time() const;

private:
    Tarn::CArray<Tarn::CUnicodeString> words;
    Tarn::CMap<Tarn::CUnicodeString, Tarn::CUnicodeString> options;
    bool areUnderstood = true;
    bool isDryRun = false;
    bool isColored = false;

    Tarn::CUnicodeString option(const char16_t* name) const;
};
