// CTreeBase: a node of a tree, from which everything derives that wants to live in one. It is at the same
// time a node of the list of its parent's children and the list of its own children.
//
// The rules are those of lists (list.h): nodes come from `new`, a parent owns its children, and nothing but
// other tree nodes may be their parents or their children, not a list of another kind. Destroying a node
// deletes the whole tree below it and takes the node out of its parent's children. A tree belongs to one
// thread at a time.
#pragma once

#include <tarnkit/list.h>

namespace Tarn {

class TARNKIT_API CTreeBase : public CListNodeBase, public CListBase {
public:
    using TCompare = int(const CTreeBase*, const CTreeBase*);

    CTreeBase() = default;
    ~CTreeBase() noexcept(false) override;

    /// Null for a root.
    CTreeBase* Parent() { return asTree(CListNodeBase::Parent()); }
    const CTreeBase* Parent() const { return asTree(CListNodeBase::Parent()); }
    /// The siblings before and after this node.
    CTreeBase* Prev() { return asTree(CListNodeBase::Prev()); }
    const CTreeBase* Prev() const { return asTree(CListNodeBase::Prev()); }
    CTreeBase* Next() { return asTree(CListNodeBase::Next()); }
    const CTreeBase* Next() const { return asTree(CListNodeBase::Next()); }
    /// The children at the ends; null when there are none.
    CTreeBase* First() { return asTree(CListBase::First()); }
    const CTreeBase* First() const { return asTree(CListBase::First()); }
    CTreeBase* Last() { return asTree(CListBase::Last()); }
    const CTreeBase* Last() const { return asTree(CListBase::Last()); }

    /// Whether `node` is a child of this one; deeper descendants are not.
    bool HasChild(const CTreeBase* node) const { return node->Parent() == this; }

    /// Makes a detached `node`, with all below it, a child at one end.
    void AddFirst(CTreeBase* node) { CListBase::AddFirst(node); }
    void AddLast(CTreeBase* node) { CListBase::AddLast(node); }
    /// Makes a detached `node` a sibling of this one, which must have a parent.
    void InsertPrev(CTreeBase* node) { CListNodeBase::InsertPrev(node); }
    void InsertNext(CTreeBase* node) { CListNodeBase::InsertNext(node); }
    /// Moves all children of `other`, but not `other` itself, to one end of the children.
    void AddTreeFirst(CTreeBase& other) { AddListFirst(other); }
    void AddTreeLast(CTreeBase& other) { AddListLast(other); }

    /// As the sorts of a list, on the children alone.
    void Sort(TCompare* compare);
    void QSort(TCompare* compare);

private:
    // The tree around a list or around a node of it.
    template<class Part>
    static CTreeBase* asTree(Part* part) {
        return static_cast<CTreeBase*>(part);
    }
    template<class Part>
    static const CTreeBase* asTree(const Part* part) {
        return static_cast<const CTreeBase*>(part);
    }
};
static_assert(kPointerSize != 4 || sizeof(CTreeBase) == sizeof(CListNodeBase) + sizeof(CListBase));

} // namespace Tarn
