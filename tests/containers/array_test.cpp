#include "faults.h"

#include <tarnkit/pointer_array.h>
#include <tarnkit/unicode_string.h>

#include <list>
#include <ranges>
#include <span>
#include <sstream>

using namespace Tarn;

TEST(Array, GrowsToWhatIsNeededByHalfTheCapacityOrByEight) {
    EXPECT_EQ(GrownCapacity(0, 1), 8);
    EXPECT_EQ(GrownCapacity(16, 17), 24);
    EXPECT_EQ(GrownCapacity(24, 25), 36);
    EXPECT_EQ(GrownCapacity(36, 100), 100);
    EXPECT_EQ(GrownCapacity(2000000000, 2000000001), 2000000001) << "half as much again is not an int";
}

// Random operations on an array and on a vector, each allowed a random number of blocks: an operation that
// fails must not have changed anything.
template<class Element>
void compareWithVector() {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CArray<Element> array;
    std::vector<int> model;
    int failures = 0;
    for (int step = 0; step < 20000; step++) {
        const int size = array.Size(), at = Random(size), number = Random(size - at);
        const int newSize = Random(size > 60 ? size : 2 * size);
        const Element fresh(step);
        const Element& value = size > 0 && Random(1) == 0 ? array[Random(size - 1)] : fresh;
        std::vector<int> next = model;
        next.reserve(200); // no operation below makes it allocate
        const auto place = next.begin() + at;
        const std::function<void()> operations[] = {
            [&] { next.erase(place, place + number), array.DeleteAt(at, number); },
            [&] { next.resize(static_cast<std::size_t>(newSize)), array.SetSize(newSize); },
            [&] { next.insert(next.end(), model.begin(), model.end()), array.Append(array); },
            [&] { next.clear(), array = CArray<Element>(); },
            [&] { next.insert(place, value), array.InsertAt(at, value); },
            [&] { next.push_back(value), array.Add(value); },
            [&] { next.push_back(value), array.emplace_back(value); }};
        const auto& operation = operations[Random(size > 60 ? 1 : 6)];
        const bool isDone = manager.TryWith(Random(size + 2), [&] { operation(); });
        failures += isDone ? 0 : 1;
        if (isDone)
            model = next;
        ASSERT_TRUE(std::equal(array.begin(), array.end(), model.begin(), model.end())) << "step " << step;
    }
    EXPECT_GT(failures, 1000);
}

TEST(Array, MovesElementsWithoutCopyingAlthoughTheirDestructorsAreNotNoexcept) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CArray<CBox<true>> array(20);
    EXPECT_TRUE(manager.TryWith(1, [&] { array.Reserve(100); }));
}

TEST(Array, AddsAnElementOfItsOwnWhenItsBufferIsMovedByTheSystem) {
    CArray<int> array(1);
    CArray<CUnicodeString> texts{u"text"};
    for (int i = 1; i < 300'000; i++) {
        array.Last() = i;
        array.Add(array.Last());
        texts.Add(texts.Last());
    }
    for (int i = 0; i < array.Size() - 1; i++)
        ASSERT_TRUE(array[i] == i + 1 && texts[i] == u"text");
}

TEST(Array, AgreesWithAVectorAndFailuresChangeNothing) {
    compareWithVector<CBox<true>>();
    compareWithVector<CBox<false>>();
}

// Elements that move by a copy of their bytes, by moves that cannot fail, and by whatever they offer.
template<class Element, class Maker>
void insertEverywhere(Maker make) {
    CArray<Element> array;
    std::vector<Element> model;
    for (int i = 0; i < 300; i++) {
        const int at = Random(i);
        const bool isOwn = i > 0 && i % 5 == 0;
        Element value = isOwn ? array[i / 2] : Element(make(i));
        isOwn ? array.InsertAt(at, array[i / 2]) : array.InsertAt(at, value);
        model.insert(model.begin() + at, std::move(value));
        ASSERT_TRUE(std::ranges::equal(array, model)) << i;
    }
}

TEST(Array, InsertsAnywhereAlsoAnElementOfItsOwn) {
    const auto textOf = [](int number) { return std::string(static_cast<std::size_t>(number % 40), 'x'); };
    insertEverywhere<int>(std::identity());
    insertEverywhere<CString>(textOf);
    insertEverywhere<std::string>(textOf);
    insertEverywhere<CBox<true>>(std::identity());
}

static_assert(std::ranges::contiguous_range<CArray<int>> && std::ranges::sized_range<const CArray<int>> &&
              std::ranges::contiguous_range<CPointerArray<int>> &&
              std::is_convertible_v<CArray<int>&, std::span<int>> &&
              std::is_convertible_v<const CArray<int>&, std::span<const int>> &&
              !std::is_constructible_v<CArray<int>, std::vector<std::string>> &&
              !std::is_convertible_v<std::vector<int>, CArray<int>>);

