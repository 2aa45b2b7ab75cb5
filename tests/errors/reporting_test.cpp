#include "tests/errors/recording_handler.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace Tarn {
namespace {

constexpr unsigned kStopIcon = 0x10;

CError ERR_OF_THIS_TEST(u"ERR_OF_THIS_TEST", 0);

// Shows through a recording handler, on a thread whose error flag starts clear.
class Reporting : public testing::Test {
protected:
    Reporting() { SetErrorFlag(false); }
    ~Reporting() noexcept override {
        EndStaticPart();
        SetErrorFlag(false);
    }

    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};
    CLastErrorException denied{5};
    CInternalError internalError{u"Source", 12};
};

TEST_F(Reporting, ThrowsWhereItMay) {
    EXPECT_TRUE(Throws<CInternalError>([] { GenAssert(u"Source", 12); }));
    EXPECT_TRUE(Throws<CLastErrorException>([] { GenCheckLastError(5); }));
    EXPECT_TRUE(Throws<CUserException>([] { ThrowUserException(); }));
    try {
        GenCheck(ERR_OF_THIS_TEST, u"one", nullptr, u"three");
        FAIL();
    } catch (CCheckException* e) {
        EXPECT_EQ(e->MessageText(), u"ERR_OF_THIS_TEST one  three") << "a null parameter is empty";
        e->Delete();
    }
    EXPECT_TRUE(handler.shown.empty());
    EXPECT_FALSE(GetErrorFlag());
}

TEST_F(Reporting, ShowsInsideAStaticPartAndSetsTheErrorFlag) {
    SetAppTitle(u"Title");
    BeginStaticPart();
    GenAssert(u"Source", 12);
    EXPECT_TRUE(GetErrorFlag());
    std::thread([] {
        EXPECT_FALSE(GetErrorFlag()) << "the flags belong to the thread";
        EXPECT_TRUE(Throws<CLastErrorException>([] { GenCheckLastError(5); }));
    }).join();
    GenCheck(ERR_OF_THIS_TEST, u"one");
    EndStaticPart();
    CThrowingSwitcher off(false);
    GenCheckLastError(5);
    EXPECT_TRUE(Throws<CFileException>([] { ThrowFileException(5, u"f"); })) << "thrown outright";
    SetAppTitle(u"");
    ASSERT_EQ(handler.shown.size(), 3u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nAssertion failed: ()\nSource, 12.");
    EXPECT_EQ(handler.shown[1].text, u"ERR_OF_THIS_TEST one  ");
    EXPECT_EQ(handler.shown[2].text, denied.MessageText().Ptr());
    for (const CShownMessage& message : handler.shown) {
        EXPECT_EQ(message.caption, u"Title");
        EXPECT_EQ(message.flags, kStopIcon);
    }
}

TEST_F(Reporting, LosesAWarningThatCannotBeShown) {
    handler.whileShowing = [] { ThrowFileException(112, u"log"); };
    Warning(&denied);
    EXPECT_FALSE(IsInsideWarning());
    EXPECT_EQ(MessageBoxW(u"Go on?", 0x4 | 0x100), 7) << "the preselected button answers";
    EXPECT_EQ(handler.shown.size(), 2u);
}

TEST_F(Reporting, AllowsChecksAndOtherThreadsInsideAWarning) {
    handler.whileShowing = [&] {
        handler.whileShowing = nullptr;
        std::thread([&] { Warning(&denied); }).join();
        EXPECT_TRUE(Throws<CCheckException>([] { GenCheck(ERR_OF_THIS_TEST); }));
        EXPECT_TRUE(IsInsideWarning()) << "the check put the state back";
    };
    Warning(&denied);
    EXPECT_FALSE(IsInsideWarning());
    CUserException silent;
    Warning(&silent);
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[1].text, denied.MessageText().Ptr());
    EXPECT_EQ(handler.shown[1].flags, 0x30u);
}

TEST_F(Reporting, LetsTheUserEndTheProcessAfterAnInternalError) {
    Warning(&internalError);
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nSource, 12.");
    EXPECT_EQ(handler.shown[0].flags, kStopIcon | 1);
    handler.answer = 2;
    EXPECT_EXIT(Warning(&internalError), testing::ExitedWithCode(3), "");
}

TEST_F(Reporting, EndsTheProcessAtASecondReportOnTheSameThread) {
    // What is shown goes to the standard error output of the process that ends; then comes the failure.
    const auto printAndFail = [this](std::function<void()> fail) {
        handler.whileShowing = [this, fail] {
            for (char16_t unit : handler.shown.back().text + u"|")
                std::fputc(unit == u'\n' ? ' ' : static_cast<char>(unit), stderr);
            fail();
        };
    };
    const auto inStaticPart = [] {
        BeginStaticPart();
        GenAssert(u"Source", 12);
    };
    const char* const lastWords = "12\\.\\|Double internal error! Application terminated\\.\\|$";
    const testing::ExitedWithCode ended(3);

    printAndFail([] { GenAssert(u"Inner", 1); }); // also while the last words are shown
    EXPECT_EXIT(Warning(&internalError), ended, lastWords) << "an assertion inside a warning";
    EXPECT_EXIT(inStaticPart(), ended, lastWords) << "an assertion inside an assertion";
    printAndFail([this] { Warning(&denied); });
    EXPECT_EXIT(inStaticPart(), ended, lastWords) << "a warning inside an assertion";
    printAndFail([this] {
        handler.whileShowing = [] { throw 1; };
        GenAssert(u"Inner", 1);
    });
    EXPECT_EXIT(Warning(&internalError), ended, "12\\.\\|$") << "last words that cannot be said";
}

TEST_F(Reporting, StopsInTheDebuggerByDefaultAtAssertionsOnly) {
    EXPECT_TRUE(DebugStopOnAssert());
    EXPECT_FALSE(DebugStopOnCheck());
}

TEST_F(Reporting, StopsInTheDebuggerAsTheUsersSwitchesSay) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not asked for its switches yet
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
    key.SetStringValue(u"AssertStopMode", u"always");
    key.SetStringValue(u"ErrorStopMode", u"DEBUG");
    EXPECT_DEATH(GenAssert(u"Source", 12), "");
    key.SetStringValue(u"AssertStopMode", u"Never");
    EXPECT_EXIT(std::_Exit(DebugStopOnAssert() * 10 + DebugStopOnCheck()), testing::ExitedWithCode(1), "");
    key.DeleteValue(u"AssertStopMode");
    key.DeleteValue(u"ErrorStopMode");
    GTEST_FLAG_SET(death_test_style, "fast");
}

} // namespace
} // namespace Tarn
