// One pointer for each thread, which takes one instruction to read.
//
// Every allocation and every string body reads it, and reading must leave the last error alone, so it is not
// one of the system's thread-local indexes. On POSIX it is a word of static thread-local storage.
#pragma once

#include <tarnkit/types.h>

#if defined(_WIN32)
#include <winternl.h>
#endif

namespace Tarn::Platform {

/// Called when the library is loaded. From now on, `atThreadEnd` is called with the pointer of each thread
/// that ends, unless it is null; if it sets the pointer again, it is called again. False when the system has
/// no room for it; `SetThreadPointer` then fails.
bool AttachThreadPointer(void (*atThreadEnd)(void*));

/// Undoes this, without a call for threads that are still running.
void DetachThreadPointer();

/// Returns false, and changes nothing, when the pointer cannot be kept.
bool SetThreadPointer(void* pointer);

#if defined(_WIN32)

/// The thread-local index of the pointer; TLS_OUT_OF_INDEXES while there is none.
extern constinit DWORD threadPointerIndex;
void* GetDistantThreadPointer();

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored                                                                               \
    "-Warray-bounds" // the system's block of the thread looks like one at address 0

/// The calling thread's pointer; null until it is set.
inline void* GetThreadPointer() {
    // The first indexes lie in the block that the system keeps for each thread.
    TEB* const thread = NtCurrentTeb();
    const DWORD index = threadPointerIndex;
    return index < sizeof(thread->TlsSlots) / sizeof(*thread->TlsSlots) ? thread->TlsSlots[index]
                                                                        : GetDistantThreadPointer();
}

#pragma GCC diagnostic pop

#else

[[gnu::tls_model("initial-exec")]] extern constinit thread_local void* threadPointer;

/// The calling thread's pointer; null until it is set.
inline void* GetThreadPointer() { return threadPointer; }

#endif

} // namespace Tarn::Platform
