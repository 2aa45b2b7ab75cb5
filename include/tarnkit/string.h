/// \file
/// `CString`, 8-bit text, and `CStringOf<Unit>`: the members that it shares with `CUnicodeString`, the 16-bit
/// text of unicode_string.h. Below, `String` is the class itself and `Unit` its character type.
///
/// A string is a handle to a reference-counted body. Copying a string copies a pointer; the first write to a
/// shared string gives it a body of its own. Bodies come from the library's string pool, never from the
/// current memory manager, and all empty strings share one body.
///
/// Positions and counts are in units (bytes here), start at 0 and are NOT checked: a position outside the
/// text and a null text are errors of the caller. A search that finds nothing returns -1. Running out of
/// memory, or a length that `int` cannot hold, raises the memory exception; the string then keeps its text,
/// except that an assignment may leave it empty. Threads may use different strings at the same time, whether
/// or not they share a body; several may use one string only if none of them changes it.
///
/// A string is a range of its units and converts to a view (`std::string_view`) by itself; where a function
/// takes both a pointer and a view, `View()` says which. Views and standard strings are taken wherever a
/// string is, and by assignments, `+` and comparisons; their first NUL ends them (text_view.h).
///
/// \code
/// CString path("logs");
/// path += "/today.txt";
/// const CString name = path.Mid(path.ReverseFind('/') + 1); // "today.txt"
/// char* const text = path.GetBuffer(4); // write in place ...
/// text[0] = 'L';
/// path.ReleaseBuffer(4); // ... and say how long the text is now: "Logs"
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/failures.h>
#include <tarnkit/hashing.h>
#include <tarnkit/layout.h>
#include <tarnkit/shared_count.h>
#include <tarnkit/text_view.h>
#include <tarnkit/wide_text.h>

#include <climits>
#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string_view>
#include <type_traits>

namespace Tarn {

class CString;
class CUnicodeString;
class rational;

/// The number of UTF-8 among the code pages.
inline constexpr unsigned kUtf8CodePage = 65001;

/// The character types. None of them stands for a number.
template<class T>
concept CharacterType = std::same_as<T, char> || std::same_as<T, wchar_t> || std::same_as<T, char8_t> ||
    std::same_as<T, char16_t> || std::same_as<T, char32_t>;

/// A character type whose characters are not units of a text of `Unit`.
template<class T, class Unit>
concept CForeignUnit =
    CharacterType<T> && !std::same_as<T, Unit> && !(std::same_as<Unit, char16_t> && CWideUnit<T>);

/// The constants of string bodies. They belong to a class of their own that is not exported: clients on
/// Windows would look for those of an exported class in the library, where they are not.
template<class Unit>
class CStringBodyConstants {
protected:
    ///@{
    /// In bytes.
    static constexpr int kHeaderSize = 12;
    static constexpr int kUnitSize = sizeof(Unit);
    ///@}

public:
    /// The longest text whose body has a size that `int` can hold.
    static constexpr int kLongestLength = (INT_MAX - kHeaderSize) / kUnitSize - 1;
};

/// What a string points to: three 32-bit fields, followed in the same block by the text and its terminator.
template<class Unit>
class TARNKIT_API CStringBodyOf : public CStringBodyConstants<Unit> {
    using CStringBodyConstants<Unit>::kHeaderSize;
    using CStringBodyConstants<Unit>::kUnitSize;

public:
    using CStringBodyConstants<Unit>::kLongestLength;

    /// The body of every empty string. Its count starts at 2, so it is never destroyed; its recorded size
    /// leaves no room for text, so nothing is ever written to it.
    static CStringBodyOf emptyStringBody;

    /// Returns the shared empty body, which is not counted.
    static CStringBodyOf* MakeNew() { return &emptyStringBody; }

    /// Makes a body with count 1 and the given length; the caller writes the text and the terminator.
    static CStringBodyOf* MakeNew(int length);

    /// Gives a large body that nobody else has room for `length` units. Returns where it is now; null, and
    /// nothing has changed, if it has to be copied.
    static CStringBodyOf* Grow(CStringBodyOf* body, int length);

    /// The size in bytes of a body of `length` units: header, units and terminator.
    static constexpr int RequiredMemorySize(int length) {
        if (length < 0 || length > kLongestLength)
            ThrowMemoryException();
        return kHeaderSize + (length + 1) * kUnitSize;
    }

