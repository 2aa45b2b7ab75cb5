// Windows and message boxes.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

int MessageBoxW(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    return ::MessageBoxW(owner, wide(text), wide(caption), flags);
}

HWND GetDesktopWindow() { return ::GetDesktopWindow(); }

HWND GetWindow(HWND window, UINT command) { return ::GetWindow(window, command); }

HWND GetParent(HWND window) { return ::GetParent(window); }

LONG GetWindowStyle(HWND window) { return ::GetWindowLongW(window, GWL_STYLE); }

BOOL IsWindowVisible(HWND window) { return ::IsWindowVisible(window); }

BOOL IsWindowEnabled(HWND window) { return ::IsWindowEnabled(window); }

BOOL EnableWindow(HWND window, BOOL enable) { return ::EnableWindow(window, enable); }

} // namespace Tarn::Platform
