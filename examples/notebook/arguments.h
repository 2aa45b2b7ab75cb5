// What the user asks for on the command line: a few words and the options between them.
#pragma once

#include "selection.h"

#include <tarnkit/array.h>
#include <tarnkit/map.h>
#include <tarnkit/time.h>
#include <tarnkit/unicode_string.h>

class CArguments {
public:
    /// What is no option is a word.
    explicit CArguments(const Tarn::CArray<Tarn::CUnicodeString>& values);

    /// Takes what is missing of --code-page and --sort from the section [Options] of notebook.ini beside the
    /// program, if it is there. Throws when it can't be read.
    void ReadIniFile();

    /// The command and what belongs to it.
    const Tarn::CArray<Tarn::CUnicodeString>& Words() const { return words; }
    /// Whether nothing looks like an option and is none, or lacks its value.
    bool AreUnderstood() const { return areUnderstood; }
    bool IsDryRun() const { return isDryRun; }
    bool IsColored() const { return isColored; }
    /// Empty when the option was not given.
    Tarn::CUnicodeString Language() const { return option(u"--language"); }
    Tarn::CUnicodeString LogName() const { return option(u"--log"); }
    Tarn::CUnicodeString Profile() const { return option(u"--profile"); }
    Tarn::CUnicodeString Characters() const { return option(u"--with"); }
    /// Throw what is wrong about the value of the option. Without one: UTF-8, by number, now.
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
