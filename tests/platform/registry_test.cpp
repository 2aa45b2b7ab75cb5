// What each registry call does, the same on every target. All of it happens below one scratch key, which is
// made fresh and removed again.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace Tarn::Platform {

namespace {

using Text = std::u16string;
using Names = std::vector<Text>;
using Results = std::vector<DWORD>;

constexpr char16_t kScratch[] = u"Software\\TarnkitRegistryTest";

DWORD code(LSTATUS result) { return static_cast<DWORD>(result); }

void deleteTree(HKEY parent, const char16_t* name) {
    HKEY key;
    if (RegOpenKeyExW(parent, name, 0, KEY_READ, &key) != 0)
        return;
    char16_t subKey[256];
    for (DWORD size = 256; RegEnumKeyExW(key, 0, subKey, &size) == 0; size = 256)
        deleteTree(key, subKey);
    RegCloseKey(key);
    ASSERT_EQ(RegDeleteKeyW(parent, name), 0);
}

class Registry : public testing::Test {
protected:
    HKEY scratch = nullptr;

    void SetUp() override {
        deleteTree(HKEY_CURRENT_USER, kScratch);
        DWORD disposition = 0;
        RegCreateKeyExW(HKEY_CURRENT_USER, kScratch, KEY_READ | KEY_WRITE, &scratch, &disposition);
        ASSERT_EQ(disposition, REG_CREATED_NEW_KEY);
    }
    void TearDown() override {
        EXPECT_EQ(RegCloseKey(scratch), 0);
        deleteTree(HKEY_CURRENT_USER, kScratch);
    }

    HKEY create(const Text& name) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(scratch, name.c_str(), KEY_READ | KEY_WRITE, &key, nullptr), 0);
        return key;
    }
    HKEY open(const Text& name, REGSAM access = KEY_READ) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(scratch, name.c_str(), 0, access, &key), 0);
        return key;
    }
    bool exists(const Text& name) {
        HKEY key = nullptr;
        const LSTATUS result = RegOpenKeyExW(scratch, name.c_str(), 0, KEY_READ, &key);
        EXPECT_EQ(code(result), key != nullptr ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
        return result == 0 && RegCloseKey(key) == 0;
    }
    static LSTATUS set(HKEY key, const Text& name, const std::string& data, DWORD type = REG_BINARY) {
        return RegSetValueExW(key, name.c_str(), type, data.data(), static_cast<DWORD>(data.size()));
    }
    // The bytes of a value after its type, or "failed" and the code.
    static std::string get(HKEY key, const char16_t* name) {
        std::string data(300'000, ' ');
        DWORD type;
        DWORD size = static_cast<DWORD>(data.size());
        const LSTATUS result = RegQueryValueExW(key, name, &type, data.data(), &size);
        if (result != 0)
            return "failed " + std::to_string(result);
        return std::to_string(type) + ":" + data.substr(0, size);
    }
    static Names subKeys(HKEY key) {
        Names names;
        char16_t name[300];
        DWORD size = 300;
        while (RegEnumKeyExW(key, static_cast<DWORD>(names.size()), name, &size) == 0) {
            names.emplace_back(name, size);
            size = 300;
        }
        return names;
    }
};

} // namespace

TEST_F(Registry, CreatesTheKeysBetweenAndFindsThemWithoutRegardToCase) {
    RegCloseKey(create(u"First\\Ünï\\Жук\\"));
    DWORD disposition = 0;
    HKEY key;
    ASSERT_EQ(RegCreateKeyExW(scratch, u"fIRST\\üNÏ\\жУК", KEY_READ, &key, &disposition), 0);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    RegCloseKey(key);
    key = open(u"FIRST");
    EXPECT_EQ(subKeys(key), Names{u"Ünï"});
    RegCloseKey(key);

    const Text lone = {u'a', 0xD800, u'b', 0xDC00};
    RegCloseKey(create(lone));
    EXPECT_TRUE(exists(lone));
    EXPECT_EQ(subKeys(scratch), (Names{lone, u"First"}));

    key = open(u"", KEY_READ | KEY_WRITE);
    EXPECT_NE(key, scratch);
    EXPECT_EQ(set(key, u"through the empty name", "x"), 0);
    EXPECT_EQ(get(scratch, u"through the empty name"), "3:x");
    RegCloseKey(key);
}

