#include <tarnkit/tarnkit.h>

#include "tests/errors/reports.h"
#include "tests/support/fresh_folder.h"
#include "tests/support/refusing_manager.h"

#include <future>

using namespace Tarn;

namespace {

constexpr char16_t kPath[] = u"Software\\TarnkitSetupTest";

// Initializes the library with registry sections that only this test uses.
class Setup : public testing::Test {
protected:
    Setup() { EXPECT_TRUE(Initialize(kPath, u"Software\\TarnkitSetupTest\\Machine")); }
    ~Setup() override {
        Clean();
        CRegistryKey user(false);
        user.Open(HKEY_CURRENT_USER, u"");
        user.DeleteSubKey(kPath);
    }
    /// What `setup` reads when the registry holds `text`.
    template<class T>
    static int read(T&& setup, const char16_t* text) {
        setup.SetString(text);
        return setup.Get();
    }
    static CUnicodeString stored() { return CSetupStringArray(u"", u"v", ST_UserSection).GetString(); }
};

constexpr CEnumItem kSizes[] = {{1, u"Small"}, {3, u"Large"}, {3, u"Huge"}, {0, nullptr}};

TEST_F(Setup, IsStoredWhereItsTypeSays) {
    const std::tuple<TSetupType, const char16_t*, HKEY, const char16_t*> rows[] = {
        {ST_MachineSection, u"a", HKEY_LOCAL_MACHINE, u"Software\\TarnkitSetupTest\\Machine\\a"},
        {ST_UserSection, u"a", HKEY_CURRENT_USER, u"Software\\TarnkitSetupTest\\a"},
        {ST_UserSection, u"", HKEY_CURRENT_USER, kPath},
        {ST_LocalMachine, kPath, HKEY_LOCAL_MACHINE, kPath},
        {ST_CurrentUser, kPath, HKEY_CURRENT_USER, kPath},
        {ST_Users, u".DEFAULT\\TarnkitSetupTest", HKEY_USERS, u".DEFAULT\\TarnkitSetupTest"},
        {ST_ClassesRoot, u"TarnkitSetupTest", HKEY_CLASSES_ROOT, u"TarnkitSetupTest"}};
    for (const auto& [type, path, rootKey, name] : rows) {
        CSetup<int> setup(path, u"v", 5, type);
        setup.Set(-7);
        EXPECT_EQ(setup.Get(), -7) << type;
        CRegistryKey root(false), key(true);
        root.Open(rootKey, u"");
        key.Open(root, name);
        EXPECT_EQ(key.QueryStringValue(u"v", u""), u"-7") << type;
        key.Close();
        root.DeleteSubKey(name);
    }
    SetUserRegistrySection(u"");
    CSetup<int> setup(kPath, u"v", 5, ST_UserSection);
    setup.Set(8);
    EXPECT_EQ(CSetup<int>(kPath, u"v", 5, ST_CurrentUser).Get(), 8);
}

TEST_F(Setup, ReadsNamesOrTheDefault) {
    CSetupEnum size(u"", u"v", 1, kSizes, ST_UserSection);
    EXPECT_EQ(read(size, u"lARGE"), 3);
    EXPECT_EQ(read(size, u"huge "), 1);
    EXPECT_EQ(AssertionOf([&] { size.Set(2); }), u"SETUP:180");
    EXPECT_EQ(AssertionOf([] { CSetupEnum(u"", u"", 2, kSizes, ST_UserSection).Get(); }), u"SETUP:180");
    EXPECT_EQ(AssertionOf([] { CSetupEnum(u"", u"", 1, nullptr, ST_UserSection); }), u"SETUP:165");
    EXPECT_EQ(AssertionOf([] { CCacheSetupEnum(u"", u"", 1, nullptr, ST_UserSection); }), u"SETUP:190");
    EXPECT_EQ(AssertionOf([] { CSetup<int>(u"", u"", 1, TSetupType(6)).Get(); }), u"SETUP:96");
}

TEST_F(Setup, ReadsColorsInBothForms) {
    CSetupColor color(u"", u"v", 0x123456, ST_UserSection);
    const int window = static_cast<int>(GetSysColor(COLOR_WINDOW));
    const std::pair<const char16_t*, int> rows[] = {
        {u"R=255, G=0, B=0", 255}, {u"b = 1", 65536},  {u"R=1,G=2,r=3", 0x203},
        {u"G=-1,R=257", 0xFF01},   {u"", 0},           {u"Red=1", 0x123456},
        {u"R=1,", 0x123456},       {u"R=x", 0x123456}, {u" sys = window ", window},
        {u"Sys=CURTAIN", 0x123456}};
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(read(color, text), expected) << CUnicodeString(text).CreateString().Ptr();
    color.Set(0x010203);
    EXPECT_EQ(stored(), u"R=3, G=2, B=1");
    EXPECT_EQ(color.Get(), 0x010203);
}

TEST_F(Setup, FollowsASystemColorUnlessItIsCached) {
    const INT index = COLOR_BTNFACE;
    const DWORD before = GetSysColor(index);
    const DWORD after = before ^ 0x0F0F0F;
    CSetupColor plain(u"", u"v", 0, ST_UserSection);
    CCacheSetupColor cached(u"", u"v", 0, ST_UserSection);
    cached.SetSysColor(kSysColorFlag + index);
    EXPECT_EQ(stored(), u"Sys=3DFACE");
    SetSysColors(1, &index, &after);
    EXPECT_EQ(DWORD(plain.Get()), after);
    EXPECT_EQ(DWORD(cached.Get()), before);
    SetSysColors(1, &index, &before);
    plain.SetSysColor(index); // without the flag there is no system colour of this index
    EXPECT_EQ(stored(), u"Sys=");
}

TEST_F(Setup, StoresListsWithEscapedCommas) {
    using Strings = CArray<CUnicodeString>;
    CSetupStringArray list(u"", u"v", ST_UserSection);
    const std::pair<const char16_t*, Strings> rows[] = {{u"", {}},
                                                        {u"a\\,b,c\\\\d,e", {u"a,b", u"c\\d", u"e"}},
                                                        {u"x\\\\,y", {u"x\\,y"}},
                                                        {u",a,", {u"", u"a", u""}},
                                                        {u" \\a\\", {u" a"}}};
    Strings items{u"left over"};
    for (const auto& [text, expected] : rows) {
        list.SetString(text);
        list.Get(items);
        EXPECT_EQ(items, expected) << CUnicodeString(text).CreateString().Ptr();
    }
    list.Set({u"a,b", u"c\\d", u" e "});
    EXPECT_EQ(stored(), rows[1].first);
    list.SetDefault();
    EXPECT_EQ(stored(), u"");
}

TEST_F(Setup, KeepsCachedValuesUnderTheDefaultManager) {
    CCacheSetupStringArray list(u"", u"list", ST_UserSection), written(list);
    CSetupStringArray plain(u"", u"list", ST_UserSection);
    CCacheSetup<int> number(u"", u"v", 5, ST_UserSection);
    {
        CRefusingManager manager; // reports blocks that are not returned before it is destroyed
        CMemoryManagerSwitcher switching(&manager);
        CArray<CUnicodeString> items;
        plain.Set({u"a", u"b"});
        list.Get(items);
        plain.Set({u"another process's"});
        list.Get(items);
        EXPECT_EQ(items, (CArray<CUnicodeString>{u"a", u"b"}));
        written.Set({u" c"});
        CCacheSetupStringArray(written).Get(items);
        EXPECT_EQ(items, CArray<CUnicodeString>{u" c"});
        list.Reset();
        list.Get(items);
        EXPECT_EQ(items, CArray<CUnicodeString>{u"c"});
    }
    EXPECT_EQ(number.Get(), 5);
    EXPECT_EQ(read(number, u"6"), 5);
    number.Set(7);
    EXPECT_EQ(read(number, u"6"), 7);
}

TEST_F(Setup, NamesTheKeyThatCannotBeWritten) {
    const CUnicodeString name(u'x', 300);
    CCacheSetup<int> setup(name, u"v", 5, ST_UserSection);
    try {
        setup.Set(7);
        FAIL() << "the value was written";
    } catch (CException* e) {
        EXPECT_EQ(e->MessageText(), CUnicodeString(u"Access to ") + (kIsWindows ? u"Windows " : u"") +
                                        u"registry key HKEY_CURRENT_USER\\" + (kPath + (u"\\" + name)) +
                                        u"\\ is prohibited.");
        e->Delete();
    }
    EXPECT_EQ(setup.Get(), 7);
}

// A box may be shown by another thread, which may need cached values for it.
TEST_F(Setup, ReportsWhileOthersUseCachedValues) {
    CRecordingHandler handler;
    CMessageHandlerSwitcher recording(&handler);
    CThrowingSwitcher showing(false);
    CCacheSetupEnum size(CUnicodeString(u'x', 300), u"v", 2, kSizes, ST_UserSection);
    CCacheSetupStringArray list(u"", u"v", ST_UserSection),
        unwritable(CUnicodeString(u'x', 300), u"v", ST_UserSection);
    std::vector<std::future<void>> others;
    handler.whileShowing = [&] {
        others.push_back(std::async(std::launch::async, [&] {
            CArray<CUnicodeString> items;
            list.Get(items);
        }));
        EXPECT_EQ(others.back().wait_for(std::chrono::seconds(5)), std::future_status::ready);
    };
    EXPECT_EQ(size.Get(), 2);
    size.Set(2);
    unwritable.Set({u"a"});
    EXPECT_EQ(handler.shown.size(), 4u); // the missing name twice, and what was not written
    SetErrorFlag(false);
}

TEST_F(Setup, IsReadAndSetInOneStep) {
    CCacheSetupColor color(u"", u"c", 0, ST_UserSection);
    CSetupStringArray list(u"", u"v", ST_UserSection);
    list.Set({u"a"});
    int wrong = 0;
    std::thread other([&] {
        for (int i = 0; i < 300; i++)
            list.Set(i % 2 ? CArray<CUnicodeString>{u"a"}
                           : CArray<CUnicodeString>{u"a", CUnicodeString(u'b', 700)});
    });
    for (int i = 0; i < 4000; i++) {
        const CUnicodeString text = list.GetString();
        wrong += text != u"a" && text.GetLength() != 702;
    }
    other.join();
    for (int i = 0; i < 300; i++) {
        std::thread setter([&] { color.Set(0x010203); });
        color.SetSysColor(kSysColorFlag + COLOR_WINDOW);
        setter.join();
        wrong += color.Get() != CSetupColor(u"", u"c", 0, ST_UserSection).Get();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
