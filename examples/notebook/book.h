// A book of notes, stored as an archive in a file.
//
// The format: a version, a small-value count, then the title and the text of each note. A book in memory owns
// its notes and belongs to one thread; the file is open only while `Load` and `Save` run.
#pragma once

#include <tarnkit/archive.h>
#include <tarnkit/array.h>
#include <tarnkit/unicode_string.h>

struct CNote {
    Tarn::CUnicodeString Title;
    Tarn::CUnicodeString Text;
};

class CBook {
public:
    int Size() const { return notes.Size(); }
    const CNote& Note(int index) const { return notes[index]; }
    void Add(const CNote& note) { notes.Add(note); }

    /// Replaces the notes by those of the file. Throws, and keeps the notes, when the file is missing,
    /// corrupt or of a later version.
    void Load(const Tarn::CUnicodeString& fileName);

    /// Writes the book. Throws when it can't be written; the file then is as it was.
    void Save(const Tarn::CUnicodeString& fileName) const;

private:
    Tarn::CArray<CNote> notes;

    static constexpr int kVersion = 1;

    void store(Tarn::CArchive& archive) const;
    void load(Tarn::CArchive& archive);
};
