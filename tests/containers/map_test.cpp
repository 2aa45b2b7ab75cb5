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

// As for the array: random operations with few blocks left, compared with a map of the standard library and a
// list of the keys by age.
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
        const bool isDeletion = Random(2) == 0;
        const bool isDone = manager.TryWith(Random(5), [&] {
            if (isDeletion)
                EXPECT_EQ(map.Delete(key), model.contains(number));
            else
                map.Set(key, step);
        });
        failures += !isDone;
        ASSERT_TRUE(isDone || !isDeletion);
        if (isDeletion) {
            model.erase(number);
            std::erase(age, number);
        } else if (isDone) {
            if (!model.contains(number))
                age.push_back(number);
            model[number] = step;
        }
        std::vector<int> expected;
        for (const int old : age)
            expected.push_back(model[old]);
        ASSERT_EQ(valuesOf(map), expected) << "step " << step;
        ASSERT_EQ(map.Has(key), model.contains(number));
    }
    EXPECT_GT(failures, 1000);
    EXPECT_EQ(valuesOf(CMap<CClientKey, CBox<true>>(map)), valuesOf(map));
}

TEST(Map, PairsCanBeDeletedAndAddedWhileIterating) {
    CMap<int, int> map;
    EXPECT_TRUE(map.Insert(0, 0));
    EXPECT_FALSE(map.Insert(0, 1));
    for (auto place = map.begin(); place != map.end(); place = map.Delete(place))
        if (place->key < 100)
            map.Set(place->key + 1, place->value + 1);
        else
            EXPECT_EQ(place->value, 100);
    EXPECT_TRUE(map.IsEmpty());
}

TEST(Map, IsAskedByTextForStrings) {
    CMap<CUnicodeString, int> map;
    map.Set(u"one", 1);
    map.Set(CUnicodeString(u"o") + u"ne", 11);
    EXPECT_EQ(map.Size(), 1);
    EXPECT_EQ(*map.Find(u"one"), 11);
    EXPECT_EQ(map.Find(u"One"), nullptr);

    CMap<const char*, int> byText;
    byText.Set("key", 1);
    const CString sameText = CString("k") + "ey";
    EXPECT_TRUE(byText.Has(sameText.Ptr()));
}
