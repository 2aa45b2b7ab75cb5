// CString: 8-bit text. With it, as CStringOf<Unit>, the members it has in common with the 16-bit
// CUnicodeString (unicode_string.h); what reads `String` below is the class itself, `Unit` its character.
//
// A string is a handle to a reference-counted body. Copying one copies a pointer; the first write to a shared
// string gives it a body of its own. Bodies come from the library's string pool, never from the current
// memory manager, and all empty strings share one body. Positions and counts are 0-based units (bytes here)
// and are NOT checked: one out of range, or a null text, is the caller's error. A search that finds nothing
// gives -1. Running out of memory, or a length beyond what `int` can hold, is the memory exception; the
// string keeps its text then, except that an assignment may leave it empty. Reference counts are not atomic:
// a string, and all copies that share its body, belong to one thread at a time.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/failures.h>
#include <tarnkit/layout.h>

#include <climits>
#include <compare>
#include <cstddef>
#include <type_traits>

namespace Tarn {

class CString;
class CUnicodeString;
class rational;

/// What strings point at: three 32-bit fields, then the text and its terminator in the same block.
template<class Unit>
class TARNKIT_API CStringBodyOf {
    static constexpr int kHeaderSize = 12;
    static constexpr int kUnitSize = sizeof(Unit);

public:
    /// The body of every empty string. Its count starts at 2, so that it is never destroyed, and its recorded
    /// size has room for nothing, so that nothing is ever written to it.
    static CStringBodyOf emptyStringBody;

    /// The longest text whose body has a size that `int` holds.
    static constexpr int kLongestLength = (INT_MAX - kHeaderSize) / kUnitSize - 1;

    /// The shared empty body, its count raised.
    static CStringBodyOf* MakeNew() {
        emptyStringBody.IncRef();
        return &emptyStringBody;
    }

    /// A body with count 1 and the given length; the caller writes the text and the terminator.
    static CStringBodyOf* MakeNew(int length);

    /// Bytes of a body for `length` units: the header, the units and the terminator.
    static constexpr int RequiredMemorySize(int length) {
        if (length < 0 || length > kLongestLength)
            ThrowMemoryException();
        return kHeaderSize + (length + 1) * kUnitSize;
    }

    void IncRef() { referenceCount++; }
    void DecRef() {
        if (--referenceCount < 1)
            destroy();
    }
    void destroy();

    bool IsUnique() const { return referenceCount == 1; }
    int Length() const { return length; }
    int AllocatedSize() const { return allocatedSize; }
    /// The units this block has room for; negative for the empty body.
    int Room() const { return allocatedSize / kUnitSize - kHeaderSize / kUnitSize - 1; }
    const Unit* Body() const { return text; }
    Unit* Body() { return text; }

    /// Sets the field only; writes no terminator.
    void SetLength(int newLength) { length = newLength; }

private:
    int referenceCount;
    int length;
    int allocatedSize;
    Unit text[1];

    friend struct CLayout<CStringBodyOf>;

    constexpr CStringBodyOf(int count, int size)
        : referenceCount(count), length(0), allocatedSize(size), text{} {}
};

TARNKIT_EXTERN_TEMPLATE(class CStringBodyOf<char>);
TARNKIT_EXTERN_TEMPLATE(class CStringBodyOf<char16_t>);

using CStringBody = CStringBodyOf<char>;
using CUnicodeStringBody = CStringBodyOf<char16_t>;

TARNKIT_LAYOUT(CStringBody, 16, referenceCount, length, allocatedSize, text);
TARNKIT_LAYOUT(CUnicodeStringBody, 16, referenceCount, length, allocatedSize, text);
static_assert(CStringBody::RequiredMemorySize(20) == 20 + 13);
static_assert(CUnicodeStringBody::RequiredMemorySize(20) == (20 + 7) * 2);

/// The members of `CString` and `CUnicodeString`. Never used by itself.
template<class Unit>
class TARNKIT_API CStringOf {
public:
    using Body = CStringBodyOf<Unit>;
    using String = std::conditional_t<std::is_same_v<Unit, char>, CString, CUnicodeString>;

