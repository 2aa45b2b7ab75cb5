#include <tarnkit/registry_watch.h>

#include "platform/platform.h"
#include "platform/registry_watch.h"

namespace Tarn {

namespace {

bool setResult(LSTATUS result) {
    Platform::SetLastError(static_cast<DWORD>(result));
    return result == static_cast<LSTATUS>(ERROR_SUCCESS);
}

} // namespace

CRegistryWatch::CRegistryWatch(const CRegistryKey& key, bool isWithSubKeys) {
    setResult(key.GetKey() == nullptr ? static_cast<LSTATUS>(ERROR_INVALID_HANDLE)
                                      : Platform::OpenRegistryWatch(key.GetKey(), isWithSubKeys, &watch));
}

CRegistryWatch::~CRegistryWatch() {
    if (watch != nullptr)
        Platform::CloseRegistryWatch(watch);
}

bool CRegistryWatch::Wait(DWORD milliseconds) {
    return setResult(watch == nullptr ? static_cast<LSTATUS>(ERROR_INVALID_HANDLE)
                                      : Platform::WaitForRegistryChange(watch, milliseconds));
}

HANDLE CRegistryWatch::GetWaitHandle() const {
    return watch == nullptr ? nullptr : Platform::GetRegistryWaitHandle(watch);
}

} // namespace Tarn
