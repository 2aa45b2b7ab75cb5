#include <tarnkit/string.h>

#include <tarnkit/pool_allocators.h>
#include <tarnkit/unicode_string.h>

#include "platform/platform.h"
#include "strings/converted_text.h"
#include "strings/text_units.h"

#include <algorithm>
#include <functional>

namespace Tarn {

namespace {

// A body above this size is not a small block of the pool, and copying it is expensive enough to justify
// slack.
constexpr int kLargestSmallBody = 512;

// `assignStr` writes 8-bit text in place only when one byte more than the room test asks for is free.
template<class Unit>
constexpr int kSpareUnitsInPlace = sizeof(Unit) == 1 ? 1 : 0;

int sumOrFail(int a, int b) {
    if (b > INT_MAX - a)
        ThrowMemoryException();
    return a + b;
}

template<class Unit>
void copyUnits(Unit* to, const Unit* from, int count) {
    std::copy_n(from, std::max(count, 0), to);
}

// The same where the two may overlap.
template<class Unit>
void moveUnits(Unit* to, const Unit* from, int count) {
    std::memmove(to, from, static_cast<std::size_t>(std::max(count, 0)) * sizeof(Unit));
}

// Makes a body of the first `count` units of `text`.
template<class Unit>
CStringBodyOf<Unit>* makeBody(const Unit* text, int count) {
    CStringBodyOf<Unit>* body = CStringBodyOf<Unit>::MakeNew(count);
    copyUnits(body->Body(), text, count);
    body->Body()[count] = 0;
    return body;
}

// Keeps the body of a string alive, and with it a text inside it, while the string changes.
template<class Unit>
class COwnTextHolder {
public:
    COwnTextHolder(CStringBodyOf<Unit>* ownBody, bool isNeeded) : body(isNeeded ? ownBody : nullptr) {
        if (body != nullptr)
            body->IncRef();
    }
    ~COwnTextHolder() {
        if (body != nullptr)
            body->DecRef();
    }

