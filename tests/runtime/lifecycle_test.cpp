#include "tests/runtime/started_library.h"

#include <tarnkit/file_system.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/tarnkit_static.h>
#include <tarnkit/temp_file.h>

#include <cstdlib>
#include <thread>

namespace Tarn {
namespace {

constexpr char16_t kLibraryKey[] = u"Software\\Velmora\\Tarnkit";

int initCount;
int termCount;
void countInit() { initCount++; }
void countTerm() { termCount++; }
void failInit() { GenAssert(u"Test", 77); }

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
    EXPECT_EQ(assertionLine(GetUserRegistrySection), 341);
    ASSERT_TRUE(Initialize(nullptr, u"Software\\Other"));
    EXPECT_EQ(GetUserRegistrySection(), u"Software\\Velmora\\tarnkit_runtime_tests");
    EXPECT_EQ(GetMachineRegistrySection(), u"Software\\Other");
    EXPECT_TRUE(Initialize(u"ignored", u"ignored"));
    EXPECT_EQ(GetMachineRegistrySection(), u"Software\\Other");
    Clean();
    EXPECT_TRUE(IsTarnkitInitialized());
    Clean();
    EXPECT_FALSE(IsTarnkitInitialized());
    Clean();
    EXPECT_TRUE(Initialize(u"Software\\Mine", nullptr)) << "surplus calls of Clean do not count";
    EXPECT_EQ(GetUserRegistrySection(), u"Software\\Mine");
    EXPECT_EQ(assertionLine([] { SetMachineRegistrySection(nullptr); }), 363);
}

TEST_F(Lifecycle, KnowsTheApplication) {
    EXPECT_EQ(GetAppTitle(), u"Tarnkit");
    SetAppTitle(u"Notes");
    EXPECT_EQ(GetAppTitle(), u"Notes");
    SetAppTitle(u"");
    EXPECT_EQ(GetAppTitle(), u"Tarnkit");
    EXPECT_EQ(GetApplicationInstance(), GetThisModule());
    EXPECT_EQ(assertionLine([] { SetApplicationInstance(GetThisModule()); }), 595);
    EXPECT_EQ(IsWindowsNT() + IsWindows95() + IsPocketPC2000() + IsPocketPC2002(), 1);
    EXPECT_TRUE(IsWindowsXP() <= IsWindows2000() && IsWindows2000() <= IsWindowsNT() &&
                IsWindowsME() <= IsWindows98());
}

TEST_F(Lifecycle, ReadsItsSwitchesAtTheStart) {
    setSwitch(u"EnableHeapSwitching", u"0");
    setSwitch(u"BreakOnMemoryException", u"yes");
    setSwitch(u"SystemMemoryBlockOffset", u"7fF");
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, kLibraryKey);
    const DWORD one = 1;
    key.SetValue(u"TraceSystemMemoryBlocks", REG_DWORD, &one, sizeof(one));
    const CUnicodeString temporaryFolder = toText(folder);
    setSwitch(u"Temp", temporaryFolder, HKEY_LOCAL_MACHINE);

    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_FALSE(GetMemorySwitches().enableHeapSwitching);
    EXPECT_FALSE(GetMemorySwitches().breakOnMemoryException) << "no number";
    EXPECT_FALSE(GetMemorySwitches().traceSystemMemoryBlocks) << "not a string";
    EXPECT_EQ(GetMemorySwitches().systemMemoryBlockOffset, 0x7FF);
    EXPECT_EQ(TempFile::GetTemporaryDir(), temporaryFolder);
    EXPECT_EQ(FileSystem::GetApplicationDataPath(FileSystem::TApplicationDataPathType::User),
              FileSystem::GetEXEDir());
    Clean();
    key.DeleteValue(u"EnableHeapSwitching");
    setSwitch(u"Temp", u"", HKEY_LOCAL_MACHINE);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_TRUE(GetMemorySwitches().enableHeapSwitching);
    EXPECT_NE(TempFile::GetTemporaryDir(), temporaryFolder);
}