    // Construction. --------------------------------------------------------------------------------------

    CStringOf() : body(Body::MakeNew()) {}
    CStringOf(const CStringOf& other) noexcept : body(other.body) { body->IncRef(); }
    CStringOf(CStringOf&& other) noexcept : body(other.body) { other.body = Body::MakeNew(); }
    /// `count` copies of `unit`; none when `count` is below 1.
    CStringOf(Unit unit, int count);
    CStringOf(const Unit* text);
    /// At most `count` units of `text`, cut at the first NUL; the body keeps its room for `count`.
    CStringOf(const Unit* text, int count);
    CStringOf(std::nullptr_t) = delete;
    CStringOf(int unit, int count) = delete;

    // Access. --------------------------------------------------------------------------------------------

    int GetLength() const { return body->Length(); }
    int Length() const { return body->Length(); }
    bool IsEmpty() const { return body->Length() == 0; }

    /// The text, terminated; valid until the string changes.
    const Unit* Ptr() const { return body->Body(); }
    operator const Unit*() const { return body->Body(); }
    explicit operator bool() const = delete;

    Unit GetAt(int index) const { return body->Body()[index]; }
    Unit operator[](int index) const { return body->Body()[index]; }
    void SetAt(int index, Unit unit) {
        GetBuffer()[index] = unit;
        ReleaseBuffer(GetLength());
    }
    void Empty() {
        Body* old = body;
        body = Body::MakeNew();
        old->DecRef();
    }

    // Writing into the text directly. --------------------------------------------------------------------

    /// A pointer to unshared text with room for `length` units and a terminator there. The text so far is
    /// kept, and so is the length until `ReleaseBuffer`; large texts grow by a fifth at least.
    Unit* GetBuffer(int length) {
        if (length > body->Room() || !body->IsUnique())
            makeRoom(length);
        body->Body()[length] = 0;
        return body->Body();
    }
    /// Un-shares the text for writing in place.
    Unit* GetBuffer() { return GetBuffer(GetLength()); }
    /// Ends the writing that `GetBuffer` began: the text now has `length` units.
    void ReleaseBuffer(int length) {
        body->SetLength(length);
        body->Body()[length] = 0;
    }
    /// The same; the text ends at its first NUL.
    void ReleaseBuffer() { ReleaseBuffer(measure(Ptr())); }
    /// `GetBuffer` and `ReleaseBuffer` in one: the new units are the caller's to write.
    Unit* GetBufferSetLength(int length) {
        Unit* text = GetBuffer(length);
        body->SetLength(length);
        return text;
    }
    /// Reserves room for `length` units; the text is unchanged.
    void SetBufferLength(int length) {
        if (length > body->Room())
            copyBody(length);
    }

    // Assignment and concatenation. A text may point into the string itself. -----------------------------

    String& operator=(const CStringOf& other) noexcept {
        other.body->IncRef();
        Body* old = body;
        body = other.body;
        old->DecRef();
        return self();
    }
    String& operator=(CStringOf&& other) noexcept {
        if (this != &other) {
            Empty();
            std::swap(body, other.body);
        }
        return self();
    }
    String& operator=(Unit unit) {
        assignStr(&unit, 1);
        return self();
    }
    String& operator=(const Unit* text) {
        assignStr(text, measure(text));
        return self();
    }
    String& operator=(int) = delete;
    String& operator=(std::nullptr_t) = delete;

    String& operator+=(const String& other) {
        concatStr(other.Ptr(), other.GetLength());
        return self();
    }
    String& operator+=(Unit unit) {
        const int length = GetLength();
        GetBuffer(length + 1)[length] = unit;
        body->SetLength(length + 1);
        return self();
    }
    String& operator+=(const Unit* text) {
        concatStr(text, measure(text));
        return self();
    }
    String& operator+=(int) = delete;

