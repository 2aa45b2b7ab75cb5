#include "tests/strings/text_literals.h"

namespace Tarn {
namespace {

template<class String>
class StringsOfBothWidths : public StringTest<String> {};
TYPED_TEST_SUITE(StringsOfBothWidths, BothWidths);

// The longest text that fits into a block of the pool with the header and the terminator.
template<class Unit>
constexpr int roomOf(int blockSize) {
    return (blockSize - 12) / static_cast<int>(sizeof(Unit)) - 1;
}

// What must not compile. Units of another type and numbers would be converted by value.
template<class String, class T>
concept TakesAsUnit = requires(String text, T unit) {
    text + unit;
}
|| requires(String text, T unit) { unit + text; }
|| requires(String text, T unit) { text += unit; }
|| requires(String text, T unit) { text = unit; }
|| requires(String text, T unit) { String(unit, 2); }
|| requires(String text, T unit) { text.SetAt(0, unit); }
|| requires(String text, T unit) { text.CharIns(unit, 0); }
|| requires(String text, T unit) { text.Find(unit); }
|| requires(String text, T unit) { text.CharPos(unit); }
|| requires(String text, T unit) { text.ReverseFind(unit); };
template<class String, class... T>
constexpr bool kTakesAny = (TakesAsUnit<String, T> || ...);
static_assert(!kTakesAny<CString, wchar_t, char8_t, char16_t, char32_t>);
static_assert(!kTakesAny<CUnicodeString, char, char8_t, char32_t>);
static_assert(TakesAsUnit<CUnicodeString, wchar_t> == kIsWideTextUtf16);

template<class String>
constexpr bool IsMoreThanAPointer() {
    return !std::is_constructible_v<bool, String> && !requires(String text) { text ? 1 : 2; }
    &&!requires(String text) { text - 1; }
    &&!requires(String text) { text - 1L; }
    &&!requires(String text) { text + 1; }
    &&!requires(String text) { text += 1L; }
    &&requires(const String text, std::ptrdiff_t index, unsigned count, bool flag) {
        text[index], text[count], text[flag], text.Ptr() - text;
    };
}
static_assert(IsMoreThanAPointer<CString>() && IsMoreThanAPointer<CUnicodeString>());
static_assert(!std::is_constructible_v<CString, std::nullptr_t> &&
              !std::is_constructible_v<CUnicodeString, CString>);

TYPED_TEST(StringsOfBothWidths, EmptyTextsShareOneBodyThatIsNeverFreed) {
    using String = TypeParam;
    using Unit = UnitOf<String>;
    EXPECT_EQ(String::Body::emptyStringBody.AllocatedSize(), static_cast<int>(sizeof(Unit)));
    for (const String& text :
         {String(), String(Unit('x'), 0), String(Unit('x'), -3), this->S(""), String(this->T("ab"), 0),
          this->S("abc").Mid(3, 0), String() + String(), this->S("  ").Left(0)})
        EXPECT_TRUE(this->IsSharedEmpty(text));
    String changed = this->S("ab");
    changed = this->T("");
    EXPECT_FALSE(this->IsSharedEmpty(changed)) << "an unshared body is kept for reuse";
    changed.Empty();
    EXPECT_TRUE(this->IsSharedEmpty(changed));
    for (int i = 0; i < 10; i++)
        String::Body::emptyStringBody.DecRef();
    EXPECT_EQ(String().GetLength(), 0) << "a wrong reference count does no harm";
    for (int i = 0; i < 10; i++)
        String::Body::emptyStringBody.IncRef();
}

TYPED_TEST(StringsOfBothWidths, CopiesShareTheTextUntilOneIsWritten) {
    auto a = this->S("shared");
    auto b = a;
    EXPECT_EQ(a.Ptr(), b.Ptr());
    b.SetBufferLength(5);
    b = b.Ptr();
    EXPECT_EQ(a.Ptr(), b.Ptr()) << "there is enough room already";
    b.GetBuffer(10)[0] = 'S';
    EXPECT_EQ(a, this->T("shared"));
    EXPECT_EQ(b, this->T("Shared"));
    b.SetAt(1, UnitOf<TypeParam>('H'));
    b = std::as_const(b);
    EXPECT_EQ(b, this->T("SHared"));

    const auto* text = b.Ptr();
    auto moved = std::move(b);
    EXPECT_EQ(moved.Ptr(), text);
    EXPECT_TRUE(this->IsSharedEmpty(b));
    a = std::move(moved);
    EXPECT_EQ(a.Ptr(), text);
    EXPECT_TRUE(this->IsSharedEmpty(moved));
}

TYPED_TEST(StringsOfBothWidths, ATextIsCutAtItsFirstNulButKeepsItsRoom) {
    TypeParam text(this->T(std::string_view("abc\0defg", 8)), 7);
    EXPECT_EQ(text, this->T("abc"));
    const auto* place = text.Ptr();
    EXPECT_EQ(text.GetBuffer(7), place);
    text.GetBufferSetLength(5);
    EXPECT_EQ(text.GetLength(), 5);
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 3);
}

TYPED_TEST(StringsOfBothWidths, AssignmentKeepsABodyThatHasRoom) {
    using String = TypeParam;
    using Unit = UnitOf<String>;
    const int room = roomOf<Unit>(32);
    const int inPlace = sizeof(Unit) == 1 ? room - 1 : room;
    String text = this->S("x");
    const Unit* place = text.Ptr();
    text = this->T(std::string(static_cast<std::size_t>(inPlace), 'y'));
    EXPECT_EQ(text.Ptr(), place);
    text = text.Ptr() + 2;
    EXPECT_EQ(text, String(Unit('y'), inPlace - 2));
    EXPECT_EQ(text.GetBuffer(room), place) << "the 8-bit spare byte concerns assignment only";
    text.ReleaseBuffer(0);
    text = this->T(std::string(static_cast<std::size_t>(inPlace) + 1, 'z'));
    EXPECT_EQ(text, String(Unit('z'), inPlace + 1));
    text = Unit('c');
    EXPECT_EQ(text, this->T("c"));
}

TYPED_TEST(StringsOfBothWidths, LargeTextsGrowByAFifth) {
    using String = TypeParam;
    using Unit = UnitOf<String>;
    constexpr int kHeader = 12; // the text follows the three numbers of its body
    const std::tuple<int, int, int> kCases[] = {{1000, 1001, 1200},
                                                {1000, 1500, 1500},
                                                {10, 20, roomOf<Unit>(64)},
                                                {300'000, 300'001, 360'000}}; // moved by the system
    for (const auto& [length, asked, room] : kCases) {
        String text(Unit('x'), length);
        const auto* units = reinterpret_cast<const char*>(text.GetBuffer(asked));
        EXPECT_EQ(reinterpret_cast<const typename String::Body*>(units - kHeader)->Room(), room);
        EXPECT_EQ(reinterpret_cast<const char*>(text.GetBuffer(room)), units);
        text.ReleaseBuffer(length);
        EXPECT_EQ(text, String(Unit('x'), length));
    }
}

TEST(UnicodeString, IsMadeOfTextAtAnyAddress) {
    for (std::size_t at = 0; at < 2 * sizeof(std::uint64_t); at++) {
        char memory[64];
        std::memset(memory, 'x', sizeof memory);
        std::memcpy(memory + at, u"a\u0416\0", 3 * sizeof(char16_t));
        EXPECT_EQ(CUnicodeString(reinterpret_cast<const char16_t*>(memory + at)), u"a\u0416") << at;
    }
}

TYPED_TEST(StringsOfBothWidths, ALengthBeyondIntIsTheMemoryExceptionAndLosesNothing) {
    using String = TypeParam;
    using Unit = UnitOf<String>;
    String text = this->S("kept");
    const auto failing = {+[](String& s) { s.GetBuffer(INT_MAX); },
                          +[](String& s) { s.SetBufferLength(INT_MAX / static_cast<int>(sizeof(Unit)) - 4); },
                          +[](String&) { String::Body::MakeNew(-1); },
                          +[](String&) { String(Unit('x'), INT_MAX - 12); },
                          +[](String& s) { s.Mid(0, INT_MAX); }};
    for (const auto& fail : failing)
        EXPECT_ANY_THROW(fail(text));
    EXPECT_EQ(text, this->T("kept"));
    EXPECT_EQ(String::Body::RequiredMemorySize(9), sizeof(Unit) == 1 ? 22 : 32);
}

// A string and a standard one, with a copy of each, go through the same random edits, with text from the
// string itself or from another one.
TYPED_TEST(StringsOfBothWidths, EditingAgreesWithTheStandardString) {
    using Unit = UnitOf<TypeParam>;
    using Standard = std::basic_string<Unit>;
    std::mt19937 random(20);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    TypeParam text, copy;
    Standard expected, expectedCopy;
    for (int step = 0; step < 40000; step++) {
        const std::size_t from = below(expected.size() + 1), units = below(expected.size() - from + 1),
                          to = below(from + 1);
        const int position = static_cast<int>(from), count = static_cast<int>(units),
                  place = static_cast<int>(to);
        const bool isOwn = below(4) == 0;
        const Unit unit = static_cast<Unit>('a' + below(4)), wanted[] = {unit, text[position], 0};
        const Standard before = expected, part = before.substr(from, units) + unit;
        const Standard other = isOwn ? before.substr(from) : Standard(below(below(8) == 0 ? 300 : 20), unit);
        const Unit* const source = isOwn ? text.Ptr() + position : other.c_str();
        ASSERT_EQ(text.Find(part.c_str()), static_cast<int>(expected.find(part)));
        ASSERT_EQ(text.Find(wanted, position), static_cast<int>(expected.find(wanted, from)));
        ASSERT_EQ(text.Find(unit, position), static_cast<int>(expected.find(unit, from)));
        ASSERT_EQ(text.ReverseFind(unit), static_cast<int>(expected.rfind(unit)));
        ASSERT_EQ(text.FindOneOf(wanted, position), static_cast<int>(expected.find_first_of(wanted, from)));
        const std::function<void()> edits[] = {
            [&] { text = text.Right(count), expected.erase(0, expected.size() - units); },
            [&] { text += source, expected += other; },
            [&] { text.StrIns(source, place), expected.insert(to, other); },
            [&] { text.StrReplace(place, count, source), expected.replace(to, units, other); },
            [&] { text.StrDel(position, count), expected.erase(from, units); },
            [&] { text.StrReplace(position, count, text), expected.replace(from, units, before); },
            [&] { text += text, expected += before; },
            [&] { copy = text, expectedCopy = expected; },
            [&] {
                text = copy + text.Mid(position, count), expected = expectedCopy + before.substr(from, units);
            },
            [&] { text = source, expected = other; }};
        const std::size_t kind = expected.size() > 3000 ? 0 : below(std::size(edits));
        edits[kind]();
        ASSERT_TRUE(text.GetLength() == static_cast<int>(expected.size()) && text == expected.c_str() &&
                    copy == expectedCopy.c_str() && (text < copy) == (expected < expectedCopy) &&
                    (text == copy) == (expected == expectedCopy))
            << "step " << step << ": kind " << kind << " at " << from << ", " << units
            << (isOwn ? " units, own text" : " units") << "\nof    " << TypeParam(before.c_str())
            << "\ngives " << text << "\nnot   " << TypeParam(expected.c_str());
    }
}

TYPED_TEST(StringsOfBothWidths, SearchesGivePositionsInTheWholeString) {
    const auto text = this->S("one two, one");
    EXPECT_EQ(text.Find(text[12]), 12);
    EXPECT_EQ(text.CharPos(text[0], 1), 6);
    EXPECT_EQ(text.ReverseFind(0), 12);
    EXPECT_EQ(text.Strspn(this->S("eno"), 0), 3);
    EXPECT_EQ(text.Strcspn(this->T(" ,"), 4), 7);
    EXPECT_EQ(text.SpanIncluding(this->T("towen"), 4), this->T("two"));
    EXPECT_EQ(text.SpanExcluding(this->S(","), 4), this->T("two"));
    EXPECT_EQ(text.CommonPref(this->T("one"), 9), 3);
    EXPECT_EQ(text.CommonPref(this->S("one, two"), 0), 3);
    EXPECT_EQ(this->S("hello").CommonSuffix(this->T("yellow")), 0);
    EXPECT_EQ(this->S("walking").CommonSuffix(this->S("king")), 4);
}

TYPED_TEST(StringsOfBothWidths, ComparesByUnitValueAndWithoutCase) {
    using String = TypeParam;
    const String text = this->S("Value_1");
    EXPECT_GT(this->S("a").Compare(this->T("B")), 0);
    EXPECT_LT(this->S("a").CompareNoCase(this->T("B")), 0);
    EXPECT_EQ(text.CompareNoCase(this->T("vALUE_1")), 0);
    EXPECT_LT(this->S("_").CompareNoCase(this->T("A")), 0) << "letters are compared in lower case";
    EXPECT_EQ(text.CompareSubstr(2, this->T("lumen"), 2), 0);
    EXPECT_NE(text.CompareSubstr(2, this->T("lumen"), 3), 0);
    EXPECT_EQ(text.CompareSubstrNoCase(2, this->T("LUE_12"), 5), 0);
    EXPECT_EQ(text.CompareSubstrNoCase(7, this->T(""), 5), 0);
    CArray<String> sorted{this->S("b"), this->S("B"), this->S("a")};
    sorted.Sort(String::Cmp);
    EXPECT_EQ(sorted, (CArray<String>{this->S("B"), this->S("a"), this->S("b")}));
    EXPECT_EQ(String::CmpNoCase(&sorted[0], &sorted[2]), 0);
}

TYPED_TEST(StringsOfBothWidths, TrimsAndChangesCase) {
    auto text = this->S(" \t\r\n\f\v a b \v\f\n\r\t ");
    auto left = text;
    left.TrimLeft();
    EXPECT_EQ(left, this->T("a b \v\f\n\r\t "));
    text.Trim();
    EXPECT_EQ(text, this->T("a b"));
    left = this->T("  ");
    left.TrimRight();
    EXPECT_TRUE(left.IsEmpty());
    auto cased = this->S("az[AZ]{09}");
    cased.MakeUpper();
    EXPECT_EQ(cased, this->T("AZ[AZ]{09}"));
    cased.MakeLower();
    cased.MakeReverse();
    cased.StrIns(this->T("!"), 4);
    cased.StrReplace(0, 1, this->T("("));
    EXPECT_EQ(cased, this->T("(90{!]za[za"));
}

TEST(EightBitStrings, BytesAboveAsciiAreNotSpacesAndHaveNoCase) {
    CString text("\xA0\x85\xE4");
    const CString before = text;
    text.Trim();
    text.MakeUpper();
    EXPECT_EQ(text, before);
    EXPECT_GT(CString("\xE4").Compare("z"), 0);
    EXPECT_GT(CString("\xE4").CompareNoCase("z"), 0);
}

TEST(UnicodeStrings, SpacesAndCaseAreThoseOfUnicodeInTheBmp) {
    CUnicodeString text(u"\u00A0\u3000\u2009\u202F\u0085x\u200B\u2028\u205F\u1680");
    text.Trim();
    EXPECT_EQ(text, u"x\u200B") << "the zero-width space is not white space";
    CUnicodeString cased(u"a\u00E4\u0436\u03B2\u00DF");
    cased.MakeUpper();
    EXPECT_EQ(cased, u"A\u00C4\u0416\u0392\u00DF");
    EXPECT_EQ(cased.CompareNoCase(u"A\u00E4\u0436\u03B2\u00DF"), 0);
    cased.MakeLower();
    EXPECT_EQ(cased, u"a\u00E4\u0436\u03B2\u00DF");
    EXPECT_EQ(CUnicodeString(u"\uFFFF").Compare(u"a"), 1);
}

} // namespace
} // namespace Tarn