    ///@{
    /// The empty body is not counted.
    void IncRef() {
        if (!isEmptyBody())
            AddReference(referenceCount);
    }
    void DecRef() {
        if (!isEmptyBody() && RemoveReference(referenceCount))
            destroy();
    }
    ///@}
    /// Frees the body.
    void destroy();

    /// Whether the caller has the only string with this body.
    bool IsUnique() const { return IsOnlyReference(referenceCount); }
    /// In units, without the terminator.
    int Length() const { return length; }
    /// In bytes, header included.
    int AllocatedSize() const { return allocatedSize; }
    /// The number of units that the block has room for; negative for the empty body.
    int Room() const {
        return static_cast<int>(static_cast<unsigned>(allocatedSize) / kUnitSize) - kHeaderSize / kUnitSize -
               1;
    }
    ///@{
    /// The text.
    const Unit* Body() const { return text; }
    Unit* Body() { return text; }
    ///@}

    /// Sets the field only; writes no terminator.
    void SetLength(int newLength) { length = newLength; }

protected:
    /// A body in static storage.
    constexpr CStringBodyOf(int count, int size, int textLength, Unit first)
        : referenceCount(count), length(textLength), allocatedSize(size), text{first} {}

private:
    int referenceCount;
    int length;
    int allocatedSize;
    Unit text[1];

    friend struct CLayout<CStringBodyOf>;

    // Every other body has room for its header and more.
    bool isEmptyBody() const { return allocatedSize == kUnitSize; }

    // Leaves all fields to `MakeNew`. Compilers emit no constexpr constructor for `extern template`s when
    // they do not optimise, so bodies made at run time must not need one.
    CStringBodyOf() = default;
};

TARNKIT_EXTERN_TEMPLATE(class CStringBodyOf<char>);
TARNKIT_EXTERN_TEMPLATE(class CStringBodyOf<char16_t>);

/// The body of a `CString`.
using CStringBody = CStringBodyOf<char>;
/// The body of a `CUnicodeString`.
using CUnicodeStringBody = CStringBodyOf<char16_t>;

TARNKIT_LAYOUT(CStringBody, 16, referenceCount, length, allocatedSize, text);
TARNKIT_LAYOUT(CUnicodeStringBody, 16, referenceCount, length, allocatedSize, text);
static_assert(CStringBody::RequiredMemorySize(20) == 20 + 13);
static_assert(CUnicodeStringBody::RequiredMemorySize(20) == (20 + 7) * 2);

/// The members of `CString` and `CUnicodeString`. Never used by itself.
template<class Unit>
class TARNKIT_API CStringOf {
public:
    /// What the string points to.
    using Body = CStringBodyOf<Unit>;
    /// The class itself.
    using String = std::conditional_t<std::is_same_v<Unit, char>, CString, CUnicodeString>;

    // The member types of a container that cannot be changed through its iterators.
    using value_type = Unit;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using const_reference = const Unit&;
    using reference = const_reference;
    using const_pointer = const Unit*;
    using pointer = const_pointer;
    using const_iterator = const Unit*;
    using iterator = const_iterator;

    // Construction. --------------------------------------------------------------------------------------

    CStringOf() : body(Body::MakeNew()) {}
    CStringOf(const CStringOf& other) noexcept : body(other.body) { body->IncRef(); }
    CStringOf(CStringOf&& other) noexcept : body(other.body) { other.body = Body::MakeNew(); }
    /// `count` copies of `unit`; an empty string when `count` is below 1.
    CStringOf(Unit unit, int count);
    /// Copies the text up to its NUL.
    CStringOf(const Unit* text);
    /// The first `count` units of `text`, or fewer where a NUL ends it; the body has room for `count`.
    CStringOf(const Unit* text, int count);
    /// The text of a view or of a standard string, up to its first NUL.
    template<CForeignText<Unit> Text>
    CStringOf(const Text& text) : CStringOf(bodyOf(ViewOf<Unit>(text))) {}
    CStringOf(std::nullptr_t) = delete;
    CStringOf(int unit, int count) = delete;

    // Access. --------------------------------------------------------------------------------------------

    ///@{
    /// In units, without the terminator.
    int GetLength() const { return body->Length(); }
    int Length() const { return body->Length(); }
    ///@}
    bool IsEmpty() const { return body->Length() == 0; }

