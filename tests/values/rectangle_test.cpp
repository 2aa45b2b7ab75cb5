#include <tarnkit/rectangle.h>

#include "tests/support/testing.h"

namespace Tarn {

// How a failed test prints rectangles.
std::ostream& operator<<(std::ostream& out, const RECT& r) {
    return out << '(' << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ')';
}

namespace {

constexpr CRect kSquare(0, 0, 10, 10);
constexpr CRect kZeros(0, 0, 0, 0);

TEST(Rectangle, KnowsWhatIsInsideAndWhatIsEmpty) {
    EXPECT_TRUE(kSquare.PtInRect(CPoint(0, 0)) && kSquare.PtInRect(CPoint(9, 9)));
    for (const CPoint& outside : {CPoint(10, 0), CPoint(0, 10), CPoint(-1, 0), CPoint(0, -1)})
        EXPECT_FALSE(kSquare.PtInRect(outside));
    for (const CRect& empty : {kZeros, CRect(3, 3, 3, 3), CRect(0, 5, 10, 5), CRect(5, 0, 4, 10)}) {
        EXPECT_TRUE(empty.IsRectEmpty()) << empty;
        EXPECT_EQ(empty.IsRectNull(), empty == kZeros) << empty;
    }
}

TEST(Rectangle, IsBuiltFromPointsAndSizesAndMeasured) {
    CRect r(CPoint(1, 2), CSize(10, 20));
    EXPECT_EQ(r, CRect(1, 2, 11, 22));
    EXPECT_EQ(CRect(r.TopLeft(), r.BottomRight()), r);
    EXPECT_EQ(r.TopRight() - r.BottomLeft(), CSize(10, -20));
    EXPECT_EQ((r + CSize(1, 1)).Size(), (r - CSize(3, 5)).Size());
    EXPECT_EQ(CRect(-3, 0, 0, 0).CenterPoint(), CPoint(-1, 0));
    EXPECT_EQ(CRect(INT_MAX, 7, INT_MAX, 0).CenterPoint(), CPoint(INT_MAX, 3));
    r.SetRect(CPoint(5, 6), CPoint(2, 1));
    EXPECT_EQ(r.Size(), CSize(-3, -5));
    r.NormalizeRect();
    EXPECT_EQ(r, CRect(2, 1, 5, 6));
}

TEST(Rectangle, ShrinksToNothingButItsEdgesNeverPassEachOther) {
    const std::pair<CRect, CRect> rows[] = {{{-1, -2, -3, -4}, {-1, -2, 13, 14}},
                                            {{6, 6, 6, 6}, {6, 6, 6, 6}},
                                            {{2, 0, 9, 0}, {2, 0, 2, 10}},
                                            {{0, 20, 0, -5}, {0, 20, 10, 20}}};
    for (const auto& [by, deflated] : rows) {
        CRect r = kSquare;
        r.DeflateRect(by.left, by.top, by.right, by.bottom);
        EXPECT_EQ(r, deflated);
    }
    CRect r = kSquare;
    r.InflateRect(CSize(1, 2));
    r.DeflateRect(3, 4);
    EXPECT_EQ(r, CRect(2, 2, 8, 8));
}

TEST(Rectangle, IntersectsAndUnitesEvenEmptyOnes) {
    const CRect empty(50, 3, 50, 9);
    const std::tuple<CRect, CRect, CRect, CRect> rows[] = {
        {kSquare, CRect(5, 5, 15, 15), CRect(5, 5, 10, 10), CRect(0, 0, 15, 15)},
        {kSquare, CRect(10, 0, 20, 10), kZeros, CRect(0, 0, 20, 10)},
        {kZeros, CRect(5, 5, 6, 6), kZeros, CRect(5, 5, 6, 6)},
        {empty, kSquare, kZeros, kSquare},
        {CRect(9, 9, 1, 1), kSquare, kZeros, kSquare},
        {empty, CRect(7, 7, 7, 8), kZeros, kZeros}};
    for (const auto& [one, other, common, both] : rows)
        for (const auto& [a, b] : {std::pair(one, other), std::pair(other, one)}) {
            CRect r;
            EXPECT_EQ(r.IntersectRect(a, b), common != kZeros);
            EXPECT_EQ(r, common) << a << b;
            EXPECT_EQ(r.UnionRect(a, b), both != kZeros);
            EXPECT_EQ(r, both) << a << b;
            EXPECT_EQ(a & b, common) << "with the target as an operand";
            EXPECT_EQ(a | b, both);
        }
}

} // namespace
} // namespace Tarn
