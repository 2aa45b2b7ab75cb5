#include <tarnkit/tree.h>

#include <tarnkit/thread_storage.h>

#include "containers/list_sorts.h"
#include "containers/showing_failures.h"

namespace Tarn {

namespace {

// A tree below a node that is being deleted. There may be several on a thread, one inside the destructor of a
// node of another.
struct CTreeDeletion {
    CTreeBase& root;
    CTreeBase* current; // the node in `delete`
    int depth;          // of the root below the first node that is being deleted
};

// Deletions nest this deep at most.
constexpr int kDeepest = 500;

// The innermost deletion of the thread.
constinit CThreadRecord deletionRecord{sizeof(CTreeDeletion*)};

// Adapts a comparison of tree nodes to the nodes of a list.
auto asComparisonOfNodes(CTreeBase::TCompare* compare) {
    return [compare](const CListNodeBase* a, const CListNodeBase* b) {
        return compare(static_cast<const CTreeBase*>(a), static_cast<const CTreeBase*>(b));
    };
}

} // namespace

// A node deletes its children before it goes itself. Only far below the first node that is deleted, where
// this would exhaust the stack, nodes leave their children to one above them. Whatever a destructor deletes
// itself is a deletion of its own, finished when it returns.
CTreeBase::~CTreeBase() {
    if (IsEmpty())
        return;
    auto** innermost = static_cast<CTreeDeletion**>(deletionRecord.Get());
    if (innermost == nullptr) {
        DeleteAll(); // no memory for the record
        return;
    }
    CTreeDeletion* const outer = *innermost;
    const int depth = outer != nullptr && outer->current == this ? outer->depth + 1 : 0;
    if (depth > kDeepest) {
        outer->root.AddTreeFirst(*this);
        return;
    }
    CShowingFailures showing;
    CTreeDeletion deletion{*this, nullptr, depth};
    *innermost = &deletion;
    while (CTreeBase* node = First()) {
        node->Detach();
        deletion.current = node;
        showing.Renew();
        delete node;
    }
    *innermost = outer;
}

void CTreeBase::Sort(TCompare* compare) { InsertionSort(*this, asComparisonOfNodes(compare)); }

void CTreeBase::QSort(TCompare* compare) { QuickSort(*this, asComparisonOfNodes(compare)); }

} // namespace Tarn
