// The notes that a user wants to see, in the order he wants.
#pragma once

#include "book.h"

#include <tarnkit/list.h>
#include <tarnkit/unicode_set.h>

enum TNoteOrder { NO_Number, NO_Title, NO_Time };

/// "number", "title" or "time". Returns false for any other text.
bool ParseNoteOrder(const Tarn::CUnicodeString& text, TNoteOrder& order);

/// The characters of a text, where "a-z" means all characters from "a" to "z".
Tarn::CUnicodeSet ParseCharacters(const Tarn::CUnicodeString& text);

/// A note of a book in a list; the book must outlive it.
class CListedNote : public Tarn::CListNodeBase {
public:
    CListedNote(int theNumber, const CNote& theNote) : number(theNumber), note(theNote) {}

    int Number() const { return number; }
    const CNote& Note() const { return note; }

    /// The next in the list; null at its end.
    const CListedNote* NextNote() const { return static_cast<const CListedNote*>(Next()); }

private:
    int number;
    const CNote& note;
};

class CNoteList : public Tarn::CListBase {
public:
    /// The notes whose title or text contains a character of the set, or all notes when it is null.
    CNoteList(const CBook& book, TNoteOrder order, const Tarn::CUnicodeSet* characters);

    const CListedNote* FirstNote() const { return static_cast<const CListedNote*>(First()); }
};
