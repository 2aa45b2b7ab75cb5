// How a program plugs its own windows into the library where the platform has no window system of its own.
//
// The library asks its questions through message boxes and disables the program's other windows meanwhile. On
// POSIX it knows no windows by itself: a box is a question on the terminal, or the preselected button when
// there is no terminal. A program with a toolkit derives from `IWindowSystem` and installs its object. The
// object stays the program's and must outlive its time as the installed one. Its functions are called on
// whatever thread shows a message. On Windows this header is not used.
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/types.h>

namespace Tarn {

/// The functions have the meanings of the Win32 calls of their names. All but `MessageBox` have a default
/// that suits a program that only wants to show its boxes itself: there are no windows.
class TARNKIT_API IWindowSystem {
public:
    virtual ~IWindowSystem() noexcept(false);

    /// Shows `text` until a button of `flags` is chosen; the button (IDOK, ...). No text is null.
    virtual int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) = 0;

    /// The window whose children are the top-level windows; null when there is none.
    virtual HWND GetDesktopWindow();
    /// The window that `command` (GW_CHILD, GW_HWNDNEXT, GW_OWNER) leads to, or null.
    virtual HWND GetWindow(HWND window, UINT command);
    virtual HWND GetParent(HWND window);
    /// The bits of the style; the library looks at WS_CHILD only.
    virtual LONG GetWindowStyle(HWND window);
    virtual bool IsWindowVisible(HWND window);
    virtual bool IsWindowEnabled(HWND window);
    /// Gives true when the window was disabled before.
    virtual bool EnableWindow(HWND window, bool enable);
};

/// Installs `system` for the process, or the terminal again when it is null; returns what was installed
/// before, null for the terminal. Call it while no box is open.
TARNKIT_API IWindowSystem* SetWindowSystem(IWindowSystem* system);

} // namespace Tarn
