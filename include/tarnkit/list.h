// Intrusive doubly linked lists: CListNodeBase, from which everything derives that wants to live in a list,
// and CListBase, the list of such nodes.
//
// Nodes carry their links, so that linking neither allocates nor fails. A list owns its nodes, which come
// from `new`: it deletes those that it still has when it is destroyed. A node is in one list at most and
// leaves it when it is destroyed. Two things are the caller's error and not noticed: adding a node that is in
// a list already, and inserting beside a node that is in none. The comparisons that sort return a negative
// number, zero or a positive one as the first argument sorts before the second, equals it or sorts after it.
// A list and its nodes belong to one thread at a time.
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>

namespace Tarn {

class CListBase;

class TARNKIT_API CListNodeBase {
public:
    CListNodeBase() = default;
    /// Leaves the list. May be overridden by a destructor that fails.
    virtual ~CListNodeBase() noexcept(false);

    CListNodeBase(const CListNodeBase&) = delete;
    CListNodeBase& operator=(const CListNodeBase&) = delete;

    /// The list that the node is in; null when it is detached.
    CListBase* Parent() { return parent; }
    const CListBase* Parent() const { return parent; }
    /// The nodes before and after this one; null at the ends.
    CListNodeBase* Prev() { return previous; }
    const CListNodeBase* Prev() const { return previous; }
    CListNodeBase* Next() { return next; }
    const CListNodeBase* Next() const { return next; }

    /// Links a detached `node` right before or after this one, which must be in a list.
    void InsertPrev(CListNodeBase* node);
    void InsertNext(CListNodeBase* node);
    /// Leaves the list, which then no longer owns the node; nothing when it is in none.
    void Detach();

private:
    CListBase* parent = nullptr;
    CListNodeBase* previous = nullptr;
    CListNodeBase* next = nullptr;

    friend class CListBase;
    friend struct CLayout<CListNodeBase>;

    // For a list that is dissolved as a whole: the neighbours keep their links to this node.
    void fastDetach() {
        parent = nullptr;
        previous = nullptr;
        next = nullptr;
    }
};
TARNKIT_LAYOUT(CListNodeBase, 16, parent, previous, next);

class TARNKIT_API CListBase {
public:
    using TCompare = int(const CListNodeBase*, const CListNodeBase*);

    CListBase() = default;
    /// Deletes the nodes.
    virtual ~CListBase() noexcept(false);

    CListBase(const CListBase&) = delete;
    CListBase& operator=(const CListBase&) = delete;

    /// Null when the list is empty.
    CListNodeBase* First() { return first; }
    const CListNodeBase* First() const { return first; }
    CListNodeBase* Last() { return last; }
    const CListNodeBase* Last() const { return last; }

    bool IsEmpty() const { return first == nullptr; }
    /// Counts by walking through the list.
    int NumberOfChildren() const;
    bool HasChild(const CListNodeBase* node) const { return node->parent == this; }

    /// Links a detached `node` at one end; the list owns it from then on.
    void AddFirst(CListNodeBase* node);
    void AddLast(CListNodeBase* node);
    /// Moves all nodes of `other` to one end, in their order. A list that is added to itself stays as it is.
    void AddListFirst(CListBase& other);
    void AddListLast(CListBase& other);

    /// Empties the list; the nodes live on and belong to the caller.
    void DetachAll();
    /// Deletes the nodes from the first to the last. When the destructor of one fails, the others are deleted
    /// all the same.
    void DeleteAll();

    /// Sorts in place; equal nodes keep their order. For lists that are short or nearly sorted: the time goes
    /// with the square of the length. A comparison that throws leaves all nodes in the list, partly sorted.
    void Sort(TCompare* compare);
    /// Sorts quickly; equal nodes may change their order. Takes memory for lists of more than 256 nodes. When
    /// that is refused, or the comparison throws, the list stays as it was.
    void QSort(TCompare* compare);

private:
    CListNodeBase* first = nullptr;
    CListNodeBase* last = nullptr;

    friend class CListNodeBase;
    friend struct CLayout<CListBase>;

    void adopt(CListNodeBase* node);
};
TARNKIT_LAYOUT(CListBase, 12, first, last);

} // namespace Tarn
