/// \file
/// Reference counts of objects that threads share.
///
/// A count is a plain `int` field of the object. While the process has one thread it is changed like any
/// other `int`; once a second thread has been started, every change is atomic. Like types.h, this header asks
/// what system it is compiled for, because only the C library knows whether there are other threads.
#pragma once

#include <atomic>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace Tarn {

/// Whether no second thread has been started yet. False on systems that do not tell; counts are always atomic
/// there.
inline bool HasOneThread() noexcept {
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded != 0;
#else
    return false;
#endif
}

/// Adds a reference.
inline void AddReference(int& count) noexcept {
    if (HasOneThread())
        count++;
    else
        std::atomic_ref(count).fetch_add(1, std::memory_order_relaxed);
}

/// Removes a reference and returns whether it was the last one. If so, everything that other threads did to
/// the object before they removed theirs is visible to the caller.
inline bool RemoveReference(int& count) noexcept {
    if (HasOneThread())
        return --count < 1;
    std::atomic_ref shared(count);
    // Nobody else can add a reference to an object that has one owner, so the owner needs no locked
    // instruction.
    return shared.load(std::memory_order_acquire) == 1 || shared.fetch_sub(1, std::memory_order_acq_rel) < 2;
}

/// Whether the caller has the only reference, and so may change the object.
inline bool IsOnlyReference(const int& count) noexcept {
    return std::atomic_ref(const_cast<int&>(count)).load(std::memory_order_acquire) == 1;
}

} // namespace Tarn
