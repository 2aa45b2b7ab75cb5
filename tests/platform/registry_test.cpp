// What each registry call does, the same on every target. All of it happens below one scratch key, which is
// made fresh and removed again.
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace Tarn::Platform {

namespace {

constexpr char16_t kScratch[] = u"Software\\TarnkitRegistryTest";

struct Value {
    LSTATUS result;
    DWORD type;
    std::string data;
};

class Registry : public testing::Test {
protected:
    HKEY scratch = nullptr;

    void SetUp() override {
        deleteTree(HKEY_CURRENT_USER, kScratch);
        DWORD disposition = 0;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kScratch, KEY_READ | KEY_WRITE, &scratch, &disposition),
                  0);
        ASSERT_EQ(disposition, REG_CREATED_NEW_KEY);
    }
    void TearDown() override {
        EXPECT_EQ(RegCloseKey(scratch), 0);
        deleteTree(HKEY_CURRENT_USER, kScratch);
    }

    static void deleteTree(HKEY parent, const char16_t* name) {
        HKEY key;
        if (RegOpenKeyExW(parent, name, 0, KEY_READ, &key) != 0)
            return;
        char16_t subKey[256];
        for (DWORD size = 256; RegEnumKeyExW(key, 0, subKey, &size) == 0; size = 256)
            deleteTree(key, subKey);
        RegCloseKey(key);
        ASSERT_EQ(RegDeleteKeyW(parent, name), 0);
    }

    HKEY create(const char16_t* name, REGSAM access = KEY_READ | KEY_WRITE) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(scratch, name, access, &key, nullptr), 0);
        return key;
    }
    HKEY open(const char16_t* name, REGSAM access) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(scratch, name, 0, access, &key), 0);
        return key;
    }
    LSTATUS tryOpen(const char16_t* name) {
        HKEY key = nullptr;
        const LSTATUS result = RegOpenKeyExW(scratch, name, 0, KEY_READ, &key);
        EXPECT_EQ(result == 0, key != nullptr);
        if (result == 0)
            RegCloseKey(key);
        return result;
    }

    static LSTATUS set(HKEY key, const char16_t* name, const std::string& data, DWORD type = REG_BINARY) {
        return RegSetValueExW(key, name, type, data.data(), static_cast<DWORD>(data.size()));
    }
    static Value get(HKEY key, const char16_t* name) {
        char data[100];
        DWORD size = sizeof(data);
        Value value = {0, 0, ""};
        value.result = RegQueryValueExW(key, name, &value.type, data, &size);
        if (value.result == 0)
            value.data.assign(data, size);
        return value;
    }

    static std::vector<std::u16string> subKeys(HKEY key) {
        std::vector<std::u16string> names;
        char16_t name[300];
        for (DWORD size = 300; RegEnumKeyExW(key, static_cast<DWORD>(names.size()), name, &size) == 0;
             size = 300)
            names.emplace_back(name, size);
        return names;
    }
    static std::vector<std::u16string> valueNames(HKEY key) {
        std::vector<std::u16string> names;
        char16_t name[300];
        for (DWORD size = 300; RegEnumValueW(key, static_cast<DWORD>(names.size()), name, &size, nullptr,
                                             nullptr, nullptr) == 0;
             size = 300)
            names.emplace_back(name, size);
        return names;
    }
};

using Names = std::vector<std::u16string>;

} // namespace

TEST_F(Registry, CreatesTheKeysBetweenAndFindsThemWithoutRegardToCase) {
    RegCloseKey(create(u"First\\Ünï\\Жук\\"));
    DWORD disposition = 0;
    HKEY key;
    ASSERT_EQ(RegCreateKeyExW(scratch, u"fIRST\\üNÏ\\жУК", KEY_READ, &key, &disposition), 0);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    RegCloseKey(key);
    EXPECT_EQ(tryOpen(u"FIRST\\ünï"), 0);
    EXPECT_EQ(subKeys(scratch), Names{u"First"});
    const HKEY first = open(u"first", KEY_READ);
    EXPECT_EQ(subKeys(first), Names{u"Ünï"});
    RegCloseKey(first);

    const std::u16string lone = {u'a', 0xD800, u'b', 0xDC00};
    RegCloseKey(create(lone.c_str()));
    EXPECT_EQ(tryOpen(lone.c_str()), 0);
    EXPECT_EQ(subKeys(scratch), (Names{lone, u"First"}));
}

