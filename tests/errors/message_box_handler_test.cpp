#include <tarnkit/lifecycle.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/window_system.h>

#include "tests/support/testing.h"

#include <atomic>
#include <functional>
#include <future>
#include <thread>

namespace Tarn {
namespace {

enum { kNone, kMain, kTool, kPalette, kDisabled, kForeign, kWindows };

HWND handleOf(std::size_t window) { return reinterpret_cast<HWND>(window); }

// A minimal window system: a row of top-level windows, some with an owner.
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
        if (shown)
            shown();
        return 4;
    }
    HWND GetDesktopWindow() override { return handleOf(kWindows); }
    HWND GetWindow(HWND window, UINT command) override {
        static constexpr std::size_t kOwners[] = {kNone, kNone, kMain, kTool, kMain, kNone};
        if (command == GW_CHILD)
            return handleOf(kMain);
        return handleOf(command == GW_OWNER ? kOwners[indexOf(window)] : (indexOf(window) + 1) % kWindows);
    }
    bool IsWindowVisible(HWND window) override { return window != handleOf(kDisabled); }
    bool IsWindowEnabled(HWND window) override { return enabled[indexOf(window)] == '+'; }
    bool EnableWindow(HWND window, bool enable) override {
        return std::exchange(enabled[indexOf(window)], enable ? '+' : '-') == '-';
    }

    std::function<void()> shown;
    UINT lastFlags = 0;
    std::string enabled = " +++-+"; // by window
    std::string whileShown;

private:
    static std::size_t indexOf(HWND window) { return reinterpret_cast<std::size_t>(window); }
};

TEST(MessageBoxHandler, DisablesTheOtherWindowsOfTheApplicationMeanwhile) {
    CTestWindows windows;
    CMessageBoxHandler handler;
    EXPECT_EQ(handler.ShowMessage(handleOf(kTool), u"text", u"caption", MB_OK), 4);
    EXPECT_EQ(windows.whileShown, " -+--+") << "all but the owner and the windows of other applications";
    EXPECT_EQ(windows.enabled, " +++-+") << "windows disabled before stay disabled";
}

TEST(MessageBoxHandler, KeepsWindowsDisabledUntilTheLastOfSeveralBoxesGoes) {
    CTestWindows windows;
    std::promise<void> secondIsShown, firstIsGone;
    std::atomic<int> boxes = 0;
    std::thread second;
    windows.shown = [&] {
        if (boxes++ == 0) {
            second = std::thread([] { CMessageBoxHandler().ShowMessage(nullptr, u"second", u"", MB_OK); });
            secondIsShown.get_future().wait();
        } else {
            secondIsShown.set_value();
            firstIsGone.get_future().wait();
        }
    };
    CMessageBoxHandler().ShowMessage(nullptr, u"first", u"", MB_OK);
    EXPECT_EQ(windows.enabled, " ----+");
    firstIsGone.set_value();
    second.join();
    EXPECT_EQ(windows.enabled, " +++-+");
}

TEST(MessageBoxHandler, AddsAMissingIconAndComesToTheFrontWithoutAUsableOwner) {
    CTestWindows windows;
    const std::pair<unsigned, unsigned> flags[] = {{0, 0x30}, {1, 0x31}, {2, 2}, {3, 0x33},
                                                   {4, 0x34}, {5, 5},    {6, 6}, {0x44, 0x44}};
    for (const std::size_t owner : {kMain, kNone, kDisabled})
        for (const auto& [given, shown] : flags) {
            CMessageBoxHandler().ShowMessage(handleOf(owner), u"text", u"caption", given);
            EXPECT_EQ(windows.lastFlags, shown | (owner == kMain ? 0 : 0x50000));
        }
}

} // namespace
} // namespace Tarn
