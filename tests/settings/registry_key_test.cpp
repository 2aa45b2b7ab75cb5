#include <tarnkit/registry_key.h>

#include "tests/errors/reports.h"
#include "tests/support/refusing_manager.h"

using namespace Tarn;

namespace {

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
    void write(const CUnicodeString& path, const char16_t* value) {
        CRegistryKey opened(false);
        opened.Open(key, path.Ptr());
        EXPECT_TRUE(opened.SetStringValue(u"v", value));
    }
    /// The string values of a key, each as "name=text;", and its sub-keys, each as "name(contents)".
    static CUnicodeString contents(const CRegistryKey& parent) {
        CUnicodeString all;
        CArray<CUnicodeString, CurrentMemoryManager> names{u"left over"};
        parent.GetStringValueNames(names);
        for (const CUnicodeString& name : names)
            all += name + u"=" + parent.QueryStringValue(name, u"none") + u";";
        parent.GetSubKeys(names);
        for (const CUnicodeString& name : names) {
            CRegistryKey subKey(true);
            subKey.Open(parent, name);
            all += name + u"(" + contents(subKey) + u")";
        }
        return all;
    }

    CRegistryKey key{false};
};

} // namespace

TEST_F(RegistryKey, OpensForReadingOnlyWhatExistsAndCreatesForWriting) {
    CRegistryKey reader(true), writer(false);
    reader.Open(key, u"A\\B");
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(reader.GetKey() != nullptr || reader.IsValid());
    writer.Open(key.GetKey(), u"A\\B");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    reader.Open(key, u"A\\B");
    EXPECT_TRUE(reader.IsValid());
    key.DeleteSubKey(u"A");
    EXPECT_FALSE(reader.IsValid());

    writer.Close();
    writer.Open(key, u"");
    EXPECT_TRUE(writer.SetStringValue(u"v", u"through the empty name"));
    EXPECT_EQ(contents(key), u"v=through the empty name;");
    const HKEY detached = writer.Detach();
    writer.Open(detached, u"still open");
    EXPECT_TRUE(writer.IsValid());
    EXPECT_EQ(RegCloseKey(detached), 0);
    EXPECT_NE(RegCloseKey(detached), 0);
}

TEST_F(RegistryKey, ReadsStringsWithoutOneTerminator) {
    const std::tuple<DWORD, CUnicodeString, int, CUnicodeString> cases[] = {
        {REG_SZ, u"ab", 6, u"ab"},
        {REG_SZ, u"ab", 4, u"ab"},
        {REG_SZ, u"a", 6, CUnicodeString(u"a\0", 2)},
        {REG_SZ, u"", 2, u""},
        {REG_EXPAND_SZ, u"%PATH%", 14, u"%PATH%"},
        {REG_SZ, u"ab", 3, u"default"},
        {REG_SZ, u"", 0, u"default"},
        {REG_DWORD, u"ab", 4, u"default"}};
    for (const auto& [type, text, size, expected] : cases) {
        char16_t stored[10] = {};
        std::copy_n(text.Ptr(), text.GetLength(), stored);
        ASSERT_TRUE(key.SetValue(u"v", type, stored, size));
        EXPECT_EQ(key.QueryStringValue(u"V", u"default"), expected) << size;
    }
    const CUnicodeString large(u'x', 100'000);
    ASSERT_TRUE(key.SetStringValue(u"", large.Ptr()));
    EXPECT_EQ(key.QueryStringValue(u"", u"none"), large);
}

TEST_F(RegistryKey, RefusesNegativeSizes) {
    ASSERT_TRUE(key.SetValue(u"v", REG_BINARY, "1234", 4));
    EXPECT_TRUE(key.Flush());
    EXPECT_FALSE(CRegistryKey(false).Flush());
    char buffer[4];
    EXPECT_EQ(key.QueryValue(u"v", buffer, -1), 0);
    EXPECT_FALSE(key.SetValue(u"v", REG_BINARY, "1234", -1));
    key.DeleteValue(u"v");
    EXPECT_EQ(key.GetValueType(u"v"), 0u);
}

TEST_F(RegistryKey, WritesWhateverTheCurrentManagerHas) {
    const char16_t text[] = u"of any length, and in any order of bytes";
    CRefusingManager manager;
    CMemoryManagerSwitcher switching(&manager);
    EXPECT_TRUE(manager.TryWith(0, [&] { EXPECT_TRUE(key.SetValue(u"v", REG_SZ, text, sizeof text)); }));
}

TEST_F(RegistryKey, ListsNamesAndSizesOfAnyLength) {
    const CUnicodeString longName(u'n', 255);
    const CUnicodeString longerName(u'n', 1000);
    write(longName, u"");
    write(u"alpha\\below", u"");
    key.SetStringValue(u"a text", u"1");
    key.SetValue(u"expand", REG_EXPAND_SZ, u"x", 4);
    key.SetValue(u"bytes", REG_BINARY, "1234567", 7);
    key.SetStringValue(longerName.Ptr(), u"");
    EXPECT_EQ(contents(key), u"a text=1;" + longerName + u"=;alpha(below(v=;))" + longName + u"(v=;)");

    CRegistryKeyInfo info;
    key.GetInfo(info);
    const CRegistryKeyInfo expected = {2, 255, 0, 4, 1000, 7};
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof(info)), 0);

    const CRegistryKey closed(false);
    closed.GetInfo(info);
    EXPECT_EQ(info.subKeyCount + info.longestSubKeyName + info.valueCount + info.longestValueData, 0u);
    EXPECT_EQ(contents(closed), u"");
}

