// What registry calls do that scripts/compare-ports leaves out: it makes random calls with every kind of
// name, right, buffer and deleted key on both ports, and tests/threads makes them on many threads. Every test
// works below a fresh key, which is removed at the end.
#include "tests/platform/registry_calls.h"

namespace Tarn::Platform {

namespace {

using Names = std::vector<Text>;

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

TEST_F(Registry, FindsKeysWhoseNamesAreNotUnicode) {
    const Text lone = {u'a', 0xD800, u'b', 0xDC00};
    const Key odd(scratch, lone), spelled(scratch, u"\u0416\u0443\u043A\\Below");
    expectEach(ERROR_SUCCESS, {tryOpen(scratch, lone), tryOpen(scratch, u"\u0436\u0423\u043A\\bELOW")});
    EXPECT_EQ(subKeys(scratch), (Names{lone, u"\u0416\u0443\u043A"}));
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

// As opening the key and reading the value give it.
TEST_F(Registry, ReadsValuesOfKeysBelow) {
    const Key below(scratch, u"Below\\Deeper");
    set(below, u"v", "text");
    set(scratch, u"", "unnamed");
    HKEY deleted;
    ASSERT_EQ(RegCreateKeyExW(scratch, u"Deleted", kReadWrite, &deleted, nullptr), 0);
    ASSERT_EQ(Platform::RegDeleteKeyW(scratch, u"Deleted"), 0);
    for (const HKEY parent : {HKEY(scratch), deleted, HKEY(nullptr), HKEY_CLASSES_ROOT})
        for (const char16_t* path :
             {u"below\\DEEPER", u"Below", u"", u"\\Below", u"Missing", u"Below\\Missing"})
            for (const char16_t* name : {u"V", u"", u"missing"}) {
                char data[300];
                DWORD type = 0, size = sizeof(data);
                const LSTATUS result = Platform::QueryRegistryValue(parent, path, name, &type, data, &size);
                const DWORD opened = tryOpen(parent, path);
                EXPECT_EQ(result == 0 ? std::to_string(type) + ":" + std::string(data, size)
                                      : "failed " + std::to_string(result),
                          opened == 0 ? get(Key(parent, path, KEY_READ), name)
                                      : "failed " + std::to_string(opened))
                    << parent << " " << testing::PrintToString(path) << " " << testing::PrintToString(name);
            }
    EXPECT_EQ(Platform::RegCloseKey(deleted), 0);
}

TEST_F(Registry, TakesANullNameForTheEmptyOne) {
    EXPECT_EQ(set(scratch, u"", "", 0x1234), ERROR_SUCCESS);
    EXPECT_EQ(get(scratch, nullptr), "4660:");
    EXPECT_EQ(RegDeleteValueW(scratch, nullptr), 0);
    EXPECT_EQ(get(scratch, u""), "failed 2");
}

TEST_F(Registry, EnumeratesInOrderWhatExistsAtTheMoment) {
    for (const char16_t* name : {u"delta", u"Alpha", u"Echo", u"charlie", u"Bravo-long"})
        const Key created(scratch, name);
    for (const char16_t* name : {u"A", u"B", u"Clong", u"b"})
        ASSERT_EQ(set(scratch, name, "x"), ERROR_SUCCESS);
    Text listed;
    char16_t name[20];
    for (DWORD i = 0, size = 20; RegEnumValueW(scratch, i, name, &size, nullptr, nullptr, nullptr) == 0;
         i++) {
        listed += Text(name, size) + u" ";
        size = 20;
    }
    EXPECT_EQ(listed, u"A B Clong ");
    EXPECT_EQ(subKeys(scratch), (Names{u"Alpha", u"Bravo-long", u"charlie", u"delta", u"Echo"}));
    EXPECT_EQ(subKeyAt(scratch, 1), u"Bravo-long");
    ASSERT_EQ(RegDeleteKeyW(scratch, u"Alpha"), 0);
    EXPECT_EQ(subKeyAt(scratch, 2), u"delta");
}

} // namespace Tarn::Platform
