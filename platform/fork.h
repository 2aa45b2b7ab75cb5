// Locks that a child of this process can use, too.
//
// A forked child has one thread: the one that called `fork`. A lock that another thread held at that moment
// would stay locked in the child for ever. So the thread that forks first takes all the locks, and gives them
// back in the parent and in the child. They are taken in the reverse order of their registration, so a lock
// is registered before those that are held while it is taken.
#pragma once

#include <memory>
#include <new>

namespace Tarn::Platform {

/// Calls `before` before each fork, `afterInParent` and `afterInChild` behind it. Ends when the module that
/// contains this is unloaded. Does nothing on Windows, where there is no fork.
void HandleForks(void (*before)(), void (*afterInParent)(), void (*afterInChild)());

/// Puts a new object in the place of one that the child cannot use, such as a lock that a thread of the
/// parent holds.
template<class T>
void MakeNewInChild(T& object) {
    ::new (static_cast<void*>(std::addressof(object))) T();
}

/// Keeps a lock usable in children. The locks of the port are already registered.
template<auto& lock>
void KeepUsableAfterFork() {
    HandleForks([] { lock.lock(); }, [] { lock.unlock(); }, [] { lock.unlock(); });
}

/// The same for an object for which a fork cannot wait: a lock that is held while code of a client runs.
template<auto& object>
void MakeNewAfterFork() {
    HandleForks([] {}, [] {}, [] { MakeNewInChild(object); });
}

} // namespace Tarn::Platform