    COwnTextHolder(const COwnTextHolder&) = delete;
    COwnTextHolder& operator=(const COwnTextHolder&) = delete;

private:
    CStringBodyOf<Unit>* body;
};

} // namespace

// Bodies. ------------------------------------------------------------------------------------------------

template<class Unit>
constinit CStringBodyOf<Unit> CStringBodyOf<Unit>::emptyStringBody(2, sizeof(Unit), 0, 0);

template<class Unit>
CStringBodyOf<Unit>* CStringBodyOf<Unit>::MakeNew(int length) {
    static_assert(offsetof(CStringBodyOf, text) == kHeaderSize);
    int size = 0;
    void* block = AllocStringBody(RequiredMemorySize(length), size);
    auto* body = ::new (block) CStringBodyOf;
    body->referenceCount = 1;
    body->length = length;
    body->allocatedSize = size;
    return body;
}

template<class Unit>
CStringBodyOf<Unit>* CStringBodyOf<Unit>::Grow(CStringBodyOf* body, int length) {
    const int size = RequiredMemorySize(length);
    if (size <= body->allocatedSize || !body->IsUnique())
        return nullptr;
    auto* const grown = static_cast<CStringBodyOf*>(GrowStringBody(body, body->allocatedSize, size));
    if (grown != nullptr)
        grown->allocatedSize = size;
    return grown;
}

template<class Unit>
void CStringBodyOf<Unit>::destroy() {
    FreeStringBody(this, allocatedSize);
}

// Construction. ------------------------------------------------------------------------------------------

template<class Unit>
CStringOf<Unit>::CStringOf(Unit unit, int count) : body(count < 1 ? Body::MakeNew() : Body::MakeNew(count)) {
    if (count < 1)
        return;
    std::fill_n(body->Body(), count, unit);
    body->Body()[count] = 0;
}

template<class Unit>
CStringOf<Unit>::CStringOf(const Unit* text) {
    const int length = measure(text);
    body = length == 0 ? Body::MakeNew() : makeBody(text, length);
}

template<class Unit>
CStringOf<Unit>::CStringOf(const Unit* text, int count)
    : body(count == 0 ? Body::MakeNew() : Body::MakeNew(count)) {
    if (count == 0)
        return;
    const int length = TextUnits::LengthUpTo(text, count);
    copyUnits(body->Body(), text, length);
    ReleaseBuffer(length);
}

template<class Unit>
CStringBodyOf<Unit>* CStringOf<Unit>::bodyOf(const Unit* text, std::size_t size) {
    const int length = measure(text, size);
    return length == 0 ? Body::MakeNew() : makeBody(text, length);
}

// Making room. -------------------------------------------------------------------------------------------

template<class Unit>
int CStringOf<Unit>::measure(const Unit* text) {
    return TextUnits::CheckedLength(text);
}

template<class Unit>
int CStringOf<Unit>::measure(const Unit* text, std::size_t size) {
    const int limit = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
    return TextUnits::LengthUpTo(text, limit);
}

template<class Unit>
bool CStringOf<Unit>::isOwnText(const Unit* text) const {
    const std::less<const Unit*> isBefore;
    return !isBefore(text, Ptr()) && !isBefore(Ptr() + GetLength(), text);
}

template<class Unit>
void CStringOf<Unit>::makeRoom(int length) {
    if (length <= body->Room() || Body::RequiredMemorySize(length) <= kLargestSmallBody) {
        copyBody(length);
        return;
    }
    const int slack = std::min(GetLength() / 5, Body::kLongestLength - GetLength());
    copyBody(std::max(length, GetLength() + slack));
}

template<class Unit>
void CStringOf<Unit>::copyBody(int length) {
    if (Body* const grown = Body::Grow(body, length)) {
        body = grown;
        return;
    }
    const int oldLength = GetLength();
    Body* copy = Body::MakeNew(std::max(oldLength, length));
    copy->SetLength(oldLength);
    copyUnits(copy->Body(), Ptr(), oldLength + 1);
    body->DecRef();
    body = copy;
}

// Assignment and editing. --------------------------------------------------------------------------------

template<class Unit>
void CStringOf<Unit>::assignStr(const Unit* text, int count) {
    if (body->IsUnique() && count <= body->Room() - kSpareUnitsInPlace<Unit>) {
        moveUnits(body->Body(), text, count);
        ReleaseBuffer(count);
        return;
    }
    // Releasing the body would destroy a `text` that lies inside it; such a text can only be the whole
    // string.
    if (text == Ptr() && count == GetLength())
        return;
    Empty();
    if (count >= 1)
        *this = CStringOf(makeBody(text, count));
}

template<class Unit>
void CStringOf<Unit>::assignView(const Unit* text, std::size_t size) {
    const COwnTextHolder<Unit> holder(body, !body->IsUnique() && isOwnText(text)); // a part of a shared text
    const int length = measure(text, size);
    assignStr(length > 0 ? text : Ptr(), length); // the view of an empty text may be null
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::concatStr(const Unit* a, int countA, const Unit* b,
                                                            int countB) {
    if (countA == 0 && countB == 0)
        return String();
    Body* sum = Body::MakeNew(sumOrFail(countA, countB));
    copyUnits(sum->Body(), a, countA);
    copyUnits(sum->Body() + countA, b, countB);
    sum->Body()[countA + countB] = 0;
    return String(sum);
}

template<class Unit>
void CStringOf<Unit>::concatStr(const Unit* text, int count) {
    const COwnTextHolder<Unit> holder(body, isOwnText(text));
    const int oldLength = GetLength();
    const int total = sumOrFail(oldLength, count);
    copyUnits(GetBuffer(total) + oldLength, text, count);
    ReleaseBuffer(total);
}

template<class Unit>
void CStringOf<Unit>::insertStr(const Unit* text, int count, int position) {
    const COwnTextHolder<Unit> holder(body, isOwnText(text));
    const int oldLength = GetLength();
    const int total = sumOrFail(oldLength, count);
    Unit* place = GetBuffer(total) + position;
    moveUnits(place + count, place, oldLength - position);
    copyUnits(place, text, count);
    ReleaseBuffer(total);
}

template<class Unit>
void CStringOf<Unit>::replaceStr(int position, int count, const Unit* text, int newCount) {
    const COwnTextHolder<Unit> holder(body, isOwnText(text));
    const int oldLength = GetLength();
    const int difference = newCount - count;
    Unit* place = GetBuffer(sumOrFail(oldLength, std::max(difference, 0))) + position;
    moveUnits(place + newCount, place + count, oldLength - position - count);
    copyUnits(place, text, newCount);
    ReleaseBuffer(oldLength + difference);
}

template<class Unit>
void CStringOf<Unit>::StrDel(int position, int count) {
    if (count <= 0)
        return;
    const int oldLength = GetLength();
    Unit* place = GetBuffer() + position;
    moveUnits(place, place + count, oldLength - position - count);
    ReleaseBuffer(oldLength - count);
}

template<class Unit>
void CStringOf<Unit>::StrDel(int position) {
    GetBuffer();
    ReleaseBuffer(position);
}

template<class Unit>
void CStringOf<Unit>::MakeUpper() {
    TextUnits::ToUpper(GetBuffer(), GetLength());
}

template<class Unit>
void CStringOf<Unit>::MakeLower() {
    TextUnits::ToLower(GetBuffer(), GetLength());
}

template<class Unit>
void CStringOf<Unit>::MakeReverse() {
    Unit* text = GetBuffer();
    std::reverse(text, text + GetLength());
}

template<class Unit>
void CStringOf<Unit>::TrimLeft() {
    int count = 0;
    while (count < GetLength() && TextUnits::IsSpace(GetAt(count)))
        count++;
    StrDel(0, count);
}

template<class Unit>
void CStringOf<Unit>::TrimRight() {
    int length = GetLength();
    while (length > 0 && TextUnits::IsSpace(GetAt(length - 1)))
        length--;
    if (length < GetLength())
        StrDel(length);
}

template<class Unit>
void CStringOf<Unit>::Trim() {
    TrimLeft();
    TrimRight();
}

// Comparison. --------------------------------------------------------------------------------------------

template<class Unit>
int CStringOf<Unit>::Compare(const Unit* text) const {
    return TextUnits::Compare(Ptr(), text);
}

template<class Unit>
int CStringOf<Unit>::compare(const CStringOf& other) const {
    return TextUnits::Compare(Ptr(), GetLength(), other.Ptr(), other.GetLength());
}

// As terminated texts are compared: units count as unsigned, and a NUL ends either text.
template<class Unit>
int CStringOf<Unit>::compare(const Unit* text, std::size_t size) const {
    const int ownLength = measure(Ptr(), static_cast<std::size_t>(GetLength())), length = measure(text, size);
    const int order =
        std::char_traits<Unit>::compare(Ptr(), text, static_cast<std::size_t>(std::min(ownLength, length)));
    return order != 0 ? order : ownLength - length;
}

template<class Unit>
bool CStringOf<Unit>::isEqual(const Unit* text, std::size_t size) const {
    const auto ownSize = static_cast<std::size_t>(GetLength());
    return (ownSize == size && std::char_traits<Unit>::compare(Ptr(), text, size) == 0) ||
           compare(text, size) == 0;
}

// Texts with the same units are equal. Others mostly are not, but a NUL before the end of a text ends it.
template<class Unit>
bool CStringOf<Unit>::isEqual(const CStringOf& other) const {
    const auto size = static_cast<std::size_t>(GetLength()) * sizeof(Unit);
    return (GetLength() == other.GetLength() && std::memcmp(Ptr(), other.Ptr(), size) == 0) ||
           compare(other) == 0;
}

template<class Unit>
int CStringOf<Unit>::CompareNoCase(const Unit* text) const {
    return TextUnits::CompareNoCase(Ptr(), text);
}

template<class Unit>
int CStringOf<Unit>::CompareSubstr(int position, const Unit* text, int count) const {
    return TextUnits::Compare(Ptr() + position, text, count);
}

template<class Unit>
int CStringOf<Unit>::CompareSubstrNoCase(int position, const Unit* text, int count) const {
    return TextUnits::CompareNoCase(Ptr() + position, text, count);
}

template<class Unit>
int CStringOf<Unit>::CommonPref(const Unit* text, int position) const {
    const Unit* own = Ptr() + position;
    const int limit = GetLength() - position;
    int count = 0;
    while (count < limit && text[count] == own[count] && text[count] != 0)
        count++;
    return count;
}

template<class Unit>
int CStringOf<Unit>::commonSuffix(const Unit* text, int count) const {
    const Unit* ownEnd = Ptr() + GetLength();
    const Unit* end = text + count;
    const int limit = std::min(count, GetLength());
    int equal = 0;
    while (equal < limit && ownEnd[-equal - 1] == end[-equal - 1])
        equal++;
    return equal;
}

// Search. ------------------------------------------------------------------------------------------------

namespace {

template<class Unit>
int indexIn(const Unit* text, const Unit* place) {
    return place == nullptr ? -1 : static_cast<int>(place - text);
}

} // namespace

template<class Unit>
int CStringOf<Unit>::Find(Unit unit, int start) const {
    return indexIn(Ptr(), TextUnits::FindUnit(Ptr() + start, unit));
}

template<class Unit>
int CStringOf<Unit>::Find(const Unit* text, int start) const {
    return indexIn(Ptr(), TextUnits::FindText(Ptr() + start, text));
}

template<class Unit>
int CStringOf<Unit>::FindOneOf(const Unit* set, int start) const {
    const int place = Strcspn(set, start);
    return Ptr()[place] != 0 ? place : -1;
}

template<class Unit>
int CStringOf<Unit>::ReverseFind(Unit unit) const {
    return indexIn(Ptr(), TextUnits::FindLastUnit(Ptr(), unit));
}

template<class Unit>
int CStringOf<Unit>::Strspn(const Unit* set, int start) const {
    return start + static_cast<int>(TextUnits::Span(Ptr() + start, set));
}

template<class Unit>
int CStringOf<Unit>::Strcspn(const Unit* set, int start) const {
    return start + static_cast<int>(TextUnits::SpanOutside(Ptr() + start, set));
}

// Extraction. --------------------------------------------------------------------------------------------

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::Mid(int first, int count) const {
    return count == 0 ? String() : String(makeBody(Ptr() + first, count));
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::Mid(int first) const {
    return Mid(first, GetLength() - first);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::Left(int count) const {
    return Mid(0, count);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::Right(int count) const {
    return Mid(GetLength() - count, count);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SpanIncluding(const Unit* set, int start) const {
    return Mid(start, Strspn(set, start) - start);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SpanIncluding(const String& set, int start) const {
    return SpanIncluding(set.Ptr(), start);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SpanExcluding(const Unit* set, int start) const {
    return Mid(start, Strcspn(set, start) - start);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SpanExcluding(const String& set, int start) const {
    return SpanExcluding(set.Ptr(), start);
}

template class CStringBodyOf<char>;
template class CStringBodyOf<char16_t>;
template class CStringOf<char>;
template class CStringOf<char16_t>;

// Conversion from 16-bit text. ---------------------------------------------------------------------------

namespace {

constexpr unsigned kShiftJis = 932;

} // namespace

CString::CString(const char16_t* text, unsigned codePage)
    : CStringOf(text == nullptr ? CStringBody::MakeNew()
                                : construct(text, TextUnits::CheckedLength(text), codePage)) {}

CString::CString(const char16_t* text, int length, unsigned codePage)
    : CStringOf(text == nullptr ? CStringBody::MakeNew() : construct(text, length, codePage)) {}

CStringBody* CString::construct(const char16_t* text, int length, unsigned codePage) {
    if (length == 0)
        return CStringBody::MakeNew();
    if (codePage == CP_ACP)
        codePage = Platform::GetACP();
    else if (codePage == CP_OEMCP)
        codePage = Platform::GetOEMCP();

    constexpr unsigned kExact = WC_COMPOSITECHECK | WC_SEPCHARS;
    CStringBody* result = KeepsAscii(codePage) ? MakeAsciiBody<char>(text, length) : nullptr;
    if (codePage == kShiftJis)
        result = createFromUnicodeText(text, length, codePage, kExact);
    if (result == nullptr)
        result =
            createFromUnicodeText(text, length, codePage, codePage == CP_UTF8 ? 0 : kExact | WC_DEFAULTCHAR);
    return result != nullptr ? result : CStringBody::MakeNew();
}

CStringBody* CString::createFromUnicodeText(const char16_t* text, int length, unsigned codePage,
                                            unsigned flags) {
    constexpr Int64 kMostBytes = 3; // for a unit, in most code pages
    return MakeConvertedBody<char>(kMostBytes * length, false, [&](char* buffer, int size) {
        return Platform::WideCharToMultiByte(codePage, flags, text, length, buffer, size, nullptr, nullptr);
    });
}

CUnicodeString CString::CreateUnicodeString(unsigned codePage) const {
    return CUnicodeString(Ptr(), codePage);
}

} // namespace Tarn
