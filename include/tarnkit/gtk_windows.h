/// \file
/// Message boxes and windows of GTK 3.
///
/// While an object of this class is installed (`SetWindowSystem`), the library's message boxes are GTK's,
/// with the buttons in the interface language. Any thread may ask for one; it is shown on the thread that has
/// the windows, which is the one that makes the object. On that thread a box handles the events itself; on
/// any other the caller waits until the event loop, begun by `Run`, has the user's answer. A handle of a
/// window (HWND) stands for a `GtkWindow*`.
///
/// The class is in a library of its own: link `Tarnkit::Gtk`. It is not there on Windows.
///
/// \code
/// CGtkWindowSystem windows;
/// SetWindowSystem(&windows);
/// SetMainWindow(CGtkWindowSystem::Handle(mainWindow));
/// std::thread worker(work); // may ask, and calls windows.Quit() at its end
/// windows.Run();
/// worker.join();
/// SetWindowSystem(nullptr);
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/window_system.h>

#include <memory>

/// \cond
struct _GtkWindow; // GTK's own
/// \endcond

namespace Tarn {

/// \cond
class CGtkToolkit;
/// \endcond

/// See the top of this header. The object is made, used by `Run` and `Close`, and destroyed on one thread,
/// and no longer installed when it is destroyed; all other functions may be called on any thread.
class TARNKIT_API CGtkWindowSystem : public IWindowSystem {
public:
    /// Initialises GTK, if the program has not. Throws the reason `TOOLKIT_WITHOUT_DISPLAY` where windows
    /// cannot be shown.
    CGtkWindowSystem();
    ~CGtkWindowSystem() noexcept override;

    CGtkWindowSystem(const CGtkWindowSystem&) = delete;
    CGtkWindowSystem& operator=(const CGtkWindowSystem&) = delete;

    /// The handle of a window, or null.
    static HWND Handle(_GtkWindow* window) { return reinterpret_cast<HWND>(window); }

    /// Handles events (`gtk_main`) until `Quit`, and closes. After that it may be called again.
    void Run();
    /// Closes, and lets `Run` end, also if it has not begun.
    void Quit();
    /// Gives boxes that are open or waiting the preselected answer, and all later ones until the next `Run`
    /// has begun. For a program that runs the event loop itself, when that has ended.
    void Close();

    int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) override;
    HWND GetDesktopWindow() override;
    HWND GetWindow(HWND window, UINT command) override;
    HWND GetParent(HWND window) override;
    LONG GetWindowStyle(HWND window) override;
    bool IsWindowVisible(HWND window) override;
    bool IsWindowEnabled(HWND window) override;
    bool EnableWindow(HWND window, bool enable) override;

private:
    std::unique_ptr<CGtkToolkit> toolkit;
};

} // namespace Tarn