    friend String operator+(const String& a, const String& b) {
        return concatStr(a.Ptr(), a.GetLength(), b.Ptr(), b.GetLength());
    }
    friend String operator+(const String& a, Unit b) { return concatStr(a.Ptr(), a.GetLength(), &b, 1); }
    friend String operator+(const String& a, const Unit* b) {
        return concatStr(a.Ptr(), a.GetLength(), b, measure(b));
    }
    friend String operator+(const Unit* a, const String& b) {
        return concatStr(a, measure(a), b.Ptr(), b.GetLength());
    }
    friend String operator+(const String&, int) = delete;
    friend String operator+(int, const String&) = delete;

    // Comparison: a negative number, zero or a positive one, by the values of the units. -----------------

    int Compare(const Unit* text) const;
    /// Ignores case: of ASCII letters in 8-bit text, of the whole BMP in 16-bit text.
    int CompareNoCase(const Unit* text) const;
    /// The same on two strings, in the shape that `CArray::Sort` takes.
    static int Cmp(const String* a, const String* b) { return a->Compare(b->Ptr()); }
    static int CmpNoCase(const String* a, const String* b) { return a->CompareNoCase(b->Ptr()); }
    /// Compares at most `count` units from `position` on with `text`.
    int CompareSubstr(int position, const Unit* text, int count) const;
    int CompareSubstrNoCase(int position, const Unit* text, int count) const;

    friend bool operator==(const String& a, const String& b) {
        return a.Ptr() == b.Ptr() || a.Compare(b.Ptr()) == 0;
    }
    friend bool operator==(const String& a, const Unit* b) { return a.Compare(b) == 0; }
    friend std::strong_ordering operator<=>(const String& a, const String& b) {
        return a.Compare(b.Ptr()) <=> 0;
    }
    friend std::strong_ordering operator<=>(const String& a, const Unit* b) { return a.Compare(b) <=> 0; }

    /// The number of leading units of `text` that equal the units from `position` on.
    int CommonPref(const Unit* text, int position) const;
    int CommonPref(const String& text, int position) const { return CommonPref(text.Ptr(), position); }
    /// The number of units at the end of both texts that are equal.
    int CommonSuffix(const Unit* text) const { return commonSuffix(text, measure(text)); }
    int CommonSuffix(const String& text) const { return commonSuffix(text.Ptr(), text.GetLength()); }

    // Search from `start` on; the results are positions in the whole string. -----------------------------

    /// Looking for NUL finds the terminator.
    int Find(Unit unit, int start = 0) const;
    int CharPos(Unit unit, int start = 0) const { return Find(unit, start); }
    int Find(const Unit* text, int start = 0) const;
    int FindOneOf(const Unit* set, int start = 0) const;
    /// The last place of `unit`.
    int ReverseFind(Unit unit) const;
    /// The first position whose unit is not one of `set` (`Strspn`), or is one (`Strcspn`); the length when
    /// there is none.
    int Strspn(const Unit* set, int start = 0) const;
    int Strspn(const String& set, int start = 0) const { return Strspn(set.Ptr(), start); }
    int Strcspn(const Unit* set, int start = 0) const;
    int Strcspn(const String& set, int start = 0) const { return Strcspn(set.Ptr(), start); }

    // Extraction. ----------------------------------------------------------------------------------------

    String Mid(int first, int count) const;
    String Mid(int first) const;
    String Left(int count) const;
    String Right(int count) const;
    /// The run of units from `start` on that are all in `set` (`SpanIncluding`) or all outside of it.
    String SpanIncluding(const Unit* set, int start = 0) const;
    String SpanIncluding(const String& set, int start = 0) const;
    String SpanExcluding(const Unit* set, int start = 0) const;
    String SpanExcluding(const String& set, int start = 0) const;

    // Editing in place. A text may point into the string itself. -----------------------------------------

