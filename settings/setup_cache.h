#pragma once

#include "memory/process_mutex.h"

#include <tarnkit/setup.h>

namespace Tarn {

/// Protects the values that settings cache: static objects that any thread may use.
CRecursiveProcessMutex& GetSetupCacheMutex();

/// The steps in which settings reach the registry. The lock is held only around those that report nothing: a
/// message box may be shown by another thread, which may use cached settings itself.
class CSetupAccess {
public:
    /// The text in the registry, or the default text. `isKnown` says whether the registry could be read, and
    /// so whether the text may be cached.
    static CUnicodeString Read(const CSetupBase& setup, bool& isKnown);

    /// Finds where the setting is stored.
    explicit CSetupAccess(const CSetupBase& accessed);
    void Store(const CUnicodeString& text);
    /// Raises `ERR_CANT_WRITE_TO_REGISTRY` if storing failed.
    void Report() const;

private:
    const CSetupBase& setup;
    HKEY rootKey;
    CUnicodeString path;
    bool isStored = false;
};

/// Called when the library is loaded: prepares for forks of the process.
void AttachSetupCache();

} // namespace Tarn
