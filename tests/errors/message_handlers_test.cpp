#include "tests/errors/reports.h"

#include <chrono>
#include <thread>
#include <type_traits>

namespace Tarn {
namespace {

// A handler may own a file, which may fail to close.
static_assert(!std::is_nothrow_destructible_v<CMessageHandler>);

TEST(MessageHandler, AnswersWithThePreselectedButton) {
    // The set of buttons, and the answer when the first, second, third or fourth button is preselected.
    const unsigned table[][5] = {{0, 1, 1, 1, 1}, {1, 1, 2, 1, 1}, {2, 3, 4, 5, 3}, {3, 6, 7, 2, 6},
                                 {4, 6, 7, 6, 6}, {5, 4, 2, 4, 4}, {15, 3, 3, 3, 3}};
    for (const auto& row : table)
        for (unsigned button = 0; button < 4; button++) {
            const int answer = CMessageHandler::GetDefaultReturnValue(row[0] | button * 0x100 | 0x30);
            EXPECT_EQ(answer, static_cast<int>(row[button + 1])) << row[0] << ", " << button;
        }
}

TEST(MessageHandlerSwitcher, NestsForTheProcessAndForEachThread) {
    CMessageHandler* const initial = GetCurrentMessageHandler();
    CRecordingHandler process, thread, inner;
    {
        CMessageHandlerSwitcher forThread(&thread, true, true);
        CMessageHandlerSwitcher forProcess(&process);
        EXPECT_EQ(GetCurrentMessageHandler(), &thread);
        std::thread([&] { EXPECT_EQ(GetCurrentMessageHandler(), &process); }).join();
        CMessageHandlerSwitcher later(&inner, false, true);
        later.Begin();
        later.Begin();
        EXPECT_EQ(GetCurrentMessageHandler(), &inner);
        later.End();
        later.End();
        EXPECT_EQ(GetCurrentMessageHandler(), &thread);
        forThread.End();
        EXPECT_EQ(GetCurrentMessageHandler(), &process);
    }
    CConsoleMessageHandler::SetEnabled(true);
    EXPECT_EQ(GetCurrentMessageHandler(), initial) << "the default has been chosen before";
    CConsoleMessageHandler::SetEnabled(false);
}

TEST(FileMessageHandler, AppendsTextsToAFileWithOneByteOrderMark) {
    const CUnicodeString file = FileSystem::Merge(TempFile::GetTemporaryDir(), u"messages.txt");
    CFileMessageHandler handler(file);
    EXPECT_EQ(handler.ShowMessage(nullptr, u"one\ntwo\r\nthree", u"caption", 3 | 0x200), 2);
    const std::u16string expected = u"\uFEFFone\r\ntwo\r\nthree\r\n\r\n";
    EXPECT_EQ(UnitsOf(file), expected);

    // Line ends that are split between two pieces of the text.
    std::u16string text = u"x", lineEnds;
    for (int i = 0; i < 4000; i++) {
        text += i % 2000 < 1000 ? u"\n" : u"\r\n";
        lineEnds += u"\r\n";
    }
    CFileMessageHandler sameFile(file.CreateString(65001));
    sameFile.ShowMessage(nullptr, text.c_str(), nullptr, 0);
    EXPECT_EQ(UnitsOf(file), expected + u"x" + lineEnds + u"\r\n\r\n");
    FileSystem::Remove(file);
}

TEST(FileMessageHandler, WaitsForOtherWriters) {
    const CUnicodeString name = FileSystem::Merge(TempFile::GetTemporaryDir(), u"shared.txt");
    CFile other(name, CFile::ForWriting | CFile::Create);
    std::thread closing([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        other.Close();
    });
    CFileMessageHandler(name).ShowMessage(nullptr, u"late", u"", 0);
    closing.join();
    EXPECT_EQ(UnitsOf(name), u"\uFEFFlate\r\n\r\n");
    FileSystem::Remove(name);
}

TEST(FileMessageHandler, DropsWhatCannotBeWritten) {
    for (const CUnicodeString name : {u"no/folder/file.txt", u"/dev/full"})
        EXPECT_EQ(CFileMessageHandler(name).ShowMessage(nullptr, u"lost", u"", 4 | 0x100), 7);
}

TEST(ConsoleMessageHandler, LogsBesideTheExecutableAsSoonAsItCan) {
    CUnicodeString log = FileSystem::GetEXEFileName();
    FileSystem::ReplaceExt(log, u".log");
    FileSystem::MakeDir(log); // prevents the file from being created
    {
        CConsoleMessageHandler handler;
        EXPECT_EQ(handler.ShowMessage(nullptr, u"lost", u"", 4), 1);
        FileSystem::DelDir(log);
        EXPECT_EQ(handler.ShowMessage(nullptr, u"one", u"", 4 | 0x100), 1);
        CConsoleMessageHandler::SetAddCRLF(false);
        handler.ShowMessage(nullptr, u"two", u"", 0);
        CConsoleMessageHandler::SetAddCRLF(true);
        EXPECT_EQ(UnitsOf(log), u"\uFEFFone\r\ntwo") << "the log can be read while it is open";
    }
    FileSystem::Remove(log);
}

TEST(TerminalText, ShowsWhatATerminalWouldObey) {
    const CUnicodeString text = u"\x1B\ta\u202E\rb\r\n\u00E9\x9B";
    EXPECT_EQ(TerminalText(text), u"\\x1B\ta\\u202E\\x0Db\r\n\u00E9\\x9B");
    EXPECT_EQ(TerminalText(text, true), u"\\x1B\\x09a\\u202E\\x0Db\\x0D\\x0A\u00E9\\x9B");
}

TEST(Trace, FormatsTextsLongerThanItsFirstBuffer) {
    TARNKIT_TEST_NEEDS(kRestartsItself);
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not traced yet
    SetEnvironment("TARNKIT_TRACE", "stderr");
    const std::u16string text(3000, u'x');
    EXPECT_EXIT((Trace(u"<%s %d>", text.c_str(), 7), std::_Exit(0)), testing::ExitedWithCode(0),
                "^<" + std::string(3000, 'x') + " 7>$");
    SetEnvironment("TARNKIT_TRACE", nullptr);
}

} // namespace
} // namespace Tarn
