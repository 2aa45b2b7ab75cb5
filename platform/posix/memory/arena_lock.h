// A lock for short work. It costs one locked instruction when nobody else wants it.
#pragma once

#include <atomic>
#include <thread>

namespace Tarn::Platform::Posix {

class ArenaLock {
public:
    void lock() noexcept {
        while (isLocked.exchange(true, std::memory_order_acquire))
            wait();
    }
    void unlock() noexcept { isLocked.store(false, std::memory_order_release); }

private:
    std::atomic<bool> isLocked = false;

    [[gnu::noinline]] void wait() const noexcept {
        while (isLocked.load(std::memory_order_relaxed))
            std::this_thread::yield();
    }
};

} // namespace Tarn::Platform::Posix
