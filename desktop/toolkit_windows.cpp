#include "desktop/toolkit_windows.h"

#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>

#include <algorithm>
#include <utility>

namespace Tarn {

// Calls. -------------------------------------------------------------------------------------------------

// Returns false if there is nobody to do it. What it throws, this throws.
bool CToolkitWindows::call(const std::function<void()>& work) {
    // A toolkit keeps for long what it allocates on occasion.
    const CMemoryManagerSwitcher toDefault(nullptr);
    if (isThread()) {
        work();
        return true;
    }
    std::unique_lock lock(mutex);
    if (isClosed)
        return false;
    CCall waiting = {work};
    calls.push_back(&waiting);
    lock.unlock();
    toolkit.Wake();
    lock.lock();
    changed.wait(lock, [&] { return waiting.isDone; });
    if (waiting.failure)
        std::rethrow_exception(waiting.failure);
    return true;
}

void CToolkitWindows::HandleCalls() {
    const CMemoryManagerSwitcher toDefault(nullptr);
    std::unique_lock lock(mutex);
    while (!calls.empty()) {
        CCall& waiting = *calls.front();
        calls.pop_front();
        lock.unlock();
        try {
            waiting.work();
        } catch (...) { // no loop of a toolkit lets it through
            waiting.failure = std::current_exception();
        }
        lock.lock();
        waiting.isDone = true;
        changed.notify_all();
    }
    if (!hasQuit)
        return;
    isClosed = true;
    lock.unlock();
    answerOpenBoxes();
    toolkit.QuitLoop();
}

void CToolkitWindows::Run() {
    std::unique_lock lock(mutex);
    isClosed = hasQuit;
    lock.unlock();
    if (!isClosed) // which only this thread changes
        toolkit.RunLoop();
    Close();
    lock.lock();
    hasQuit = false;
}

void CToolkitWindows::Quit() {
    {
        const std::lock_guard lock(mutex);
        hasQuit = true;
    }
    toolkit.Wake();
}

void CToolkitWindows::Close() {
    do
        HandleCalls();
    while (!isClosedOrCloses());
    answerOpenBoxes();
}

// No call comes between the last that was handled and the end.
bool CToolkitWindows::isClosedOrCloses() {
    const std::lock_guard lock(mutex);
    isClosed = calls.empty();
    return isClosed;
}

// Boxes. -------------------------------------------------------------------------------------------------

int CToolkitWindows::MessageBox(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    CBox box = {owner, text, caption, flags};
    const int preselected = CMessageHandler::GetDefaultReturnValue(flags);
    const bool isOwn = isThread();
    if (isOwn && isClosed)
        return preselected;
    const bool isShown = call([&] {
        try {
            open(box);
            if (isOwn)
                toolkit.WaitFor(box);
        } catch (...) {
            Answer(box, preselected);
            throw;
        }
        if (isOwn)
            Answer(box, preselected); // unless there is an answer
    });
    if (!isShown)
        return preselected;
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return box.answer != 0; });
    return box.answer;
}

void CToolkitWindows::open(CBox& box) {
    if (!toolkit.Exists(box.owner))
        box.owner = nullptr;
    for (HWND parent = box.owner; parent != nullptr; parent = toolkit.Parent(parent))
        box.owner = parent;
    box.shownBy = this;
    openBoxes.push_back(&box);
    box.hasDisabledOwner = box.owner != nullptr && toolkit.IsEnabled(box.owner);
    if (box.hasDisabledOwner)
        toolkit.Enable(box.owner, false);
    toolkit.Show(box, CBoxLook(box.flags));
}

// The owner comes first, so that it takes the focus. It stays disabled while it has another box.
void CToolkitWindows::Answer(CBox& box, int button) {
    if (std::erase(openBoxes, &box) == 0)
        return;
    for (CBox* const other : openBoxes)
        if (box.hasDisabledOwner && other->owner == box.owner)
            std::swap(box.hasDisabledOwner, other->hasDisabledOwner);
    if (box.hasDisabledOwner && toolkit.Exists(box.owner))
        toolkit.Enable(box.owner, true);
    toolkit.Hide(box);
    const std::lock_guard lock(mutex);
    box.answer = button;
    changed.notify_all(); // the box may be gone as soon as the lock is
}

// The last one first. Windows that were disabled for these boxes are not left so, since nobody will ask for
// it.
void CToolkitWindows::answerOpenBoxes() {
    while (!openBoxes.empty())
        Answer(*openBoxes.back(), CMessageHandler::GetDefaultReturnValue(openBoxes.back()->flags));
    for (const HWND window : disabled)
        if (toolkit.Exists(window))
            toolkit.Enable(window, true);
    disabled.clear();
}

// Windows. -----------------------------------------------------------------------------------------------

template<class Result>
Result CToolkitWindows::about(HWND window, Result otherwise, Result (CToolkitWindows::*find)(HWND)) {
    Result result = otherwise;
    call([&] {
        if (toolkit.Exists(window))
            result = (this->*find)(window);
    });
    return result;
}

HWND CToolkitWindows::GetWindow(HWND window, UINT command) {
    if (command == GW_HWNDNEXT)
        return about<HWND>(window, nullptr, &CToolkitWindows::next);
    if (command == GW_OWNER)
        return about<HWND>(window, nullptr, &CToolkitWindows::owner);
    HWND child = nullptr;
    if (command == GW_CHILD && window == GetDesktopWindow())
        call([&] {
            const std::vector<HWND> windows = toolkit.Windows();
            child = windows.empty() ? nullptr : windows.front();
        });
    return child;
}

HWND CToolkitWindows::GetParent(HWND window) {
    return about<HWND>(window, nullptr, &CToolkitWindows::parentOrOwner);
}

LONG CToolkitWindows::GetWindowStyle(HWND window) { return about<LONG>(window, 0, &CToolkitWindows::style); }

bool CToolkitWindows::IsWindowVisible(HWND window) {
    return about<bool>(window, false, &CToolkitWindows::isVisible);
}

bool CToolkitWindows::IsWindowEnabled(HWND window) {
    return about<bool>(window, false, &CToolkitWindows::isEnabled);
}

bool CToolkitWindows::EnableWindow(HWND window, bool enable) {
    return about<bool>(window, false, enable ? &CToolkitWindows::enable : &CToolkitWindows::disable);
}

HWND CToolkitWindows::next(HWND window) {
    const std::vector<HWND> windows = toolkit.Windows();
    auto place = std::find(windows.begin(), windows.end(), window);
    return place != windows.end() && ++place != windows.end() ? *place : nullptr;
}

HWND CToolkitWindows::parentOrOwner(HWND window) {
    const HWND parent = toolkit.Parent(window);
    return parent != nullptr ? parent : toolkit.Owner(window);
}

LONG CToolkitWindows::style(HWND window) {
    return (toolkit.Parent(window) != nullptr ? WS_CHILD : 0) | (toolkit.IsVisible(window) ? WS_VISIBLE : 0) |
           (toolkit.IsEnabled(window) ? 0 : WS_DISABLED);
}

// Both return whether the window was disabled.
bool CToolkitWindows::enable(HWND window) {
    const bool wasDisabled = !toolkit.IsEnabled(window);
    std::erase(disabled, window);
    toolkit.Enable(window, true);
    return wasDisabled;
}

bool CToolkitWindows::disable(HWND window) {
    const bool wasDisabled = !toolkit.IsEnabled(window);
    if (!wasDisabled)
        disabled.push_back(window);
    toolkit.Enable(window, false);
    return wasDisabled;
}

} // namespace Tarn
