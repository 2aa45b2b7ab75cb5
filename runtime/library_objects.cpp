// The objects that acquire system resources when the library is loaded, in the one order that works.
// Everything else in the library is constant-initialised or built on first use; the message objects
// (library_messages.cpp), which are built between these two, only join a list.
#include "catalogue/resource_registry.h"
#include "errors/application.h"
#include "errors/uncaught.h"
#include "files/process_files.h"
#include "platform/platform.h"
#include "runtime/registered_modules.h"
#include "settings/setup_cache.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/thread_storage.h>
#include <tarnkit/unicode_set.h>

namespace Tarn {

namespace {

struct CFoundation {
    // Locks that are taken while others are held come first: so it must be when a process forks.
    CFoundation() {
        AttachMemoryManagers();
        AttachThreadStorage();
        AttachSetPagePool();
        AttachMessages();
        AttachApplicationTexts();
        FileSystem::AttachPaths();
        TempFile::AttachTempFiles();
        AttachResourceModules();
        AttachRegisteredModules();
        AttachSetupCache();
        AttachMessageHandlers();
        AttachTerminateHandler();
        SetApplicationInstance(Platform::GetModuleHandleW(nullptr));
    }
    ~CFoundation() noexcept(false) {
        DetachTerminateHandler();
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

// Built before every other object of the library that holds something, and destroyed after it.
[[gnu::init_priority(101)]] CFoundation foundation;

// Built after all others of the library and destroyed before them, but after those of clients.
[[gnu::init_priority(103)]] CTermination termination;

} // namespace

void LinkLibraryObjects() {}

} // namespace Tarn
