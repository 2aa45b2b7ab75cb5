// Real message boxes, shown by the default handler and answered from another thread as a user would.
#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>

#include "platform/windows/text16.h"
#include "tests/support/testing.h"

namespace Tarn {
namespace {

using Platform::wide;

constexpr wchar_t kClass[] = L"TarnkitTestWindow";
constexpr UINT kRun = WM_APP; // calls the function that its last parameter points at

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM first, LPARAM last) {
    if (message == kRun)
        (*reinterpret_cast<const std::function<void()>*>(last))();
    return DefWindowProcW(window, message, first, last);
}

HWND createWindow(DWORD style, HWND parentOrOwner) {
    const HINSTANCE module = GetModuleHandleW(nullptr);
    return CreateWindowExW(0, kClass, L"", style, 0, 0, 90, 90, parentOrOwner, nullptr, module, nullptr);
}

// A desktop for this program and those that it starts. Under Wine all windows of a desktop appear on the
// display of its first program, and programs without a display run at the same time as this one.
class CDesktop {
public:
    CDesktop() {
        Enter();
        SetEnvironment("TARNKIT_TEST_DESKTOP", name.c_str());
    }
    CDesktop(const CDesktop&) = delete;
    CDesktop& operator=(const CDesktop&) = delete;
    // Wine's own program that shows the desktop has to end before the display does.
    ~CDesktop() {
        DWORD shower = 0;
        GetWindowThreadProcessId(GetDesktopWindow(), &shower);
        const HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, shower);
        SetThreadDesktop(before);
        CloseDesktop(desktop);
        if (isOwn)
            WaitForSingleObject(process, 20'000);
        CloseHandle(process);
    }

