// Lets readers use an object without a lock while a writer replaces it: the writer publishes the new object,
// waits until no reader can still be using the old one, and then disposes of it.
//
//     CGracePeriod period;                      std::atomic<const CTable*> table;
//
//     CGracePeriod::CReader reader(period);     const CTable* old = table.exchange(fresh);
//     use(*table.load());                       period.Wait();
//                                               delete old;
//
// Readers never wait. Only one writer may wait at a time, and not inside a reader's scope, where it would
// wait for itself.
#pragma once

#include <atomic>
#include <thread>

namespace Tarn {

class CGracePeriod {
public:
    constexpr CGracePeriod() = default;

    CGracePeriod(const CGracePeriod&) = delete;
    CGracePeriod& operator=(const CGracePeriod&) = delete;

    /// A reader, for a scope. Scopes nest.
    class CReader {
    public:
        explicit CReader(CGracePeriod& gracePeriod) : period(gracePeriod), side(gracePeriod.enter()) {}
        ~CReader() { period.readers[side].fetch_sub(1, std::memory_order_release); }

        CReader(const CReader&) = delete;
        CReader& operator=(const CReader&) = delete;

    private:
        CGracePeriod& period;
        unsigned side;
    };

    /// Returns when every reader that began before the call has ended.
    void Wait() {
        const unsigned old = current.load(std::memory_order_relaxed);
        current.store(1 - old, std::memory_order_seq_cst);
        while (readers[old].load(std::memory_order_seq_cst) != 0)
            std::this_thread::yield();
    }

private:
    std::atomic<unsigned> current{0};     // the side that new readers join
    std::atomic<int> readers[2] = {0, 0}; // on either side

    // A reader that joins a side while a writer closes it changes to the other one, since the writer may have
    // missed it.
    unsigned enter() {
        for (;;) {
            const unsigned side = current.load(std::memory_order_seq_cst);
            readers[side].fetch_add(1, std::memory_order_seq_cst);
            if (current.load(std::memory_order_seq_cst) == side)
                return side;
            readers[side].fetch_sub(1, std::memory_order_relaxed);
        }
    }
};

} // namespace Tarn
