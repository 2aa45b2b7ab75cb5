#include <tarnkit/registry_store.h>

#include "platform/platform.h"

namespace Tarn {

namespace {

DWORD call(LSTATUS (*function)(HKEY, Platform::RegistryStoreState*), HKEY root, CRegistryStoreState& state) {
    Platform::RegistryStoreState found{};
    const LSTATUS result = function(root, &found);
    state = {found.keys, found.values, found.unreadablePages, found.lostKeys, found.file, found.oldFile};
    return static_cast<DWORD>(result);
}

} // namespace

DWORD CheckRegistryStore(HKEY root, CRegistryStoreState& state) {
    return call(Platform::CheckRegistryStore, root, state);
}

DWORD RepairRegistryStore(HKEY root, CRegistryStoreState& state) {
    return call(Platform::RepairRegistryStore, root, state);
}

} // namespace Tarn
