// Message boxes of the POSIX port: on a real terminal, without one, and through an installed window system.
#include "platform/platform.h"

#include <tarnkit/window_system.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <string>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

namespace Platform = Tarn::Platform;

/// Puts descriptors in the place of the standard input and error output for a scope.
class Redirection {
public:
    Redirection(int input, int error) : savedInput(dup(STDIN_FILENO)), savedError(dup(STDERR_FILENO)) {
        dup2(input, STDIN_FILENO);
        dup2(error, STDERR_FILENO);
    }
    ~Redirection() {
        dup2(savedInput, STDIN_FILENO);
        dup2(savedError, STDERR_FILENO);
        close(savedInput);
        close(savedError);
    }

private:
    int savedInput;
    int savedError;
};

/// Asks on a terminal where `typed` was typed; `screen` is what the terminal showed.
int ask(UINT flags, const std::string& typed, std::string* screen = nullptr) {
    int user = -1;
    int terminal = -1;
    if (openpty(&user, &terminal, nullptr, nullptr, nullptr) != 0)
        return -1;
    termios modes;
    tcgetattr(terminal, &modes);
    modes.c_lflag &= ~static_cast<tcflag_t>(ECHO); // it would come at any place between what is shown
    tcsetattr(terminal, TCSANOW, &modes);
    EXPECT_EQ(write(user, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    int answer;
    {
        const Redirection redirection(terminal, terminal);
        answer = Platform::MessageBoxW(nullptr, u"Keep \u00E4?\r\nReally?", u"Title", flags);
    }
    close(terminal); // ends what can be read
    char buffer[256];
    for (ssize_t count; (count = read(user, buffer, sizeof(buffer))) > 0;)
        if (screen != nullptr)
            screen->append(buffer, static_cast<std::size_t>(count));
    close(user);
    return answer;
}

TEST(MessageBoxOnATerminal, AsksUntilAButtonIsNamed) {
    const struct {
        UINT flags;
        std::string typed;
        int answer;
    } table[] = {
        {MB_OK, "\n", IDOK},
        {MB_OKCANCEL, "c\n", IDCANCEL},
        {MB_OKCANCEL | MB_DEFBUTTON2, "\n", IDCANCEL},
        {MB_YESNO | MB_ICONQUESTION, " N \n", IDNO},
        {MB_YESNO | MB_DEFBUTTON2, "yes\n", IDYES},
        {MB_YESNOCANCEL, "maybe\n4\n0\nyy\n2\n", IDNO},
        {MB_YESNOCANCEL | MB_DEFBUTTON3, "\x04", IDCANCEL},
        {MB_ABORTRETRYIGNORE, "IGNORE\n", IDIGNORE},
        {MB_RETRYCANCEL | MB_DEFBUTTON3, "\n", IDRETRY},
        {MB_RETRYCANCEL, "nonsense\n\x04", IDRETRY},
        {7, "", IDABORT}, // a set that there is not has nothing to ask
    };
    for (const auto& row : table)
        EXPECT_EQ(ask(row.flags, row.typed), row.answer) << row.flags << " " << row.typed;
    std::string screen;
    ask(MB_YESNO | MB_DEFBUTTON2, "y\n", &screen);
    EXPECT_NE(screen.find("Title: Keep \xC3\xA4?\r\nReally?\r\n"), std::string::npos) << screen;
    EXPECT_NE(screen.find("1 Yes, 2 No (default): "), std::string::npos) << screen;
}

TEST(MessageBoxWithoutATerminal, AnswersThePreselectedButton) {
    const struct {
        UINT set;
        int answers[4]; // for the first, second and third button and for one that there is not
    } table[] = {
        {MB_OK, {1, 1, 1, 1}},
        {MB_OKCANCEL, {1, 2, 1, 1}},
        {MB_YESNO, {6, 7, 6, 6}},
        {MB_YESNOCANCEL, {6, 7, 2, 6}},
        {MB_RETRYCANCEL, {4, 2, 4, 4}},
        {MB_ABORTRETRYIGNORE, {3, 4, 5, 3}},
        {9, {3, 3, 3, 3}},
    };
    const int nothing = open("/dev/null", O_RDWR);
    const int output = open("box.txt", O_RDWR | O_CREAT | O_TRUNC, 0600);
    for (const auto& row : table)
        for (UINT button = 0; button < 4; button++) {
            const Redirection redirection(nothing, output);
            EXPECT_EQ(Platform::MessageBoxW(nullptr, u"text", u"caption", row.set | button << 8),
                      row.answers[button]);
        }
    char shown[16] = {};
    EXPECT_EQ(pread(output, shown, 14, 0), 14);
    EXPECT_STREQ(shown, "caption: text\n");
    // Longer than what is written at a time.
    std::string line;
    std::u16string text;
    for (int i = 0; i < 999; i++) {
        line += "a\xF0\x9F\x98\x80";
        text += u"a\U0001F600";
    }
    ASSERT_EQ(ftruncate(output, 0), 0);
    ASSERT_EQ(lseek(output, 0, SEEK_SET), 0);
    {
        const Redirection redirection(nothing, output);
        Platform::MessageBoxW(nullptr, (text + u"\r\n").c_str(), u"", MB_OK);
    }
    std::string all(2 * line.size(), '\0');
    all.resize(static_cast<std::size_t>(pread(output, all.data(), all.size(), 0)));
    EXPECT_EQ(all, ": " + line + "\n\n");
    close(nothing);
    close(output);
}

TEST(MessageBoxWithoutATerminal, SurvivesAnErrorOutputThatTakesNothing) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    const int full = open("/dev/full", O_WRONLY);
    for (const int output : {ends[1], full}) {
        const Redirection redirection(full, output);
        EXPECT_EQ(Platform::MessageBoxW(nullptr, nullptr, nullptr, MB_YESNO | MB_DEFBUTTON2), IDNO);
    }
    close(full);
    close(ends[1]);
}

/// One top-level window on a desktop, and boxes that are answered with "No".
class ToolkitWindows : public Tarn::IWindowSystem {
public:
    int MessageBox(HWND, const char16_t* text, const char16_t* caption, UINT) override {
        shown = std::u16string(caption) + u": " + text;
        return IDNO;
    }
    HWND GetDesktopWindow() override { return reinterpret_cast<HWND>(&enabled); }
    HWND GetWindow(HWND window, UINT command) override {
        return window == GetDesktopWindow() && command == GW_CHILD ? top() : nullptr;
    }
    bool IsWindowEnabled(HWND window) override { return window == top() && enabled; }
    bool EnableWindow(HWND, bool enable) override { return !std::exchange(enabled, enable); }

    HWND top() { return reinterpret_cast<HWND>(this); }

    std::u16string shown;
    bool enabled = true;
};

TEST(WindowSystem, AnInstalledOneTakesTheTerminalsPlace) {
    EXPECT_EQ(Platform::GetWindow(Platform::GetDesktopWindow(), GW_CHILD), nullptr);
    ToolkitWindows windows;
    EXPECT_EQ(Tarn::SetWindowSystem(&windows), nullptr);
    EXPECT_EQ(Platform::MessageBoxW(nullptr, u"text", nullptr, MB_YESNO), IDNO);
    EXPECT_EQ(windows.shown, u"Error: text");
    const HWND window = Platform::GetWindow(Platform::GetDesktopWindow(), GW_CHILD);
    EXPECT_EQ(window, windows.top());
    EXPECT_FALSE(Platform::EnableWindow(window, FALSE));
    EXPECT_FALSE(Platform::IsWindowEnabled(window));
    EXPECT_TRUE(Platform::EnableWindow(window, TRUE));
    // What the program left at its default knows no window.
    EXPECT_EQ(Platform::GetParent(window), nullptr);
    EXPECT_FALSE(Platform::IsWindowVisible(window));
    EXPECT_EQ(Tarn::SetWindowSystem(nullptr), &windows);
    EXPECT_EQ(Platform::GetDesktopWindow(), nullptr);
}

} // namespace
