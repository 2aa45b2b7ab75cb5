/// \file
/// The lock for what the C library keeps for the whole process: locales, time zones and converters.
///
/// The C library locks its own data; these calls are rare, and one at a time is easier to follow, also for
/// the thread sanitizer, which cannot see the C library's locks. Reading what they have made needs no lock.
#pragma once

#include <mutex>
#include <pthread.h>

namespace Tarn::Platform::Posix {

/// A lock that its holder may take again, usable before any constructor has run, unlike that of every
/// standard library.
class RecursiveLock {
public:
    constexpr RecursiveLock() = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock() { pthread_mutex_lock(&mutex); }
    void unlock() { pthread_mutex_unlock(&mutex); }

private:
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

// Making a locale's texts may load a code page.
inline constinit RecursiveLock cLibraryLock;

/// Held during a fork as well: what the C library does under this lock has locks of its own, which would stay
/// locked in the child.
using CLibraryGuard = std::lock_guard<RecursiveLock>;

} // namespace Tarn::Platform::Posix
