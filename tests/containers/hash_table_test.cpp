#include "faults.h"

#include <tarnkit/hash_table.h>
#include <tarnkit/unicode_string.h>

using namespace Tarn;

namespace {

// An element that contains its key, the name.
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
    EXPECT_EQ(people.Find(CPerson{u"Bob", 0})->age, 40);
    EXPECT_TRUE(people.DeleteByKey(u"Ann"));
    EXPECT_EQ(people.begin()->name, u"Bob");
}

TEST(HashTable, HasAPrimeNumberOfBucketsThatKeepsUpWithItsElements) {
    CHashTable<int> table(100);
    EXPECT_EQ(table.BucketCount(), 0) << "no memory before the first insertion";
    EXPECT_FALSE(table.Has(1));
    for (int i = 0; i < 193; i++)
        table.Insert(i);
    EXPECT_EQ(table.BucketCount(), 193);
    table.Insert(193);
    EXPECT_EQ(table.BucketCount(), 389);
    table.FreeBuffer();
    EXPECT_TRUE(table.Insert(7));
}
