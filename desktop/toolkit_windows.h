// What the window systems of all toolkits have in common: they show the boxes that any thread asks for on the
// thread that has the windows, and look at the windows there.
#pragma once

#include "desktop/box.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Tarn {

/// A toolkit. All functions but `Wake` are called on the thread of the windows. A window exists in those that
/// are given one.
class IToolkit {
public:
    virtual ~IToolkit() = default;

    /// Lets the event loop call `CToolkitWindows::HandleCalls` soon. Any thread calls it.
    virtual void Wake() = 0;

    virtual void RunLoop() = 0;
    /// Ends what `RunLoop` runs, if it does.
    virtual void QuitLoop() = 0;

    /// Shows a box; `CToolkitWindows::Answer` is called when it is answered.
    virtual void Show(CBox& box, const CBoxLook& look) = 0;
    /// Lets go of the box, which has its answer, and of a wait for it.
    virtual void Hide(CBox& box) = 0;
    /// Handles events until the box has its answer, or until the program's event loop is to end.
    virtual void WaitFor(CBox& box) = 0;

    /// The top-level windows.
    virtual std::vector<HWND> Windows() = 0;
    virtual bool Exists(HWND window) = 0;
    /// Null if there is none.
    virtual HWND Owner(HWND window) = 0;
    /// Null for a top-level window.
    virtual HWND Parent(HWND window) = 0;
    virtual bool IsVisible(HWND window) = 0;
    virtual bool IsEnabled(HWND window) = 0;
    virtual void Enable(HWND window, bool enable) = 0;
};

/// Has the functions of `IWindowSystem`, for any thread. Belongs to the thread that makes it.
class CToolkitWindows {
public:
    explicit CToolkitWindows(IToolkit& shownWith) : toolkit(shownWith) {}

    CToolkitWindows(const CToolkitWindows&) = delete;
    CToolkitWindows& operator=(const CToolkitWindows&) = delete;

    int MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags);
    HWND GetDesktopWindow() const { return reinterpret_cast<HWND>(&toolkit); }
    HWND GetWindow(HWND window, UINT command);
    HWND GetParent(HWND window);
    LONG GetWindowStyle(HWND window);
    bool IsWindowVisible(HWND window);
    bool IsWindowEnabled(HWND window);
    bool EnableWindow(HWND window, bool enable);

    /// Runs the event loop until `Quit`, which any thread may call, and closes.
    void Run();
    void Quit();
    /// Boxes that are open or waiting get the preselected answer, and all later ones until the next `Run`.
    void Close();

    /// Does what other threads wait for. Called by the event loop.
    void HandleCalls();
    /// Gives the answer of a box and lets go of it.
    void Answer(CBox& box, int button);

private:
    struct CCall {
        const std::function<void()>& work;
        bool isDone = false;
        std::exception_ptr failure = nullptr;
    };

    IToolkit& toolkit;
    const std::thread::id thread = std::this_thread::get_id();
    // Used by the thread of the windows alone.
    std::vector<CBox*> openBoxes;
    std::vector<HWND> disabled; // by `EnableWindow`

    std::mutex mutex; // for what follows, and for the answers of boxes
    std::condition_variable changed;
    std::deque<CCall*> calls;
    bool hasQuit = false;
    bool isClosed = false; // changed by the thread of the windows alone

    bool isThread() const { return std::this_thread::get_id() == thread; }
    bool call(const std::function<void()>& work);
    template<class Result>
    Result about(HWND window, Result otherwise, Result (CToolkitWindows::*find)(HWND));
    void open(CBox& box);
    void answerOpenBoxes();
    bool isClosedOrCloses();

    HWND next(HWND window);
    HWND owner(HWND window) { return toolkit.Owner(window); }
    HWND parentOrOwner(HWND window);
    LONG style(HWND window);
    bool isVisible(HWND window) { return toolkit.IsVisible(window); }
    bool isEnabled(HWND window) { return toolkit.IsEnabled(window); }
    bool enable(HWND window);
    bool disable(HWND window);
};

} // namespace Tarn
