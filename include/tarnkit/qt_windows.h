/// \file
/// Message boxes and windows of Qt 6.
///
/// While an object of this class is installed (`SetWindowSystem`), the library's message boxes are Qt's, with
/// the buttons in the interface language. Any thread may ask for one; it is shown on the thread that has the
/// windows, which is the one that makes the object. On that thread a box handles the events itself; on any
/// other the caller waits until the event loop, begun by `Run`, has the user's answer. A handle of a window
/// (HWND) stands for a `QWidget*`.
///
/// The class is in a library of its own: link `Tarnkit::Qt`. It is not there on Windows.
///
/// \code
/// CQtWindowSystem windows;
/// SetWindowSystem(&windows);
/// SetMainWindow(CQtWindowSystem::Handle(mainWindow));
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
class QWidget; // Qt's own
/// \endcond

namespace Tarn {

/// \cond
class CQtToolkit;
/// \endcond

/// See the top of this header. The object is made, used by `Run` and `Close`, and destroyed on one thread,
/// and no longer installed when it is destroyed; all other functions may be called on any thread.
class TARNKIT_API CQtWindowSystem : public IWindowSystem {
public:
    /// Makes a `QApplication`, which lives as long as the object, if the program has none. Qt ends a program
    /// that makes one where windows cannot be shown.
    CQtWindowSystem();
    ~CQtWindowSystem() noexcept override;

    CQtWindowSystem(const CQtWindowSystem&) = delete;
    CQtWindowSystem& operator=(const CQtWindowSystem&) = delete;

    /// The handle of a window, or null.
    static HWND Handle(QWidget* window) { return reinterpret_cast<HWND>(window); }

    /// Handles events (`QCoreApplication::exec`) until `Quit`, and closes. After that it may be called again.
    void Run();
    /// Closes, and lets `Run` end, also if it has not begun.
    void Quit();
    /// Gives boxes that are open or waiting the preselected answer, and all later ones until the next `Run`
    /// has begun. Happens by itself when the application is about to quit.
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
    std::unique_ptr<CQtToolkit> toolkit;
};

} // namespace Tarn
