// Locks for what belongs to the process, usable before and after every constructor: `std::mutex` needs to be
// constructed on some systems. They are rarely contended: who waits long looks once a millisecond. (The
// waiting of `std::atomic` misses wake-ups where the standard library has no futex.)
#pragma once

#include <atomic>
#include <bit>
#include <chrono>
#include <cstdint>
#include <thread>

namespace Tarn {

class CProcessMutex {
public:
    constexpr CProcessMutex() = default;

    CProcessMutex(const CProcessMutex&) = delete;
    CProcessMutex& operator=(const CProcessMutex&) = delete;

    void lock() noexcept {
        constexpr int kImpatientAttempts = 100;
        for (int attempt = 0; isLocked.exchange(true, std::memory_order_acquire); attempt++)
            if (attempt < kImpatientAttempts)
                std::this_thread::yield();
            else
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    void unlock() noexcept { isLocked.store(false, std::memory_order_release); }

private:
    std::atomic<bool> isLocked{false};
};

/// One that the thread which holds it may lock again.
class CRecursiveProcessMutex {
public:
    constexpr CRecursiveProcessMutex() = default;

    CRecursiveProcessMutex(const CRecursiveProcessMutex&) = delete;
    CRecursiveProcessMutex& operator=(const CRecursiveProcessMutex&) = delete;

    void lock() noexcept {
        const auto self = std::bit_cast<std::uintptr_t>(std::this_thread::get_id());
        if (owner.load(std::memory_order_relaxed) != self) {
            mutex.lock();
            owner.store(self, std::memory_order_relaxed);
        }
        depth++;
    }
    void unlock() noexcept {
        if (--depth > 0)
            return;
        owner.store(0, std::memory_order_relaxed);
        mutex.unlock();
    }

private:
    CProcessMutex mutex;
    std::atomic<std::uintptr_t> owner{0}; // the thread that holds it; 0 if none does
    int depth = 0;                        // how often the owner has locked it
};

} // namespace Tarn
