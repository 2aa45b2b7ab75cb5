#include "tests/errors/reports.h"

#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>

namespace Tarn {
namespace {

class StandardExceptions : public StartedForReports {
protected:
    ~StandardExceptions() noexcept override {}

    CRecordingHandler handler;
    CMessageHandlerSwitcher switcher{&handler};

    // What is shown to the user of what `function` throws.
    template<class Function>
    std::u16string shownOf(Function function) {
        try {
            function();
        } catch (CException* e) {
            Warning(std::unique_ptr<CException>(e).get());
        } catch (const std::exception& e) {
            Warning(e);
        }
        return handler.shown.empty() ? u"" : handler.shown.back().text;
    }
};

TEST_F(StandardExceptions, CarryTheSameObjectToAndFro) {
    const auto fail = [] { ThrowFileException(2, u"\u00FC.txt"); };
    const CUnicodeString text = CFileException(2, u"\u00FC.txt").MessageText();
    EXPECT_EQ(shownOf([&] { ThrowingStandardExceptions(fail); }), text.View());
    try {
        ThrowingStandardExceptions(fail);
        FAIL();
    } catch (CCarriedException& e) {
        const CCarriedException copy = e;
        EXPECT_EQ(copy.what(), text.CreateString(kUtf8CodePage));
        EXPECT_EQ(copy.Get(), e.Get());
        CException* const carried = e.Get();
        const std::unique_ptr<CException> back(MakeException(e));
        EXPECT_EQ(back.get(), carried) << "its type is not lost";
        EXPECT_EQ(copy.Get(), nullptr);
        EXPECT_EQ(std::unique_ptr<CException>(MakeException(e))->MessageText(), text)
            << "it has gone already";
    }
    EXPECT_EQ(ThrowingStandardExceptions([] { return 7; }), 7);
}

TEST_F(StandardExceptions, AreShownAndThrownAsThoseOfTheLibrary) {
    const std::pair<std::function<void()>, const char16_t*> samples[] = {
        {[] { throw std::runtime_error("Gr\u00FC\u00DFe"); }, u"Gr\u00FC\u00DFe"},
        {[] { throw std::bad_alloc(); }, u"Not enough memory!"},
        {[] { std::filesystem::rename(u"no such \u00FC", u"x"); }, nullptr}};
    for (const auto& [fail, text] : samples) {
        const std::u16string shown = shownOf(fail);
        EXPECT_TRUE(text != nullptr ? shown == text : shown.find(u"no such \u00FC") != shown.npos);
        EXPECT_EQ(shownOf([&act = fail] { ThrowingLibraryExceptions(act); }), shown);
        try {
            ThrowingLibraryExceptions(fail);
            FAIL();
        } catch (CException* e) {
            EXPECT_EQ(dynamic_cast<CMemoryException*>(e) != nullptr, &fail == &samples[1].first);
            e->Delete();
        }
    }
    EXPECT_EQ(handler.shown.size(), 6u);
    const CString latin("\xFC", 1);
    EXPECT_EQ(shownOf([&] { throw std::runtime_error(latin.Ptr()); }), latin.CreateUnicodeString().View());
}

TEST_F(StandardExceptions, OutliveTheMemoryInWhichTheyWereMade) {
    std::unique_ptr<CCarriedException> carrier;
    {
        CStackManager manager;
        CMemoryManagerSwitcher toStack(&manager);
        const CCarriedException made(new CLastErrorException(5));
        CMemoryManagerSwitcher toDefault(nullptr);
        carrier = std::make_unique<CCarriedException>(made);
    }
    EXPECT_EQ(carrier->what(), CLastErrorException(5).MessageText().CreateString(kUtf8CodePage));
}

void endBy(CException* e) noexcept {
    [e] { throw e; }();
}

TEST(UncaughtExceptions, SayTheirTextBeforeTheProcessEnds) {
    SetAppTitle(u"Test");
    EXPECT_DEATH(endBy(new CFileException(112, u"a\u202E.txt")), "Test: .*a.*\\.txt");
    EXPECT_DEATH(std::thread([] { ThrowMemoryException(); }).join(), "Test: Not enough memory!");
    EXPECT_DEATH(endBy(new CUserException), "^\\S* *terminat.*Tarn::CException") << "there is nothing to say";
    SetAppTitle(u"");
}

TEST(UncaughtExceptions, LeaveTheLastWordToTheHandlerBefore) {
    static std::terminate_handler before;
    before = std::get_terminate();
    EXPECT_EXIT(
        {
            std::set_terminate([] {
                std::fputs("mine, ", stderr);
                std::fflush(stderr);
                before();
            });
            endBy(new CMemoryException); // thrown here, since a module may have a runtime of its own
        },
        [](int status) { return status != 0; }, "mine, .*Not enough memory!");
}

} // namespace
} // namespace Tarn
