// A book of notes, stored as an archive in a file.
//
// The format: a version, a small-value count, then the title, the text and the time of each note. Books of
// version 1 have no times and are still read. A book in memory owns its notes and belongs to one thread; a
// file that is given by its name is open only while `Load` and `Save` run.
#pragma once

#include <tarnkit/archive.h>
#include <tarnkit/array.h>
#include <tarnkit/time.h>
#include <tarnkit/unicode_string.h>

struct CNote {
    Tarn::CUnicodeString Title;
    Tarn::CUnicodeString Text;
    Tarn::CTime Time = Tarn::CTime::CreateZeroTime(); // zero if unknown
};

class CBook {
public:
    int Size() const { return notes.Size(); }
    const CNote& Note(int index) const { return notes[index]; }
    void Add(const CNote& note) { notes.Add(note); }

    /// Replaces the notes by those in the file. Throws, and keeps the notes, when the file is missing,
    /// corrupt or of a later version.
    void Load(const Tarn::CUnicodeString& fileName);
    /// Does the same from an open file, where the book begins at the current position.
    void Load(Tarn::CBaseFile& file);

    /// Writes the book. Throws when it can't be written; the file is then unchanged.
    void Save(const Tarn::CUnicodeString& fileName) const;
    /// Writes the book to an open file, at its position.
    void Save(Tarn::CBaseFile& file) const;

private:
    Tarn::CArray<CNote> notes;

    static constexpr int kVersion = 2;
    static constexpr int kVersionWithoutTimes = 1;

    void store(Tarn::CArchive& archive) const;
    void load(Tarn::CArchive& archive);
};
