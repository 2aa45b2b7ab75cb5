/// \file
/// `CRegistryWatch`: waits until something changes in the registry, whoever changes it.
///
/// A change is a value or a sub-key that was added, deleted or given other contents. Changes may be reported
/// together, and one that is undone before anybody looks need not be reported; setting a value to what it
/// already is counts as a change on Windows only. What a change was, the key tells. The deletion of the key
/// is its last change.
///
/// The library has no thread of its own for this. A program calls `Wait` on a thread of its own, or with 0
/// when the wait handle is ready, and then tells its cached settings to read again (`Reset`).
///
/// A watch is used by one thread at a time, and by the process that made it: the child of a fork makes
/// another.
///
/// \code
/// CRegistryKey key(true);
/// key.Open(HKEY_CURRENT_USER, GetUserRegistrySection());
/// CRegistryWatch watch(key);
/// while (watch.Wait(CRegistryWatch::Forever))
///     width.Reset(); // a CCacheSetup<int>
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/types.h>

namespace Tarn {

namespace Platform {
class RegistryWatch;
}

/// Waits for changes below a key; see the top of this header.
class TARNKIT_API CRegistryWatch {
public:
    /// For `Wait`: until there is a change.
    static constexpr DWORD Forever = ~DWORD{0};

    /// Watches an open key, with everything below it or with its values and the names of its sub-keys. The
    /// key may be closed meanwhile. The last-error code tells whether that succeeded.
    explicit CRegistryWatch(const CRegistryKey& key, bool isWithSubKeys = true);
    ~CRegistryWatch();

    CRegistryWatch(const CRegistryWatch&) = delete;
    CRegistryWatch& operator=(const CRegistryWatch&) = delete;

    /// Whether the key is watched.
    bool IsValid() const { return watch != nullptr; }

    /// Waits until something has changed since this object was made or since `Wait` returned true last. False
    /// after that many milliseconds without a change, and then the last error is ERROR_TIMEOUT, or if it can
    /// no longer be watched, such as a key that was deleted.
    bool Wait(DWORD milliseconds);

    /// What becomes ready when it is time to call `Wait(0)`, which may still return false: on Windows an
    /// event to wait for, elsewhere a file descriptor to poll for reading, as an integer in the pointer. It
    /// belongs to this object; null if that is not valid.
    HANDLE GetWaitHandle() const;

private:
    Platform::RegistryWatch* watch = nullptr;
};

} // namespace Tarn
