#include "faults.h"

#include <tarnkit/pool_allocators.h>
#include <tarnkit/unicode_set.h>

#include <bitset>

using namespace Tarn;

namespace {

int pagesInUse() { return GetSetPagePool().AllocatedBlocksSize() / 128; }

template<std::size_t bound>
void operator-=(std::bitset<bound>& a, const std::bitset<bound>& b) {
    a &= ~b;
}

// The operations that sets have with sets and with single elements.
void apply(int operation, auto& target, const auto& operand) {
    operation == 0   ? void(target |= operand)
    : operation == 1 ? void(target &= operand)
    : operation == 2 ? void(target ^= operand)
                     : void(target -= operand);
}

// Random operations on sets and on standard bit sets. Sets that allocate from the current manager get only a
// few blocks: an operation that fails must not have changed anything. Returns how many failed.
template<class Set, class Element, unsigned bound>
int compareWithBits(int steps) {
    using Bits = std::bitset<bound>;
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    Set sets[2];
    Bits models[2];
    int failures = 0;
    for (int step = 0; step < steps; step++) {
        const int at = Random(1), other = Random(9) == 0 ? at : 1 - at, operation = Random(6);
        Set& set = sets[at];
        Bits next = models[at], elements;
        const bool isDone = manager.TryWith(Random(6), [&] {
            if (operation == 4) {
                next.flip();
                set.Invert();
            } else if (operation == 5) {
                next = Random(1) == 0 ? models[other] : Bits();
                set = next.any() ? sets[other] : Set();
            } else if (Random(2) == 0) {
                apply(operation, next, models[other]);
                apply(operation, set, sets[other]);
            } else {
                const auto element = static_cast<Element>(Random(2) > 0 ? Random(200) : Random(bound - 1));
                apply(operation, next, Bits().set(element));
                apply(operation, set, element);
            }
        });
        failures += isDone ? 0 : 1;
        models[at] = isDone ? next : models[at];
        for (unsigned i = 0; i < bound; i++)
            elements[i] = set.Has(static_cast<Element>(i));
        EXPECT_EQ(elements, models[at]) << "step " << step;
        EXPECT_EQ(set.Has(sets[other]), (models[other] & ~models[at]).none());
        EXPECT_EQ(set == sets[other], models[at] == models[other]);
        EXPECT_EQ(static_cast<std::size_t>(set.GetCount()), elements.count());
        EXPECT_EQ(set.IsEmpty(), elements.none());
        for (const Element element : set)
            elements.flip(element);
        EXPECT_TRUE(elements.none()) << "the iteration visits other elements";
        EXPECT_TRUE(std::ranges::is_sorted(set.begin(), set.end())) << "step " << step;
    }
    return failures;
}

// Whether all members that take a unit accept this type, and whether none does.
template<class Unit>
concept CTaken = requires(CUnicodeSet a, Unit u) {
    a.Has(u), a |= u, a &= u, a -= u, a ^= u, a | u, a & u, a - u, a ^ u;
};
template<class Unit>
concept CRefused = !(
    requires(CUnicodeSet a, Unit u) { a.Has(u); } || requires(CUnicodeSet a, Unit u) { a |= u; } ||
    requires(CUnicodeSet a, Unit u) { a &= u; } || requires(CUnicodeSet a, Unit u) { a -= u; } ||
    requires(CUnicodeSet a, Unit u) { a ^= u; } || requires(CUnicodeSet a, Unit u) { a | u; } ||
    requires(CUnicodeSet a, Unit u) { a& u; } || requires(CUnicodeSet a, Unit u) { a - u; } ||
    requires(CUnicodeSet a, Unit u) { a ^ u; });
static_assert(CTaken<char16_t> && CTaken<unsigned short> && CTaken<wchar_t> == kIsWideTextUtf16);
static_assert(CRefused<char> && CRefused<signed char> && CRefused<char8_t> && CRefused<char32_t>);

} // namespace

TEST(PagedBitSet, AgreesWithABitsetAndFailuresChangeNothing) {
    using CSet = CPagedBitSet<1000, 64, CurrentMemoryManager>;
    EXPECT_GT((compareWithBits<CSet, unsigned, 1000>(5000)), 200);
}

TEST(UnicodeSet, AgreesWithABitsetAndReturnsEveryPage) {
    compareWithBits<CUnicodeSet, char16_t, 0x10000>(300);
    EXPECT_EQ(pagesInUse(), 0);
}

TEST(UnicodeSet, TakesPagesFromThePoolForElementsOnly) {
    CUnicodeSet set = u"a\u0416b\uFFFF";
    EXPECT_FALSE(set.Has(u'\u0800'));
    EXPECT_EQ(pagesInUse(), 3);
    const CUnicodeSet cleared = set & CUnicodeSet();
    EXPECT_EQ(pagesInUse(), 6) << "`cleared` keeps its empty pages";
    set = CUnicodeSet();
    EXPECT_EQ(pagesInUse(), 3);
    const CUnicodeSet all = ~set;
    constexpr int expected = 3 + 64; // those of `cleared` and of `all`
    EXPECT_EQ(pagesInUse(), expected);
    CUnicodeSetAllocator::Free(nullptr);
    CUnicodeSetAllocator::Free(CUnicodeSetAllocator::Alloc(4096, __FILE__, __LINE__));
    EXPECT_EQ(pagesInUse(), expected);
}

TEST(UnicodeSet, OperatorsMakeNewSets) {
    const CUnicodeSet left = u"abc", right = u"cd\u0416";
    EXPECT_TRUE((left | right) == CUnicodeSet(u"abcd\u0416") && (left | u'd') == CUnicodeSet(u"abcd"));
    EXPECT_TRUE((left & right) == CUnicodeSet(u"c") && (left & u'd') == CUnicodeSet());
    EXPECT_TRUE((left - right) == CUnicodeSet(u"ab") && (left - u'b') == CUnicodeSet(u"ac"));
    EXPECT_TRUE((left ^ right) == CUnicodeSet(u"abd\u0416") && (left ^ u'd') == CUnicodeSet(u"abcd"));
    EXPECT_TRUE(left == CUnicodeSet(u"cba") && ~~left == left);
    const std::u16string_view text(u"cab\0d", 5);
    EXPECT_TRUE(left == CUnicodeSet(text) && (left == CUnicodeSet{u'c', u'b', u'a'}) &&
                left == CUnicodeSet(text.begin(), text.begin() + 3));
    static_assert(std::ranges::forward_range<CUnicodeSet> &&
                  std::is_same_v<CUnicodeSet::value_type, std::ranges::range_value_t<CUnicodeSet>>);
}

TEST(UnicodeSet, FindsTheUnitsOfATextThatItHasOrLacks) {
    const CUnicodeSet digits = u"0123456789";
    EXPECT_TRUE(digits.Has(u"42") && digits.Has(u"") && !digits.Has(u"4x") && !digits.Has(u"\u0661"));
    EXPECT_TRUE(digits.HasOneOf(u"x4") && !digits.HasOneOf(u"") && !digits.HasOneOf(u"x"));
    const char16_t* text = u"x1y";
    EXPECT_TRUE(digits.FirstIncluding(text) == text + 1 && digits.FirstExcluding(text + 1) == text + 2);
    EXPECT_TRUE(digits.FirstIncluding(text + 2) == nullptr && digits.FirstExcluding(u"") == nullptr);
}
