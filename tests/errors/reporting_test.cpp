#include "tests/errors/recording_handler.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

namespace Tarn {
namespace {

using testing::ExitedWithCode;

constexpr unsigned kStopIcon = 0x10;

CError ERR_OF_THIS_TEST(u"ERR_OF_THIS_TEST", 0);

// Shows through a recording handler, on a thread whose error flag starts clear.
class Reporting : public testing::Test {
protected:
    Reporting() { SetErrorFlag(false); }
    ~Reporting() override {
        EndStaticPart();
        SetErrorFlag(false);
    }

    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};
};

TEST_F(Reporting, ThrowsWhereItMay) {
    EXPECT_THROW(
        try { GenAssert(u"Source", 12); } catch (CInternalError* e) {
            EXPECT_EQ(e->MessageText(), u"Internal Program Error:\nSource, 12.");
            e->Delete();
            throw;
        },
        CInternalError*);
    try {
        GenCheck(ERR_OF_THIS_TEST, u"one", nullptr, u"three");
        FAIL();
    } catch (CCheckException* e) {
        EXPECT_EQ(e->MessageText(), u"ERR_OF_THIS_TEST one  three") << "a null parameter is empty";
        e->Delete();
    }
    try {
        GenCheckLastError(5);
        FAIL();
    } catch (CLastErrorException* e) {
        EXPECT_EQ(e->GetLastErrorCode(), 5u);
        e->Delete();
    }
    EXPECT_THROW(ThrowUserException(), CUserException*);
    EXPECT_TRUE(handler.shown.empty());
    EXPECT_FALSE(GetErrorFlag());
}

TEST_F(Reporting, ShowsInsideAStaticPartAndSetsTheErrorFlag) {
    SetAppTitle(u"Title");
    BeginStaticPart();
    GenAssert(u"Source", 12);
    EXPECT_TRUE(GetErrorFlag());
    GenCheck(ERR_OF_THIS_TEST, u"one");
    GenCheckLastError(5);
    EndStaticPart();
    SetAppTitle(u"");
    ASSERT_EQ(handler.shown.size(), 3u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nAssertion failed: ()\nSource, 12.");
    EXPECT_EQ(handler.shown[1].text, u"ERR_OF_THIS_TEST one  ");
    EXPECT_EQ(handler.shown[2].text, CLastErrorException::GetErrorText(5).Ptr());
    for (const CShownMessage& message : handler.shown) {
        EXPECT_EQ(message.caption, u"Title");
        EXPECT_EQ(message.flags, kStopIcon);
    }

    std::thread([] {
        EXPECT_FALSE(GetErrorFlag()) << "the flags belong to the thread";
        EXPECT_THROW(GenCheckLastError(5), CLastErrorException*);
    }).join();
}

TEST_F(Reporting, ShowsWhileThrowingIsSwitchedOff) {
    CThrowingSwitcher off(false);
    GenCheckLastError(5);
    EXPECT_EQ(handler.shown.size(), 1u);
    EXPECT_TRUE(GetErrorFlag());
    EXPECT_THROW(ThrowFileException(5, u"f"), CFileException*) << "what is thrown outright is thrown always";
}

TEST_F(Reporting, WarnsWithTheTextOfTheException) {
    CLastErrorException e(5);
    handler.whileShowing = [] { EXPECT_TRUE(IsInsideWarning()); };
    Warning(&e);
    EXPECT_FALSE(IsInsideWarning());
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].text, e.MessageText().Ptr());
    EXPECT_EQ(handler.shown[0].flags, 0x30u);

    CUserException silent;
    Warning(&silent);
    EXPECT_EQ(handler.shown.size(), 1u);
}

TEST_F(Reporting, LosesAWarningThatCannotBeShown) {
    CLastErrorException e(5);
    handler.whileShowing = [] { ThrowFileException(112, u"log"); };
    Warning(&e);
    EXPECT_FALSE(IsInsideWarning());
    EXPECT_EQ(MessageBoxW(u"Go on?", 0x4 | 0x100), 7) << "the preselected button answers";
    handler.whileShowing = nullptr;
    Warning(&e);
    EXPECT_EQ(handler.shown.size(), 3u);
}

TEST_F(Reporting, LetsTheUserEndTheProcessAfterAnInternalError) {
    CInternalError e(u"Source", 12);
    Warning(&e);
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].flags, kStopIcon | 1);
    handler.answer = 2;
    EXPECT_EXIT(Warning(&e), ExitedWithCode(3), "");
}

// Sends its messages to the standard error output of a process that is going to end.
void print(const CShownMessage& message) {
    for (char16_t unit : message.text)
        std::fputc(unit == u'\n' ? ' ' : static_cast<char>(unit), stderr);
    std::fputc('|', stderr);
}

TEST_F(Reporting, EndsTheProcessAtASecondReportOnTheSameThread) {
    const auto printAll = [this](auto failInside) {
        handler.whileShowing = [this, failInside] {
            print(handler.shown.back());
            if (handler.shown.size() == 1)
                failInside();
        };
    };
    const char* const lastWords = "12\\.\\|Double internal error! Application terminated\\.\\|$";
    CInternalError e(u"Source", 12);

    printAll([] { GenAssert(u"Inner", 1); });
    EXPECT_EXIT(Warning(&e), ExitedWithCode(3), lastWords);
    EXPECT_EXIT((BeginStaticPart(), GenAssert(u"Source", 12)), ExitedWithCode(3), lastWords);
    printAll([&e] { Warning(&e); });
    EXPECT_EXIT((BeginStaticPart(), GenAssert(u"Source", 12)), ExitedWithCode(3), lastWords);

    handler.whileShowing = [this] {
        print(handler.shown.back());
        GenAssert(u"Inner", 1);
    };
    EXPECT_EXIT(Warning(&e), ExitedWithCode(3), lastWords) << "the last words are said once";

    handler.whileShowing = [this] {
        print(handler.shown.back());
        handler.whileShowing = [] { throw 1; };
        GenAssert(u"Inner", 1);
    };
    EXPECT_EXIT(Warning(&e), ExitedWithCode(3), "12\\.\\|$") << "even words that cannot be shown end it";
}

TEST_F(Reporting, MayReportFromAnotherThreadMeanwhile) {
    CLastErrorException e(5);
    handler.whileShowing = [this] {
        handler.whileShowing = nullptr;
        std::thread([] {
            EXPECT_FALSE(IsInsideWarning());
            CLastErrorException other(2);
            Warning(&other);
            EXPECT_THROW(GenAssert(u"Source", 1), CInternalError*);
        }).join();
    };
    Warning(&e);
    EXPECT_EQ(handler.shown.size(), 2u);
}

TEST_F(Reporting, AllowsChecksInsideAWarning) {
    CLastErrorException e(5);
    handler.whileShowing = [] {
        try {
            GenCheck(ERR_OF_THIS_TEST);
        } catch (CCheckException* inner) {
            inner->Delete();
        }
        EXPECT_TRUE(IsInsideWarning()) << "the check put the state back";
    };
    Warning(&e);
}

TEST_F(Reporting, StopsInTheDebuggerByDefaultAtAssertionsOnly) {
    EXPECT_TRUE(DebugStopOnAssert());
    EXPECT_FALSE(DebugStopOnCheck());
    EXPECT_FALSE(IsDebuggerPresent());
}

} // namespace
} // namespace Tarn
