#pragma once

#include "memory/process_mutex.h"

namespace Tarn {

/// Protects the values that settings cache: static objects that any thread may use.
CRecursiveProcessMutex& GetSetupCacheMutex();

/// Called when the library is loaded: prepares for forks of the process.
void AttachSetupCache();

} // namespace Tarn
