// What registry calls do that scripts/compare-ports leaves out: it makes random calls with every kind of
// name, right, buffer and deleted key on both ports, and tests/threads makes them on many threads. Every test
// works below a fresh key, which is removed at the end.
#include "tests/platform/registry_calls.h"

namespace Tarn::Platform {

namespace {

using Names = std::vector<Text>;
using Numbers = std::vector<DWORD>;

constexpr char16_t kScratch[] = u"Software\\TarnkitRegistryTest";

Text subKeyAt(HKEY key, DWORD index) {
    char16_t name[300];
    DWORD size = 300;
    return RegEnumKeyExW(key, index, name, &size) == 0 ? Text(name, size) : Text();
}

Names subKeys(HKEY key) {
    Names names;
    for (DWORD index = 0; !subKeyAt(key, index).empty(); index++)
        names.push_back(subKeyAt(key, index));
    return names;
}

void deleteTree(HKEY parent, const Text& name) {
    if (tryOpen(parent, name) != ERROR_SUCCESS)
        return;
    for (const Text& subKey : subKeys(Key(parent, name, KEY_READ)))
        deleteTree(parent, name + u"\\" + subKey);
    EXPECT_EQ(RegDeleteKeyW(parent, name.c_str()), 0);
}

class Registry : public testing::Test {
protected:
    ~Registry() override { deleteTree(HKEY_CURRENT_USER, kScratch); }

    static const char16_t* cleaned() {
        deleteTree(HKEY_CURRENT_USER, kScratch);
        return kScratch;
    }

