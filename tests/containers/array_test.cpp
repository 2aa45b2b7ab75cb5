#include "faults.h"

#include <tarnkit/pointer_array.h>
#include <tarnkit/unicode_string.h>

#include <algorithm>
#include <climits>
#include <vector>

using namespace Tarn;

TEST(Array, GrowsByTheMissingPartOrHalfTheCapacityOrEight) {
    EXPECT_EQ(GrownCapacity(0, 1), 8);
    EXPECT_EQ(GrownCapacity(16, 17), 24);
    EXPECT_EQ(GrownCapacity(24, 25), 36);
    EXPECT_EQ(GrownCapacity(36, 100), 100);
    EXPECT_EQ(GrownCapacity(2000000000, 2000000001), 2000000001) << "half more would not be an int";
}

// Random operations on an array and on a vector, each with a random number of blocks left to it: what fails
// must have changed nothing.
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
        next.reserve(200); // so that it asks for nothing below
        const auto place = next.begin() + at;
        const bool isDone = manager.TryWith(Random(size + 2), [&] {
            switch (size > 60 ? Random(1) : Random(5)) {
            case 0:
                next.erase(place, place + number);
                return array.DeleteAt(at, number);
            case 1:
                next.resize(static_cast<std::size_t>(newSize));
                return array.SetSize(newSize);
            case 2:
                next.insert(next.end(), model.begin(), model.end());
                return array.Append(array);
            case 3:
                next.clear();
                array = CArray<Element>();
                return;
            case 4:
                next.insert(place, value);
                return array.InsertAt(at, value);
            default:
                next.push_back(value);
                return array.Add(value);
            }
        });
        failures += !isDone;
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

TEST(Array, DoesWhatAVectorDoesAndFailuresChangeNothing) {
    compareWithVector<CBox<true>>();
    compareWithVector<CBox<false>>();
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

namespace {

struct CKeyed {
    int key;
    int place; // before sorting
};

int byKey(const CKeyed* a, const CKeyed* b) { return a->key - b->key; }

bool isInOrder(const CKeyed& a, const CKeyed& b) { return a.key <= b.key; }

bool isInStableOrder(const CKeyed& a, const CKeyed& b) {
    return a.key < b.key || (a.key == b.key && a.place < b.place);
}

// The elements that `sort` makes of an array and of an array of pointers to its elements.
template<class Compare>
std::vector<CArray<CKeyed>> sorted(const CArray<CKeyed>& elements, Compare compare, bool isStable) {
    CArray<CKeyed> array = elements, target, source = elements;
    array.Sort(compare, isStable);
    CPointerArray<CKeyed> pointers;
    for (CKeyed& element : source)
        pointers.Add(&element);
    pointers.Sort(compare, isStable);
    for (const CKeyed* pointer : pointers)
        target.Add(*pointer);
    return {array, target};
}

bool everyPlaceIsThereOnce(const CArray<CKeyed>& array) {
    std::vector<bool> places(static_cast<std::size_t>(array.Size()));
    for (const CKeyed& element : array)
        places.at(static_cast<std::size_t>(element.place)).flip();
    return std::ranges::count(places, true) == array.Size();
}

} // namespace

// With an order that contradicts itself the sanitizers watch that nothing outside the array is touched.
TEST(Array, SortsByAnyComparisonWithoutLosingAnElement) {
    const struct {
        int (*compare)(const CKeyed*, const CKeyed*);
        bool isAnOrder;
    } comparisons[] = {{byKey, true},
                       {[](const CKeyed* a, const CKeyed* b) { return a->key <= b->key ? -1 : 1; }, false},
                       {[](const CKeyed*, const CKeyed*) { return -1; }, false},
                       {[](const CKeyed*, const CKeyed*) { return Random(2) - 1; }, false}};
    for (const int count : {0, 1, 2, 16, 17, 100, 129, 5000})
        for (const int greatestKey : {0, 3, 1'000'000})
            for (auto& [compare, isAnOrder] : comparisons) {
                CArray<CKeyed> elements;
                for (int i = 0; i < count; i++) // rising and falling, or at random
                    elements.Add({count == 100 ? std::min(i, count - i) : Random(greatestKey), i});
                for (const bool isStable : {false, true})
                    for (const CArray<CKeyed>& result : sorted(elements, compare, isStable)) {
                        EXPECT_TRUE(everyPlaceIsThereOnce(result)) << count;
                        for (int i = 1; isAnOrder && i < count; i++)
                            ASSERT_TRUE((isStable ? isInStableOrder : isInOrder)(result[i - 1], result[i]));
                    }
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
