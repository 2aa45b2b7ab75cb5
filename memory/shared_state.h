// What the process remembers for all its threads: an object that is built when it is first used, and used
// under a lock.
#pragma once

#include "memory/late_object.h"
#include "memory/process_mutex.h"
#include "platform/fork.h"

#include <mutex>

namespace Tarn {

template<class T>
class CSharedState {
public:
    constexpr CSharedState() = default;

    CSharedState(const CSharedState&) = delete;
    CSharedState& operator=(const CSharedState&) = delete;

    /// Returns `action(object)`, which must not return a reference into the object, call code of a client or
    /// use the same state again.
    template<class Action>
    auto Use(Action action) {
        const std::lock_guard guard(mutex);
        return action(object.Get());
    }

    /// Keeps the lock of a static object usable in children of the process (platform/fork.h).
    template<auto& state>
    static void KeepUsableAfterFork() {
        Platform::HandleForks([] { state.mutex.lock(); }, [] { state.mutex.unlock(); },
                              [] { state.mutex.unlock(); });
    }

    void Release() {
        const std::lock_guard guard(mutex);
        object.Release();
    }

private:
    CProcessMutex mutex;
    CLateObject<T> object;
};

} // namespace Tarn