    const Key scratch{HKEY_CURRENT_USER, cleaned()};
};

} // namespace

TEST_F(Registry, CreatesIntermediateKeysAndFindsThemWithoutRegardToCase) {
    for (const char16_t* name : {u"First\\Ünï\\Жук\\", u"fIRST\\üNÏ\\жУК"}) {
        HKEY key;
        DWORD disposition = 0;
        ASSERT_EQ(RegCreateKeyExW(scratch, name, KEY_READ, &key, &disposition), 0);
        EXPECT_EQ(disposition, *name == u'F' ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY);
        Platform::RegCloseKey(key);
    }
    EXPECT_EQ(subKeys(Key(scratch, u"FIRST", KEY_READ)), Names{u"Ünï"});

    const Text lone = {u'a', 0xD800, u'b', 0xDC00};
    const Key odd(scratch, lone);
    EXPECT_EQ(tryOpen(scratch, lone), ERROR_SUCCESS);
    EXPECT_EQ(subKeys(scratch), (Names{lone, u"First"}));
}

TEST_F(Registry, RefusesBadHandlesPointersAndLongNames) {
    HKEY key = nullptr;
    char16_t name[10];
    DWORD size = 10;
    ASSERT_EQ(RegOpenKeyExW(scratch, u"", 0, KEY_READ, &key), 0);
    const HKEY closed = key;
    expectEach(ERROR_SUCCESS, {Platform::RegCloseKey(closed), Platform::RegCloseKey(HKEY_CURRENT_USER)});
    expectEach(ERROR_INVALID_HANDLE,
               {RegOpenKeyExW(nullptr, u"x", 0, KEY_READ, &key), Platform::RegCloseKey(closed),
                Platform::RegCloseKey(nullptr), RegOpenKeyExW(closed, u"x", 0, KEY_READ, &key),
                RegEnumKeyExW(closed, 0, name, &size), Platform::RegFlushKey(closed)});
    expectEach(ERROR_SUCCESS, {Platform::RegFlushKey(scratch), Platform::RegFlushKey(HKEY_CURRENT_USER)});
    expectEach(ERROR_INVALID_PARAMETER, {RegOpenKeyExW(scratch, u"x", 0, KEY_READ, nullptr),
                                         RegQueryValueExW(scratch, u"x", nullptr, name, nullptr)});

    const Key longestKey(scratch, Text(255, u'k'));
    const Text longestValue(16383, u'v');
    EXPECT_EQ(set(scratch, longestValue, "long"), ERROR_SUCCESS);
    EXPECT_EQ(get(scratch, longestValue.c_str()), "3:long");
    EXPECT_NE(set(scratch, longestValue + u"v", "too long"), ERROR_SUCCESS);
    EXPECT_NE(RegCreateKeyExW(scratch, Text(300, u'k').c_str(), KEY_READ, &key, nullptr), 0);
}

TEST_F(Registry, TakesANullNameForTheEmptyOne) {
    EXPECT_EQ(set(scratch, u"", "", 0x1234), ERROR_SUCCESS);
    EXPECT_EQ(get(scratch, nullptr), "4660:");
    EXPECT_EQ(RegDeleteValueW(scratch, nullptr), 0);
    EXPECT_EQ(get(scratch, u""), "failed 2");
}

TEST_F(Registry, EnumeratesInOrderAndReportsSizes) {
    for (const char16_t* name : {u"delta", u"Alpha", u"Echo", u"charlie", u"Bravo-long"})
        const Key created(scratch, name);
    EXPECT_EQ(subKeys(scratch), (Names{u"Alpha", u"Bravo-long", u"charlie", u"delta", u"Echo"}));
    for (const char16_t* name : {u"A", u"B", u"Clong", u"b"})
        ASSERT_EQ(set(scratch, name, *name == u'b' ? "overwritten" : "123"), ERROR_SUCCESS);
    char16_t name[20];
    char data[20];
    DWORD nameSize = 20, type = 0, size = 20;
    Names listed;
    for (DWORD i = 0; RegEnumValueW(scratch, i, name, &nameSize, &type, data, &size) == 0; i++) {
        listed.push_back(Text(name, nameSize) + u"=" + Text(data, data + size));
        nameSize = size = 20;
    }
    EXPECT_EQ(listed, (Names{u"A=123", u"B=overwritten", u"Clong=123"}));
    expectEach(ERROR_NO_MORE_ITEMS, {RegEnumValueW(scratch, 3, name, &nameSize, &type, data, &size),
                                     RegEnumKeyExW(scratch, 5, name, &nameSize)});
    Numbers sizes(6);
    ASSERT_EQ(RegQueryInfoKeyW(scratch, &sizes[0], &sizes[1], &sizes[2], &sizes[3], &sizes[4], &sizes[5]), 0);
    EXPECT_EQ(sizes, (Numbers{5, 10, 0, 3, 5, 11}));

    // An index refers to the keys that exist when it is used.
    EXPECT_EQ(subKeyAt(scratch, 1), u"Bravo-long");
    ASSERT_EQ(RegDeleteKeyW(scratch, u"Alpha"), 0);
    EXPECT_EQ(subKeyAt(scratch, 2), u"delta");
}

TEST_F(Registry, DeletesKeysWithoutSubKeysAndRecognisesTheirHandles) {
    const Key key(scratch, u"Doomed");
    const Key child(key, u"Child");
    ASSERT_EQ(set(key, u"v", "x"), ERROR_SUCCESS);
    expectEach(ERROR_ACCESS_DENIED, {RegDeleteKeyW(scratch, u"Doomed")});
    expectEach(ERROR_SUCCESS, {RegDeleteKeyW(scratch, u"DOOMED\\child"), RegDeleteKeyW(scratch, u"Doomed")});
    const Key successor(scratch, u"Doomed");
    EXPECT_EQ(get(successor, u"v"), "failed 2");
    HKEY other;
    char16_t name[10];
    DWORD size = 10;
    expectEach(ERROR_KEY_DELETED,
               {tryOpen(key, u"x"), tryOpen(key, u""), RegCreateKeyExW(key, u"x", KEY_READ, &other, nullptr),
                RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                RegQueryValueExW(key, u"v", nullptr, nullptr, nullptr), set(key, u"v", "x"),
                RegDeleteValueW(key, u"v"), RegEnumKeyExW(key, 0, name, &size),
                RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr)});
    EXPECT_EQ(RegDeleteKeyW(successor, u""), 0);
    EXPECT_EQ(tryOpen(scratch, u"Doomed"), ERROR_FILE_NOT_FOUND);
}

} // namespace Tarn::Platform