TEST_F(RegistryKey, DeletesAWholeSubtreeButNothingForAnEmptyName) {
    for (const char16_t* path : {u"Tree\\a\\b\\c", u"Tree\\a\\d", u"Tree\\e", u"Other"})
        write(path, u"x");
    const std::pair<const char16_t*, DWORD> deletions[] = {
        {u"Tree", ERROR_SUCCESS}, {u"Never there", ERROR_SUCCESS}, {u"", ERROR_INVALID_PARAMETER}};
    for (const auto& [name, expected] : deletions) {
        key.DeleteSubKey(name);
        EXPECT_EQ(GetLastError(), expected);
        EXPECT_EQ(contents(key), u"Other(v=x;)");
    }
}

TEST_F(RegistryKey, CopiesValuesAndSubKeysEvenIntoItsOwnSubtree) {
    CRegistryKey from(false), to(false);
    from.Open(key, u"From");
    to.Open(key, u"From\\To");
    const std::string large(5000, 'l');
    from.SetValue(u"large", REG_BINARY, large.data(), 5000);
    from.SetValue(u"", 77, "", 0);
    write(u"From\\a\\b", u"deep");
    write(u"From\\c", u"shallow");
    write(u"From\\To", u"kept");
    write(u"From\\To\\c", u"overwritten");
    from.CopyTo(to);
    std::string copied(5000, ' ');
    EXPECT_EQ(to.QueryValue(u"large", copied.data(), 5000), 5000);
    EXPECT_EQ(copied, large);
    EXPECT_EQ(to.GetValueType(u""), 77u);
    const CUnicodeString copies = u"v=kept;a(b(v=deep;))c(v=shallow;)To(v=kept;c(v=shallow;))";
    EXPECT_EQ(contents(to), copies);

    from.CopyTo(from);
    EXPECT_EQ(contents(from), u"a(b(v=deep;))c(v=shallow;)To(" + copies + u")");

    key.DeleteSubKey(u"From\\To");
    from.CopyTo(to);
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
}

TEST_F(RegistryKey, MisuseIsAnAssertionWithItsLineAndDoesNothing) {
    CRegistryKey reader(true), closed(false);
    reader.Open(key, u"");
    char letter = 0;
    const std::pair<long, std::function<void()>> misuses[] = {
        {39, [&] { key.Open(HKEY_CURRENT_USER, u"Software"); }},
        {40, [&] { closed.Open(HKEY_CURRENT_USER, nullptr); }},
        {41, [&] { closed.Open(CRegistryKey(true), u"x"); }},
        {84, [&] { closed.DeleteValue(u"v"); }},
        {85, [&] { key.DeleteValue(nullptr); }},
        {93, [&] { reader.DeleteSubKey(u"A"); }},
        {95, [&] { key.DeleteSubKey(nullptr); }},
        {111, [&] { EXPECT_EQ(key.GetValueType(nullptr), 0u); }},
        {208, [&] { EXPECT_EQ(key.QueryStringValue(nullptr, u"default"), u"default"); }},
        {208, [&] { EXPECT_EQ(key.QueryStringValue(u"v", nullptr), u""); }},
        {245, [&] { EXPECT_FALSE(key.SetValue(nullptr, REG_BINARY, &letter, 1)); }},
        {245, [&] { EXPECT_FALSE(key.SetValue(u"v", REG_BINARY, nullptr, 0)); }},
        {246, [&] { EXPECT_FALSE(reader.SetStringValue(u"v", u"")); }},
        {257, [&] { EXPECT_FALSE(key.SetStringValue(u"v", nullptr)); }},
        {310, [&] { key.CopyTo(closed); }}};
    write(u"A", u"kept");
    CRecordingHandler handler;
    CMessageHandlerSwitcher handling(&handler);
    CThrowingSwitcher showing(false);
    for (const auto& [line, misuse] : misuses) {
        misuse();
        const CUnicodeString text = handler.shown.back().text.c_str();
        EXPECT_GE(text.Find((u"RegistryKey, " + UnicodeStr(line) + u".").Ptr()), 0) << line;
    }
    EXPECT_EQ(handler.shown.size(), std::size(misuses));
    EXPECT_EQ(contents(key), u"A(v=kept;)");
    SetErrorFlag(false);
}
