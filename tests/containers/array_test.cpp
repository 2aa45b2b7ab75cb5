#include "faults.h"

#include <tarnkit/array.h>
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
