#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/window_system.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

namespace Tarn {
namespace {

enum { kNone, kMain, kTool, kPalette, kDisabled, kForeign, kWindows };

HWND handleOf(std::size_t window) { return reinterpret_cast<HWND>(window); }

// A little window system: top-level windows in a row, some with an owner.
class CTestWindows : public IWindowSystem {
public:
    CTestWindows() {
        SetWindowSystem(this);
        SetMainWindow(handleOf(kMain));
    }
    ~CTestWindows() override {
        SetMainWindow(nullptr);
        SetWindowSystem(nullptr);
    }

    int MessageBox(HWND, const char16_t*, const char16_t*, UINT flags) override {
        lastFlags = flags;
        whileShown = enabled;
        return 4;
    }
    HWND GetDesktopWindow() override { return handleOf(kWindows); }
    HWND GetWindow(HWND window, UINT command) override {
        static constexpr std::size_t kOwners[] = {kNone, kNone, kMain, kTool, kMain, kNone};
        if (command == GW_CHILD)
            return handleOf(kMain);
        return handleOf(command == GW_OWNER ? kOwners[indexOf(window)] : (indexOf(window) + 1) % kWindows);
    }
    bool IsWindowVisible(HWND) override { return isVisible; }
    bool IsWindowEnabled(HWND window) override { return enabled[indexOf(window)] == '+'; }
    bool EnableWindow(HWND window, bool enable) override {
        return std::exchange(enabled[indexOf(window)], enable ? '+' : '-') == '-';
    }

    UINT lastFlags = 0;
    bool isVisible = true;
    std::string enabled = " +++-+"; // by window
    std::string whileShown;

private:
    static std::size_t indexOf(HWND window) { return reinterpret_cast<std::size_t>(window); }
};

TEST(MessageBoxHandler, DisablesTheOtherWindowsOfTheApplicationMeanwhile) {
    CTestWindows windows;
    CMessageBoxHandler handler;
    EXPECT_EQ(handler.ShowMessage(handleOf(kTool), u"text", u"caption", MB_OK), 4);
    EXPECT_EQ(windows.whileShown, " -+--+") << "all but the owner and the windows of others";
    EXPECT_EQ(windows.enabled, " +++-+") << "what was disabled before stays so";
}

TEST(MessageBoxHandler, AddsAnIconAndComesToTheFrontWhereNobodyAskedForMore) {
    CTestWindows windows;
    CMessageBoxHandler handler;
    const auto flagsOf = [&](std::size_t owner, unsigned flags) {
        handler.ShowMessage(handleOf(owner), u"text", u"caption", flags);
        return windows.lastFlags;
    };
    for (const unsigned buttons : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0x44u})
        EXPECT_EQ(flagsOf(kMain, buttons), buttons | (buttons <= 4 && buttons != 2 ? 0x30 : 0));
    EXPECT_EQ(flagsOf(kNone, 2), 0x50002u);
    windows.isVisible = false;
    EXPECT_EQ(flagsOf(kMain, 0), 0x50030u);
}

} // namespace
} // namespace Tarn
