/// \file
/// CTreeBase: the base of every class whose objects are to live in a tree. A node of a tree is both a node in
/// the list of its parent's children and the list of its own children.
///
/// The rules are those of lists (list.h): nodes come from `new`, a parent owns its children, destructors do
/// not throw. The parents and children of a tree node must be tree nodes too. Destroying a node takes it out
/// of its parent's children and deletes the tree below it. The destructor of the derived class runs first,
/// then the children are deleted, then the memory of the node is freed; only more than 500 levels down is a
/// node freed before its children, so that a deep tree does not exhaust the stack. Threads may use different
/// trees at the same time; several may use one tree only if none of them changes it.
///
/// \code
/// class CFolder : public CTreeBase {}; // with members of its own
/// CFolder root;
/// root.AddLast(new CFolder);
/// root.Last()->AddLast(new CFolder);
/// for (CTreeBase* child = root.First(); child != nullptr; child = child->Next())
///     Trace(UnicodeStr(child->NumberOfChildren()));
/// delete root.First(); // and the folder in it
/// \endcode
#pragma once

#include <tarnkit/list.h>

#include <type_traits>
#include <utility>

namespace Tarn {

/// A node that is also the list of its children; see the top of this header.
class TARNKIT_API CTreeBase : public CListNodeBase, public CListBase {
public:
    /// As for a list.
    using TCompare = int(const CTreeBase*, const CTreeBase*);

    // Of the list of children; as a node of a list a tree node has none.
    using value_type = CTreeBase;
    using reference = CTreeBase&;
    using const_reference = const CTreeBase&;
    using pointer = CTreeBase*;
    using const_pointer = const CTreeBase*;
    using iterator = CListIterator<CTreeBase>;
    using const_iterator = CListIterator<const CTreeBase>;

    CTreeBase() = default;
    ~CTreeBase() override;

    iterator begin() { return {this, First()}; }
    iterator end() { return {this, nullptr}; }
    const_iterator begin() const { return {this, First()}; }
    const_iterator end() const { return {this, nullptr}; }

    /// Null for a root.
    CTreeBase* Parent() { return asTree(CListNodeBase::Parent()); }
    const CTreeBase* Parent() const { return asTree(CListNodeBase::Parent()); }
    ///@{
    /// The siblings before and after this node.
    CTreeBase* Prev() { return asTree(CListNodeBase::Prev()); }
    const CTreeBase* Prev() const { return asTree(CListNodeBase::Prev()); }
    CTreeBase* Next() { return asTree(CListNodeBase::Next()); }
    const CTreeBase* Next() const { return asTree(CListNodeBase::Next()); }
    ///@}
    ///@{
    /// The children at the ends; null when there are none.
    CTreeBase* First() { return asTree(CListBase::First()); }
    const CTreeBase* First() const { return asTree(CListBase::First()); }
    CTreeBase* Last() { return asTree(CListBase::Last()); }
    const CTreeBase* Last() const { return asTree(CListBase::Last()); }
    ///@}

    /// Whether `node` is a child of this one; deeper descendants are not.
    bool HasChild(const CTreeBase* node) const { return node->Parent() == this; }

    ///@{
    /// Makes a detached `node`, with all nodes below it, the first or last child.
    void AddFirst(CTreeBase* node) { CListBase::AddFirst(node); }
    void AddLast(CTreeBase* node) { CListBase::AddLast(node); }
    ///@}
    ///@{
    /// Makes a detached `node` a sibling of this one, which must have a parent.
    void InsertPrev(CTreeBase* node) { CListNodeBase::InsertPrev(node); }
    void InsertNext(CTreeBase* node) { CListNodeBase::InsertNext(node); }
    ///@}
    ///@{
    /// Moves all children of `other`, but not `other` itself, to one end of the children.
    void AddTreeFirst(CTreeBase& other) { AddListFirst(other); }
    void AddTreeLast(CTreeBase& other) { AddListLast(other); }
    ///@}

    ///@{
    /// Sorts the children, but not what is below them, as the sorts of a list do.
    void Sort(TCompare* compare);
    void QSort(TCompare* compare);
    template<class Node = CTreeBase, class Compare>
    requires std::is_invocable_r_v<int, Compare&, const Node*, const Node*>
    void Sort(Compare compare) { CListBase::Sort<Node>(std::move(compare)); }
    template<class Node = CTreeBase, class Compare>
    requires std::is_invocable_r_v<int, Compare&, const Node*, const Node*>
    void QSort(Compare compare) { CListBase::QSort<Node>(std::move(compare)); }
    ///@}

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