    /// The text, terminated by a NUL; valid until the string changes or is destroyed.
    const Unit* Ptr() const { return body->Body(); }
    /// `Ptr`, where a pointer is wanted.
    operator const Unit*() const { return body->Body(); }
    /// All `GetLength()` units, without the terminator; valid as long as a pointer is.
    std::basic_string_view<Unit> View() const noexcept { return {begin(), end()}; }
    /// `View`, where a view is wanted.
    operator std::basic_string_view<Unit>() const noexcept { return View(); }
    const Unit* begin() const noexcept { return body->Body(); }
    const Unit* end() const noexcept { return body->Body() + body->Length(); }
    std::size_t size() const noexcept { return static_cast<std::size_t>(body->Length()); }
    bool empty() const noexcept { return IsEmpty(); }
    // A string converts to a pointer, and a pointer to a truth value: `bool isSet = text` would be true for
    // the empty text too.
    template<std::same_as<bool> T>
    operator T() const = delete;
    // `delete text` would free memory inside the body; with two pointer conversions it does not compile.
    operator const volatile void*() const = delete;

    ///@{
    /// The unit at `index`; that at `GetLength()` is the terminator.
    Unit GetAt(int index) const { return body->Body()[index]; }
    Unit operator[](int index) const { return body->Body()[index]; }
    // Without this overload, an index that is not an `int` would be ambiguous with indexing the pointer.
    template<std::integral Index>
    Unit operator[](Index index) const {
        return body->Body()[index];
    }
    ///@}
    /// Writes the unit at `index`.
    void SetAt(int index, Unit unit) {
        GetBuffer()[index] = unit;
        ReleaseBuffer(GetLength());
    }
    /// Makes the string empty.
    void Empty() {
        Body* old = body;
        body = Body::MakeNew();
        old->DecRef();
    }

    // Writing into the text directly. --------------------------------------------------------------------

    /// Returns a pointer to unshared text with room for `length` units, and a terminator after these. Keeps
    /// the text so far, and its length until `ReleaseBuffer`. Large texts grow by at least a fifth.
    Unit* GetBuffer(int length) {
        if (length > body->Room() || !body->IsUnique())
            makeRoom(length);
        body->Body()[length] = 0;
        return body->Body();
    }
    /// Unshares the text for writing in place.
    Unit* GetBuffer() { return GetBuffer(GetLength()); }
    /// Ends the writing that `GetBuffer` began: the text has `length` units from now on.
    void ReleaseBuffer(int length) {
        body->SetLength(length);
        body->Body()[length] = 0;
    }
    /// The same; the text ends at its first NUL.
    void ReleaseBuffer() { ReleaseBuffer(measure(Ptr())); }
    /// `GetBuffer` and `ReleaseBuffer` in one; the caller then writes the new units.
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

    /// Shares the text of `other`.
    String& operator=(const CStringOf& other) noexcept {
        other.body->IncRef();
        Body* old = body;
        body = other.body;
        old->DecRef();
        return self();
    }
    /// Takes over the text of `other`, which is empty then.
    String& operator=(CStringOf&& other) noexcept {
        if (this != &other) {
            Empty();
            std::swap(body, other.body);
        }
        return self();
    }
    /// Becomes one unit.
    String& operator=(Unit unit) {
        assignStr(&unit, 1);
        return self();
    }
    /// Becomes a copy of the text up to its NUL.
    String& operator=(const Unit* text) {
        assignStr(text, measure(text));
        return self();
    }
    /// Becomes a copy of the text up to its first NUL.
    template<CForeignText<Unit> Text>
    String& operator=(const Text& text) {
        assignView(ViewOf<Unit>(text));
        return self();
    }
    String& operator=(int) = delete;
    String& operator=(std::nullptr_t) = delete;

    ///@{
    /// Appends a text, or a unit.
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
    template<CForeignText<Unit> Text>
    String& operator+=(const Text& text) {
        const auto view = ViewOf<Unit>(text);
        concatStr(view.data(), measure(view.data(), view.size()));
        return self();
    }
    ///@}
    String& operator+=(int) = delete;

