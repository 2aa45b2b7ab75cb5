#include "platform/registry_watch.h"

#include <new>
#include <windows.h>

namespace Tarn::Platform {

namespace {

constexpr DWORD kThreadAgnostic = 0x10000000; // the notification outlives the thread; since Windows 8
constexpr DWORD kChanges = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET;

} // namespace

class RegistryWatch {
public:
    ~RegistryWatch() {
        if (key != nullptr)
            RegCloseKey(key);
        if (event != nullptr)
            CloseHandle(event);
    }

    LSTATUS Open(HKEY watched, bool withSubKeys) {
        isWithSubKeys = withSubKeys;
        event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (event == nullptr)
            return static_cast<LSTATUS>(::GetLastError());
        const LSTATUS result = ::RegOpenKeyExW(watched, L"", 0, KEY_READ, &key);
        return result == ERROR_SUCCESS ? begin() : result;
    }

    LSTATUS Wait(DWORD milliseconds) {
        if (failure != ERROR_SUCCESS)
            return failure;
        if (WaitForSingleObject(event, milliseconds) != WAIT_OBJECT_0)
            return ERROR_TIMEOUT;
        ResetEvent(event);
        failure = begin(); // reported by the next call: this change counts
        return ERROR_SUCCESS;
    }

    HANDLE Event() const { return event; }

private:
    LSTATUS begin() const {
        const LSTATUS result =
            RegNotifyChangeKeyValue(key, isWithSubKeys, kChanges | kThreadAgnostic, event, TRUE);
        return result == ERROR_SUCCESS ? result
                                       : RegNotifyChangeKeyValue(key, isWithSubKeys, kChanges, event, TRUE);
    }

    HKEY key = nullptr;
    HANDLE event = nullptr;
    bool isWithSubKeys = false;
    LSTATUS failure = ERROR_SUCCESS;
};

LSTATUS OpenRegistryWatch(HKEY key, bool withSubKeys, RegistryWatch** watch) {
    *watch = new (std::nothrow) RegistryWatch;
    if (*watch == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    const LSTATUS result = (*watch)->Open(key, withSubKeys);
    if (result != ERROR_SUCCESS) {
        CloseRegistryWatch(*watch);
        *watch = nullptr;
    }
    return result;
}

void CloseRegistryWatch(RegistryWatch* watch) { delete watch; }

LSTATUS WaitForRegistryChange(RegistryWatch* watch, DWORD milliseconds) { return watch->Wait(milliseconds); }

HANDLE GetRegistryWaitHandle(const RegistryWatch* watch) { return watch->Event(); }

} // namespace Tarn::Platform
