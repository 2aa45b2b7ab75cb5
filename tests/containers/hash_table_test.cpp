#include "faults.h"

#include <tarnkit/hash_table.h>
#include <tarnkit/unicode_string.h>

#include <unordered_set>

using namespace Tarn;

namespace {

// An element that holds its key: found by name alone.
struct CPerson {
    CUnicodeString name;
    int age;
};

int HashKey(const CPerson& person) { return HashOfKey(person.name); }
bool AreHashTableKeysEqual(const CPerson& a, const CPerson& b) { return a.name == b.name; }
bool AreHashTableKeysEqual(const CPerson& person, const char16_t* name) { return person.name == name; }

} // namespace

TEST(HashTable, FindsElementsByTheirKeyAlone) {
    CHashTable<CPerson> people;
    EXPECT_TRUE(people.Insert({u"Ann", 30}));
    EXPECT_TRUE(people.Insert({u"Bob", 40}));
    EXPECT_FALSE(people.Insert({u"Ann", 99}));
    EXPECT_EQ(people.FindByKey(u"Ann")->age, 30);
    people.FindByKey(u"Bob")->age++;
    EXPECT_EQ(people.Find(CPerson{u"Bob", 0})->age, 41);
    EXPECT_TRUE(people.DeleteByKey(u"Ann"));
    EXPECT_FALSE(people.DeleteByKey(u"Ann"));
    EXPECT_EQ(people.begin()->name, u"Bob");
}

TEST(HashTable, HasTheElementsOfAStandardSet) {
    CHashTable<Int64> table;
    std::unordered_set<Int64> model;
    for (int step = 0; step < 20000; step++) {
        const Int64 number = Int64{Random(400)} << 32;
        if (Random(2) > 0)
            ASSERT_EQ(table.Insert(number), model.insert(number).second);
        else
            ASSERT_EQ(table.Delete(number), model.erase(number) > 0);
        ASSERT_EQ(table.Size(), static_cast<int>(model.size()));
    }
    for (const Int64 number : table)
        EXPECT_TRUE(model.contains(number));
}

TEST(HashTable, HasThePrimeOfItsSizeAndGoesUpWhenElementsOutnumberBuckets) {
    CHashTable<int> table(100);
    EXPECT_EQ(table.BucketCount(), 0) << "no memory before the first insertion";
    EXPECT_FALSE(table.Has(1));
    for (int i = 0; i < 193; i++)
        table.Insert(i);
    EXPECT_EQ(table.BucketCount(), 193);
    table.Insert(193);
    EXPECT_EQ(table.BucketCount(), 389);
    table.DeleteAll();
    EXPECT_EQ(table.BucketCount(), 389);
    EXPECT_EQ(table.begin(), table.end());
    table.FreeBuffer();
    table.Insert(7);
    EXPECT_EQ(table.Size(), 1);
}

TEST(HashTable, RefusedMemoryLeavesItAsItWas) {
    CRefusingManager manager;
    CMemoryManagerSwitcher switcher(&manager);
    CHashTable<CBox<false>> table;
    EXPECT_FALSE(manager.TryWith(0, [&] { table.Insert(1); }));
    for (int i = 0; i < 31; i++)
        table.Insert(i);
    for (int blocks = 0; blocks < 3; blocks++) {
        EXPECT_FALSE(manager.TryWith(blocks, [&] { table.Insert(31); })) << blocks;
        EXPECT_FALSE(table.Has(31));
        EXPECT_FALSE(manager.TryWith(blocks, [&] { auto copy = table; }));
    }
    EXPECT_TRUE(table.Insert(31));
    EXPECT_EQ(table.BucketCount(), 53);
}
