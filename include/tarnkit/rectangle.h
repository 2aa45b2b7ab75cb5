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

/// A width and a height.
class CSize : public tagSIZE {
public:
    /// Sets nothing, like the default constructors of CPoint and CRect.
    CSize() = default;
    ///@{
    /// Of these parts; a point's are its distance from the origin.
    constexpr CSize(int width, int height) : tagSIZE{width, height} {}
    constexpr CSize(const SIZE& size) : tagSIZE(size) {}
    constexpr CSize(const POINT& point) : tagSIZE{point.x, point.y} {}
    ///@}

    ///@{
    /// Part by part.
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
    ///@}

    friend constexpr bool operator==(const SIZE& a, const SIZE& b) { return a.cx == b.cx && a.cy == b.cy; }
};
TARNKIT_LAYOUT(CSize, 8, cx, cy);

/// A point in the plane.
class CPoint : public tagPOINT {
public:
    ///@{
    /// Of these parts; the default constructor sets nothing.
    CPoint() = default;
    constexpr CPoint(int left, int top) : tagPOINT{left, top} {}
    constexpr CPoint(const POINT& point) : tagPOINT(point) {}
    constexpr CPoint(const SIZE& size) : tagPOINT{size.cx, size.cy} {}
    ///@}

    ///@{
    /// Moves the point.
    constexpr void Offset(int dx, int dy) {
        x += dx;
        y += dy;
    }
    constexpr void Offset(const SIZE& size) { *this += size; }
    ///@}

    ///@{
    /// Moves a point.
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
    ///@}
    /// The distance from `other` to this point.
    constexpr CSize operator-(const POINT& other) const { return CSize(x - other.x, y - other.y); }

    friend constexpr bool operator==(const POINT& a, const POINT& b) { return a.x == b.x && a.y == b.y; }
};
TARNKIT_LAYOUT(CPoint, 8, x, y);

/// A rectangle. Its right and bottom edges do not belong to it.
class TARNKIT_API CRect : public tagRECT {
public:
    ///@{
    /// Of these edges; the default constructor sets nothing.
    CRect() = default;
    constexpr CRect(int leftEdge, int topEdge, int rightEdge, int bottomEdge)
        : tagRECT{leftEdge, topEdge, rightEdge, bottomEdge} {}
    constexpr CRect(const RECT& rect) : tagRECT(rect) {}
    constexpr CRect(const POINT& topLeft, const SIZE& size)
        : tagRECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}
    constexpr CRect(const POINT& topLeft, const POINT& bottomRight)
        : tagRECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}
    ///@}

    /// Negative when the edges are the wrong way round.
    constexpr int Width() const { return right - left; }
    /// The same for top and bottom.
    constexpr int Height() const { return bottom - top; }
    /// Width and height.
    constexpr CSize Size() const { return CSize(Width(), Height()); }
    ///@{
    /// A corner, as the edges are: not normalised.
    constexpr CPoint TopLeft() const { return CPoint(left, top); }
    constexpr CPoint TopRight() const { return CPoint(right, top); }
    constexpr CPoint BottomRight() const { return CPoint(right, bottom); }
    constexpr CPoint BottomLeft() const { return CPoint(left, bottom); }
    ///@}
    /// Halves are rounded towards zero.
    CPoint CenterPoint() const;

    ///@{
    /// Sets the edges, to 0 if there are no arguments.
    constexpr void SetRect(int leftEdge, int topEdge, int rightEdge, int bottomEdge) {
        *this = CRect(leftEdge, topEdge, rightEdge, bottomEdge);
    }
    constexpr void SetRect(const POINT& topLeft, const POINT& bottomRight) {
        *this = CRect(topLeft, bottomRight);
    }
    constexpr void SetRectEmpty() { *this = CRect(0, 0, 0, 0); }
    ///@}

    /// Whether no point lies in the rectangle: the width or the height is not positive.
    constexpr bool IsRectEmpty() const { return IsRectEmpty(*this); }
    static constexpr bool IsRectEmpty(const RECT& rect) {
        return rect.left >= rect.right || rect.top >= rect.bottom;
    }
    /// Whether all edges are 0.
    constexpr bool IsRectNull() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
    /// Whether the point lies in the rectangle. Points on the right and bottom edges do not.
    constexpr bool PtInRect(const POINT& point) const {
        return left <= point.x && point.x < right && top <= point.y && point.y < bottom;
    }

    /// Exchanges left and right, and top and bottom, where they are the wrong way round.
    void NormalizeRect();
    ///@{
    /// Moves the rectangle.
    constexpr void OffsetRect(int dx, int dy) {
        left += dx;
        top += dy;
        right += dx;
        bottom += dy;
    }
    constexpr void OffsetRect(const SIZE& size) { OffsetRect(size.cx, size.cy); }
    ///@}

    /// Moves each edge outwards, or inwards for a negative value. The right and bottom edges never pass the
    /// new left and top ones: a rectangle that shrinks by more than its size ends with no width or height.
    void InflateRect(int l, int t, int r, int b);
    void InflateRect(int dx, int dy) { InflateRect(dx, dy, dx, dy); }
    void InflateRect(const SIZE& size) { InflateRect(size.cx, size.cy); }
    ///@{
    /// The opposite of `InflateRect`.
    void DeflateRect(int l, int t, int r, int b) { InflateRect(-l, -t, -r, -b); }
    void DeflateRect(int dx, int dy) { DeflateRect(dx, dy, dx, dy); }
    void DeflateRect(const SIZE& size) { DeflateRect(size.cx, size.cy); }
    ///@}

    /// Becomes the intersection of two rectangles. If that is empty, it becomes all zeros and false is
    /// returned. Either argument may be this rectangle.
    bool IntersectRect(const RECT& a, const RECT& b);
    /// Becomes the smallest rectangle around both, ignoring one that is empty. If both are empty, it becomes
    /// all zeros and false is returned. Either argument may be this rectangle.
    bool UnionRect(const RECT& a, const RECT& b);

    ///@{
    /// Moves the rectangle.
    constexpr CRect& operator+=(const SIZE& size) {
        OffsetRect(size);
        return *this;
    }
    constexpr CRect& operator-=(const SIZE& size) {
        OffsetRect(-size.cx, -size.cy);
        return *this;
    }
    ///@}
    /// Becomes the intersection, as `IntersectRect` does.
    CRect& operator&=(const RECT& other) {
        IntersectRect(*this, other);
        return *this;
    }
    /// Becomes the smallest rectangle around both, as `UnionRect` does.
    CRect& operator|=(const RECT& other) {
        UnionRect(*this, other);
        return *this;
    }
    ///@{
    /// The rectangle moved.
    constexpr CRect operator+(const SIZE& size) const { return CRect(*this) += size; }
    constexpr CRect operator-(const SIZE& size) const { return CRect(*this) -= size; }
    ///@}
    /// The intersection.
    CRect operator&(const RECT& other) const { return CRect(*this) &= other; }
    /// The smallest rectangle around both.
    CRect operator|(const RECT& other) const { return CRect(*this) |= other; }

    /// All four edges; two empty rectangles may differ.
    friend constexpr bool operator==(const RECT& a, const RECT& b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
};
TARNKIT_LAYOUT(CRect, 16, left, top, right, bottom);

} // namespace Tarn
