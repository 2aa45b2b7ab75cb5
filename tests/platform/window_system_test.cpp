// The window system that a program installs, in front of the windows of either port.
#include "platform/platform.h"
#include "tests/threads/threads.h"

#include <tarnkit/window_system.h>

namespace {

namespace Platform = Tarn::Platform;

/// Writes down what it is asked, and answers all of it.
class CRecordingWindows : public Tarn::IWindowSystem {
public:
    int MessageBox(HWND, const char16_t* text, const char16_t* caption, UINT flags) override {
        boxes += std::u16string(caption) + u": " + text + u"\n";
        return static_cast<int>(flags) + 1;
    }
    HWND GetDesktopWindow() override { return handle(1); }
    HWND GetWindow(HWND window, UINT command) override {
        return window == handle(1) ? handle(command) : nullptr;
    }
    HWND GetParent(HWND window) override { return window == handle(2) ? handle(3) : nullptr; }
    LONG GetWindowStyle(HWND) override { return WS_CHILD; }
    bool IsWindowVisible(HWND window) override { return window == handle(4); }
    bool IsWindowEnabled(HWND window) override { return window == handle(5); }
    bool EnableWindow(HWND window, bool enable) override { return window == handle(6) && enable; }

    static HWND handle(std::size_t number) { return reinterpret_cast<HWND>(number); }

    std::u16string boxes;
};

TEST(WindowSystem, GetsWhatTheDoorIsAskedUntilItIsReplaced) {
    CRecordingWindows windows;
    const auto handle = windows.handle;
    EXPECT_EQ(Tarn::SetWindowSystem(&windows), nullptr);
    EXPECT_EQ(Platform::MessageBoxW(nullptr, u"text", u"caption", MB_YESNO), MB_YESNO + 1);
    EXPECT_EQ(Platform::MessageBoxW(nullptr, nullptr, nullptr, MB_OK), 1);
    EXPECT_EQ(windows.boxes, u"caption: text\nError: \n");
    EXPECT_EQ(Platform::GetWindow(Platform::GetDesktopWindow(), GW_CHILD), handle(GW_CHILD));
    EXPECT_EQ(Platform::GetParent(handle(2)), handle(3));
    EXPECT_EQ(Platform::GetWindowStyle(nullptr), WS_CHILD);
    EXPECT_TRUE(Platform::IsWindowVisible(handle(4)) && Platform::IsWindowEnabled(handle(5)));
    EXPECT_TRUE(Platform::EnableWindow(handle(6), TRUE));
    EXPECT_FALSE(Platform::EnableWindow(handle(6), FALSE));
    EXPECT_EQ(Tarn::SetWindowSystem(nullptr), &windows);
    EXPECT_FALSE(Platform::IsWindowVisible(handle(4)) || Platform::EnableWindow(handle(6), TRUE));
}

/// Answers like a box; notices calls after its end.
class CShortLivedWindows : public Tarn::IWindowSystem {
public:
    ~CShortLivedWindows() override { isAlive = false; }

    int MessageBox(HWND, const char16_t*, const char16_t*, UINT flags) override {
        std::this_thread::yield();
        return isAlive && flags == MB_YESNO ? IDYES : IDNO;
    }
    bool IsWindowVisible(HWND window) override { return isAlive && window != nullptr; }

private:
    std::atomic<bool> isAlive = true;
};

TEST(WindowSystem, CanBeDestroyedWhenItWasReplacedWhileOtherThreadsShowBoxes) {
    auto installed = std::make_unique<CShortLivedWindows>();
    EXPECT_EQ(Tarn::SetWindowSystem(installed.get()), nullptr);
    std::vector<int> failures(4);
    std::atomic<int> running = 4;
    Tarn::RunOnThreads(5, [&](int index) {
        for (int round = 0; index < 4 && round < 2000; round++)
            failures[static_cast<std::size_t>(index)] +=
                Platform::MessageBoxW(nullptr, u"text", u"caption", MB_YESNO) != IDYES ||
                Platform::IsWindowVisible(nullptr);
        for (running -= index < 4; index == 4 && running > 0;) {
            auto next = std::make_unique<CShortLivedWindows>();
            if (Tarn::SetWindowSystem(next.get()) != installed.get())
                failures[0]++;
            installed = std::move(next);
        }
    });
    EXPECT_EQ(failures, std::vector<int>(4));
    EXPECT_EQ(Tarn::SetWindowSystem(nullptr), installed.get());
}

} // namespace