TEST_F(Registry, RefusesBadNamesHandlesAndBuffers) {
    HKEY key;
    const HKEY closed = open(u"");
    ASSERT_EQ(RegCloseKey(closed), 0);
    DWORD size = 10;
    char16_t name[10];
    const Text longestKey(255, u'k');
    const Text longestValue(16383, u'v');
    RegCloseKey(create(longestKey));
    EXPECT_EQ(set(scratch, longestValue, "long"), 0);
    EXPECT_EQ(get(scratch, longestValue.c_str()), "3:long");
    EXPECT_NE(set(scratch, longestValue + u"v", "too long"), 0);
    EXPECT_NE(RegCreateKeyExW(scratch, Text(300, u'k').c_str(), KEY_READ, &key, nullptr), 0);

    const struct {
        LSTATUS result;
        DWORD expected;
    } cases[] = {
        {RegOpenKeyExW(scratch, u"Missing\\Below", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND},
        {RegOpenKeyExW(scratch, u"\\Leading", 0, KEY_READ, &key), ERROR_BAD_PATHNAME},
        {RegCreateKeyExW(scratch, u"\\Leading", KEY_READ, &key, nullptr), ERROR_BAD_PATHNAME},
        {RegOpenKeyExW(scratch, u"x", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER},
        {RegOpenKeyExW(nullptr, u"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE},
        {RegOpenKeyExW(closed, u"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE},
        {RegCloseKey(closed), ERROR_INVALID_HANDLE},
        {RegCloseKey(nullptr), ERROR_INVALID_HANDLE},
        {RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS},
        {RegEnumKeyExW(closed, 0, name, &size), ERROR_INVALID_HANDLE},
        {RegDeleteKeyW(scratch, u"Missing"), ERROR_FILE_NOT_FOUND},
        {RegDeleteValueW(scratch, u"Missing"), ERROR_FILE_NOT_FOUND},
        {RegQueryValueExW(scratch, u"Missing", nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND},
        {RegQueryValueExW(scratch, u"x", nullptr, name, nullptr), ERROR_INVALID_PARAMETER},
    };
    for (auto& c : cases)
        EXPECT_EQ(code(c.result), c.expected) << &c - cases;
}

TEST_F(Registry, AHandleGrantsWhatItWasOpenedFor) {
    ASSERT_EQ(set(scratch, u"v", "x"), 0);
    const HKEY reader = open(u"", KEY_READ);
    const HKEY writer = open(u"", KEY_SET_VALUE);
    char16_t name[10];
    DWORD size = 10;
    for (const LSTATUS result :
         {set(reader, u"v", "y"), RegDeleteValueW(reader, u"v"),
          RegQueryValueExW(writer, u"v", nullptr, nullptr, nullptr), RegEnumKeyExW(writer, 0, name, &size),
          RegEnumValueW(writer, 0, name, &size, nullptr, nullptr, nullptr)})
        EXPECT_EQ(code(result), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get(reader, u"v"), "3:x");
    EXPECT_EQ(set(writer, u"v", "z"), 0);
    RegCloseKey(reader);
    RegCloseKey(writer);
}

TEST_F(Registry, ReturnsValuesAsTheyWereStored) {
    const std::string zero(1, '\0');
    const struct {
        const char16_t* name;
        DWORD type;
        std::string data;
    } cases[] = {
        {u"text", REG_SZ, "a" + zero + zero + zero},
        {u"odd", REG_SZ, "a" + zero + "b"},
        {u"expand", REG_EXPAND_SZ, "%" + zero},
        {u"number", REG_DWORD, "\1\2\3\4"},
        {u"empty", REG_BINARY, ""},
        {u"own type", 0x1234, zero + "\xFF"},
        {u"large", 3, std::string(200'000, 'l')},
        {u"", REG_BINARY, "unnamed"},
    };
    for (auto& c : cases)
        ASSERT_EQ(set(scratch, c.name, c.data, c.type), 0);
    for (auto& c : cases)
        EXPECT_EQ(get(scratch, c.name), std::to_string(c.type) + ":" + c.data);
    EXPECT_EQ(get(scratch, u"NUMBER"), "4:\1\2\3\4");
    EXPECT_EQ(get(scratch, nullptr), "3:unnamed");
    EXPECT_EQ(RegDeleteValueW(scratch, nullptr), 0);
    EXPECT_EQ(get(scratch, u""), "failed 2");
}

TEST_F(Registry, TellsTheSizeWhenThereIsNoRoom) {
    ASSERT_EQ(set(scratch, u"v", "12345", REG_SZ), 0);
    RegCloseKey(create(u"Long"));
    char data[5];
    char16_t name[4];
    DWORD type = 0, size = 0, nameSize = 4;
    EXPECT_EQ(RegQueryValueExW(scratch, u"v", nullptr, nullptr, &size), 0);
    EXPECT_EQ(size, 5u);
    size = 4;
    EXPECT_EQ(code(RegQueryValueExW(scratch, u"v", &type, data, &size)), ERROR_MORE_DATA);
    EXPECT_EQ((Results{type, size}), (Results{REG_SZ, 5}));
    EXPECT_EQ(RegQueryValueExW(scratch, u"v", nullptr, data, &size), 0);
    size = 4;
    EXPECT_EQ(code(RegEnumValueW(scratch, 0, name, &nameSize, &type, data, &size)), ERROR_MORE_DATA);
    EXPECT_EQ(size, 5u);
    nameSize = 4;
    EXPECT_EQ(code(RegEnumKeyExW(scratch, 0, name, &nameSize)), ERROR_MORE_DATA);
    nameSize = 1;
    EXPECT_EQ(code(RegEnumValueW(scratch, 0, name, &nameSize, nullptr, nullptr, nullptr)), ERROR_MORE_DATA);
}

TEST_F(Registry, EnumeratesInOrderAndTellsTheSizes) {
    for (const char16_t* name : {u"delta", u"Alpha", u"_", u"charlie", u"Bravo-long"})
        RegCloseKey(create(name));
    EXPECT_EQ(subKeys(scratch), (Names{u"Alpha", u"Bravo-long", u"charlie", u"delta", u"_"}));
    for (const char16_t* name : {u"A", u"B", u"Clong", u"D"})
        ASSERT_EQ(set(scratch, name, "123"), 0);
    ASSERT_EQ(set(scratch, u"b", "overwritten"), 0);
    char16_t name[20];
    char data[20];
    DWORD nameSize, type, size;
    Names valueNames;
    for (DWORD i = 0; i < 4; i++) {
        nameSize = size = 20;
        EXPECT_EQ(RegEnumValueW(scratch, i, name, &nameSize, &type, data, &size), 0);
        EXPECT_EQ(std::string(data, size), i == 1 ? "overwritten" : "123");
        valueNames.emplace_back(name, nameSize);
    }
    EXPECT_EQ(valueNames, (Names{u"A", u"B", u"Clong", u"D"}));
    nameSize = 20;
    EXPECT_EQ(code(RegEnumValueW(scratch, 4, name, &nameSize, &type, data, &size)), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(code(RegEnumKeyExW(scratch, 5, name, &nameSize)), ERROR_NO_MORE_ITEMS);

    Results sizes(6);
    ASSERT_EQ(RegQueryInfoKeyW(scratch, &sizes[0], &sizes[1], &sizes[2], &sizes[3], &sizes[4], &sizes[5]), 0);
    EXPECT_EQ(sizes, (Results{5, 10, 0, 4, 5, 11}));
    EXPECT_EQ(RegQueryInfoKeyW(scratch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);

    // An index counts what is there when it is asked for, not what was there before.
    nameSize = 20;
    ASSERT_EQ(RegEnumKeyExW(scratch, 1, name, &nameSize), 0);
    ASSERT_EQ(RegDeleteKeyW(scratch, u"Alpha"), 0);
    nameSize = 20;
    ASSERT_EQ(RegEnumKeyExW(scratch, 2, name, &nameSize), 0);
    EXPECT_EQ(Text(name), u"delta");
}

TEST_F(Registry, DeletesKeysWithoutSubKeysAndKnowsTheirHandles) {
    const HKEY key = create(u"Doomed");
    RegCloseKey(create(u"Doomed\\Child"));
    ASSERT_EQ(set(key, u"v", "x"), 0);
    EXPECT_EQ(code(RegDeleteKeyW(scratch, u"Doomed")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyW(scratch, u"DOOMED\\child"), 0);
    EXPECT_EQ(RegDeleteKeyW(scratch, u"Doomed"), 0);
    EXPECT_FALSE(exists(u"Doomed"));
    const HKEY successor = create(u"Doomed");
    EXPECT_EQ(get(successor, u"v"), "failed 2");
    HKEY other;
    char16_t name[10];
    DWORD size = 10;
    for (const LSTATUS result :
         {RegOpenKeyExW(key, u"x", 0, KEY_READ, &other), RegOpenKeyExW(key, u"", 0, KEY_READ, &other),
          RegCreateKeyExW(key, u"x", KEY_READ, &other, nullptr),
          RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
          RegQueryValueExW(key, u"v", nullptr, nullptr, nullptr), set(key, u"v", "x"),
          RegDeleteValueW(key, u"v"), RegEnumKeyExW(key, 0, name, &size),
          RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr)})
        EXPECT_EQ(code(result), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(key), 0);
    EXPECT_EQ(RegDeleteKeyW(successor, u""), 0);
    EXPECT_FALSE(exists(u"Doomed"));
    RegCloseKey(successor);
}

TEST_F(Registry, ThreadsUseItAtOnce) {
    std::vector<std::thread> threads;
    int failures[4] = {};
    for (int number = 0; number < 4; number++)
        threads.emplace_back([&, number] {
            for (char16_t name = u'a'; name <= u'z'; name++) {
                const HKEY key = create(Text(1, name));
                const Text value(1, static_cast<char16_t>(name + number));
                failures[number] += set(key, value, "x") != 0;
                failures[number] += get(key, value.c_str()) != "3:x";
                failures[number] += RegCloseKey(key) != 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures[0] + failures[1] + failures[2] + failures[3], 0);
    EXPECT_EQ(subKeys(scratch).size(), 26u);
}

} // namespace Tarn::Platform
