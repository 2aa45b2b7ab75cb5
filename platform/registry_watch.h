// Waiting until something changes in the registry, whoever changes it. Stands for RegNotifyChangeKeyValue and
// the calls of Windows for events.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform {

class RegistryWatch;

/// Begins to watch a key: its values and the names of its sub-keys or, `withSubKeys`, everything below it.
/// Does not need the handle of the key any longer.
LSTATUS OpenRegistryWatch(HKEY key, bool withSubKeys, RegistryWatch** watch);
void CloseRegistryWatch(RegistryWatch* watch);

/// ERROR_SUCCESS if something has changed since the watch began, or since this returned that last;
/// ERROR_TIMEOUT if not. `milliseconds` of all ones means that there is no limit.
LSTATUS WaitForRegistryChange(RegistryWatch* watch, DWORD milliseconds);

/// What becomes ready when it is time to call `WaitForRegistryChange`: an event on Windows, on POSIX a file
/// descriptor that can be read.
HANDLE GetRegistryWaitHandle(const RegistryWatch* watch);

} // namespace Tarn::Platform
