/// \file
/// Intrusive doubly linked lists: CListNodeBase, the base of every class whose objects are to live in a list,
/// and CListBase, the list of such nodes.
///
/// The links are inside the nodes, so that linking neither allocates nor fails. A list owns its nodes, which
/// must come from `new`: when it is destroyed, it deletes those that are still in it. A node is in at most
/// one list and leaves it when it is destroyed. Two mistakes go unnoticed: adding a node that is already in a
/// list, and inserting next to a node that is in none. Comparisons for sorting return a negative number if
/// the first argument belongs before the second, zero if they are equal, and a positive number otherwise.
///
/// The destructor of a node must not throw. While a list deletes its nodes, the thread is therefore inside a
/// static part (lifecycle.h): assertions and failed checks in their destructors are shown rather than thrown,
/// even where a destructor would catch them. A node that is deleted directly has no such protection, and a
/// failure that leaves its destructor ends the program. A node with a member whose destructor may throw, such
/// as a file or a memory pool, keeps it in a CNonThrowing (non_throwing.h). Threads may use different lists
/// at the same time; several may use one list and its nodes only if none of them changes it.
///
/// \code
/// class CTask : public CListNodeBase {
/// public:
///     explicit CTask(int taskPriority) : priority(taskPriority) {}
///     const int priority;
/// };
/// int byPriority(const CListNodeBase* a, const CListNodeBase* b) {
///     return static_cast<const CTask*>(a)->priority - static_cast<const CTask*>(b)->priority;
/// }
///
/// CListBase tasks;
/// tasks.AddLast(new CTask(2));
/// tasks.AddLast(new CTask(1));
/// tasks.Sort(byPriority);
/// delete tasks.First(); // the task of priority 1, which leaves the list
/// for (CTask& task : tasks.Nodes<CTask>())
///     Trace(UnicodeStr(task.priority));
/// tasks.Sort<CTask>([&](const CTask* a, const CTask* b) { return distance(a, here) - distance(b, here); });
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>

#include <cstddef>
#include <iterator>
#include <type_traits>

namespace Tarn {

class CListBase;
class CListNodeBase;

/// A position in a list whose nodes are known to be of the class `Node`. It stays valid until its node leaves
/// the list: step on before the node is deleted.
template<class Node>
class CListIterator {
    template<class Class>
    using SameConst = std::conditional_t<std::is_const_v<Node>, const Class, Class>;

public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = std::remove_const_t<Node>;
    using difference_type = std::ptrdiff_t;
    using pointer = Node*;
    using reference = Node&;

    CListIterator() = default;
    /// At `at`, or at the end if that is null.
    CListIterator(SameConst<CListBase>* walked, SameConst<CListNodeBase>* at) : list(walked), node(at) {}
    /// A position that allows changes converts to one that does not.
    operator CListIterator<const Node>() const requires(!std::is_const_v<Node>) { return {list, node}; }

    Node& operator*() const { return static_cast<Node&>(*node); }
    Node* operator->() const { return &**this; }
    CListIterator& operator++() {
        node = node->Next();
        return *this;
    }
    CListIterator operator++(int) {
        CListIterator before = *this;
        ++*this;
        return before;
    }
    CListIterator& operator--() {
        node = node != nullptr ? node->Prev() : list->Last();
        return *this;
    }
    CListIterator operator--(int) {
        CListIterator before = *this;
        --*this;
        return before;
    }
    friend bool operator==(CListIterator a, CListIterator b) { return a.node == b.node; }

private:
    SameConst<CListBase>* list = nullptr;
    SameConst<CListNodeBase>* node = nullptr;
};

/// The nodes of a list as a range.
template<class Node>
class CListNodes {
public:
    using value_type = std::remove_const_t<Node>;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = Node&;
    using const_reference = reference; // a range that is constant itself does not make the nodes so
    using pointer = Node*;
    using const_pointer = pointer;
    using iterator = CListIterator<Node>;
    using const_iterator = iterator;

    /// From the first position up to, and without, the second.
    CListNodes(iterator from, iterator behind) : first(from), last(behind) {}
    iterator begin() const { return first; }
    iterator end() const { return last; }

private:
    iterator first, last;
};

/// The base of what lives in a list; see the top of this header.
class TARNKIT_API CListNodeBase {
public:
    CListNodeBase() = default;
    /// Leaves the list. It does not throw, so that a class may have this base beside others whose virtual
    /// destructors do not throw.
    virtual ~CListNodeBase();

    CListNodeBase(const CListNodeBase&) = delete;
    CListNodeBase& operator=(const CListNodeBase&) = delete;

    /// The list that the node is in; null when it is detached.
    CListBase* Parent() { return parent; }
    const CListBase* Parent() const { return parent; }
    ///@{
    /// The nodes before and after this one; null at the ends.
    CListNodeBase* Prev() { return previous; }
    const CListNodeBase* Prev() const { return previous; }
    CListNodeBase* Next() { return next; }
    const CListNodeBase* Next() const { return next; }
    ///@}

