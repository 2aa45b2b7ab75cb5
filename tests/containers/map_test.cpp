#include "faults.h"

#include <tarnkit/map.h>
#include <tarnkit/unicode_string.h>

#include <map>
#include <vector>

using namespace Tarn;

namespace {

// A key type of a client, most of whose keys share a chain, and whose copies need memory.
struct CClientKey : CBox<false> {
    using CBox::CBox;
};

int HashKey(const CClientKey& key) { return key % 7; }

template<class Map>
std::vector<int> valuesOf(const Map& map) {
    std::vector<int> result;
    for (auto& [key, value] : map)
        result.push_back(value);
    return result;
}

} // namespace

// As for the array: random operations with few blocks left, compared with what a map of the standard library
// and a list of the keys by age say.
TEST(Map, FindsWhatAStandardMapFindsInOrderOfInsertionAndFailuresChangeNothing) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CMap<CClientKey, CBox<true>> map;
    std::map<int, int> model;
    std::vector<int> age;
    int failures = 0;
    for (int step = 0; step < 20000; step++) {
        const int number = Random(200);
        const CClientKey key(number);
        const bool isKnown = model.contains(number);
        const int operation = Random(3);
        bool result = false;
        const bool isDone = manager.TryWith(Random(5), [&] {
            if (operation == 0)
                result = map.Set(key, step) == step;
            else if (operation == 1)
                result = map.Insert(key, step);
            else
                result = map.Delete(key);
        });
        failures += !isDone;
        if (isDone && operation > 1) {
            EXPECT_EQ(result, isKnown);
            model.erase(number);
            std::erase(age, number);
        } else if (isDone) {
            EXPECT_NE(result, operation == 1 && isKnown) << "inserted, or set";
            if (!isKnown)
                age.push_back(number);
            if (operation == 0 || !isKnown)
                model[number] = step;
        } else {
            EXPECT_LE(operation, 1) << "deleting needs no memory";
        }
        ASSERT_EQ(map.Size(), static_cast<int>(model.size()));
        ASSERT_EQ(map.Has(key), model.contains(number));
        if (step % 100 == 0) {
            std::vector<int> expected;
            for (const int old : age)
                expected.push_back(model[old]);
            const CMap<CClientKey, CBox<true>> copy = map;
            ASSERT_EQ(valuesOf(map), expected) << "step " << step;
            ASSERT_EQ(valuesOf(copy), expected);
        }
    }
    EXPECT_GT(failures, 1000);
    EXPECT_GT(map.BucketCount(), 31);
}

TEST(Map, PairsCanBeDeletedAndAddedWhileIterating) {
    CMap<int, int> map;
    for (int i = 0; i < 100; i++)
        map.Set(i, i);
    for (auto place = map.begin(); place != map.end();) {
        if (place->key < 100)
            map.Set(place->key + 100, place->value);
        if (place->key % 2 == 0)
            place = map.Delete(place);
        else
            ++place;
    }
    EXPECT_EQ(map.Size(), 100);
    EXPECT_FALSE(map.Has(150));
    EXPECT_EQ(*map.Find(151), 51);
}

TEST(Map, IsAskedByTextForStrings) {
    CMap<CUnicodeString, int> map;
    map.Set(u"one", 1);
    map.Set(CUnicodeString(u"o") + u"ne", 11);
    map.Set(u"", 0);
    EXPECT_EQ(map.Size(), 2);
    EXPECT_EQ(*map.Find(u"one"), 11);
    EXPECT_EQ(map.Find(u"One"), nullptr);
    EXPECT_TRUE(map.Delete(u""));
    CMap<CUnicodeString, int> moved = std::move(map);
    EXPECT_TRUE(map.IsEmpty());
    map = moved;
    moved.Set(u"two", 2);
    EXPECT_EQ(map.Size(), 1);
    EXPECT_EQ(moved.Size(), 2);

    CMap<const char*, int> byText;
    byText.Set("key", 1);
    const CString sameText = CString("k") + "ey";
    EXPECT_TRUE(byText.Has(sameText.Ptr()));
}
