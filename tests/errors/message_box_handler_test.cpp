#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/window_system.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Tarn {
namespace {

// A little window system: top-level windows in a row, each with an owner, and one child of the first.
class CTestWindows : public IWindowSystem {
public:
    struct CWindow {
        CWindow* owner = nullptr;
        CWindow* parent = nullptr;
        CWindow* next = nullptr;
        bool isEnabled = true;
        bool isVisible = true;
    };
    CWindow main, tool{&main}, palette{&tool}, disabled{&main}, foreign, child{nullptr, &tool};

    CTestWindows() {
        CWindow* const row[] = {&main, &tool, &palette, &disabled, &child, &foreign, nullptr};
        for (int i = 0; row[i] != nullptr; i++)
            row[i]->next = row[i + 1];
        disabled.isEnabled = false;
        desktop.next = &main;
        SetWindowSystem(this);
        SetMainWindow(handleOf(main));
    }
    ~CTestWindows() override {
        SetMainWindow(nullptr);
        SetWindowSystem(nullptr);
    }

    static HWND handleOf(CWindow& window) { return reinterpret_cast<HWND>(&window); }

    // The state of all windows, in the order of their declaration.
    std::string enabled() {
        std::string state;
        for (CWindow* window : {&main, &tool, &palette, &disabled, &foreign, &child})
            state += window->isEnabled ? '+' : '-';
        return state;
    }

    int MessageBox(HWND, const char16_t*, const char16_t*, UINT flags) override {
        lastFlags = flags;
        whileShown = enabled();
        return 4;
    }
    HWND GetDesktopWindow() override { return handleOf(desktop); }
    HWND GetWindow(HWND window, UINT command) override {
        return reinterpret_cast<HWND>(command == GW_OWNER ? of(window)->owner : of(window)->next);
    }
    HWND GetParent(HWND window) override { return reinterpret_cast<HWND>(of(window)->parent); }
    LONG GetWindowStyle(HWND window) override { return of(window)->parent != nullptr ? WS_CHILD : 0; }
    bool IsWindowVisible(HWND window) override { return of(window)->isVisible; }
    bool IsWindowEnabled(HWND window) override { return of(window)->isEnabled; }
    bool EnableWindow(HWND window, bool enable) override {
        return !std::exchange(of(window)->isEnabled, enable);
    }

    UINT lastFlags = 0;
    std::string whileShown;

private:
    CWindow desktop;

    static CWindow* of(HWND window) { return reinterpret_cast<CWindow*>(window); }
};

TEST(MessageBoxHandler, DisablesTheOtherWindowsOfTheApplicationMeanwhile) {
    CTestWindows windows;
    CMessageBoxHandler handler;
    EXPECT_EQ(handler.ShowMessage(CTestWindows::handleOf(windows.tool), u"text", u"caption", MB_OK), 4);
    EXPECT_EQ(windows.whileShown, "-+--+-") << "all but the owner and the windows of others";
    EXPECT_EQ(windows.enabled(), "+++-++") << "what was disabled before stays so";

    SetMainWindow(nullptr);
    handler.ShowMessage(nullptr, u"text", u"caption", MB_OK);
    EXPECT_EQ(windows.whileShown, "+++-++");
}

TEST(MessageBoxHandler, AddsAnIconAndComesToTheFrontWhereNobodyAskedForMore) {
    CTestWindows windows;
    CMessageBoxHandler handler;
    const auto flagsOf = [&](HWND owner, unsigned flags) {
        handler.ShowMessage(owner, u"text", u"caption", flags);
        return windows.lastFlags;
    };
    const HWND owner = CTestWindows::handleOf(windows.main);
    for (unsigned buttons = 0; buttons < 8; buttons++) {
        const bool isPlain = buttons <= 4 && buttons != 2;
        EXPECT_EQ(flagsOf(owner, buttons), buttons | (isPlain ? 0x30u : 0u)) << buttons;
        EXPECT_EQ(flagsOf(owner, buttons | 0x40), buttons | 0x40);
    }
    windows.main.isVisible = false;
    EXPECT_EQ(flagsOf(owner, 0), 0x50030u);
    EXPECT_EQ(flagsOf(nullptr, 2), 0x50002u);
}

} // namespace
} // namespace Tarn
