#include "tests/runtime/started_library.h"

namespace Tarn {
namespace {

constexpr char16_t kLibraryKey[] = u"Software\\Velmora\\Tarnkit";

int initCount;
int termCount;
void countInit() { initCount++; }
void failInit() { GenAssert(u"Test", 77); }
// Loads a library during termination, as looking up a text in another language does.
void countTerm() {
    termCount++;
    EXPECT_NE(LoadDLL(NameOf(Path(TEST_MODULES) / "Bare.dll")), nullptr);
}

class Lifecycle : public WithModules {
protected:
    Lifecycle() { initCount = termCount = 0; }
    ~Lifecycle() override {
        CRegistryKey user(false);
        user.Open(HKEY_CURRENT_USER, u"Software");
        user.DeleteSubKey(u"Velmora");
    }

    static void setSwitch(const char16_t* name, const char16_t* value, HKEY root = HKEY_CURRENT_USER) {
        CRegistryKey key(false);
        key.Open(root, kLibraryKey);
        ASSERT_TRUE(key.SetStringValue(name, value));
    }
};

TEST_F(Lifecycle, StartsAndEndsWithTheOutermostPair) {
    EXPECT_EQ(AssertionOf(GetUserRegistrySection), u"Tarnkit:341");
    ASSERT_TRUE(Initialize(nullptr, u"Software\\Other"));
    EXPECT_EQ(GetUserRegistrySection(), u"Software\\Velmora\\tarnkit_runtime_tests");
    EXPECT_TRUE(Initialize(u"ignored", u"ignored"));
    EXPECT_EQ(GetMachineRegistrySection(), u"Software\\Other");
    Clean();
    EXPECT_TRUE(IsTarnkitInitialized());
    Clean();
    EXPECT_FALSE(IsTarnkitInitialized());
    Clean();
    EXPECT_TRUE(Initialize(nullptr, nullptr)) << "surplus calls of Clean do not count";
    EXPECT_EQ(AssertionOf([] { SetMachineRegistrySection(nullptr); }), u"Tarnkit:363");
}

TEST_F(Lifecycle, KnowsTheApplication) {
    SetAppTitle(u"");
    EXPECT_EQ(GetAppTitle(), u"Tarnkit");
    EXPECT_EQ(GetApplicationInstance(), GetThisModule());
    EXPECT_EQ(AssertionOf([] { SetApplicationInstance(GetThisModule()); }), u"Tarnkit:595");
    EXPECT_EQ(IsWindowsNT() + IsWindows95() + IsPocketPC2000() + IsPocketPC2002(), 1);
}

TEST_F(Lifecycle, ReadsItsSwitchesAtStartUp) {
    setSwitch(u"EnableHeapSwitching", u"0");
    setSwitch(u"BreakOnMemoryException", u"yes");
    setSwitch(u"SystemMemoryBlockOffset", u"7fF");
    setSwitch(u"Temp", NameOf(folder), HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_FALSE(GetMemorySwitches().enableHeapSwitching);
    EXPECT_FALSE(GetMemorySwitches().breakOnMemoryException) << "not a number";
    EXPECT_EQ(GetMemorySwitches().systemMemoryBlockOffset, 0x7FF);
    EXPECT_EQ(TempFile::GetTemporaryDir(), NameOf(folder));
    Clean();
    const Path log = Path(std::getenv("TARNKIT_REGISTRY")) / "user.db-wal"; // where there is such a file
    EXPECT_TRUE(!std::filesystem::exists(log) || std::filesystem::is_empty(log)) << "the store is closed";
    setSwitch(u"EnableHeapSwitching", u"");
    setSwitch(u"Temp", u"", HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_TRUE(GetMemorySwitches().enableHeapSwitching);
}

TEST_F(Lifecycle, ReportsUndefinedMessagesThatItCannotSaveAtTheEnd) {
    setSwitch(u"SaveUndefinedMessages", u"1");
    CUnicodeString list = FileSystem::GetEXEFileName();
    FileSystem::ReplaceExt(list, u".txt");
    // A list that cannot be written is reported, and the shut-down continues.
    FileSystem::MakeDir(list);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    EXPECT_EQ(handler.shown.size(), 1u);
    EXPECT_FALSE(IsTarnkitInitialized());
    FileSystem::DelDir(list);
}

TEST_F(Lifecycle, InitialisesEachModuleOnceAndTerminatesIt) {
    for (int i = 0; i < 2; i++)
        RegisterModule(GetThisModule(), countInit, countTerm);
    EXPECT_EQ(AssertionOf([] { RegisterModule(GetThisModule(), failInit, countTerm); }), u"Tarnkit:286");
    EXPECT_EQ(AssertionOf([] { RegisterModule(GetThisModule(), countInit, nullptr); }), u"Tarnkit:287");
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(initCount, 1);

    // A module registered later is initialised by the next call; its failure is shown and fails only that
    // call.
    RegisterModule(reinterpret_cast<HINSTANCE>(&initCount), failInit, nullptr);
    EXPECT_FALSE(Initialize(nullptr, nullptr));
    EXPECT_TRUE(IsTarnkitInitialized());
    EXPECT_TRUE(Initialize(nullptr, nullptr));
    for (int i = 0; i < 3; i++)
        Clean();
    EXPECT_EQ(termCount, 1);

    // This program is a client module and stays registered; the other one was not a module.
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(initCount, 2) << "not again while the modules were being terminated";
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nTest, 77.");
}

// Runs in a process of its own: a failed start is permanent.
[[noreturn]] void startAndFail() {
    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher(&handler);
    RegisterModule(GetThisModule(), failInit, countTerm);
    SetThrowingEnabled(false);
    bool isAsExpected = !Initialize(nullptr, nullptr) && !IsThrowingEnabled() &&
                        ERR_BAD_ARCHIVE.IsDefined() && !Initialize(nullptr, nullptr) &&
                        handler.shown.size() == 1;
    for (int i = 0; i < 3; i++)
        Clean();
    isAsExpected = isAsExpected && termCount == 0 && handler.shown.size() == 1 &&
                   !Initialize(nullptr, nullptr) && handler.shown.size() == 2 &&
                   handler.shown[1].text == u"Internal Program Error:\nAssertion failed: ()\nTarnkit, 122.";
    std::_Exit(isAsExpected ? 0 : 1);
}

TEST_F(Lifecycle, StaysFailedAfterAFailedStart) {
    EXPECT_EXIT(startAndFail(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace Tarn
