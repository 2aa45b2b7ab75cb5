// Windows and message boxes of the system.
#include "platform/platform.h"
#include "platform/window_system.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform::PortWindows {

int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    return ::MessageBoxW(owner, wide(text), wide(caption), flags);
}

HWND GetDesktopWindow() { return ::GetDesktopWindow(); }

HWND GetWindow(HWND window, UINT command) { return ::GetWindow(window, command); }

HWND GetParent(HWND window) { return ::GetParent(window); }

LONG GetWindowStyle(HWND window) { return ::GetWindowLongW(window, GWL_STYLE); }

bool IsWindowVisible(HWND window) { return ::IsWindowVisible(window) != FALSE; }

bool IsWindowEnabled(HWND window) { return ::IsWindowEnabled(window) != FALSE; }

bool EnableWindow(HWND window, bool enable) { return ::EnableWindow(window, enable ? TRUE : FALSE) != FALSE; }

} // namespace Tarn::Platform::PortWindows
