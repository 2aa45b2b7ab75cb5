#include <tarnkit/registry_key.h>

#include "tests/errors/recording_handler.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

using namespace Tarn;
using namespace std::string_literals;

namespace {

using Names = std::vector<std::u16string>;

class RegistryKey : public testing::Test {
protected:
    RegistryKey() {
        removeScratch();
        key.Open(HKEY_CURRENT_USER, u"Software\\TarnkitRegistryKeyTest");
    }
    ~RegistryKey() override { removeScratch(); }

    static void removeScratch() {
        CRegistryKey software(false);
        software.Open(HKEY_CURRENT_USER, u"Software");
        software.DeleteSubKey(u"TarnkitRegistryKeyTest");
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    }
    static std::u16string text(const CUnicodeString& s) {
        return {s.Ptr(), static_cast<std::size_t>(s.GetLength())};
    }
    /// What `GetSubKeys` or `GetStringValueNames` gives.
    template<class List>
    static Names names(const CRegistryKey& parent, List list) {
        CArray<CUnicodeString, CurrentMemoryManager> listed{CUnicodeString(u"left over")};
        (parent.*list)(listed);
        Names found;
        for (const CUnicodeString& name : listed)
            found.push_back(text(name));
        return found;
    }
    static Names subKeys(const CRegistryKey& parent) { return names(parent, &CRegistryKey::GetSubKeys); }

    std::u16string query(const char16_t* path, const char16_t* name = u"v") const {
        CRegistryKey opened(true);
        opened.Open(key, path);
        return text(opened.QueryStringValue(name, u"none"));
    }
    void write(const char16_t* path, const char16_t* value, const char16_t* name = u"v") {
        CRegistryKey opened(false);
        opened.Open(key, path);
        EXPECT_TRUE(opened.SetStringValue(name, value));
    }

    CRegistryKey key{false};
};

} // namespace

TEST_F(RegistryKey, OpensForReadingOnlyWhatExistsAndCreatesForWriting) {
    CRegistryKey reader(true);
    CRegistryKey writer(false);
    reader.Open(key, u"A\\B");
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(reader.GetKey(), nullptr);
    EXPECT_FALSE(reader.IsValid());
    writer.Open(key.GetKey(), u"A\\B");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    EXPECT_TRUE(writer.IsValid());
    reader.Open(key, u"A\\B");
    EXPECT_TRUE(reader.IsValid());
    key.DeleteSubKey(u"A");
    EXPECT_NE(reader.GetKey(), nullptr);
    EXPECT_FALSE(reader.IsValid());
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);

    writer.Close();
    EXPECT_EQ(writer.GetKey(), nullptr);
    writer.Open(key, u"");
    EXPECT_TRUE(writer.SetStringValue(u"v", u"through the empty name"));
    EXPECT_EQ(query(u""), u"through the empty name");
    const HKEY detached = writer.Detach();
    EXPECT_EQ(writer.GetKey(), nullptr);
    writer.Open(detached, u"still open");
    EXPECT_TRUE(writer.IsValid());
}