    /// Makes this the desktop of the calling thread.
    bool Enter() const { return SetThreadDesktop(desktop) != FALSE; }

private:
    const char* const outerName = std::getenv("TARNKIT_TEST_DESKTOP");
    const bool isOwn = outerName == nullptr;
    const std::string name = isOwn ? std::to_string(GetCurrentProcessId()) : outerName;
    const HDESK before = GetThreadDesktop(GetCurrentThreadId());
    const HDESK desktop = CreateDesktopA(name.c_str(), nullptr, nullptr, 0, GENERIC_ALL, nullptr);
} desktop;

bool showsWindows() {
    WNDCLASSW description{};
    description.lpfnWndProc = onMessage;
    description.lpszClassName = kClass;
    return desktop.Enter() && RegisterClassW(&description) != 0 &&
           DestroyWindow(createWindow(WS_POPUP, nullptr));
}

const CCapability kWindowsOnScreen{showsWindows() ? nullptr
                                                  : "there is no display, or none for 32-bit programs"};

// Windows by their number; a text has a character for each that says whether it is enabled.
enum { kMain, kTool, kPalette, kDisabled, kHidden, kInner, kForeign, kChildless, kWindows, kNone = kWindows };
constexpr char kAtRest[] = "+++-++++";
HWND windows[kWindows + 1];

std::string enabledWindows() {
    std::string result;
    for (int i = 0; i < kWindows; i++)
        result += IsWindowEnabled(windows[i]) ? '+' : '-';
    return result;
}

HICON systemIcon(const void* name) { return LoadIconW(nullptr, static_cast<const wchar_t*>(name)); }

struct CSeenBox {
    std::u16string text; // of all labels
    HICON icon = nullptr;
    std::vector<int> buttons;
    HWND owner;
    std::string enabled; // meanwhile
};

BOOL CALLBACK lookAtControl(HWND control, LPARAM box) {
    auto& seen = *reinterpret_cast<CSeenBox*>(box);
    char16_t text[200];
    if (!IsWindowVisible(control))
        return TRUE;
    if (GetClassNameW(control, wide(text), 200) != 0 && text == std::u16string(u"Button"))
        seen.buttons.push_back(GetDlgCtrlID(control));
    else if ((GetWindowLongW(control, GWL_STYLE) & SS_TYPEMASK) == SS_ICON)
        seen.icon = reinterpret_cast<HICON>(SendMessageW(control, STM_GETICON, 0, 0));
    else if (GetWindowTextW(control, wide(text), 200) != 0)
        seen.text += text;
    return TRUE;
}

// Ends a program that would otherwise wait for ever.
void waitUntil(const char* what, const std::function<bool()>& isTrue) {
    constexpr int kLongest = 30'000, kStep = 5;
    for (int i = 0; !isTrue(); i += kStep) {
        if (i > kLongest) {
            std::fprintf(stderr, "FAILED: %s\n", what);
            std::_Exit(1);
        }
        Sleep(kStep);
    }
}

constexpr int kEnter = 0; // the key, instead of a button

// What a user sees of the box with this caption that `show` shows. Before he answers, the thread that shows
// the box runs `meanwhile`.
CSeenBox seeBox(const char16_t* caption, int answer, const std::function<void()>& show,
                const std::function<void(const CSeenBox&)>& meanwhile = nullptr) {
    CSeenBox seen;
    const std::function<void()> thing = [&] { meanwhile(seen); };
    std::thread user([&] {
        desktop.Enter();
        HWND box = nullptr;
        waitUntil("no box came up", [&] {
            box = FindWindowW(L"#32770", wide(caption));
            return box != nullptr && IsWindowVisible(box);
        });
        EnumChildWindows(box, lookAtControl, reinterpret_cast<LPARAM>(&seen));
        seen.owner = GetWindow(box, GW_OWNER);
        seen.enabled = enabledWindows();
        if (meanwhile)
            SendMessageW(windows[kMain], kRun, 0, reinterpret_cast<LPARAM>(&thing));
        const HWND button = GetDlgItem(box, answer != kEnter ? answer : seen.buttons[0]);
        if (answer != kEnter)
            PostMessageW(box, WM_COMMAND, MAKEWPARAM(answer, BN_CLICKED), reinterpret_cast<LPARAM>(button));
        else
            PostMessageW(button, WM_KEYDOWN, VK_RETURN, 0);
        waitUntil("a box did not take its answer", [box] { return !IsWindow(box); });
    });
    show();
    user.join();
    return seen;
}

// An application with a main window, windows that the main window owns directly or indirectly, and others.
class MessageBoxes : public testing::Test {
protected:
    void SetUp() override {
        TARNKIT_TEST_NEEDS(kWindowsOnScreen);
        static constexpr std::pair<DWORD, int> kKinds[kWindows] = {
            // the style, and the parent or owner
            {WS_OVERLAPPEDWINDOW | WS_VISIBLE, kNone},
            {WS_POPUP | WS_VISIBLE, kMain},
            {WS_POPUP | WS_VISIBLE, kTool},
            {WS_POPUP | WS_VISIBLE | WS_DISABLED, kMain},
            {WS_POPUP, kMain},
            {WS_CHILD | WS_VISIBLE, kMain},
            {WS_OVERLAPPEDWINDOW | WS_VISIBLE, kNone},
            {WS_POPUP | WS_VISIBLE, kMain}};
        for (int i = 0; i < kWindows; i++)
            windows[i] = createWindow(kKinds[i].first, windows[kKinds[i].second]);
        // For a window with the child style its parent counts, not its owner.
        SetWindowLongW(windows[kChildless], GWL_STYLE, WS_CHILD | WS_VISIBLE);
        SetMainWindow(windows[kMain]);
        SetAppTitle(u"Größe 字");
        EXPECT_EQ(enabledWindows(), kAtRest);
    }
    void TearDown() override {
        SetMainWindow(nullptr);
        SetAppTitle(u"");
        for (int i = kWindows; --i >= 0;)
            DestroyWindow(windows[i]);
    }
};

TEST_F(MessageBoxes, HaveTheButtonsAndTheIconOfTheirFlagsAndReturnTheAnswer) {
    const HICON exclamation = systemIcon(IDI_EXCLAMATION);
    const std::tuple<unsigned, std::vector<int>, HICON> kBoxes[] = {
        {MB_OK, {IDOK}, exclamation},
        {MB_OKCANCEL, {IDOK, IDCANCEL}, exclamation},
        {MB_ABORTRETRYIGNORE, {IDABORT, IDRETRY, IDIGNORE}, nullptr},
        {MB_YESNOCANCEL, {IDYES, IDNO, IDCANCEL}, exclamation},
        {MB_YESNO, {IDYES, IDNO}, exclamation},
        {MB_RETRYCANCEL, {IDRETRY, IDCANCEL}, nullptr},
        {MB_OK | MB_ICONHAND, {IDOK}, systemIcon(IDI_HAND)},
        {MB_RETRYCANCEL | MB_ICONQUESTION, {IDRETRY, IDCANCEL}, systemIcon(IDI_QUESTION)},
        {MB_YESNO | MB_ICONASTERISK, {IDYES, IDNO}, systemIcon(IDI_ASTERISK)}};
    for (const auto& [rowFlags, buttons, icon] : kBoxes) {
        const auto answer = [&buttons = buttons, icon = icon](unsigned flags, int button) {
            SCOPED_TRACE(testing::Message() << "flags " << flags << ", answer " << button);
            int result = -1;
            const CSeenBox box = seeBox(u"Größe 字", button, [&] {
                result = MessageBoxW(u"Text of 字\nlines", static_cast<int>(flags));
            });
            EXPECT_EQ(box.text, u"Text of 字\nlines");
            EXPECT_EQ(box.buttons, buttons);
            EXPECT_EQ(box.icon, icon);
            EXPECT_EQ(box.owner, windows[kMain]);
            return result;
        };
        for (int button : buttons)
            EXPECT_EQ(answer(rowFlags, button), button);
        for (unsigned i = 0; i < buttons.size(); i++) {
            const unsigned flags = rowFlags | MB_DEFBUTTON2 * i;
            EXPECT_EQ(answer(flags, kEnter), buttons[i]);
            EXPECT_EQ(CMessageHandler::GetDefaultReturnValue(flags), buttons[i]);
        }
    }
}

TEST_F(MessageBoxes, DisableTheOtherWindowsOfTheApplicationMeanwhile) {
    // The owner of the box, the main window, and what is enabled meanwhile: main, tool, palette, disabled,
    // hidden, inner, foreign, childless. With no main window, that is the owner by the system.
    static constexpr std::tuple<int, int, const char*> kBoxes[] = {
        {kMain, kMain, "-----+++"},    {kTool, kMain, "-----+++"}, {kHidden, kMain, "-----+++"},
        {kForeign, kMain, "-----+-+"}, {kNone, kMain, "-----+++"}, {kTool, kNone, "+-+-++++"},
        {kNone, kNone, "+++-++++"}};
    for (const auto& [ownerOfBox, mainWindow, meanwhile] : kBoxes) {
        SCOPED_TRACE(testing::Message() << "owner " << ownerOfBox << ", main window " << mainWindow);
        SetMainWindow(windows[mainWindow]);
        const HWND owner = windows[ownerOfBox];
        const CSeenBox box = seeBox(u"caption", IDOK, [owner] {
            GetCurrentMessageHandler()->ShowMessage(owner, u"text", u"caption", MB_OK);
        });
        EXPECT_EQ(box.enabled, meanwhile);
        EXPECT_EQ(box.owner, owner);
        EXPECT_EQ(enabledWindows(), kAtRest);
    }
}

TEST_F(MessageBoxes, NestAndLeaveTheOuterOneUnchanged) {
    const auto show = [](const char16_t* caption, HWND owner) {
        return [=] { GetCurrentMessageHandler()->ShowMessage(owner, u"text", caption, MB_OK); };
    };
    seeBox(u"outer", IDOK, show(u"outer", windows[kTool]), [&show](const CSeenBox&) {
        const HWND outer = FindWindowW(L"#32770", L"outer");
        // Without an owner: Wine enables the owner of a box afterwards, even if it was disabled before.
        seeBox(u"inner", IDOK, show(u"inner", nullptr), [outer](const CSeenBox& inner) {
            EXPECT_FALSE(IsWindowEnabled(outer));
            EXPECT_EQ(inner.enabled, "-----+++");
        });
        EXPECT_TRUE(IsWindowEnabled(outer));
        EXPECT_EQ(enabledWindows(), "-----+++");
    });
    EXPECT_EQ(enabledWindows(), kAtRest);
}

TEST_F(MessageBoxes, TellWhyTheProcessEndsAtAnAssertionInsideAWarning) {
    const auto tell = [](const CSeenBox& box) {
        for (char16_t unit : box.text + (box.icon == systemIcon(IDI_HAND) ? u"|hand|" : u"|other|"))
            std::fputc(unit == u'\n' ? ' ' : static_cast<char>(unit), stderr);
        std::fflush(stderr); // the process may end without flushing
    };
    const auto fail = [] { GenAssert(u"Source", 12); };
    const auto failInWarning = [=](const CSeenBox& box) {
        tell(box);
        SetAppTitle(u"Last words");
        seeBox(u"Last words", IDOK, fail, tell);
    };
    const auto warn = [] {
        CInternalError error(u"Source", 7);
        Warning(&error);
    };
    EXPECT_EXIT(seeBox(u"Größe 字", IDOK, warn, failInWarning), testing::ExitedWithCode(3),
                "Source, 7\\.\\|hand\\|Double internal error! Application terminated\\.\\|hand\\|$");
}

} // namespace
} // namespace Tarn
