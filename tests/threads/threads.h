// Threads that begin together.
#pragma once

#include "tests/support/testing.h"

#include <condition_variable>

namespace Tarn {

/// Where a number of threads wait until all of them have come. (`std::barrier` misses wake-ups on Windows.)
class CMeeting {
public:
    explicit CMeeting(int number) : missing(number) {}

    void ArriveAndWait() {
        std::unique_lock lock(mutex);
        missing--;
        haveAllCome.notify_all();
        haveAllCome.wait(lock, [this] { return missing == 0; });
    }

private:
    std::mutex mutex;
    std::condition_variable haveAllCome;
    int missing;
};

/// Runs `action(index)` on a number of threads, which all begin at the same moment, to its end.
template<class Action>
void RunOnThreads(int number, Action action) {
    CMeeting start(number);
    std::vector<std::thread> threads;
    for (int i = 0; i < number; i++)
        threads.emplace_back([&, i] {
            start.ArriveAndWait();
            action(i);
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace Tarn
