// What the port does around a fork (fork.h): each source that has locks says it for its own.
#pragma once

#include "platform/fork.h"

#include <mutex>
#include <pthread.h>

namespace Tarn::Platform::Posix {

struct ForkHandlers {
    void (*before)();
    void (*afterInParent)();
    void (*afterInChild)();
};

/// Handlers that hold the lock that `get` returns during the fork.
template<auto get>
constexpr ForkHandlers HoldDuringFork() {
    return {[] { get().lock(); }, [] { get().unlock(); }, [] { get().unlock(); }};
}

/// Makes a lock free that a thread of the parent may hold. For locks that are held for so long that a fork
/// cannot wait for them.
inline void FreeInChild(std::mutex& lock) { MakeNewInChild(lock); }

extern const ForkHandlers kPagesAtFork;
extern const ForkHandlers kRegionsAtFork;
extern const ForkHandlers kHeapsAtFork;
extern const ForkHandlers kHandlesAtFork;
extern const ForkHandlers kFoldersAtFork;
extern const ForkHandlers kCLibraryAtFork;
extern const ForkHandlers kBoxesAtFork;
extern const ForkHandlers kModulesAtFork;
extern const ForkHandlers kRegistryAtFork;

/// Sets all of these up, the first time it is called.
void HandleForks();

} // namespace Tarn::Platform::Posix
