// Handlers around each fork of the process. The C library forgets them when it unloads the module that
// contains this source.
#include "platform/fork.h"

#include "platform/posix/support/c_library.h"
#include "platform/posix/support/fork_handlers.h"

namespace Tarn::Platform {

// The system's recursive locks know their holder by a number that is another one in the child, and refuse to
// be unlocked there.
constinit const Posix::ForkHandlers Posix::kCLibraryAtFork = {[] { cLibraryLock.lock(); },
                                                              [] { cLibraryLock.unlock(); },
                                                              [] {
                                                                  cLibraryLock.unlock();
                                                                  MakeNewInChild(cLibraryLock);
                                                              }};

namespace {

// A lock comes before those that are held while it is taken.
constexpr const Posix::ForkHandlers* kHandlersOfThePort[] = {
    &Posix::kPagesAtFork,   &Posix::kRegionsAtFork,  &Posix::kHeapsAtFork,
    &Posix::kHandlesAtFork, &Posix::kCLibraryAtFork, &Posix::kFoldersAtFork,
    &Posix::kModulesAtFork, &Posix::kBoxesAtFork,    &Posix::kRegistryAtFork};

void handleForks() {
    for (const Posix::ForkHandlers* handlers : kHandlersOfThePort)
        pthread_atfork(handlers->before, handlers->afterInParent, handlers->afterInChild);
}

} // namespace

void Posix::HandleForks() {
    static constinit pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, handleForks);
}

void HandleForks(void (*before)(), void (*afterInParent)(), void (*afterInChild)()) {
    Posix::HandleForks();
    pthread_atfork(before, afterInParent, afterInChild);
}

} // namespace Tarn::Platform