TEST(Array, IsAContainerOfTheStandardLibrary) {
    std::istringstream numbers("3 1 2");
    CArray<int> array(std::istream_iterator<int>{numbers}, std::istream_iterator<int>{});
    std::ranges::copy(std::list{5, 4}, std::back_inserter(array));
    EXPECT_EQ(array, (CArray<int>(std::list{3, 1, 2, 5, 4}))) << "gone through once, and more than once";
    std::ranges::sort(std::span(array).subspan(1));
    const int middle = 4;
    EXPECT_EQ(
        array.BinarySearch(1, [&](const int* a, const int* b) { return (*a > middle) - (*b > middle); }), 0);
    EXPECT_EQ(testing::PrintToString(array), "{ 3, 1, 2, 4, 5 }");

    CArray<CUnicodeString> texts;
    EXPECT_EQ(texts.emplace_back(u'x', 3), u"xxx");
    texts.push_back(u"y");
    for (int i = 0; i < 20; i++)
        texts.emplace_back(texts[i].Ptr(), 2); // while the buffer moves
    EXPECT_TRUE(texts.size() == 22 && !texts.empty() && texts[20] == u"xx" && texts[21] == u"y");
    CPointerArray<int> pointers;
    for (int& number : array)
        pointers.push_back(&number);
    EXPECT_TRUE(pointers.size() == 5 && !(pointers == CPointerArray<int>()));
}

TEST(Array, RefusesWrongPositionsAndCounts) {
    CArray<int> array{1, 2, 3};
    const struct { int position, number; } wrong[] = {{-1, 1}, {0, -1}, {0, 4}, {4, 0}, {2, INT_MAX}};
    for (auto& w : wrong)
        EXPECT_NE(AssertionOf([&] { array.DeleteAt(w.position, w.number); }), u"none") << w.position;
    EXPECT_NE(AssertionOf([&] { array.InsertAt(4, 0); }), u"none");
    EXPECT_NE(AssertionOf([&] { array.SetSize(-1); }), u"none");
    EXPECT_EQ(array, (CArray<int>{1, 2, 3}));
}

// Includes orders that contradict themselves: the sanitizers check that nothing outside the array is touched.
TEST(Array, SortsByAnyComparisonWithoutLosingAnElement) {
    using Element = std::pair<int, int>; // the key, and the position before sorting
    using Compare = int (*)(const Element*, const Element*);
    const Compare byKey = [](const Element* a, const Element* b) { return a->first - b->first; };
    const Compare comparisons[] = {
        byKey, [](const Element* a, const Element* b) { return a->first <= b->first ? -1 : 1; },
        [](const Element*, const Element*) { return -1; },
        [](const Element*, const Element*) { return Random(2) - 1; }};
    for (const int count : {0, 1, 2, 16, 17, 100, 129, 5000})
        for (const int greatestKey : {0, 3, 1'000'000})
            for (const Compare compare : comparisons)
                for (const bool isStable : {false, true}) {
                    CArray<Element> array;
                    for (int i = 0; i < count; i++) // rising and falling, or at random
                        array.Add({count == 100 ? std::min(i, count - i) : Random(greatestKey), i});
                    std::vector<Element> expected(array.begin(), array.end());
                    CArray<Element> source = array;
                    CPointerArray<Element> pointers;
                    for (Element& element : source)
                        pointers.Add(&element);
                    array.Sort(compare, isStable);
                    pointers.Sort(compare, isStable);
                    for (int i = 0; compare == byKey && i < count; i++)
                        ASSERT_TRUE(i == 0 || (byKey(&array[i - 1], &array[i]) <= 0 &&
                                               byKey(pointers[i - 1], pointers[i]) <= 0));
                    std::ranges::sort(expected);
                    if (!isStable || compare != byKey) {
                        std::ranges::sort(array);
                        std::ranges::sort(pointers, {}, [](const Element* element) { return *element; });
                    }
                    EXPECT_TRUE(std::ranges::equal(array, expected)) << count;
                    EXPECT_TRUE(
                        std::ranges::equal(pointers, expected, {}, [](const Element* e) { return *e; }));
                }
}

TEST(Array, HoldsStringsAndFindsThemByText) {
    CArray<CUnicodeString> array{u"b", u"a", u"c", u"a"};
    EXPECT_EQ(array.Find(u"a"), 1);
    EXPECT_EQ(array.Find(CUnicodeString(u"a"), 2), 3);
    EXPECT_FALSE(array.Has(u"d"));
    array.Sort(&CUnicodeString::Cmp);
    array.DeleteAdjacentDuplicates();
    EXPECT_EQ(array, (CArray<CUnicodeString>{u"a", u"b", u"c"}));
    int place = -1;
    EXPECT_EQ(array.BinarySearch(u"bb", &CUnicodeString::Cmp, &place), -1);
    EXPECT_EQ(place, 2);
}
