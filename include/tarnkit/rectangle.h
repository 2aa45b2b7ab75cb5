/// \file
/// Points, sizes and rectangles with integer coordinates: the Windows structures POINT, SIZE and RECT with
/// constructors, operators and the algebra of rectangles. They can be passed wherever those are expected.
///
/// A rectangle's left and top edges lie inside it, its right and bottom edges outside. A rectangle without
/// area, or with edges the wrong way round, is empty; one whose edges are all 0 is also null. Coordinates
/// that leave 32 bits are the caller's error. Threads may use different values at the same time.
///
/// \code
/// const CRect page(0, 0, 210, 297);
/// CRect picture(CPoint(180, 250), CSize(60, 60));
/// picture &= page;                    // (180, 250, 210, 297)
/// page.PtInRect(page.BottomRight());  // false
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>

namespace Tarn {

class CSize : public tagSIZE {
public:
    /// Sets nothing, like the default constructors of CPoint and CRect.
    CSize() = default;
    constexpr CSize(int width, int height) : tagSIZE{width, height} {}
    constexpr CSize(const SIZE& size) : tagSIZE(size) {}
    constexpr CSize(const POINT& point) : tagSIZE{point.x, point.y} {}

    constexpr CSize& operator+=(const SIZE& other) {
        cx += other.cx;
        cy += other.cy;
        return *this;
    }
    constexpr CSize& operator-=(const SIZE& other) {
        cx -= other.cx;
        cy -= other.cy;
        return *this;
    }
    constexpr CSize operator+(const SIZE& other) const { return CSize(*this) += other; }
    constexpr CSize operator-(const SIZE& other) const { return CSize(*this) -= other; }
    constexpr CSize operator-() const { return CSize(-cx, -cy); }

    friend constexpr bool operator==(const SIZE& a, const SIZE& b) { return a.cx == b.cx && a.cy == b.cy; }
};
TARNKIT_LAYOUT(CSize, 8, cx, cy);

class CPoint : public tagPOINT {
public:
    CPoint() = default;
    constexpr CPoint(int left, int top) : tagPOINT{left, top} {}
    constexpr CPoint(const POINT& point) : tagPOINT(point) {}
    constexpr CPoint(const SIZE& size) : tagPOINT{size.cx, size.cy} {}

    constexpr void Offset(int dx, int dy) {
        x += dx;
        y += dy;
    }
    constexpr void Offset(const SIZE& size) { *this += size; }

    constexpr CPoint& operator+=(const SIZE& size) {
        x += size.cx;
        y += size.cy;
        return *this;
    }
    constexpr CPoint& operator-=(const SIZE& size) {
        x -= size.cx;
        y -= size.cy;
        return *this;
    }
    constexpr CPoint operator+(const SIZE& size) const { return CPoint(*this) += size; }
    constexpr CPoint operator-(const SIZE& size) const { return CPoint(*this) -= size; }
    /// The distance from `other` to this point.
    constexpr CSize operator-(const POINT& other) const { return CSize(x - other.x, y - other.y); }

    friend constexpr bool operator==(const POINT& a, const POINT& b) { return a.x == b.x && a.y == b.y; }
};
TARNKIT_LAYOUT(CPoint, 8, x, y);

class TARNKIT_API CRect : public tagRECT {
public:
    CRect() = default;
    constexpr CRect(int leftEdge, int topEdge, int rightEdge, int bottomEdge)
        : tagRECT{leftEdge, topEdge, rightEdge, bottomEdge} {}
    constexpr CRect(const RECT& rect) : tagRECT(rect) {}
    constexpr CRect(const POINT& topLeft, const SIZE& size)
        : tagRECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}
    constexpr CRect(const POINT& topLeft, const POINT& bottomRight)
        : tagRECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}

    /// Negative when the edges are the wrong way round.
    constexpr int Width() const { return right - left; }
    constexpr int Height() const { return bottom - top; }
    constexpr CSize Size() const { return CSize(Width(), Height()); }
    constexpr CPoint TopLeft() const { return CPoint(left, top); }
    constexpr CPoint TopRight() const { return CPoint(right, top); }
    constexpr CPoint BottomRight() const { return CPoint(right, bottom); }
    constexpr CPoint BottomLeft() const { return CPoint(left, bottom); }
    /// Halves are rounded towards zero.
    CPoint CenterPoint() const;

    constexpr void SetRect(int leftEdge, int topEdge, int rightEdge, int bottomEdge) {
        *this = CRect(leftEdge, topEdge, rightEdge, bottomEdge);
    }
    constexpr void SetRect(const POINT& topLeft, const POINT& bottomRight) {
        *this = CRect(topLeft, bottomRight);
    }
    constexpr void SetRectEmpty() { *this = CRect(0, 0, 0, 0); }

    constexpr bool IsRectEmpty() const { return IsRectEmpty(*this); }
    static constexpr bool IsRectEmpty(const RECT& rect) {
        return rect.left >= rect.right || rect.top >= rect.bottom;
    }
    constexpr bool IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    constexpr bool PtInRect(const POINT& point) const {
        return left <= point.x && point.x < right && top <= point.y && point.y < bottom;
    }

    /// Exchanges left and right, and top and bottom, where they are the wrong way round.
    void NormalizeRect();
    constexpr void OffsetRect(int dx, int dy) {
        left += dx;
        top += dy;
        right += dx;
        bottom += dy;
    }
    constexpr void OffsetRect(const SIZE& size) { OffsetRect(size.cx, size.cy); }

    /// Moves each edge outwards, or inwards for a negative value. The right and bottom edges never pass the
    /// new left and top ones: a rectangle that shrinks by more than its size ends with no width or height.
    void InflateRect(int l, int t, int r, int b);
    void InflateRect(int dx, int dy) { InflateRect(dx, dy, dx, dy); }
    void InflateRect(const SIZE& size) { InflateRect(size.cx, size.cy); }
    void DeflateRect(int l, int t, int r, int b) { InflateRect(-l, -t, -r, -b); }
    void DeflateRect(int dx, int dy) { DeflateRect(dx, dy, dx, dy); }
    void DeflateRect(const SIZE& size) { DeflateRect(size.cx, size.cy); }

    /// Becomes the intersection of two rectangles. If that is empty, it becomes all zeros and false is
    /// returned. Either argument may be this rectangle.
    bool IntersectRect(const RECT& a, const RECT& b);
    /// Becomes the smallest rectangle around both, ignoring one that is empty. If both are empty, it becomes
    /// all zeros and false is returned. Either argument may be this rectangle.
    bool UnionRect(const RECT& a, const RECT& b);

    constexpr CRect& operator+=(const SIZE& size) {
        OffsetRect(size);
        return *this;
    }
    constexpr CRect& operator-=(const SIZE& size) {
        OffsetRect(-size.cx, -size.cy);
        return *this;
    }
    CRect& operator&=(const RECT& other) {
        IntersectRect(*this, other);
        return *this;
    }
    CRect& operator|=(const RECT& other) {
        UnionRect(*this, other);
        return *this;
    }
    constexpr CRect operator+(const SIZE& size) const { return CRect(*this) += size; }
    constexpr CRect operator-(const SIZE& size) const { return CRect(*this) -= size; }
    CRect operator&(const RECT& other) const { return CRect(*this) &= other; }
    CRect operator|(const RECT& other) const { return CRect(*this) |= other; }

    /// All four edges; two empty rectangles may differ.
    friend constexpr bool operator==(const RECT& a, const RECT& b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
};
TARNKIT_LAYOUT(CRect, 16, left, top, right, bottom);

} // namespace Tarn
