// The objects of the library that take something from the system when it is loaded, in the one order that
// matters. Everything else in the library is constant-initialised or built at its first use; the message
// objects (library_messages.cpp), which come between these two, only join a list.
#include "platform/platform.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/thread_storage.h>
#include <tarnkit/unicode_set.h>

namespace Tarn {

namespace {

struct CFoundation {
    CFoundation() {
        AttachMemoryManagers();
        AttachThreadStorage();
        SetApplicationInstance(Platform::GetModuleHandleW(nullptr));
    }
    ~CFoundation() noexcept(false) {
        ReleaseMessageHandlers();
        ReleaseThreadStorage();
        ReleaseSetPagePool();
        DetachMemoryManagers();
        Platform::ReleaseRegistry();
    }
};

struct CTermination {
    CTermination() {}
    ~CTermination() noexcept(false) { TerminateTarnkit(); }
};

// Built before every other object of the library and destroyed after it.
[[gnu::init_priority(101)]] CFoundation foundation;

// Built after the others, which all have a priority, and destroyed before them.
CTermination termination;

} // namespace

} // namespace Tarn
