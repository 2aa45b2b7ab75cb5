#include "faults.h"

#include <tarnkit/hashing.h>
#include <tarnkit/unicode_string.h>

using namespace Tarn;

TEST(Hashing, BucketCountsAreTheNextPrimeOfTheTable) {
    const int cases[][2] = {{INT_MIN, 31},           {0, 31}, {30, 31}, {31, 53}, {53, 97}, {98317, 196613},
                            {1610612740, 1610612741}};
    for (auto& [above, prime] : cases)
        EXPECT_EQ(UpperPrimeNumber(above), prime);
    EXPECT_EQ(AssertionOf([] { UpperPrimeNumber(1610612741); }), u"Map:27");
}

TEST(Hashing, TextHashesAreTimes33OverSignedBytesOrUnsignedUnits) {
    EXPECT_EQ(HashKey(""), 0);
    EXPECT_EQ(HashKey("ab"), 3299);
    EXPECT_EQ(HashKey("\xE9"), -23);
    EXPECT_EQ(HashKey(u"\u00E9"), 233);
    EXPECT_EQ(HashKey(u"\uFFFF\uFFFF"), 0xFFFF * 34);
    EXPECT_EQ(HashKey("a text long enough to wrap around"), HashKey(u"a text long enough to wrap around"));
    const unsigned short oldText[] = {0xE9, 0xFFFF, 0}, sameText[] = {0xE9, 0xFFFF, 0};
    EXPECT_EQ(HashKey(oldText), HashKey(u"\u00E9\uFFFF"));
    EXPECT_TRUE(AreMapKeysEqual(oldText, sameText) && AreHashTableKeysEqual(oldText, sameText));
    EXPECT_FALSE(AreMapKeysEqual(oldText, oldText + 1) || AreHashTableKeysEqual(oldText, oldText + 1));
    const wchar_t wide[] = L"ab", sameWide[] = L"ab";
    EXPECT_EQ(HashKey(wide) == 3299, kIsWideTextUtf16)
        << "hashed as an address where wide text is not 16-bit";
    EXPECT_EQ(AreMapKeysEqual(wide, sameWide), kIsWideTextUtf16);
    EXPECT_EQ(AreHashTableKeysEqual(wide, sameWide), kIsWideTextUtf16);
    // A string has the hash of its text.
    EXPECT_EQ(HashKey(CString("\xE9")), -23);
    EXPECT_EQ(HashKey(CUnicodeString(u"ab")), 3299);
}

TEST(Hashing, NumbersHaveTheSameHashesWhateverTheSystemsTypes) {
    EXPECT_EQ(HashKey('\xE9'), -23);
    EXPECT_EQ(HashKey(-2L), -2);
    EXPECT_EQ(HashKey(Int64{-2}), -2);
    EXPECT_EQ(HashKey(Int64{-1} << 32), -33);
    EXPECT_EQ(HashKey(0xFFFFFFFFUL), -1);
}

TEST(Hashing, MemoryHashesTakeWordsThenBytes) {
    const unsigned char block[] = {1, 0, 0, 0, 2, 0xFF, 0, 0x80};
    EXPECT_EQ(HashMemoryBlock(block, 0), 0);
    EXPECT_EQ(HashMemoryBlock(block, 3), 33 * 33);
    EXPECT_EQ(HashMemoryBlock(block, 5), 35);
    EXPECT_EQ(HashMemoryBlock(block + 1, 4), 0x02000000) << "an unaligned block";
    EXPECT_EQ(HashMemoryBlock(block, 8), static_cast<int>(33 + 0x8000FF02U));
}

TEST(Hashing, KeysAreEqualByTextByValueOrByAddress) {
    char text[] = "key", sameText[] = "key";
    EXPECT_TRUE(AreMapKeysEqual(text, sameText)) << "writable text is text too";
    EXPECT_FALSE(AreHashTableKeysEqual("key", "Key"));
    EXPECT_FALSE(AreMapKeysEqual(u"", u"a"));
    EXPECT_TRUE(AreMapKeysEqual(CUnicodeString(u"key"), CUnicodeString(u"k") + u"ey"));
    EXPECT_TRUE(AreHashTableKeysEqual(CUnicodeString(u"key"), u"key"));
    const int number = 1, sameNumber = 1;
    EXPECT_FALSE(AreMapKeysEqual(&number, &sameNumber));
    EXPECT_NE(HashKey(0x100000000), HashKey(0x200000000)) << "the upper half counts";
}
