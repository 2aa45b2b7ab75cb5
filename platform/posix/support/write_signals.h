// The signals that writing can raise.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>

namespace Tarn::Platform::Posix {

/// While it exists, a failed write of this thread raises no signal that could end the process (a pipe without
/// a reader, a file at the process's size limit): the call's error code says what happened.
class WriteSignalsHeld {
public:
    /// Does nothing if `needed` is false.
    explicit WriteSignalsHeld(bool needed = true) : isNeeded(needed) {
        if (!isNeeded)
            return;
        sigset_t pending;
        sigpending(&pending);
        sigemptyset(&signals);
        for (const int signal : {SIGPIPE, SIGXFSZ})
            if (sigismember(&pending, signal) == 0) // otherwise it is not ours to discard
                sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &before);
    }
    WriteSignalsHeld(const WriteSignalsHeld&) = delete;
    WriteSignalsHeld& operator=(const WriteSignalsHeld&) = delete;
    ~WriteSignalsHeld() {
        if (!isNeeded)
            return;
        const int error = errno;
        const timespec atOnce{};
        while (sigtimedwait(&signals, nullptr, &atOnce) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        errno = error;
    }

private:
    bool isNeeded;
    sigset_t signals{};
    sigset_t before{};
};

} // namespace Tarn::Platform::Posix
