#include "errors/uncaught.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>

#include "platform/platform.h"

#include <atomic>

namespace Tarn {

namespace {

constinit CTerminateHandler terminateHandler;
constinit std::atomic_flag isSaid;

[[noreturn]] void sayAndEnd() { terminateHandler.SayAndEnd(); }

void say(const CException& e) {
    const CMemoryManagerSwitcher toDefault(nullptr);
    CUnicodeString text = e.MessageText();
    text.TrimRight(); // the line end of a text of the system
    if (!text.IsEmpty())
        Platform::WriteLastWords(GetAppTitle(), text);
}

} // namespace

void SayUncaughtException() noexcept {
    const std::exception_ptr current = std::current_exception();
    if (current == nullptr || isSaid.test_and_set())
        return;
    try {
        std::rethrow_exception(current);
    } catch (const CException* e) {
        try {
            say(*e);
        } catch (...) {
            // The process ends with or without the text.
        }
    } catch (...) {
        // The handlers of the runtime know what to say of others.
    }
}

bool IsLibraryTerminateHandler(std::terminate_handler handler) { return handler == sayAndEnd; }

void AttachTerminateHandler() { terminateHandler.Install(sayAndEnd); }

void DetachTerminateHandler() { terminateHandler.Remove(); }

} // namespace Tarn
