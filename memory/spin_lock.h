// A lock for a few instructions, usable before and after every constructor. It is never held across a call
// that may wait or come back.
#pragma once

#include <atomic>
#include <thread>

namespace Tarn {

class CSpinLock {
public:
    constexpr CSpinLock() = default;

    CSpinLock(const CSpinLock&) = delete;
    CSpinLock& operator=(const CSpinLock&) = delete;

    void lock() noexcept {
        while (isLocked.test_and_set(std::memory_order_acquire))
            while (isLocked.test(std::memory_order_relaxed))
                std::this_thread::yield();
    }
    void unlock() noexcept { isLocked.clear(std::memory_order_release); }

private:
    std::atomic_flag isLocked;
};

} // namespace Tarn
