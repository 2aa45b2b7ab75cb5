#include <tarnkit/tree.h>

#include "containers/list_sorts.h"

namespace Tarn {

namespace {

// The comparison as one of the nodes that the children are to a list.
auto asComparisonOfNodes(CTreeBase::TCompare* compare) {
    return [compare](const CListNodeBase* a, const CListNodeBase* b) {
        return compare(static_cast<const CTreeBase*>(a), static_cast<const CTreeBase*>(b));
    };
}

} // namespace

// The list of the children goes first, then the node, which is the first base.
CTreeBase::~CTreeBase() noexcept(false) = default;

void CTreeBase::Sort(TCompare* compare) { InsertionSort(*this, asComparisonOfNodes(compare)); }

void CTreeBase::QSort(TCompare* compare) { QuickSort(*this, asComparisonOfNodes(compare)); }

} // namespace Tarn