    ///@{
    /// Links a detached `node` right before or after this one, which must be in a list.
    void InsertPrev(CListNodeBase* node);
    void InsertNext(CListNodeBase* node);
    ///@}
    /// Leaves the list, which then no longer owns the node. Does nothing to a node that is in none.
    void Detach();

private:
    CListBase* parent = nullptr;
    CListNodeBase* previous = nullptr;
    CListNodeBase* next = nullptr;

    friend class CListBase;
    friend struct CLayout<CListNodeBase>;

    // For emptying a whole list: the neighbours keep their links to this node.
    void fastDetach() {
        parent = nullptr;
        previous = nullptr;
        next = nullptr;
    }
};
TARNKIT_LAYOUT(CListNodeBase, 16, parent, previous, next);

/// A list of nodes; see the top of this header.
class TARNKIT_API CListBase {
public:
    /// Negative if the first argument belongs before the second, zero if they are equal, positive otherwise.
    using TCompare = int(const CListNodeBase*, const CListNodeBase*);

    // The member types of a container. It has no `push_back`, since it does not copy: see `AddLast`.
    using value_type = CListNodeBase;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = CListNodeBase&;
    using const_reference = const CListNodeBase&;
    using pointer = CListNodeBase*;
    using const_pointer = const CListNodeBase*;
    using iterator = CListIterator<CListNodeBase>;
    using const_iterator = CListIterator<const CListNodeBase>;

    CListBase() = default;
    /// Deletes the nodes.
    virtual ~CListBase();

    CListBase(const CListBase&) = delete;
    CListBase& operator=(const CListBase&) = delete;

    ///@{
    /// Null when the list is empty.
    CListNodeBase* First() { return first; }
    const CListNodeBase* First() const { return first; }
    CListNodeBase* Last() { return last; }
    const CListNodeBase* Last() const { return last; }
    ///@}

    bool IsEmpty() const { return first == nullptr; }
    /// Walks the list to count.
    int NumberOfChildren() const;
    /// Whether `node`, which must not be null, is in this list.
    bool HasChild(const CListNodeBase* node) const { return node->parent == this; }

    iterator begin() { return {this, first}; }
    iterator end() { return {this, nullptr}; }
    const_iterator begin() const { return {this, first}; }
    const_iterator end() const { return {this, nullptr}; }
    /// The nodes as objects of their class, which all of them must have.
    template<class Node>
    CListNodes<Node> Nodes() {
        return {{this, first}, {this, nullptr}};
    }
    template<class Node>
    CListNodes<const Node> Nodes() const {
        return {{this, first}, {this, nullptr}};
    }

    ///@{
    /// Links a detached `node` at one end; the list owns it from then on.
    void AddFirst(CListNodeBase* node);
    void AddLast(CListNodeBase* node);
    ///@}
    ///@{
    /// Moves all nodes of `other` to one end, in their order. Adding a list to itself changes nothing.
    void AddListFirst(CListBase& other);
    void AddListLast(CListBase& other);
    ///@}

    /// Empties the list; the nodes live on and belong to the caller.
    void DetachAll();
    /// Deletes the nodes from the first to the last.
    void DeleteAll();

    /// An insertion sort: equal nodes keep their order. It suits lists that are short or nearly sorted, since
    /// its time grows with the square of the length. A comparison that throws leaves all nodes in the list,
    /// partly sorted.
    void Sort(TCompare* compare);
    /// A quick sort, whose time is O(n log n) for every order of the nodes; equal nodes may change their
    /// order. Needs memory for a list of more than 256 nodes. When there is none, or the comparison throws,
    /// the list stays as it was.
    void QSort(TCompare* compare);
    ///@{
    /// The same by any function object, of nodes of the class `Node`, which all of them must have.
    template<class Node = CListNodeBase, class Compare>
    requires std::is_invocable_r_v<int, Compare&, const Node*, const Node*>
    void Sort(Compare compare) { sortBy(callOf<Node, Compare>, &compare); }
    template<class Node = CListNodeBase, class Compare>
    requires std::is_invocable_r_v<int, Compare&, const Node*, const Node*>
    void QSort(Compare compare) { qsortBy(callOf<Node, Compare>, &compare); }
    ///@}

protected:
    ///@{
    /// Library-internal: the sorts by a comparison of whatever class.
    // Calls a comparison of `Node`s that is of the class `Compare`.
    template<class Node, class Compare>
    static int callOf(void* compare, const CListNodeBase* a, const CListNodeBase* b) {
        return (*static_cast<Compare*>(compare))(static_cast<const Node*>(a), static_cast<const Node*>(b));
    }
    using TCall = int(void* compare, const CListNodeBase*, const CListNodeBase*);
    void sortBy(TCall* call, void* compare);
    void qsortBy(TCall* call, void* compare);
    ///@}

private:
    CListNodeBase* first = nullptr;
    CListNodeBase* last = nullptr;

    friend class CListNodeBase;
    friend struct CLayout<CListBase>;

    void adopt(CListNodeBase* node);
};
TARNKIT_LAYOUT(CListBase, 12, first, last);

} // namespace Tarn
