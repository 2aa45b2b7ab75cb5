#include "faults.h"

#include <tarnkit/map.h>
#include <tarnkit/unicode_string.h>

#include <ranges>

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
        const bool isKnown = known != model.end(), isDeletion = Random(2) == 0, isAsked = Random(1) == 0;
        ASSERT_EQ(map.Has(key), isKnown);
        const bool isDone = manager.TryWith(Random(5), [&] {
            if (isDeletion)
                EXPECT_EQ(map.Delete(key), isKnown);
            else if (isAsked)
                map.FindOrInsert(key, step);
            else
                map.Set(key, step);
        });
        failures += isDone ? 0 : 1;
        ASSERT_TRUE(isDone || !isDeletion);
        if (isKnown && isDeletion)
            model.erase(known);
        else if (isKnown && isDone)
            known->second = isAsked ? known->second : step;
        else if (isDone && !isDeletion)
            model.emplace_back(number, step);
        ASSERT_TRUE(holds(map, model)) << "step " << step;
    }
    EXPECT_GT(failures, 1000);
    EXPECT_TRUE(holds(CMap(map), model));
}

static_assert(std::ranges::forward_range<CMap<int, int>> &&
              std::ranges::forward_range<const CMap<int, int>> &&
              std::ranges::forward_range<CHashTable<CString>> &&
              std::is_same_v<CMap<int, CString>::mapped_type, CString>);

TEST(Map, IsBuiltFromListsAndRangesAndComparesItsPairs) {
    CMap<CUnicodeString, int> map{{u"a", 1}, {u"b", 2}, {u"a", 3}};
    EXPECT_EQ(map, (CMap<CUnicodeString, int>{{u"b", 2}, {u"a", 1}})) << "the first of equal keys stays";
    const std::map<std::u16string, int> standard{{u"a", 1}, {u"b", 2}};
    EXPECT_EQ(map, (CMap<CUnicodeString, int>(standard.begin(), standard.end())));
    EXPECT_EQ(map[u"a"]++, 1);
    EXPECT_FALSE((map == CMap<CUnicodeString, int>(standard.begin(), standard.end())));
    EXPECT_TRUE(map.Insert(u"d", 1) && !map.Insert(std::u16string(u"d"), 2) && map.Delete(u"d"));
    EXPECT_EQ(map.Set(std::u16string_view(u"c"), 3), 3);
    EXPECT_EQ(map.Set(u"c", 0), 0);
    EXPECT_EQ(++map[std::u16string_view(u"c")], 1);
    EXPECT_FALSE((map == CMap<CUnicodeString, int>{{u"b", 2}, {u"a", 2}}) ||
                 (map == CMap<CUnicodeString, int>{{u"b", 2}, {u"a", 2}, {u"d", 1}}));
    EXPECT_EQ((CMap<int, int>{30}).Size(), 0) << "one number is a size";
    EXPECT_EQ(std::ranges::distance(map), 3);

    const std::vector<std::string> names{"y", "x", "y"};
    const CHashTable<CString> table(names.begin(), names.end());
    EXPECT_EQ(table, (CHashTable<CString>{"x", "y"}));
    EXPECT_NE(table, (CHashTable<CString>{"x", "z"}));
}

// Such texts find a string without another string being made.
static_assert(CTextKeyOf<char[4], CString> && CTextKeyOf<const char*, CString> &&
              CTextKeyOf<std::string_view, CString> && CTextKeyOf<std::u16string, CUnicodeString>);
static_assert(!CTextKeyOf<CString, CString> && !CTextKeyOf<std::string, CUnicodeString> &&
              !CTextKeyOf<const char*, const char*> && !CTextKeyOf<int, CString>);

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