TEST_F(RegistryKey, ReadsStringsWithoutOneTerminator) {
    const struct {
        DWORD type;
        std::u16string stored;
        int size;
        std::u16string expected;
    } cases[] = {
        {REG_SZ, u"ab\0"s, 6, u"ab"},
        {REG_SZ, u"ab", 4, u"ab"},
        {REG_SZ, u"a\0\0"s, 6, u"a\0"s},
        {REG_SZ, u"", 2, u""},
        {REG_EXPAND_SZ, u"%PATH%\0"s, 14, u"%PATH%"},
        {REG_SZ, u"ab", 3, u"default"},
        {REG_SZ, u"", 0, u"default"},
        {REG_DWORD, u"ab", 4, u"default"},
    };
    for (auto& c : cases) {
        ASSERT_TRUE(key.SetValue(u"v", c.type, c.stored.c_str(), c.size));
        EXPECT_EQ(key.GetValueType(u"v"), c.type);
        EXPECT_EQ(text(key.QueryStringValue(u"V", u"default")), c.expected) << &c - cases;
    }
    EXPECT_EQ(query(u"", u"missing"), u"none");
    const std::u16string large(100'000, u'x');
    ASSERT_TRUE(key.SetStringValue(u"", large.c_str()));
    EXPECT_EQ(key.QueryValue(u"", nullptr, 0), 200'002);
    EXPECT_EQ(query(u"", u""), large);
}

TEST_F(RegistryKey, ReadsBytesThatFit) {
    ASSERT_TRUE(key.SetValue(u"v", REG_BINARY, "1234", 4));
    char buffer[8] = "";
    EXPECT_EQ(key.QueryValue(u"v", buffer, sizeof(buffer)), 4);
    EXPECT_STREQ(buffer, "1234");
    EXPECT_EQ(key.QueryValue(u"v", nullptr, 0), 4);
    EXPECT_EQ(key.QueryValue(u"v", buffer, 3), 0);
    EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
    EXPECT_EQ(key.QueryValue(u"v", buffer, -1), 0);
    EXPECT_FALSE(key.SetValue(u"v", REG_BINARY, "1234", -1));
    for (const auto expected : {ERROR_SUCCESS, ERROR_FILE_NOT_FOUND}) {
        key.DeleteValue(u"v");
        EXPECT_EQ(GetLastError(), expected);
    }
    EXPECT_EQ(key.GetValueType(u"v"), 0u);
}

TEST_F(RegistryKey, ListsNamesAndSizesOfAnyLength) {
    const std::u16string longName(255, u'n');
    const std::u16string longerValueName(1000, u'n');
    write(longName.c_str(), u"");
    write(u"alpha\\below", u"");
    EXPECT_EQ(subKeys(key), (Names{u"alpha", longName}));

    key.SetStringValue(u"a text", u"1");
    key.SetValue(u"expand", REG_EXPAND_SZ, u"x", 4);
    key.SetValue(u"bytes", REG_BINARY, "1234567", 7);
    key.SetStringValue(longerValueName.c_str(), u"");
    EXPECT_EQ(names(key, &CRegistryKey::GetStringValueNames), (Names{u"a text", longerValueName}));

    CRegistryKeyInfo info;
    key.GetInfo(info);
    const DWORD found[] = {info.subKeyCount, info.longestSubKeyName, info.longestClassName,
                           info.valueCount,  info.longestValueName,  info.longestValueData};
    const DWORD expected[] = {2, 255, 0, 4, 1000, 7};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(found[i], expected[i]) << i;
}

TEST_F(RegistryKey, AClosedKeyReadsAsNothingAndRefusesWrites) {
    CRegistryKey closed(false);
    CRegistryKeyInfo info = {1, 1, 1, 1, 1, 1};
    closed.GetInfo(info);
    EXPECT_EQ(info.subKeyCount + info.valueCount + info.longestValueData, 0u);
    EXPECT_EQ(closed.GetValueType(u"v"), 0u);
    EXPECT_EQ(closed.QueryValue(u"v", nullptr, 0), 0);
    EXPECT_EQ(text(closed.QueryStringValue(u"v", u"default")), u"default");
    EXPECT_FALSE(closed.SetStringValue(u"v", u"x"));
    EXPECT_EQ(subKeys(closed), Names());
    EXPECT_EQ(names(closed, &CRegistryKey::GetStringValueNames), Names());
    closed.CopyTo(key);
    EXPECT_EQ(subKeys(key), Names());
}

TEST_F(RegistryKey, DeletesAWholeSubtreeButNothingForAnEmptyName) {
    for (const char16_t* path : {u"Tree\\a\\b\\c", u"Tree\\a\\d", u"Tree\\e", u"Other"})
        write(path, u"x");
    const std::pair<const char16_t*, DWORD> deletions[] = {
        {u"Tree", ERROR_SUCCESS}, {u"Never there", ERROR_SUCCESS}, {u"", ERROR_INVALID_PARAMETER}};
    for (const auto& [name, expected] : deletions) {
        key.DeleteSubKey(name);
        EXPECT_EQ(GetLastError(), expected);
        EXPECT_EQ(subKeys(key), Names{u"Other"});
    }
}

TEST_F(RegistryKey, CopiesValuesAndSubKeysAndEndsInItsOwnSubtree) {
    CRegistryKey from(false);
    CRegistryKey to(false);
    from.Open(key, u"From");
    to.Open(key, u"From\\To");
    const std::string large(5000, 'l');
    from.SetValue(u"large", REG_BINARY, large.data(), 5000);
    from.SetValue(u"", 77, "", 0);
    write(u"From\\a\\b", u"deep");
    write(u"From\\c", u"shallow");
    write(u"From\\To", u"kept", u"own");
    write(u"From\\To\\c", u"overwritten");
    from.CopyTo(to);
    std::string copied(5000, ' ');
    EXPECT_EQ(to.QueryValue(u"large", copied.data(), 5000), 5000);
    EXPECT_EQ(copied, large);
    EXPECT_EQ(to.GetValueType(u""), 77u);
    EXPECT_EQ(query(u"From\\To\\a\\b"), u"deep");
    EXPECT_EQ(query(u"From\\To\\c"), u"shallow");
    EXPECT_EQ(query(u"From\\To", u"own"), u"kept");
    EXPECT_EQ(subKeys(to), (Names{u"a", u"c", u"To"}));
    EXPECT_EQ(query(u"From\\To\\To\\a\\b"), u"none");

    from.CopyTo(from);
    EXPECT_EQ(subKeys(from), (Names{u"a", u"c", u"To"}));
}

TEST_F(RegistryKey, MisuseIsAnAssertionWithItsLineAndDoesNothing) {
    CRegistryKey reader(true);
    CRegistryKey closed(false);
    reader.Open(key, u"");
    char byte = 0;
    const std::pair<long, std::function<void()>> misuses[] = {
        {39, [&] { key.Open(HKEY_CURRENT_USER, u"Software"); }},
        {40, [&] { closed.Open(HKEY_CURRENT_USER, nullptr); }},
        {41, [&] { closed.Open(CRegistryKey(true), u"x"); }},
        {83, [&] { reader.DeleteValue(u"v"); }},
        {84, [&] { closed.DeleteValue(u"v"); }},
        {85, [&] { key.DeleteValue(nullptr); }},
        {93, [&] { reader.DeleteSubKey(u"A"); }},
        {94, [&] { closed.DeleteSubKey(u"A"); }},
        {95, [&] { key.DeleteSubKey(nullptr); }},
        {111, [&] { EXPECT_EQ(key.GetValueType(nullptr), 0u); }},
        {208, [&] { EXPECT_EQ(text(key.QueryStringValue(nullptr, u"default")), u"default"); }},
        {208, [&] { EXPECT_EQ(text(key.QueryStringValue(u"v", nullptr)), u""); }},
        {245, [&] { EXPECT_FALSE(key.SetValue(nullptr, REG_BINARY, &byte, 1)); }},
        {245, [&] { EXPECT_FALSE(key.SetValue(u"v", REG_BINARY, nullptr, 0)); }},
        {246, [&] { EXPECT_FALSE(reader.SetStringValue(u"v", u"")); }},
        {257, [&] { EXPECT_FALSE(key.SetStringValue(u"v", nullptr)); }},
        {310, [&] { key.CopyTo(closed); }},
    };
    write(u"A", u"kept");
    for (const auto& [line, misuse] : misuses) {
        try {
            misuse();
            ADD_FAILURE() << line;
        } catch (CInternalError* e) {
            EXPECT_EQ(e->Line(), line);
            EXPECT_EQ(std::u16string(e->SourceFile()), u"RegistryKey");
            e->Delete();
        }
    }

    CRecordingHandler handler;
    CMessageHandlerSwitcher handling(&handler);
    CThrowingSwitcher showing(false);
    for (const auto& [line, misuse] : misuses)
        misuse();
    EXPECT_EQ(handler.shown.size(), std::size(misuses));
    EXPECT_EQ(query(u"A"), u"kept");
    SetErrorFlag(false);
}
