// The window system that the program has installed, and the door's calls, which go through it or to the
// port's own windows.
#include "platform/window_system.h"
#include "memory/spin_lock.h"
#include "platform/platform.h"

#include <tarnkit/window_system.h>

#include <chrono>
#include <mutex>
#include <thread>
#include <utility>

namespace Tarn {
namespace {

constinit CSpinLock systemLock;
constinit IWindowSystem* installedSystem = nullptr;

/// A call of the installed window system, which is not given back to the program before the call has ended.
class SystemCall {
public:
    SystemCall() {
        const std::lock_guard lock(systemLock);
        system = installedSystem;
        if (system != nullptr) {
            next = underWay;
            underWay = this;
        }
    }
    SystemCall(const SystemCall&) = delete;
    SystemCall& operator=(const SystemCall&) = delete;
    ~SystemCall() {
        if (system == nullptr)
            return;
        const std::lock_guard lock(systemLock);
        SystemCall** link = &underWay;
        while (*link != this)
            link = &(*link)->next;
        *link = next;
    }

    explicit operator bool() const { return system != nullptr; }
    IWindowSystem* operator->() const { return system; }

    /// Waits until no other thread uses `left`. A thread does not wait for its own calls. Nothing wakes it,
    /// because the waiting of `std::atomic` misses wake-ups on some systems.
    static void WaitForOthers(const IWindowSystem* left) {
        while (othersUse(left))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    /// In a forked child: the calls of the other threads are not there any more.
    static void ForgetOthers() {
        SystemCall** link = &underWay;
        while (*link != nullptr) {
            if ((*link)->thread == std::this_thread::get_id())
                link = &(*link)->next;
            else
                *link = (*link)->next;
        }
    }

private:
    static constinit inline SystemCall* underWay = nullptr;

    static bool othersUse(const IWindowSystem* left) {
        const std::lock_guard lock(systemLock);
        for (const SystemCall* call = underWay; call != nullptr; call = call->next)
            if (call->system == left && call->thread != std::this_thread::get_id())
                return true;
        return false;
    }

    IWindowSystem* system;
    SystemCall* next = nullptr;
    const std::thread::id thread = std::this_thread::get_id();
};

} // namespace

IWindowSystem::~IWindowSystem() noexcept(false) = default;

HWND IWindowSystem::GetDesktopWindow() { return nullptr; }
HWND IWindowSystem::GetWindow(HWND, UINT) { return Platform::NoWindow(); }
HWND IWindowSystem::GetParent(HWND) { return Platform::NoWindow(); }
LONG IWindowSystem::GetWindowStyle(HWND) { return 0; }
bool IWindowSystem::IsWindowVisible(HWND) { return false; }
bool IWindowSystem::IsWindowEnabled(HWND) { return false; }
bool IWindowSystem::EnableWindow(HWND, bool) { return false; }

IWindowSystem* SetWindowSystem(IWindowSystem* system) {
    IWindowSystem* before;
    {
        const std::lock_guard lock(systemLock);
        before = std::exchange(installedSystem, system);
    }
    if (before != nullptr && before != system)
        SystemCall::WaitForOthers(before);
    return before;
}

namespace Platform {

HWND NoWindow() {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return nullptr;
}

void LockWindowSystem() { systemLock.lock(); }
void UnlockWindowSystem() { systemLock.unlock(); }
void ForgetWindowCallsOfOtherThreads() { SystemCall::ForgetOthers(); }

int MessageBoxW(HWND owner, const char16_t* text, const char16_t* caption, UINT flags) {
    const SystemCall system;
    return system ? system->MessageBox(owner, TextOfBox(text), CaptionOfBox(caption), flags)
                  : PortWindows::MessageBox(owner, text, caption, flags);
}

HWND GetDesktopWindow() {
    const SystemCall system;
    return system ? system->GetDesktopWindow() : PortWindows::GetDesktopWindow();
}

HWND GetWindow(HWND window, UINT command) {
    const SystemCall system;
    return system ? system->GetWindow(window, command) : PortWindows::GetWindow(window, command);
}

HWND GetParent(HWND window) {
    const SystemCall system;
    return system ? system->GetParent(window) : PortWindows::GetParent(window);
}

LONG GetWindowStyle(HWND window) {
    const SystemCall system;
    return system ? system->GetWindowStyle(window) : PortWindows::GetWindowStyle(window);
}

BOOL IsWindowVisible(HWND window) {
    const SystemCall system;
    return system ? system->IsWindowVisible(window) : PortWindows::IsWindowVisible(window);
}

BOOL IsWindowEnabled(HWND window) {
    const SystemCall system;
    return system ? system->IsWindowEnabled(window) : PortWindows::IsWindowEnabled(window);
}

BOOL EnableWindow(HWND window, BOOL enable) {
    const SystemCall system;
    return system ? system->EnableWindow(window, enable != FALSE)
                  : PortWindows::EnableWindow(window, enable != FALSE);
}

} // namespace Platform
} // namespace Tarn