TEST_F(Registry, AnEmptyNameIsTheKeyItself) {
    const HKEY same = open(u"", KEY_READ | KEY_WRITE);
    EXPECT_NE(same, scratch);
    EXPECT_EQ(set(same, u"v", "x"), 0);
    EXPECT_EQ(get(scratch, u"v").data, "x");
    EXPECT_EQ(RegCloseKey(same), 0);
    EXPECT_EQ(tryOpen(nullptr), 0);

    RegCloseKey(create(u"Gone"));
    const HKEY gone = open(u"Gone", KEY_READ);
    EXPECT_EQ(RegDeleteKeyW(gone, u""), 0);
    EXPECT_EQ(tryOpen(u"Gone"), static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(RegCloseKey(gone), 0);
}

TEST_F(Registry, RefusesBadNamesHandlesAndBuffers) {
    HKEY key;
    const HKEY closed = open(u"", KEY_READ);
    RegCloseKey(closed);
    DWORD size = 10;
    char16_t name[10];
    const std::u16string longest(255, u'k');
    const std::u16string longestValue(16383, u'v');
    RegCloseKey(create(longest.c_str()));
    EXPECT_EQ(set(scratch, longestValue.c_str(), "long"), 0);
    EXPECT_EQ(get(scratch, longestValue.c_str()).data, "long");
    EXPECT_NE(set(scratch, (longestValue + u"v").c_str(), "too long"), 0);
    EXPECT_NE(RegCreateKeyExW(scratch, std::u16string(300, u'k').c_str(), KEY_READ, &key, nullptr), 0);

    const struct {
        LSTATUS result;
        DWORD expected;
    } cases[] = {
        {RegOpenKeyExW(scratch, u"Missing", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND},
        {RegOpenKeyExW(scratch, u"Missing\\Below", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND},
        {RegOpenKeyExW(scratch, u"\\Leading", 0, KEY_READ, &key), ERROR_BAD_PATHNAME},
        {RegCreateKeyExW(scratch, u"\\Leading", KEY_READ, &key, nullptr), ERROR_BAD_PATHNAME},
        {RegOpenKeyExW(scratch, u"x", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER},
        {RegOpenKeyExW(nullptr, u"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE},
        {RegOpenKeyExW(closed, u"x", 0, KEY_READ, &key), ERROR_INVALID_HANDLE},
        {RegCloseKey(closed), ERROR_INVALID_HANDLE},
        {RegCloseKey(nullptr), ERROR_INVALID_HANDLE},
        {RegEnumKeyExW(closed, 0, name, &size), ERROR_INVALID_HANDLE},
        {RegDeleteKeyW(scratch, u"Missing"), ERROR_FILE_NOT_FOUND},
        {RegDeleteValueW(scratch, u"Missing"), ERROR_FILE_NOT_FOUND},
        {RegQueryValueExW(scratch, u"Missing", nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND},
        {RegQueryValueExW(scratch, u"x", nullptr, name, nullptr), ERROR_INVALID_PARAMETER},
    };
    for (std::size_t i = 0; i < std::size(cases); i++)
        EXPECT_EQ(cases[i].result, static_cast<LSTATUS>(cases[i].expected)) << i;
}

TEST_F(Registry, PredefinedKeysCannotBeClosed) {
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), 0);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), 0);
    EXPECT_EQ(RegCloseKey(HKEY_CLASSES_ROOT), 0);
    EXPECT_EQ(tryOpen(u""), 0);
}

TEST_F(Registry, AHandleGrantsWhatItWasOpenedFor) {
    RegCloseKey(create(u"Sub"));
    set(scratch, u"v", "x");
    const HKEY reader = open(u"", KEY_READ);
    const HKEY writer = open(u"", KEY_SET_VALUE);
    char16_t name[10];
    DWORD size = 10;
    constexpr auto kDenied = static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
    EXPECT_EQ(set(reader, u"v", "y"), kDenied);
    EXPECT_EQ(RegDeleteValueW(reader, u"v"), kDenied);
    EXPECT_EQ(get(reader, u"v").data, "x");
    EXPECT_EQ(set(writer, u"v", "z"), 0);
    EXPECT_EQ(get(writer, u"v").result, kDenied);
    EXPECT_EQ(RegEnumKeyExW(writer, 0, name, &size), kDenied);
    EXPECT_EQ(RegEnumValueW(writer, 0, name, &size, nullptr, nullptr, nullptr), kDenied);
    RegCloseKey(reader);
    RegCloseKey(writer);
}

TEST_F(Registry, ReturnsValuesAsTheyWereStored) {
    const struct {
        const char16_t* name;
        DWORD type;
        std::string data;
    } cases[] = {
        {u"text", REG_SZ, std::string("a\0b\0\0\0", 6)},
        {u"bare", REG_SZ, std::string("a\0b", 3)},
        {u"expand", REG_EXPAND_SZ, std::string("%\0", 2)},
        {u"number", REG_DWORD, std::string("\1\2\3\4", 4)},
        {u"bytes", REG_BINARY, std::string("\0\xFF\0", 3)},
        {u"empty", REG_BINARY, ""},
        {u"own type", 0x1234, "x"},
        {nullptr, REG_BINARY, "unnamed"},
    };
    for (auto& c : cases)
        ASSERT_EQ(set(scratch, c.name, c.data, c.type), 0);
    for (auto& c : cases) {
        const Value value = get(scratch, c.name);
        EXPECT_EQ(value.result, 0);
        EXPECT_EQ(value.type, c.type);
        EXPECT_EQ(value.data, c.data);
    }
    EXPECT_EQ(get(scratch, u"").data, "unnamed");
    EXPECT_EQ(get(scratch, u"NUMBER").data, cases[3].data);
    EXPECT_EQ(RegDeleteValueW(scratch, nullptr), 0);
    EXPECT_EQ(get(scratch, u"").result, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));

    const std::string large(200'000, 'l');
    ASSERT_EQ(set(scratch, u"large", large), 0);
    std::string back(large.size(), 0);
    DWORD size = static_cast<DWORD>(back.size());
    EXPECT_EQ(RegQueryValueExW(scratch, u"large", nullptr, back.data(), &size), 0);
    EXPECT_EQ(back, large);
}

TEST_F(Registry, TellsTheSizeWhenThereIsNoRoom) {
    ASSERT_EQ(set(scratch, u"v", "12345", REG_SZ), 0);
    char data[5];
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(scratch, u"v", &type, nullptr, &size), 0);
    EXPECT_EQ(size, 5u);
    size = 4;
    EXPECT_EQ(RegQueryValueExW(scratch, u"v", &type, data, &size), static_cast<LSTATUS>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(RegQueryValueExW(scratch, u"v", nullptr, data, &size), 0);

    char16_t name[4];
    DWORD nameSize = 4;
    size = 4;
    EXPECT_EQ(RegEnumValueW(scratch, 0, name, &nameSize, &type, data, &size),
              static_cast<LSTATUS>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 5u);
    RegCloseKey(create(u"Long"));
    nameSize = 4;
    EXPECT_EQ(RegEnumKeyExW(scratch, 0, name, &nameSize), static_cast<LSTATUS>(ERROR_MORE_DATA));
    ASSERT_EQ(set(scratch, u"long", ""), 0);
    nameSize = 4;
    EXPECT_EQ(RegEnumValueW(scratch, 0, name, &nameSize, nullptr, nullptr, nullptr), 0); // "v" or not enough
    EXPECT_EQ(nameSize, 1u);
}

TEST_F(Registry, EnumeratesInOrderAndTellsTheSizes) {
    for (const char16_t* name : {u"delta", u"Alpha", u"_", u"charlie", u"Bravo-long"})
        RegCloseKey(create(name));
    EXPECT_EQ(subKeys(scratch), (Names{u"Alpha", u"Bravo-long", u"charlie", u"delta", u"_"}));
    for (const char16_t* name : {u"A", u"B", u"Clong", u"D"})
        ASSERT_EQ(set(scratch, name, "123"), 0);
    ASSERT_EQ(set(scratch, u"b", "overwritten"), 0);
    EXPECT_EQ(valueNames(scratch), (Names{u"A", u"B", u"Clong", u"D"}));

    char16_t name[20];
    char data[20];
    DWORD nameSize = 20, type, size = 20;
    EXPECT_EQ(RegEnumValueW(scratch, 1, name, &nameSize, &type, data, &size), 0);
    EXPECT_EQ(std::u16string(name), u"B");
    EXPECT_EQ(nameSize, 1u);
    EXPECT_EQ(type, REG_BINARY);
    EXPECT_EQ(std::string(data, size), "overwritten");
    nameSize = 20;
    EXPECT_EQ(RegEnumValueW(scratch, 4, name, &nameSize, nullptr, nullptr, nullptr),
              static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(RegEnumKeyExW(scratch, 5, name, &nameSize), static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));

    DWORD subKeyCount, longestSubKey, longestClass, valueCount, longestName, longestData;
    ASSERT_EQ(RegQueryInfoKeyW(scratch, &subKeyCount, &longestSubKey, &longestClass, &valueCount,
                               &longestName, &longestData),
              0);
    EXPECT_EQ(
        (std::vector<DWORD>{subKeyCount, longestSubKey, longestClass, valueCount, longestName, longestData}),
        (std::vector<DWORD>{5, 10, 0, 4, 5, 11}));
    EXPECT_EQ(RegQueryInfoKeyW(scratch, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(Registry, AnEnumerationSeesChangesMadeDuringIt) {
    for (const char16_t* name : {u"A", u"B", u"C", u"D"})
        RegCloseKey(create(name));
    char16_t name[20];
    DWORD size = 20;
    ASSERT_EQ(RegEnumKeyExW(scratch, 1, name, &size), 0);
    ASSERT_EQ(RegDeleteKeyW(scratch, u"A"), 0);
    size = 20;
    ASSERT_EQ(RegEnumKeyExW(scratch, 2, name, &size), 0);
    EXPECT_EQ(std::u16string(name), u"D");
    for (DWORD size0 = 20; RegEnumKeyExW(scratch, 0, name, &size0) == 0; size0 = 20)
        EXPECT_EQ(RegDeleteKeyW(scratch, name), 0);
    EXPECT_EQ(subKeys(scratch), Names());
}

TEST_F(Registry, AKeyWithSubKeysIsNotDeleted) {
    RegCloseKey(create(u"Parent\\Child"));
    EXPECT_EQ(RegDeleteKeyW(scratch, u"Parent"), static_cast<LSTATUS>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(tryOpen(u"Parent\\Child"), 0);
    EXPECT_EQ(RegDeleteKeyW(scratch, u"PARENT\\child"), 0);
    EXPECT_EQ(RegDeleteKeyW(scratch, u"Parent"), 0);
    EXPECT_EQ(tryOpen(u"Parent"), static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
}

TEST_F(Registry, ADeletedKeySaysSoToEveryCall) {
    const HKEY key = create(u"Doomed");
    ASSERT_EQ(set(key, u"v", "x"), 0);
    ASSERT_EQ(RegDeleteKeyW(scratch, u"Doomed"), 0);
    const HKEY successor = create(u"Doomed");
    EXPECT_EQ(get(successor, u"v").result, static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND));
    HKEY other;
    char16_t name[10];
    DWORD size = 10;
    const LSTATUS results[] = {
        RegOpenKeyExW(key, u"x", 0, KEY_READ, &other),
        RegOpenKeyExW(key, u"", 0, KEY_READ, &other),
        RegCreateKeyExW(key, u"x", KEY_READ, &other, nullptr),
        RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
        get(key, u"v").result,
        set(key, u"v", "x"),
        RegDeleteValueW(key, u"v"),
        RegEnumKeyExW(key, 0, name, &size),
        RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr),
    };
    for (std::size_t i = 0; i < std::size(results); i++)
        EXPECT_EQ(results[i], static_cast<LSTATUS>(ERROR_KEY_DELETED)) << i;
    EXPECT_EQ(RegCloseKey(key), 0);
    RegCloseKey(successor);
}

TEST_F(Registry, ThreadsUseItAtOnce) {
    std::vector<std::thread> threads;
    int failures[4] = {};
    for (int number = 0; number < 4; number++)
        threads.emplace_back([&, number] {
            for (int i = 0; i < 50; i++) {
                HKEY key = nullptr;
                const std::u16string name(1, static_cast<char16_t>(u'a' + i % 26));
                const std::string data = std::to_string(number);
                failures[number] +=
                    RegCreateKeyExW(scratch, name.c_str(), KEY_READ | KEY_WRITE, &key, nullptr) != 0;
                failures[number] +=
                    set(key, (name + static_cast<char16_t>(u'0' + number)).c_str(), data) != 0;
                failures[number] +=
                    get(key, (name + static_cast<char16_t>(u'0' + number)).c_str()).data != data;
                failures[number] += RegCloseKey(key) != 0;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (const int failed : failures)
        EXPECT_EQ(failed, 0);
    EXPECT_EQ(subKeys(scratch).size(), 26u);
}

} // namespace Tarn::Platform
