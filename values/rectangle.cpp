#include <tarnkit/rectangle.h>

#include <algorithm>
#include <utility>

namespace Tarn {

namespace {

// The sum of two edges may need 33 bits.
int middle(LONG a, LONG b) { return static_cast<int>((Int64{a} + b) / 2); }

} // namespace

CPoint CRect::CenterPoint() const { return CPoint(middle(left, right), middle(top, bottom)); }

void CRect::NormalizeRect() {
    if (left > right)
        std::swap(left, right);
    if (top > bottom)
        std::swap(top, bottom);
}

void CRect::InflateRect(int l, int t, int r, int b) {
    left -= l;
    top -= t;
    right = std::max<LONG>(left, right + r);
    bottom = std::max<LONG>(top, bottom + b);
}

bool CRect::IntersectRect(const RECT& a, const RECT& b) {
    CRect common(std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                 std::min(a.bottom, b.bottom));
    if (common.IsRectEmpty()) // also if one of the two is
        common.SetRectEmpty();
    *this = common;
    return !IsRectEmpty();
}

bool CRect::UnionRect(const RECT& a, const RECT& b) {
    const bool isAEmpty = IsRectEmpty(a);
    const bool isBEmpty = IsRectEmpty(b);
    if (isAEmpty && isBEmpty)
        SetRectEmpty();
    else if (isAEmpty || isBEmpty)
        *this = isAEmpty ? b : a;
    else
        *this = CRect(std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
                      std::max(a.bottom, b.bottom));
    return !IsRectEmpty();
}

} // namespace Tarn
