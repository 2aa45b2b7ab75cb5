#include <tarnkit/list.h>

#include "containers/list_sorts.h"
#include "containers/showing_failures.h"

#include <utility>

namespace Tarn {

CListNodeBase::~CListNodeBase() { Detach(); }

void CListNodeBase::InsertPrev(CListNodeBase* node) {
    node->previous = previous;
    (previous != nullptr ? previous->next : parent->first) = node;
    node->next = this;
    previous = node;
    node->parent = parent;
}

void CListNodeBase::InsertNext(CListNodeBase* node) {
    node->next = next;
    (next != nullptr ? next->previous : parent->last) = node;
    node->previous = this;
    next = node;
    node->parent = parent;
}

void CListNodeBase::Detach() {
    if (parent == nullptr)
        return;
    (previous != nullptr ? previous->next : parent->first) = next;
    (next != nullptr ? next->previous : parent->last) = previous;
    fastDetach();
}

CListBase::~CListBase() { DeleteAll(); }

int CListBase::NumberOfChildren() const {
    int number = 0;
    for (const CListNodeBase* node = first; node != nullptr; node = node->next)
        number++;
    return number;
}

void CListBase::AddFirst(CListNodeBase* node) {
    if (first != nullptr) {
        first->InsertPrev(node);
    } else {
        first = last = node;
        node->parent = this;
    }
}

void CListBase::AddLast(CListNodeBase* node) {
    if (last != nullptr)
        last->InsertNext(node);
    else
        AddFirst(node);
}

// Makes this list the parent of `node` and of those after it.
void CListBase::adopt(CListNodeBase* node) {
    for (; node != nullptr; node = node->next)
        node->parent = this;
}

void CListBase::AddListFirst(CListBase& other) {
    if (other.IsEmpty() || &other == this)
        return;
    adopt(other.first);
    other.last->next = first;
    (first != nullptr ? first->previous : last) = other.last;
    first = other.first;
    other.first = other.last = nullptr;
}

void CListBase::AddListLast(CListBase& other) {
    if (other.IsEmpty() || &other == this)
        return;
    adopt(other.first);
    other.first->previous = last;
    (last != nullptr ? last->next : first) = other.first;
    last = other.last;
    other.first = other.last = nullptr;
}

void CListBase::DetachAll() {
    CListNodeBase* node = std::exchange(first, nullptr);
    last = nullptr;
    while (node != nullptr)
        std::exchange(node, node->next)->fastDetach();
}

void CListBase::DeleteAll() {
    if (IsEmpty())
        return;
    CShowingFailures showing;
    // The nodes leave one at a time, so that the destructor of each finds the list intact.
    while (CListNodeBase* node = First()) {
        node->Detach();
        showing.Renew();
        delete node;
    }
}

void CListBase::Sort(TCompare* compare) { InsertionSort(*this, compare); }

void CListBase::QSort(TCompare* compare) { QuickSort(*this, compare); }

void CListBase::sortBy(TCall* call, void* compare) {
    InsertionSort(*this, [=](const CListNodeBase* a, const CListNodeBase* b) { return call(compare, a, b); });
}

void CListBase::qsortBy(TCall* call, void* compare) {
    QuickSort(*this, [=](const CListNodeBase* a, const CListNodeBase* b) { return call(compare, a, b); });
}

} // namespace Tarn
