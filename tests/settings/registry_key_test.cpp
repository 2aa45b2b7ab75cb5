#include <tarnkit/registry_key.h>

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Tarn;

namespace {

constexpr char16_t kScratch[] = u"TarnkitRegistryKeyTest";

using Names = std::vector<std::u16string>;

class RegistryKey : public testing::Test {
protected:
    CRegistryKey key{false};

    static void removeScratch() {
        CRegistryKey software(false);
        software.Open(HKEY_CURRENT_USER, u"Software");
        software.DeleteSubKey(kScratch);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    }
    void SetUp() override {
        removeScratch();
        CRegistryKey software(true);
        software.Open(HKEY_CURRENT_USER, u"Software");
        key.Open(software, kScratch);
        ASSERT_TRUE(key.IsValid());
    }
    void TearDown() override { removeScratch(); }

    static std::u16string text(const CUnicodeString& s) {
        return {s.Ptr(), static_cast<std::size_t>(s.GetLength())};
    }
    using List = CArray<CUnicodeString, CurrentMemoryManager>;

    static Names names(const CRegistryKey& parent, void (CRegistryKey::*list)(List&) const) {
        List listed{CUnicodeString(u"left over")};
        (parent.*list)(listed);
        Names found;
        for (const CUnicodeString& name : listed)
            found.push_back(text(name));
        return found;
    }
    static Names subKeys(const CRegistryKey& parent) { return names(parent, &CRegistryKey::GetSubKeys); }
    static Names stringValues(const CRegistryKey& parent) {
        return names(parent, &CRegistryKey::GetStringValueNames);
    }
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
};

// Counts messages instead of showing them.
class CCountingHandler : public CMessageHandler {
public:
    int shown = 0;

    int ShowMessage(HWND, const char16_t*, const char16_t*, unsigned) override {
        shown++;
        return IDOK;
    }
};

// The line of the assertion in RegistryKey that `action` fails; 0 when none.
template<class Action>
long assertedLine(Action action) {
    try {
        action();
    } catch (CInternalError* e) {
        const long line = std::u16string(e->SourceFile()) == u"RegistryKey" ? e->Line() : -1;
        e->Delete();
        return line;
    }
    return 0;
}

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

    writer.Close();
    EXPECT_EQ(writer.GetKey(), nullptr);
    writer.Open(key, u"");
    EXPECT_TRUE(writer.SetStringValue(u"through the empty name", u"x"));
    EXPECT_EQ(query(u"", u"through the empty name"), u"x");

    const HKEY detached = writer.Detach();
    EXPECT_EQ(writer.GetKey(), nullptr);
    reader.Close();
    reader.Open(detached, u"A\\B");
    EXPECT_TRUE(reader.IsValid());

    key.DeleteSubKey(u"A");
    EXPECT_NE(reader.GetKey(), nullptr);
    EXPECT_FALSE(reader.IsValid());
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
}

