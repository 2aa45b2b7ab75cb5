#include "tests/errors/reports.h"
#include "tests/support/failure.h"

namespace Tarn {
namespace {

constexpr unsigned kStopIcon = 0x10;

void assertHere() { GenAssert(u"Source", 12); }
void failInSystem() { GenCheckLastError(5); }

// Shows messages through a recording handler.
class Reporting : public testing::Test {
protected:
    ~Reporting() noexcept override {
        EndStaticPart();
        SetErrorFlag(false);
    }

    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};
    CError error{u"ERR_OF_THIS_TEST", 0};
    CLastErrorException denied{5};
    CInternalError internalError{u"Source", 12};
};

TEST_F(Reporting, ThrowsOutsideAStaticPartAndShowsInsideOne) {
    BeginStaticPart();
    BeginStaticPart();
    assertHere();
    EXPECT_TRUE(GetErrorFlag());
    std::thread([&] {
        EXPECT_EQ(AssertionOf(assertHere), u"Source:12");
        EXPECT_EQ(FailureOf(failInSystem), "other");
        EXPECT_EQ(FailureOf([&] { GenCheck(error); }), "ERR_OF_THIS_TEST");
        EXPECT_FALSE(GetErrorFlag()) << "the flags belong to the thread";
    }).join();
    GenCheck(error, u"one", nullptr, u"three");
    EndStaticPart();
    EXPECT_FALSE(IsInsideStaticPart()) << "static parts do not nest";
    CThrowingSwitcher off(false);
    failInSystem();
    EXPECT_EQ(FailureOf([] { ThrowFileException(5, u"f"); }), "5 f");
    ASSERT_EQ(handler.shown.size(), 3u);
    EXPECT_EQ(handler.shown[0].text, u"Internal Program Error:\nAssertion failed: ()\nSource, 12.");
    EXPECT_EQ(handler.shown[1].text, u"ERR_OF_THIS_TEST one  three");
    EXPECT_EQ(handler.shown[2].text, denied.MessageText().Ptr());
    EXPECT_EQ(handler.shown[2].flags, kStopIcon);
}

TEST_F(Reporting, DropsAWarningThatCannotBeShown) {
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
        EXPECT_EQ(FailureOf([&] { GenCheck(error); }), "ERR_OF_THIS_TEST");
        EXPECT_TRUE(IsInsideWarning()) << "the check restored the state";
    };
    Warning(&denied);
    EXPECT_FALSE(IsInsideWarning());
    CUserException silent;
    Warning(&silent);
    ASSERT_EQ(handler.shown.size(), 2u);
    EXPECT_EQ(handler.shown[1].flags, 0x30u);
}

TEST_F(Reporting, LetsTheUserEndTheProcessAfterAnInternalError) {
    Warning(&internalError);
    ASSERT_EQ(handler.shown.size(), 1u);
    EXPECT_EQ(handler.shown[0].flags, kStopIcon | 1);
    handler.answer = 2;
    EXPECT_EXIT(Warning(&internalError), testing::ExitedWithCode(3), "");
}

TEST_F(Reporting, EndsTheProcessAtASecondReportOnTheSameThread) {
    // Prints the text shown to the standard error output of the process that ends; then causes the failure.
    const auto printAndFail = [this](std::function<void()> fail) {
        handler.whileShowing = [this, fail] {
            for (char16_t unit : handler.shown.back().text + u"|")
                std::fputc(unit == u'\n' ? ' ' : static_cast<char>(unit), stderr);
            std::fflush(stderr);
            fail();
        };
    };
    const char* const lastWords = "12\\.\\|Double internal error! Application terminated\\.\\|$";
    const testing::ExitedWithCode ended(3);

    printAndFail(assertHere); // also while the last message is shown
    EXPECT_EXIT(Warning(&internalError), ended, lastWords) << "an assertion inside a warning";
    EXPECT_EXIT((BeginStaticPart(), assertHere()), ended, lastWords) << "an assertion inside an assertion";
    printAndFail([this] { Warning(&denied); });
    EXPECT_EXIT((BeginStaticPart(), assertHere()), ended, lastWords) << "a warning inside an assertion";
}

TEST_F(Reporting, StopsInTheDebuggerAsTheUsersSwitchesSay) {
    TARNKIT_TEST_NEEDS(kRestartsItself);
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not asked for its switches yet
    const auto setModes = [](const char16_t* forAssertions) {
        CRegistryKey key(false);
        key.Open(HKEY_CURRENT_USER, u"Software\\Velmora\\Tarnkit");
        key.SetStringValue(u"AssertStopMode", forAssertions);
        key.SetStringValue(u"ErrorStopMode", u"DEBUG");
    };
    // Under Wine 32-bit programs, and only those, end with code 0 there.
    const auto isEnded = [](int status) { return status != 0 || (kPointerSize == 4 && !kDocumentedCalls); };
    EXPECT_EXIT((setModes(u"always"), assertHere()), isEnded, "");
    EXPECT_EXIT((SetMemorySwitches({.breakOnMemoryException = true}), ThrowMemoryException()), isEnded, "");
    EXPECT_EXIT((setModes(u"Never"), std::_Exit(DebugStopOnAssert() * 10 + DebugStopOnCheck())),
                testing::ExitedWithCode(1), "");
    GTEST_FLAG_SET(death_test_style, "fast");
}

} // namespace
} // namespace Tarn
