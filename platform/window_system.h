// What the door's calls for windows do while the program has installed no window system, which each port
// defines; and what a port needs around a fork.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform {

/// As the Win32 calls of the same names.
namespace PortWindows {

int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags);
HWND GetDesktopWindow();
HWND GetWindow(HWND window, UINT command);
HWND GetParent(HWND window);
LONG GetWindowStyle(HWND window);
bool IsWindowVisible(HWND window);
bool IsWindowEnabled(HWND window);
bool EnableWindow(HWND window, bool enable);

} // namespace PortWindows

///@{
/// What a box shows where its text, or its caption, is null.
inline const char16_t* TextOfBox(const char16_t* text) { return text != nullptr ? text : u""; }
inline const char16_t* CaptionOfBox(const char16_t* caption) {
    return caption != nullptr ? caption : u"Error";
}
///@}

/// Null; the last error says that a window does not exist.
HWND NoWindow();

///@{
/// Hold up whatever enters, leaves or replaces the installed window system.
void LockWindowSystem();
void UnlockWindowSystem();
///@}
/// In a forked child: the calls of the other threads are not there any more.
void ForgetWindowCallsOfOtherThreads();

} // namespace Tarn::Platform