    ///@{
    /// Joins two texts, or a text and a unit.
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
    template<CForeignText<Unit> Text>
    friend String operator+(const String& a, const Text& b) {
        const auto view = ViewOf<Unit>(b);
        return concatStr(a.Ptr(), a.GetLength(), view.data(), measure(view.data(), view.size()));
    }
    template<CForeignText<Unit> Text>
    friend String operator+(const Text& a, const String& b) {
        const auto view = ViewOf<Unit>(a);
        return concatStr(view.data(), measure(view.data(), view.size()), b.Ptr(), b.GetLength());
    }
    ///@}
    // An `int` is either a number meant as text (see `Str`) or a character of another type; as a unit it
    // would lose its value, and with `+` or `-` it would move the pointer that the string converts to.
    friend String operator+(const String&, int) = delete;
    friend String operator+(int, const String&) = delete;
    template<class T>
    requires std::is_arithmetic_v<T> || std::is_enum_v<T>
    friend void operator-(const String&, T) = delete;

    // Comparison by the values of the units: negative, zero or positive. ---------------------------------

    /// Compares the whole text.
    int Compare(const Unit* text) const;
    /// Ignores case: that of ASCII letters in 8-bit text, that of the whole BMP in 16-bit text.
    int CompareNoCase(const Unit* text) const;
    ///@{
    /// The same for two strings, with the signature that `CArray::Sort` takes.
    static int Cmp(const String* a, const String* b) { return a->compare(*b); }
    static int CmpNoCase(const String* a, const String* b) { return a->CompareNoCase(b->Ptr()); }
    ///@}
    ///@{
    /// Compares at most `count` units, from `position` on, with `text`.
    int CompareSubstr(int position, const Unit* text, int count) const;
    int CompareSubstrNoCase(int position, const Unit* text, int count) const;
    ///@}

    friend bool operator==(const String& a, const String& b) { return a.body == b.body || a.isEqual(b); }
    friend bool operator==(const String& a, const Unit* b) { return a.Compare(b) == 0; }
    friend std::strong_ordering operator<=>(const String& a, const String& b) { return a.compare(b) <=> 0; }
    friend std::strong_ordering operator<=>(const String& a, const Unit* b) { return a.Compare(b) <=> 0; }
    template<CForeignText<Unit> Text>
    friend bool operator==(const String& a, const Text& b) {
        const auto view = ViewOf<Unit>(b);
        return a.isEqual(view.data(), view.size());
    }
    template<CForeignText<Unit> Text>
    friend std::strong_ordering operator<=>(const String& a, const Text& b) {
        const auto view = ViewOf<Unit>(b);
        return a.compare(view.data(), view.size()) <=> 0;
    }

    /// The number of leading units of `text` that equal the units from `position` on.
    int CommonPref(const Unit* text, int position) const;
    int CommonPref(const String& text, int position) const { return CommonPref(text.Ptr(), position); }
    /// The number of units at the end of both texts that are the same.
    int CommonSuffix(const Unit* text) const { return commonSuffix(text, measure(text)); }
    int CommonSuffix(const String& text) const { return commonSuffix(text.Ptr(), text.GetLength()); }

    // Search from `start` on. Results are positions in the whole string. ---------------------------------

    ///@{
    /// The first position of a unit or of a text.
    /// A search for NUL finds the terminator.
    int Find(Unit unit, int start = 0) const;
    int CharPos(Unit unit, int start = 0) const { return Find(unit, start); }
    int Find(const Unit* text, int start = 0) const;
    ///@}
    /// The first position of any unit of `set`.
    int FindOneOf(const Unit* set, int start = 0) const;
    /// The last position of `unit`.
    int ReverseFind(Unit unit) const;
    ///@{
    /// The first position whose unit is not in `set` (`Strspn`) or is in it (`Strcspn`); the length when
    /// there is none.
    int Strspn(const Unit* set, int start = 0) const;
    int Strspn(const String& set, int start = 0) const { return Strspn(set.Ptr(), start); }
    int Strcspn(const Unit* set, int start = 0) const;
    int Strcspn(const String& set, int start = 0) const { return Strcspn(set.Ptr(), start); }
    ///@}

    // Extraction. ----------------------------------------------------------------------------------------

