#include <tarnkit/registry_watch.h>
#include <tarnkit/setup.h>
#include <tarnkit/text_of_values.h>

#include "tests/support/testing.h"

using namespace Tarn;

namespace {

constexpr char16_t kPath[] = u"Software\\TarnkitRegistryWatchTest";
constexpr DWORD kSoon = 10000; // milliseconds; ends at once when something changes

void deleteKeys() {
    CRegistryKey software(false);
    software.Open(HKEY_CURRENT_USER, u"Software");
    for (const char16_t* name : {u"TarnkitRegistryWatchTest", u"TarnkitRegistryWatchTest2"})
        software.DeleteSubKey(name);
}

} // namespace

TEST(RegistryWatch, ReportsEveryKindOfChangeAndNothingElse) {
    CRegistryKey key(false), other(false), sub(false);
    key.Open(HKEY_CURRENT_USER, kPath);
    other.Open(HKEY_CURRENT_USER, u"Software\\TarnkitRegistryWatchTest2");
    key.SetStringValue(u"a", u"1");
    CRegistryWatch watch(key), shallow(key, false);
    ASSERT_TRUE(watch.IsValid() && watch.GetWaitHandle() != nullptr);
    EXPECT_FALSE(watch.Wait(0) || watch.Wait(20));
    EXPECT_EQ(GetLastError(), ERROR_TIMEOUT);
    const std::function<void()> changes[] = {[&] { key.SetStringValue(u"a", u"2"); },
                                             [&] { key.SetStringValue(u"b", u""); },
                                             [&] { key.DeleteValue(u"b"); },
                                             [&] { sub.Open(key, u"sub"); },
                                             [&] { sub.SetValue(u"x", REG_DWORD, u"\1", 4); },
                                             [&] { sub.SetValue(u"x", REG_BINARY, u"\1", 4); },
                                             [&] { sub.Close(), key.DeleteSubKey(u"sub"); }};
    for (const auto& change : changes) {
        const auto index = &change - changes;
        change();
        EXPECT_TRUE(watch.Wait(kSoon)) << index;
        while (watch.Wait(20)) { // several writes may be several reports
        }
        other.SetStringValue(u"a", UnicodeStr(index));
        EXPECT_FALSE(watch.Wait(20)) << index;
        const bool isBelow = index == 4 || index == 5;
        EXPECT_EQ(shallow.Wait(isBelow ? 20 : kSoon), !isBelow) << index;
        while (shallow.Wait(20)) {
        }
    }
    key.Close(), other.Close();
    deleteKeys();
    const CRegistryKey closed(true);
    EXPECT_FALSE(CRegistryWatch(closed).IsValid());
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(RegistryWatch, ReportsTheDeletionOfItsKeyAsTheLastChange) {
    TARNKIT_TEST_NEEDS(kDocumentedCalls);
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, kPath);
    CRegistryWatch watch(key);
    key.Close();
    deleteKeys();
    EXPECT_TRUE(watch.Wait(kSoon)); // it may be reported more than once
    for (int i = 0; i < 3 && watch.Wait(20); i++) {
    }
    EXPECT_FALSE(watch.Wait(20));
}

TEST(RegistryWatch, WakesAThreadThatReadsItsCachedSettingAgain) {
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, kPath);
    CCacheSetup<int> width(kPath, u"Width", 1, ST_CurrentUser);
    EXPECT_EQ(width.Get(), 1);
    CRegistryWatch watch(key);
    std::thread other([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        CSetup<int>(kPath, u"Width", 1, ST_CurrentUser).Set(1024);
    });
    EXPECT_TRUE(watch.Wait(kSoon));
    EXPECT_EQ(width.Get(), 1);
    width.Reset();
    EXPECT_EQ(width.Get(), 1024);
    other.join();
    key.Close();
    deleteKeys();
}