    void StrIns(const String& text, int position) { insertStr(text.Ptr(), text.GetLength(), position); }
    void StrIns(const Unit* text, int position) { insertStr(text, measure(text), position); }
    void CharIns(Unit unit, int position) { insertStr(&unit, 1, position); }
    void StrReplace(int position, int count, const String& text) {
        replaceStr(position, count, text.Ptr(), text.GetLength());
    }
    void StrReplace(int position, int count, const Unit* text) {
        replaceStr(position, count, text, measure(text));
    }
    /// Removes `count` units; nothing when `count` is below 1.
    void StrDel(int position, int count);
    /// Cuts the string at `position`.
    void StrDel(int position);
    void MakeUpper();
    void MakeLower();
    void MakeReverse();
    /// Removes white space: space, TAB, CR, LF, form feed and vertical tab in 8-bit text, the units with the
    /// Unicode property White_Space in 16-bit text.
    void TrimLeft();
    void TrimRight();
    void Trim();

    // Text to value. White space may stand around a value; anything else left over is a failure (false). --

    /// "true", "on", "yes", "1" or "false", "off", "no", "0" in any case; otherwise `result` is untouched.
    bool Value(bool& result) const;
    /// An integer as C's `strtol` and `strtoul` read it, always with 32-bit limits; `radix` 0 goes by the
    /// prefix. `result` gets what was read, also on failure: the nearest limit when the number is too large,
    /// 0 when there is none.
    bool Value(int& result, int radix = 10) const;
    bool Value(long& result, int radix = 10) const;
    bool Value(unsigned int& result, int radix = 10) const;
    bool Value(unsigned long& result, int radix = 10) const;
    /// A number as C's `strtod` reads it in the C locale, whatever the locale is; one out of range fails.
    bool Value(double& result) const;
    /// An integer, or two with a `/` between them, as the radix 10 forms above read them. Raises what the
    /// rational of these terms raises: `ERR_DIVIDE_ZERO`, `ERR_RATIONAL_OVERFLOW`.
    bool Value(rational& result) const;

    // Parameters. ----------------------------------------------------------------------------------------

    /// A copy in which each `%` with a decimal number behind it is replaced by the parameter of that number,
    /// counted from 0. A number without a parameter vanishes, any other `%` stays.
    String SubstParam(const Unit* const* parameters, int count) const;
    String SubstParam(const CArray<String>& parameters) const;
    String SubstParam(const String& p0) const;
    String SubstParam(const String& p0, const String& p1) const;
    String SubstParam(const String& p0, const String& p1, const String& p2) const;
    String SubstParam(const String& p0, const String& p1, const String& p2, const String& p3) const;

protected:
    // Takes over the caller's reference to `newBody`.
    explicit CStringOf(Body* newBody) : body(newBody) {}
    ~CStringOf() { body->DecRef(); }

private:
    Body* body;

    friend struct CLayout<String>;

    String& self() { return static_cast<String&>(*this); }
    const String& self() const { return static_cast<const String&>(*this); }

    static int measure(const Unit* text);
    bool isOwnText(const Unit* text) const;
    void makeRoom(int length);
    void copyBody(int length);
    void assignStr(const Unit* text, int count);
    static String concatStr(const Unit* a, int countA, const Unit* b, int countB);
    void concatStr(const Unit* text, int count);
    void insertStr(const Unit* text, int count, int position);
    void replaceStr(int position, int count, const Unit* text, int newCount);
    int commonSuffix(const Unit* text, int count) const;
};

TARNKIT_EXTERN_TEMPLATE(class CStringOf<char>);
TARNKIT_EXTERN_TEMPLATE(class CStringOf<char16_t>);

/// The 8-bit text value. Code pages: 0 is the system's ANSI code page, 1 its OEM code page, 65001 UTF-8,
/// anything else a code page of the platform.
class TARNKIT_API CString : public CStringOf<char> {
public:
    using CStringOf::CStringOf;
    using CStringOf::operator=;

    CString() = default;
    /// Converts 16-bit text; empty when `text` is null or cannot be converted.
    CString(const char16_t* text, unsigned codePage);
    CString(const char16_t* text, int length, unsigned codePage);

    CUnicodeString CreateUnicodeString(unsigned codePage = 0) const;

private:
    static CStringBody* construct(const char16_t* text, int length, unsigned codePage);
    static CStringBody* createFromUnicodeText(const char16_t* text, int length, unsigned codePage,
                                              unsigned flags);
};
TARNKIT_LAYOUT(CString, 4, body);

} // namespace Tarn