TEST_F(RegistryKey, ReadsStringsWithoutOneTerminator) {
    const struct {
        DWORD type;
        std::u16string stored;
        int size;
        std::u16string expected;
    } cases[] = {
        {REG_SZ, std::u16string(u"ab\0", 3), 6, u"ab"},
        {REG_SZ, u"ab", 4, u"ab"},
        {REG_SZ, std::u16string(u"a\0\0", 3), 6, std::u16string(u"a\0", 2)},
        {REG_SZ, std::u16string(1, u'\0'), 2, u""},
        {REG_EXPAND_SZ, std::u16string(u"%PATH%\0", 7), 14, u"%PATH%"},
        {REG_SZ, u"ab", 3, u"default"},
        {REG_SZ, u"", 0, u"default"},
        {REG_DWORD, u"ab", 4, u"default"},
        {REG_BINARY, u"ab", 4, u"default"},
    };
    for (auto& c : cases) {
        ASSERT_TRUE(key.SetValue(u"v", c.type, c.stored.c_str(), c.size));
        EXPECT_EQ(key.GetValueType(u"v"), c.type);
        EXPECT_EQ(text(key.QueryStringValue(u"V", u"default")), c.expected) << &c - cases;
    }
    EXPECT_EQ(text(key.QueryStringValue(u"missing", u"default")), u"default");
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    const std::u16string large(100'000, u'x');
    ASSERT_TRUE(key.SetStringValue(u"", large.c_str()));
    EXPECT_EQ(key.QueryValue(u"", nullptr, 0), 200'002);
    EXPECT_EQ(text(key.QueryStringValue(u"", u"")), large);
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
    key.DeleteValue(u"v");
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
    key.DeleteValue(u"v");
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key.GetValueType(u"v"), 0u);
}

TEST_F(RegistryKey, ListsNamesAndSizes) {
    const std::u16string longName(200, u'n');
    const std::u16string longerValueName(1000, u'n');
    write(u"Beta", u"");
    write(longName.c_str(), u"");
    write(u"alpha\\below", u"");
    EXPECT_EQ(subKeys(key), (Names{u"alpha", u"Beta", longName}));

    key.SetStringValue(u"a text", u"1");
    key.SetValue(u"expand", REG_EXPAND_SZ, u"x", 4);
    key.SetValue(u"number", REG_DWORD, "1234", 4);
    key.SetValue(u"bytes", REG_BINARY, "1234567", 7);
    key.SetStringValue(longerValueName.c_str(), u"");
    EXPECT_EQ(stringValues(key), (Names{u"a text", longerValueName}));

    CRegistryKeyInfo info;
    key.GetInfo(info);
    EXPECT_EQ(info.subKeyCount, 3u);
    EXPECT_EQ(info.longestSubKeyName, 200u);
    EXPECT_EQ(info.valueCount, 5u);
    EXPECT_EQ(info.longestValueName, 1000u);
    EXPECT_EQ(info.longestValueData, 7u);
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
    EXPECT_EQ(stringValues(closed), Names());
    closed.CopyTo(key);
    EXPECT_EQ(subKeys(key), Names());
}

TEST_F(RegistryKey, DeletesAWholeSubtree) {
    for (const char16_t* path : {u"Tree\\a\\b\\c", u"Tree\\a\\d", u"Tree\\e", u"Other"})
        write(path, u"x");
    for (const char16_t* name : {u"Tree", u"Never there"}) {
        key.DeleteSubKey(name);
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
        EXPECT_EQ(subKeys(key), Names{u"Other"});
    }
    key.DeleteSubKey(u"");
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(subKeys(key), Names{u"Other"});
}

TEST_F(RegistryKey, CopiesValuesAndSubKeys) {
    CRegistryKey from(false);
    CRegistryKey to(false);
    from.Open(key, u"From");
    to.Open(key, u"To");
    const std::string large(5000, 'l');
    from.SetValue(u"large", REG_BINARY, large.data(), 5000);
    from.SetValue(u"", 77, "", 0);
    write(u"From\\a\\b", u"deep");
    write(u"From\\c", u"shallow");
    write(u"To", u"kept", u"own");
    write(u"To\\c", u"overwritten");
    from.CopyTo(to);
    std::string copied(5000, ' ');
    EXPECT_EQ(to.QueryValue(u"large", copied.data(), 5000), 5000);
    EXPECT_EQ(copied, large);
    EXPECT_EQ(to.GetValueType(u""), 77u);
    EXPECT_EQ(query(u"To\\a\\b"), u"deep");
    EXPECT_EQ(query(u"To\\c"), u"shallow");
    EXPECT_EQ(query(u"To", u"own"), u"kept");

    from.CopyTo(from);
    EXPECT_EQ(subKeys(from), (Names{u"a", u"c"}));
}

TEST_F(RegistryKey, CopyingIntoTheOwnSubtreeEnds) {
    write(u"A", u"a");
    write(u"A\\B\\C", u"c");
    CRegistryKey from(true);
    CRegistryKey to(false);
    from.Open(key, u"A");
    to.Open(key, u"A\\B\\C");
    from.CopyTo(to);
    EXPECT_EQ(query(u"A\\B\\C"), u"a");
    EXPECT_EQ(query(u"A\\B\\C\\B\\C"), u"a");
    EXPECT_EQ(query(u"A\\B\\C\\B\\C\\B"), u"none");
}

TEST_F(RegistryKey, MisuseIsAnAssertionWithItsLine) {
    CRegistryKey reader(true);
    CRegistryKey closed(false);
    reader.Open(key, u"");
    char byte = 0;
    const struct {
        long found;
        long line;
    } cases[] = {
        {assertedLine([&] { key.Open(HKEY_CURRENT_USER, u"x"); }), 39},
        {assertedLine([&] { closed.Open(HKEY_CURRENT_USER, nullptr); }), 40},
        {assertedLine([&] { closed.Open(CRegistryKey(true), u"x"); }), 41},
        {assertedLine([&] { reader.DeleteValue(u"v"); }), 83},
        {assertedLine([&] { closed.DeleteValue(u"v"); }), 84},
        {assertedLine([&] { key.DeleteValue(nullptr); }), 85},
        {assertedLine([&] { reader.DeleteSubKey(u"v"); }), 93},
        {assertedLine([&] { closed.DeleteSubKey(u"v"); }), 94},
        {assertedLine([&] { key.DeleteSubKey(nullptr); }), 95},
        {assertedLine([&] { key.GetValueType(nullptr); }), 111},
        {assertedLine([&] { key.QueryStringValue(nullptr, u""); }), 208},
        {assertedLine([&] { key.QueryStringValue(u"", nullptr); }), 208},
        {assertedLine([&] { key.SetValue(nullptr, REG_BINARY, &byte, 1); }), 245},
        {assertedLine([&] { key.SetValue(u"v", REG_BINARY, nullptr, 0); }), 245},
        {assertedLine([&] { reader.SetValue(u"v", REG_BINARY, &byte, 1); }), 246},
        {assertedLine([&] { reader.SetStringValue(u"v", u""); }), 246},
        {assertedLine([&] { key.SetStringValue(u"v", nullptr); }), 257},
        {assertedLine([&] { key.CopyTo(closed); }), 310},
    };
    for (auto& c : cases)
        EXPECT_EQ(c.found, c.line);

    // Where assertions are shown instead of thrown, the call that follows one does nothing.
    CCountingHandler handler;
    CMessageHandlerSwitcher handling(&handler);
    CThrowingSwitcher showing(false);
    const HKEY open = key.GetKey();
    key.Open(HKEY_CURRENT_USER, u"x");
    EXPECT_EQ(key.GetKey(), open);
    EXPECT_EQ(text(key.QueryStringValue(nullptr, u"default")), u"default");
    EXPECT_FALSE(reader.SetStringValue(u"v", u"x"));
    closed.DeleteSubKey(nullptr);
    EXPECT_EQ(handler.shown, 4);
    SetErrorFlag(false);
}
