#include <tarnkit/string.h>
#include <tarnkit/unicode_string.h>

#include "strings/text_units.h"

namespace Tarn {

namespace {

// The number that the digits stand for, or -1 when there are none or the number is beyond `int`.
template<class Unit>
int parameterIndex(const Unit* digits, int count) {
    if (count == 0)
        return -1;
    long long index = 0;
    for (int i = 0; i < count && index <= INT_MAX; i++)
        index = index * 10 + (digits[i] - '0');
    return index <= INT_MAX ? static_cast<int>(index) : -1;
}

} // namespace

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const Unit* const* parameters, int count) const {
    String result;
    if (IsEmpty())
        return result;
    result.SetBufferLength(GetLength());
    int position = 0;
    while (position < GetLength()) {
        const int percent = Find(static_cast<Unit>('%'), position);
        if (percent < 0 || percent == GetLength() - 1) {
            result.concatStr(Ptr() + position, GetLength() - position);
            break;
        }
        result.concatStr(Ptr() + position, percent - position);

        const Unit* digits = Ptr() + percent + 1;
        int digitCount = 0;
        while (TextUnits::IsDigit(digits[digitCount]))
            digitCount++;
        const int index = parameterIndex(digits, digitCount);
        if (index < 0)
            result.concatStr(Ptr() + percent, digitCount + 1);
        else if (index < count)
            result += parameters[index];
        position = percent + 1 + digitCount;
    }
    return result;
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const CArray<String>& parameters) const {
    CArray<const Unit*> texts;
    for (const String& parameter : parameters)
        texts.Add(parameter.Ptr());
    return SubstParam(texts.Ptr(), texts.Size());
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const String& p0) const {
    const Unit* const texts[] = {p0.Ptr()};
    return SubstParam(texts, 1);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const String& p0, const String& p1) const {
    const Unit* const texts[] = {p0.Ptr(), p1.Ptr()};
    return SubstParam(texts, 2);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const String& p0, const String& p1,
                                                             const String& p2) const {
    const Unit* const texts[] = {p0.Ptr(), p1.Ptr(), p2.Ptr()};
    return SubstParam(texts, 3);
}

template<class Unit>
typename CStringOf<Unit>::String CStringOf<Unit>::SubstParam(const String& p0, const String& p1,
                                                             const String& p2, const String& p3) const {
    const Unit* const texts[] = {p0.Ptr(), p1.Ptr(), p2.Ptr(), p3.Ptr()};
    return SubstParam(texts, 4);
}

template CString CStringOf<char>::SubstParam(const char* const*, int) const;
template CString CStringOf<char>::SubstParam(const CArray<CString>&) const;
template CString CStringOf<char>::SubstParam(const CString&) const;
template CString CStringOf<char>::SubstParam(const CString&, const CString&) const;
template CString CStringOf<char>::SubstParam(const CString&, const CString&, const CString&) const;
template CString CStringOf<char>::SubstParam(const CString&, const CString&, const CString&,
                                             const CString&) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const char16_t* const*, int) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const CArray<CUnicodeString>&) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const CUnicodeString&) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const CUnicodeString&, const CUnicodeString&) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const CUnicodeString&, const CUnicodeString&,
                                                        const CUnicodeString&) const;
template CUnicodeString CStringOf<char16_t>::SubstParam(const CUnicodeString&, const CUnicodeString&,
                                                        const CUnicodeString&, const CUnicodeString&) const;

} // namespace Tarn
