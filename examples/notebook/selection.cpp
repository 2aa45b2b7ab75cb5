#include "selection.h"

#include <utility>

using namespace Tarn;

namespace {

int byNumber(const CListNodeBase* a, const CListNodeBase* b) {
    return static_cast<const CListedNote*>(a)->Number() - static_cast<const CListedNote*>(b)->Number();
}

// Sorting may exchange equal elements, so the number decides between them.
int byTitle(const CListNodeBase* a, const CListNodeBase* b) {
    const CUnicodeString& title = static_cast<const CListedNote*>(a)->Note().Title;
    const int order = title.CompareNoCase(static_cast<const CListedNote*>(b)->Note().Title);
    return order != 0 ? order : byNumber(a, b);
}

int byTime(const CListNodeBase* a, const CListNodeBase* b) {
    const CTime time = static_cast<const CListedNote*>(a)->Note().Time;
    const CTime other = static_cast<const CListedNote*>(b)->Note().Time;
    return time < other ? -1 : time > other ? 1 : byNumber(a, b);
}

struct CNamedOrder {
    const char16_t* name;
    CListBase::TCompare* compare;
};

constexpr CNamedOrder kOrders[] = {{u"number", byNumber}, {u"title", byTitle}, {u"time", byTime}};

bool hasOneOf(const CUnicodeSet& characters, const CNote& note) {
    return characters.HasOneOf(note.Title) || characters.HasOneOf(note.Text);
}

} // namespace

bool ParseNoteOrder(const CUnicodeString& text, TNoteOrder& order) {
    for (const CNamedOrder& known : kOrders)
        if (text == known.name) {
            order = static_cast<TNoteOrder>(&known - kOrders);
            return true;
        }
    return false;
}

CUnicodeSet ParseCharacters(const CUnicodeString& text) {
    CUnicodeSet characters;
    const int length = text.GetLength();
    for (int i = 0; i < length; i++) {
        unsigned first = text[i];
        unsigned last = first;
        if (i + 2 < length && text[i + 1] == u'-') {
            i += 2;
            last = text[i];
        }
        if (first > last)
            std::swap(first, last);
        for (; first <= last; first++)
            characters |= static_cast<char16_t>(first);
    }
    return characters;
}

CNoteList::CNoteList(const CBook& book, TNoteOrder order, const CUnicodeSet* characters) {
    for (int i = 0; i < book.Size(); i++)
        if (characters == nullptr || hasOneOf(*characters, book.Note(i)))
            AddLast(new CListedNote(i + 1, book.Note(i)));
    QSort(kOrders[order].compare);
}
