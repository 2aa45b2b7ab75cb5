// Boxes of a toolkit on a display, answered with its keyboard and mouse. Built once for each toolkit, which
// defines TARNKIT_TOOLKIT_HEADER and TARNKIT_TOOLKIT_CLASS.
#include TARNKIT_TOOLKIT_HEADER

#include "tests/desktop/driver.h"
#include "tests/support/testing.h"

#include <tarnkit/tarnkit.h>

#include <future>

namespace Tarn {
namespace {

using CWindowSystem = TARNKIT_TOOLKIT_CLASS;

// A user, on a thread of his own. --------------------------------------------------------------------------

template<class Result>
Result onWindowsThread(const std::function<Result()>& work) {
    std::promise<Result> result;
    Toolkit::Post([&] { result.set_value(work()); });
    return result.get_future().get();
}

// Ends a program that would otherwise wait for ever.
template<class Result>
Result waitFor(const std::string& what, const std::function<Result()>& find) {
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);;) {
        if (Result found = onWindowsThread(find))
            return found;
        if (std::chrono::steady_clock::now() > end) {
            std::fprintf(stderr, "FAILED: %s\n", what.c_str());
            std::_Exit(1);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

CSeenBox see(const std::string& caption) {
    const std::function<std::optional<CSeenBox>()> find = [&] { return Toolkit::SeeBox(caption); };
    return *waitFor("no box " + caption + " came up", find);
}

// "click BUTTON", "close" or keys.
void act(const CSeenBox& box, const std::string& action) {
    if (action == "close")
        return Toolkit::Post([window = box.window] { Toolkit::CloseWindow(window); });
    std::string command =
        "xdotool windowfocus --sync " + std::to_string(box.id) + " key --delay 30 " + action;
    if (action.starts_with("click ")) {
        const auto [x, y] = box.places.at(action.substr(6));
        command = "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1";
    }
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
}

// What a user sees of the box with this caption, and answers.
CSeenBox answer(const std::string& caption, const std::string& action) {
    CSeenBox box = see(caption);
    act(box, action);
    return box;
}

// The same while the event loop runs.
void answerToTheEnd(const std::string& caption, const std::string& action) {
    answer(caption, action);
    const std::function<bool()> isGone = [&] { return !Toolkit::SeeBox(caption); };
    waitFor("the box " + caption + " did not take " + action, isGone);
}

// The program. ---------------------------------------------------------------------------------------------

int ask(const char16_t* caption, UINT flags, HWND owner = nullptr, const char16_t* text = u"Text <b>\n&x") {
    return CMessageBoxHandler().ShowMessage(owner, text, caption, flags);
}

// Runs the event loop and, once that has begun, `work` on another thread, with whose end it ends.
void runWith(CWindowSystem& system, const std::function<void()>& work) {
    std::thread worker;
    Toolkit::Post([&] {
        worker = std::thread([&] {
            work();
            system.Quit();
        });
    });
    system.Run();
    worker.join();
}

enum { kMain, kTool, kForeign, kWindows };

class ToolkitWindows : public testing::Test {
protected:
    void SetUp() override {
        SetWindowSystem(&system);
        windows[kMain] = Toolkit::CreateWindow(nullptr);
        windows[kTool] = Toolkit::CreateWindow(windows[kMain]);
        windows[kForeign] = Toolkit::CreateWindow(nullptr);
        SetMainWindow(windows[kMain]);
    }
    void TearDown() override {
        EXPECT_EQ(enabled(), "+++");
        SetMainWindow(nullptr);
        SetWindowSystem(nullptr);
        Toolkit::DestroyWindow(windows[kForeign]);
        Toolkit::DestroyWindow(windows[kMain]);
    }

    std::string enabled() {
        std::string result;
        for (const HWND window : windows)
            result += system.IsWindowEnabled(window) ? '+' : '-';
        return result;
    }

    void runWith(const std::function<void()>& work) { ::Tarn::runWith(system, work); }

    CWindowSystem system;
    HWND windows[kWindows];
};

TEST_F(ToolkitWindows, ShowBoxesAsTheirFlagsSayAndReturnTheAnswer) {
    using CAnswers = std::vector<std::pair<const char*, int>>;
    const std::tuple<UINT, const char*, CAnswers> kBoxes[] = {
        {MB_OK | MB_ICONERROR, "error: T [OK]", {{"Return", IDOK}, {"Escape", IDOK}, {"close", IDOK}}},
        {MB_OKCANCEL | MB_ICONQUESTION | MB_DEFBUTTON2,
         "question: T OK [Cancel]",
         {{"Return", IDCANCEL}, {"click OK", IDOK}}},
        {MB_ABORTRETRYIGNORE | MB_DEFBUTTON3,
         ": T Abort Retry [Ignore]",
         {{"Escape Return", IDIGNORE}, {"click Abort", IDABORT}, {"click Retry", IDRETRY}}},
        {MB_YESNOCANCEL | MB_DEFBUTTON2 | MB_ICONWARNING,
         "warning: T Yes [No] Cancel",
         {{"Return", IDNO}, {"Escape", IDCANCEL}, {"close", IDCANCEL}, {"Right space", IDCANCEL}}},
        {MB_YESNO | MB_DEFBUTTON4 | MB_ICONINFORMATION,
         "information: T [Yes] No",
         {{"Escape Return", IDYES}, {"click No", IDNO}}},
        {MB_RETRYCANCEL | MB_TOPMOST | MB_SETFOREGROUND | MB_RIGHT,
         ": T [Retry] Cancel",
         {{"Return", IDRETRY}, {"Escape", IDCANCEL}}},
        {MB_CANCELTRYCONTINUE | MB_DEFBUTTON2,
         ": T Cancel [Try Again] Continue",
         {{"Return", IDTRYAGAIN}, {"click Continue", IDCONTINUE}, {"Escape", IDCANCEL}}},
        {9, ": T [Abort]", {{"Escape", IDABORT}}}};
    for (const auto& [flags, look, answers] : kBoxes)
        for (const auto& [action, code] : answers) {
            SCOPED_TRACE(testing::Message() << "flags " << flags << ", " << action);
            CSeenBox seen;
            std::thread user([&] { seen = answer("Größe \xEF\xBF\xBD", action); });
            EXPECT_EQ(ask(u"Größe \xD800", flags, windows[kTool], u"T"), code);
            user.join();
            EXPECT_EQ(seen.look, look);
            EXPECT_EQ(seen.owner, windows[kTool]);
        }
}

TEST_F(ToolkitWindows, ShowTextAsItIsAndButtonsInTheInterfaceLanguage) {
    ASSERT_TRUE(Initialize(nullptr, nullptr));
    AddResourcePrefix(FileSystem::GetEXEDir(), u"Tarnkit");
    SetCurrentLanguageCode(2);
    CSeenBox seen;
    std::thread user([&] { seen = answer("caption", "Return"); });
    ask(u"caption", MB_YESNOCANCEL);
    user.join();
    EXPECT_EQ(seen.look, "warning: Text <b>\n&x [Ja] Nein Abbrechen");
    Clean();
}

TEST_F(ToolkitWindows, AreDisabledMeanwhileWhicheverThreadAsks) {
    const auto check = [&] {
        for (const auto& [owner, expected] :
             {std::pair{windows[kTool], "--+"}, {windows[kForeign], "---"}, {nullptr, "--+"}}) {
            std::string meanwhile;
            std::thread user([&] {
                see("caption");
                meanwhile = enabled();
                answer("caption", "Escape");
            });
            EXPECT_EQ(ask(u"caption", MB_OKCANCEL, owner), IDCANCEL);
            user.join();
            EXPECT_EQ(meanwhile, expected);
            EXPECT_EQ(enabled(), "+++");
        }
    };
    check();
    runWith(check);
}

TEST_F(ToolkitWindows, TakeAnswersForTheLatestOfSeveralBoxes) {
    std::vector<int> answers(4);
    runWith([&] {
        std::vector<std::thread> askers;
        std::vector<CSeenBox> boxes;
        for (const char16_t* caption : {u"0", u"1", u"2"}) {
            int& own = answers.at(boxes.size());
            askers.emplace_back([&, caption] { own = ask(caption, MB_YESNOCANCEL, windows[kMain]); });
            boxes.push_back(see(std::to_string(boxes.size())));
        }
        Toolkit::Post([&] { answers[3] = ask(u"3", MB_OKCANCEL); }); // on the thread of the windows
        see("3");
        act(boxes[1], "click Yes"); // goes nowhere
        Toolkit::Post([&] { Toolkit::DestroyWindow(boxes[0].window); });
        askers[0].join();
        EXPECT_EQ(enabled(), "--+");
        answerToTheEnd("3", "Escape");
        answerToTheEnd("2", "Escape");
        answerToTheEnd("1", "click No");
        askers[1].join();
        askers[2].join();
    });
    EXPECT_EQ(answers, std::vector<int>({IDYES, IDNO, IDCANCEL, IDCANCEL}));
}

TEST_F(ToolkitWindows, AnswerThemselvesWhenTheLoopEndsOrTheirOwnerDoes) {
    std::vector<int> answers(3);
    std::thread asker;
    runWith([&] {
        asker = std::thread([&] { answers[0] = ask(u"waits", MB_YESNO | MB_DEFBUTTON2, windows[kMain]); });
        see("waits");
    });
    asker.join();
    EXPECT_EQ(enabled(), "+++");
    EXPECT_EQ(ask(u"late", MB_ABORTRETRYIGNORE | MB_DEFBUTTON3), IDIGNORE);

    runWith([&] { // again
        asker = std::thread([&] { answers[2] = ask(u"goes", MB_YESNO | MB_DEFBUTTON2, windows[kTool]); });
        see("goes");
        Toolkit::Post([&] { Toolkit::DestroyWindow(windows[kTool]); });
        asker.join();
        Toolkit::Post([&] { answers[1] = ask(u"nested", MB_OKCANCEL | MB_DEFBUTTON2, windows[kMain]); });
        see("nested");
    });
    windows[kTool] = Toolkit::CreateWindow(windows[kMain]);
    EXPECT_EQ(answers, std::vector<int>({IDNO, IDCANCEL, IDNO}));
}

TEST_F(ToolkitWindows, AreFoundFromAnyThread) {
    const HWND gone = Toolkit::CreateWindow(nullptr);
    Toolkit::DestroyWindow(gone);
    runWith([&] {
        std::set<HWND> found;
        for (HWND window = system.GetWindow(system.GetDesktopWindow(), GW_CHILD); window != nullptr;
             window = system.GetWindow(window, GW_HWNDNEXT))
            found.insert(window);
        for (const HWND window : windows)
            EXPECT_TRUE(found.contains(window) && system.IsWindowVisible(window));
        EXPECT_FALSE(found.contains(gone));
        EXPECT_EQ(system.GetWindow(windows[kTool], GW_OWNER), windows[kMain]);
        EXPECT_EQ(system.GetParent(windows[kTool]), windows[kMain]);
        EXPECT_EQ(system.GetParent(windows[kMain]), nullptr);
        EXPECT_FALSE(system.EnableWindow(windows[kMain], false));
        EXPECT_EQ(system.GetWindowStyle(windows[kMain]), WS_VISIBLE | WS_DISABLED);
        EXPECT_TRUE(system.EnableWindow(windows[kMain], true));
        EXPECT_FALSE(system.EnableWindow(gone, true) || system.IsWindowEnabled(gone) ||
                     system.IsWindowVisible(gone));
        EXPECT_EQ(system.GetWindow(gone, GW_OWNER), nullptr);
    });
}

TEST(ToolkitLoop, OutlivesItsOnlyWindow) {
    CWindowSystem system;
    SetWindowSystem(&system);
    runWith(system, [] {
        for (const int round : {1, 2}) {
            std::thread user([] { answer("caption", "click No"); });
            EXPECT_EQ(ask(u"caption", MB_YESNO), IDNO) << round;
            user.join();
        }
    });
    SetWindowSystem(nullptr);
}

// As a user runs it: the box has the title of the application, and the message is nowhere else.
TEST(NotebookWindows, ShowMessages) {
    auto run = std::async(std::launch::async, [] {
        return RunProgram(TARNKIT_NOTEBOOK_WINDOWS " --profile windows list missing");
    });
    const char* const search = "xdotool search --sync --onlyvisible --name '^Notebook$' windowfocus --sync";
    EXPECT_EQ(std::system(search), 0);
    EXPECT_EQ(std::system("xdotool key Return"), 0);
    const CProgramRun result = run.get();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output.find("missing"), std::string::npos) << result.output;
}

} // namespace
} // namespace Tarn
