#include "faults.h"

#include <tarnkit/map.h>

using namespace Tarn;

namespace {

// A client's key type: most keys share a chain, and copies need memory.
struct CClientKey : CBox<false> {
    using CBox::CBox;
};

int HashKey(const CClientKey& key) { return key % 7; }

using Pair = std::pair<int, int>;

bool holds(const CMap<CClientKey, CBox<true>>& map, const std::vector<Pair>& pairs) {
    return std::equal(map.begin(), map.end(), pairs.begin(), pairs.end(),
                      [](auto& held, auto& pair) { return Pair(held.key, held.value) == pair; });
}

} // namespace

// As for arrays: random operations that are allowed few blocks, compared with pairs in order of insertion.
TEST(Map, HoldsPairsInOrderOfInsertionAndFailuresChangeNothing) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CMap<CClientKey, CBox<true>> map;
    std::vector<Pair> model;
    int failures = 0;
    for (int step = 0; step < 20000; step++) {
        const int number = Random(200);
        const CClientKey key(number);
        const auto known = std::ranges::find(model, number, &Pair::first);
        const bool isKnown = known != model.end(), isDeletion = Random(2) == 0;
        ASSERT_EQ(map.Has(key), isKnown);
        const bool isDone = manager.TryWith(Random(5), [&] {
            if (isDeletion)
                EXPECT_EQ(map.Delete(key), isKnown);
            else
                map.Set(key, step);
        });
        failures += isDone ? 0 : 1;
        ASSERT_TRUE(isDone || !isDeletion);
        if (isKnown && isDeletion)
            model.erase(known);
        else if (isKnown && isDone)
            known->second = step;
        else if (isDone && !isDeletion)
            model.emplace_back(number, step);
        ASSERT_TRUE(holds(map, model)) << "step " << step;
    }
    EXPECT_GT(failures, 1000);
    EXPECT_TRUE(holds(CMap(map), model));
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

TEST(Map, RoomOfDeletedPairsServesLaterOnes) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CMap<int, int> map;
    const auto insert = [&map] {
        for (int i = 0; i < 3000; i++)
            map.Insert(i, i);
    };
    insert();
    const int* const last = map.Find(2999);
    for (int i = 2999; i >= 0; i--)
        map.Delete(i);
    EXPECT_TRUE(manager.TryWith(0, insert) && map.Find(2999) == last);
    map.DeleteAll();
    EXPECT_FALSE(manager.TryWith(0, insert)) << "all of it was returned";
}