TEST_F(Lifecycle, SavesTheUndefinedMessagesAtTheEndWhenAsked) {
    setSwitch(u"SaveUndefinedMessages", u"1");
    CUnicodeString list = FileSystem::GetEXEFileName();
    FileSystem::ReplaceExt(list, u".txt");
    FileSystem::RemoveIgnoreErrors(list);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    EXPECT_TRUE(FileSystem::AccessFile(list, 0));
    FileSystem::RemoveIgnoreErrors(list);

    // A list that cannot be written is reported, and the rest of the end comes all the same.
    FileSystem::MakeDir(list);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    Clean();
    EXPECT_EQ(handler.shown.size(), 1u);
    EXPECT_FALSE(IsTarnkitInitialized());
    FileSystem::DelDir(list);
}

TEST_F(Lifecycle, InitialisesEachModuleOnceAndTerminatesIt) {
    RegisterModule(GetThisModule(), countInit, countTerm);
    RegisterModule(GetThisModule(), countInit, countTerm);
    EXPECT_EQ(assertionLine([] { RegisterModule(GetThisModule(), countTerm, countTerm); }), 286);
    EXPECT_EQ(assertionLine([] { RegisterModule(GetThisModule(), countInit, nullptr); }), 287);
    EXPECT_EQ(initCount, 0);
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(initCount, 1);

    // One that comes later is initialised by the next call; its failure is shown and fails that call only.
    const auto other = reinterpret_cast<HINSTANCE>(&initCount);
    RegisterModule(other, failInit, nullptr);
    EXPECT_FALSE(Initialize(nullptr, nullptr));
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nTest, 77.");
    EXPECT_TRUE(IsTarnkitInitialized());
    EXPECT_TRUE(Initialize(nullptr, nullptr));
    for (int i = 0; i < 3; i++)
        Clean();
    EXPECT_FALSE(IsTarnkitInitialized());
    EXPECT_EQ(termCount, 1);

    // This program is a client and stays registered; the other was none.
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    EXPECT_EQ(initCount, 2);
    EXPECT_EQ(handler.shown.size(), 1u);
}

// For a process of its own: a failed start is for ever.
[[noreturn]] void startAndFail() {
    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher(&handler);
    RegisterModule(GetThisModule(), failInit, countTerm);
    SetThrowingEnabled(false);
    bool isAsExpected = !Initialize(nullptr, nullptr) && !IsThrowingEnabled() && !IsTarnkitInitialized() &&
                        handler.shown.size() == 1 && ERR_BAD_ARCHIVE.IsDefined();
    isAsExpected = isAsExpected && !Initialize(nullptr, nullptr);
    Clean();
    Clean();
    Clean();
    isAsExpected = isAsExpected && termCount == 0 && handler.shown.size() == 1;
    isAsExpected = isAsExpected && !Initialize(nullptr, nullptr) && handler.shown.size() == 2 &&
                   handler.shown[1].text.find(u"Tarnkit, 122") != std::u16string::npos;
    std::_Exit(isAsExpected ? 0 : 1);
}

TEST_F(Lifecycle, StaysFailedAfterAFailedStart) {
    EXPECT_EXIT(startAndFail(), testing::ExitedWithCode(0), "");
}

TEST_F(Lifecycle, KeepsTheFlagsOfEachThread) {
    BeginStaticPart();
    GenAssert(u"Test", 1);
    EXPECT_TRUE(GetErrorFlag());
    std::thread([] {
        EXPECT_FALSE(IsInsideStaticPart());
        EXPECT_FALSE(GetErrorFlag());
        BeginStaticPart();
        SetErrorFlag();
    }).join();
    BeginStaticPart();
    EndStaticPart();
    EXPECT_FALSE(IsInsideStaticPart()) << "they do not nest";
    EXPECT_TRUE(GetErrorFlag());
    SetErrorFlag(false);
    EXPECT_FALSE(GetErrorFlag());
}

} // namespace
} // namespace Tarn
