#include "tests/errors/recording_handler.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace Tarn {
namespace {

namespace fs = std::filesystem;

// The code units of a file of little-endian UTF-16.
std::u16string unitsOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(bytes.size() % 2, 0u);
    std::u16string units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                       static_cast<unsigned char>(bytes[i + 1]) << 8);
    return units;
}

CUnicodeString nameOf(const fs::path& file) { return file.u16string().c_str(); }

TEST(MessageHandler, AnswersWithThePreselectedButton) {
    const struct {
        unsigned buttons;
        int answers[4]; // first, second, third and fourth button preselected
    } table[] = {{0, {1, 1, 1, 1}}, {1, {1, 2, 1, 1}}, {2, {3, 4, 5, 3}}, {3, {6, 7, 2, 6}},
                 {4, {6, 7, 6, 6}}, {5, {4, 2, 4, 4}}, {6, {3, 3, 3, 3}}, {15, {3, 3, 3, 3}}};
    for (const auto& row : table)
        for (unsigned button = 0; button < 4; button++)
            EXPECT_EQ(CMessageHandler::GetDefaultReturnValue(row.buttons | button * 0x100 | 0x30),
                      row.answers[button])
                << row.buttons << ", " << button;
}

TEST(MessageHandlerSwitcher, NestsForTheProcessAndForEachThread) {
    CMessageHandler* const initial = GetCurrentMessageHandler();
    CRecordingHandler process, thread, inner;
    {
        CMessageHandlerSwitcher forThread(&thread, true, true);
        CMessageHandlerSwitcher forProcess(&process);
        EXPECT_EQ(GetCurrentMessageHandler(), &thread);
        std::thread([&] {
            EXPECT_EQ(GetCurrentMessageHandler(), &process);
            CMessageHandlerSwitcher own(&inner, true, true);
            EXPECT_EQ(GetCurrentMessageHandler(), &inner);
        }).join();
        CMessageHandlerSwitcher later(&inner, false, true);
        EXPECT_FALSE(later.IsActive());
        for (int i = 0; i < 2; i++)
            later.Begin();
        EXPECT_EQ(GetCurrentMessageHandler(), &inner);
        for (int i = 0; i < 2; i++)
            later.End();
        EXPECT_EQ(GetCurrentMessageHandler(), &thread);
        forThread.End();
        EXPECT_EQ(GetCurrentMessageHandler(), &process);
    }
    CConsoleMessageHandler::SetEnabled(true);
    EXPECT_EQ(GetCurrentMessageHandler(), initial) << "the default has been chosen before";
    CConsoleMessageHandler::SetEnabled(false);
}

// A handler with a file of its own, whose end may fail as the file's does.
class CLogHandler : public CMessageHandler {
public:
    explicit CLogHandler(const fs::path& name) : log(nameOf(name), CFile::ForWriting | CFile::Create) {}

    int ShowMessage(HWND, const char16_t* text, const char16_t*, unsigned) override {
        log.Write(text, 2);
        return 1;
    }

private:
    CFile log;
};

TEST(MessageHandler, MayOwnAFile) {
    const fs::path file = fs::temp_directory_path() / "own.log";
    {
        CLogHandler handler(file);
        CMessageHandlerSwitcher switcher(&handler);
        MessageBoxW(u"x", 0);
    }
    EXPECT_EQ(unitsOf(file), u"x");
    fs::remove(file);
}

TEST(FileMessageHandler, AppendsTextsToAFileWithOneByteOrderMark) {
    const fs::path file = fs::temp_directory_path() / "messages.txt";
    CFileMessageHandler handler(nameOf(file));
    EXPECT_EQ(handler.ShowMessage(nullptr, u"one\ntwo\r\nthree", u"caption", 3 | 0x200), 2);
    EXPECT_EQ(unitsOf(file), u"\uFEFFone\r\ntwo\r\nthree\r\n\r\n");

    // Line feeds on both sides of where a piece ends.
    fs::remove(file);
    CFileMessageHandler sameFile(CString(file.string().c_str()));
    std::u16string text, expected = u"\uFEFFfirst\r\n\r\n";
    for (int i = 0; i < 5000; i++) {
        const bool isEnd = i % 341 == 0 || i % 341 == 1;
        text += isEnd ? u'\n' : u'x';
        expected += isEnd ? u"\r\n" : u"x";
    }
    handler.ShowMessage(nullptr, u"first", nullptr, 0);
    sameFile.ShowMessage(nullptr, text.c_str(), nullptr, 0);
    EXPECT_EQ(unitsOf(file), expected + u"\r\n\r\n");

    CFileMessageHandler onFullDisk(u"/dev/full");
    EXPECT_EQ(onFullDisk.ShowMessage(nullptr, u"lost", u"", 4 | 0x100), 7);
}

TEST(ConsoleMessageHandler, LogsBesideTheExecutableAsSoonAsItCan) {
    CUnicodeString name = FileSystem::GetEXEFileName();
    FileSystem::ReplaceExt(name, u".log");
    std::u16string path = name.Ptr();
    std::replace(path.begin(), path.end(), u'\\', u'/');
    const fs::path log(path);
    fs::remove_all(log);
    fs::create_directory(log); // in the way of the file
    {
        CConsoleMessageHandler handler;
        EXPECT_EQ(handler.ShowMessage(nullptr, u"lost", u"", 4), 1);
        fs::remove(log);
        EXPECT_EQ(handler.ShowMessage(nullptr, u"one", u"", 4 | 0x100), 1);
        CConsoleMessageHandler::SetAddCRLF(false);
        handler.ShowMessage(nullptr, u"two", u"", 0);
        CConsoleMessageHandler::SetAddCRLF(true);
        EXPECT_EQ(unitsOf(log), u"\uFEFFone\r\ntwo") << "a reader may look while the log is open";
    }
    fs::remove(log);
}

TEST(Trace, FormatsTextsLongerThanItsFirstBuffer) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not traced yet
    setenv("TARNKIT_TRACE", "stderr", 1);
    const std::u16string text(3000, u'x');
    EXPECT_EXIT((Trace(u"<%s %d>", text.c_str(), 7), std::_Exit(0)), testing::ExitedWithCode(0),
                "^<" + std::string(3000, 'x') + " 7>$");
    unsetenv("TARNKIT_TRACE");
}

} // namespace
} // namespace Tarn
