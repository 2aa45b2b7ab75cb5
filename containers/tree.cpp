#include <tarnkit/tree.h>

#include <tarnkit/thread_storage.h>

#include "containers/list_sorts.h"
#include "containers/showing_failures.h"

#include <utility>

namespace Tarn {

namespace {

// A tree below a node that is being deleted. There may be several on a thread, one inside the destructor of a
// node of another.
struct CTreeDeletion {
    CTreeBase& root;
    CTreeBase* current; // the node in `delete`
};

// The innermost deletion of the thread.
constinit CThreadRecord deletionRecord{sizeof(CTreeDeletion*)};

// Adapts a comparison of tree nodes to the nodes of a list.
auto asComparisonOfNodes(CTreeBase::TCompare* compare) {
    return [compare](const CListNodeBase* a, const CListNodeBase* b) {
        return compare(static_cast<const CTreeBase*>(a), static_cast<const CTreeBase*>(b));
    };
}

} // namespace

// Nodes that are deleted below another one leave their children to that one: a tree deep enough would
// otherwise exhaust the stack. Whatever a destructor deletes itself is a deletion of its own, finished when
// it returns.
CTreeBase::~CTreeBase() {
    if (IsEmpty())
        return;
    auto** innermost = static_cast<CTreeDeletion**>(deletionRecord.Get());
    if (innermost == nullptr) {
        DeleteAll(); // no memory for the record
    } else if (*innermost != nullptr && (*innermost)->current == this) {
        (*innermost)->root.AddTreeFirst(*this);
    } else {
        const CShowingFailures showing;
        CTreeDeletion deletion{*this, nullptr};
        CTreeDeletion* outer = std::exchange(*innermost, &deletion);
        while (CTreeBase* node = First()) {
            node->Detach();
            deletion.current = node;
            delete node;
        }
        *innermost = outer;
    }
}

void CTreeBase::Sort(TCompare* compare) { InsertionSort(*this, asComparisonOfNodes(compare)); }

void CTreeBase::QSort(TCompare* compare) { QuickSort(*this, asComparisonOfNodes(compare)); }

} // namespace Tarn