    /// The `count` units from `first` on.
    String Mid(int first, int count) const;
    /// The units from `first` on.
    String Mid(int first) const;
    /// The first `count` units.
    String Left(int count) const;
    /// The last `count` units.
    String Right(int count) const;
    ///@{
    /// The units from `start` on that come before the first one outside `set` (`SpanIncluding`) or in it
    /// (`SpanExcluding`).
    String SpanIncluding(const Unit* set, int start = 0) const;
    String SpanIncluding(const String& set, int start = 0) const;
    String SpanExcluding(const Unit* set, int start = 0) const;
    String SpanExcluding(const String& set, int start = 0) const;
    ///@}

    // Editing in place. A text may point into the string itself. -----------------------------------------

    ///@{
    /// Inserts before `position`.
    void StrIns(const String& text, int position) { insertStr(text.Ptr(), text.GetLength(), position); }
    void StrIns(const Unit* text, int position) { insertStr(text, measure(text), position); }
    void CharIns(Unit unit, int position) { insertStr(&unit, 1, position); }
    ///@}
    ///@{
    /// Replaces `count` units from `position` on by `text`.
    void StrReplace(int position, int count, const String& text) {
        replaceStr(position, count, text.Ptr(), text.GetLength());
    }
    void StrReplace(int position, int count, const Unit* text) {
        replaceStr(position, count, text, measure(text));
    }
    ///@}
    /// Removes `count` units; does nothing when `count` is below 1.
    void StrDel(int position, int count);
    /// Cuts the string at `position`.
    void StrDel(int position);
    ///@{
    /// Changes the case: that of ASCII letters in 8-bit text, that of the whole BMP in 16-bit text.
    void MakeUpper();
    void MakeLower();
    ///@}
    /// Reverses the order of the units.
    void MakeReverse();
    ///@{
    /// Removes white space: space, TAB, CR, LF, form feed and vertical tab in 8-bit text, the units with the
    /// Unicode property White_Space in 16-bit text.
    void TrimLeft();
    void TrimRight();
    void Trim();
    ///@}

    // A character of another type would be taken by its number, which means something else here: as a 16-bit
    // unit, '\xE9' is U+FFE9, and as an 8-bit one, u'\u0416' is cut to 0x16.
    template<CForeignUnit<Unit> T>
    void SetAt(int index, T unit) = delete;
    template<CForeignUnit<Unit> T>
    int Find(T unit, int start = 0) const = delete;
    template<CForeignUnit<Unit> T>
    int CharPos(T unit, int start = 0) const = delete;
    template<CForeignUnit<Unit> T>
    int ReverseFind(T unit) const = delete;
    template<CForeignUnit<Unit> T>
    void CharIns(T unit, int position) = delete;

    // Text to value. White space is allowed around a value; anything else left over is a failure (false). -
    // 16-bit text is converted by the system's ANSI code page first, so a character that this page turns into
    // a digit is read as that digit.

    /// "true", "on", "yes", "1" or "false", "off", "no", "0" in any case; otherwise `result` is unchanged.
    bool Value(bool& result) const;
    /// An integer as C's `strtol` and `strtoul` read it, within the limits of its type. `radix` is 2 to 36,
    /// or 0 to take it from the prefix. Even on failure, `result` is what was read: the nearest limit when
    /// the number is out of range, 0 when there is no number.
    bool Value(int& result, int radix = 10) const;
    bool Value(long& result, int radix = 10) const;
    bool Value(Int64& result, int radix = 10) const;
    bool Value(unsigned int& result, int radix = 10) const;
    bool Value(unsigned long& result, int radix = 10) const;
    bool Value(UInt64& result, int radix = 10) const;
    /// A number as C's `strtod` reads it in the C locale, whatever the user's locale. Fails when the number
    /// is out of range.
    bool Value(double& result) const;
    /// An integer, or two with a `/` between them, read as `int` in radix 10. Raises what the `rational` of
    /// these two raises: `ERR_DIVIDE_ZERO`, `ERR_RATIONAL_OVERFLOW`.
    bool Value(rational& result) const;

    // Parameters. ----------------------------------------------------------------------------------------

