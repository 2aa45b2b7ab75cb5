/// \file
/// How a program plugs its own windows into the library.
///
/// The library asks its questions in message boxes and disables the program's other windows while one is
/// open. Without a window system of the program's, the boxes and windows are those of Windows; on POSIX the
/// library knows no windows, asks the question on the terminal, or answers with the preselected button when
/// there is no terminal. For the toolkits GTK and Qt there are ready window systems (gtk_windows.h,
/// qt_windows.h). A program with another toolkit derives from `IWindowSystem` and installs its object. The
/// object stays the program's and must live as long as it is installed.
///
/// The functions are called on whatever thread shows a message, on several at once, and that thread waits
/// until they return. Where windows belong to one thread, an implementation hands a box over to it:
/// `MessageBox` shows the box itself if it is called on the windows' thread, which would wait for itself for
/// ever otherwise. On any other thread it queues the box, wakes the event loop and waits for the answer; the
/// texts remain valid meanwhile. When the event loop ends, the boxes that wait get the preselected answer
/// (`CMessageHandler::GetDefaultReturnValue`), and so do all that come later. docs/message_boxes.md has a
/// complete program.
///
/// \code
/// class CDialogs : public IWindowSystem {
///     int MessageBox(HWND, const char16_t* text, const char16_t* caption, UINT flags) override;
/// };
/// static CDialogs dialogs;
/// SetWindowSystem(&dialogs);
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/types.h>

namespace Tarn {

/// The functions do what the Win32 calls of the same names do. The defaults of all but `MessageBox` suit a
/// program that only shows its own boxes: there are no windows.
class TARNKIT_API IWindowSystem {
public:
    virtual ~IWindowSystem() noexcept(false);

    /// Shows `text` with the buttons that `flags` name until one is chosen, and returns it (IDOK, ...).
    /// Neither text is null.
    virtual int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) = 0;

    /// The window whose children are the top-level windows; null when there is none.
    virtual HWND GetDesktopWindow();
    /// The window that `command` (GW_CHILD, GW_HWNDNEXT, GW_OWNER) leads to, or null.
    virtual HWND GetWindow(HWND window, UINT command);
    /// The parent of a child window, or the owner of another; null if there is none.
    virtual HWND GetParent(HWND window);
    /// The bits of the style; the library uses only WS_CHILD.
    virtual LONG GetWindowStyle(HWND window);
    ///@{
    /// Whether the window is shown, or takes input.
    virtual bool IsWindowVisible(HWND window);
    virtual bool IsWindowEnabled(HWND window);
    ///@}
    /// True when the window was disabled before.
    virtual bool EnableWindow(HWND window, bool enable);
};

/// Installs `system` for the process; null restores the windows of the system, or the terminal. Returns what
/// was installed before, or null. Any thread may call it, but no function of a window system should. It waits
/// until no other thread is in a function of the former system, which may be destroyed then.
TARNKIT_API IWindowSystem* SetWindowSystem(IWindowSystem* system);

} // namespace Tarn