    /// Returns a copy in which each `%` followed by a decimal number is replaced by the parameter of that
    /// number; the first parameter is `%0`. A `%` whose number has no parameter is removed with its number;
    /// any other `%` stays.
    String SubstParam(const Unit* const* parameters, int count) const;
    String SubstParam(const CArray<String>& parameters) const;
    String SubstParam(const String& p0) const;
    String SubstParam(const String& p0, const String& p1) const;
    String SubstParam(const String& p0, const String& p1, const String& p2) const;
    String SubstParam(const String& p0, const String& p1, const String& p2, const String& p3) const;

protected:
    /// Takes over the caller's reference to `newBody`.
    explicit CStringOf(Body* newBody) : body(newBody) {}
    ~CStringOf() { body->DecRef(); }

private:
    Body* body;

    friend struct CLayout<String>;

    String& self() { return static_cast<String&>(*this); }
    const String& self() const { return static_cast<const String&>(*this); }

    static int measure(const Unit* text);
    // The length of a text of `size` units that its first NUL may end earlier.
    static int measure(const Unit* text, std::size_t size);
    static Body* bodyOf(const Unit* text, std::size_t size);
    static Body* bodyOf(std::basic_string_view<Unit> view) { return bodyOf(view.data(), view.size()); }
    void assignView(const Unit* text, std::size_t size);
    void assignView(std::basic_string_view<Unit> view) { assignView(view.data(), view.size()); }
    bool isOwnText(const Unit* text) const;
    void makeRoom(int length);
    void copyBody(int length);
    void assignStr(const Unit* text, int count);
    static String concatStr(const Unit* a, int countA, const Unit* b, int countB);
    void concatStr(const Unit* text, int count);
    void insertStr(const Unit* text, int count, int position);
    void replaceStr(int position, int count, const Unit* text, int newCount);
    int commonSuffix(const Unit* text, int count) const;
    int compare(const CStringOf& other) const;
    int compare(const Unit* text, std::size_t size) const;
    bool isEqual(const CStringOf& other) const;
    bool isEqual(const Unit* text, std::size_t size) const;
};

TARNKIT_EXTERN_TEMPLATE(class CStringOf<char>);
TARNKIT_EXTERN_TEMPLATE(class CStringOf<char16_t>);

/// The 8-bit text value. Code pages: 0 is the system's ANSI code page, 1 its OEM code page, 65001 UTF-8,
/// anything else the number of a Windows code page. Which pages 0 and 1 are depends on the user's locale.
class TARNKIT_API CString : public CStringOf<char> {
public:
    using CStringOf::CStringOf;
    using CStringOf::operator=;

    CString() = default;
    /// Converts 16-bit text. Empty when `text` is null or cannot be converted.
    CString(const char16_t* text, unsigned codePage);
    CString(const char16_t* text, int length, unsigned codePage);

    /// Converts to 16-bit text. Empty when the text cannot be converted.
    CUnicodeString CreateUnicodeString(unsigned codePage = 0) const;

private:
    static CStringBody* construct(const char16_t* text, int length, unsigned codePage);
    static CStringBody* createFromUnicodeText(const char16_t* text, int length, unsigned codePage,
                                              unsigned flags);
};
TARNKIT_LAYOUT(CString, 4, body);

/// Writes the bytes of the text.
template<class Traits>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& stream, const CString& text) {
    return stream << text.Ptr();
}

/// Library-internal: the text as a literal of the language, in UTF-8. Bytes that are not UTF-8, and units
/// that have no character, are numbers, as in "\\xFF".
TARNKIT_API CString LiteralOf(const CString& text);
TARNKIT_API CString LiteralOf(const CUnicodeString& text);

/// How GoogleTest shows a string.
template<class Text>
requires std::same_as<Text, CString> || std::same_as<Text, CUnicodeString>
void PrintTo(const Text& text, std::ostream* out) { *out << LiteralOf(text).Ptr(); }

/// `std::hash` of a string; the same as that of an equal text in any other form, so that the containers of
/// the standard library can find a string by a view (with `std::equal_to<>`).
template<class Unit>
struct CTextHash {
    using is_transparent = void;

    ///@{
    /// The hash of a text.
    std::size_t operator()(const Unit* text) const { return static_cast<unsigned>(::HashKey(text)); }
    template<class Text>
    requires CTextClass<Text, Unit> || CForeignText<Text, Unit> std::size_t
    operator()(const Text& text) const {
        return static_cast<unsigned>(::HashKey(text));
    }
    ///@}
};

} // namespace Tarn

template<>
struct std::hash<Tarn::CString> : Tarn::CTextHash<char> {};
