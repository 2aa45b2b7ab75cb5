// What is said of an exception that nobody catches, before the process ends.
//
// When it is loaded, the library replaces the terminate handler of its C++ runtime by one that says the text
// and goes on to the handler before it. Where modules have a runtime of their own, the static part of each
// client does the same there (runtime/tarnkit_static.cpp).
#pragma once

#include <tarnkit/export.h>

#include <cstdlib>
#include <exception>

namespace Tarn {

/// Writes the text of the `CException*` in flight, if there is one, where the user or a log sees it; only
/// once in a process.
TARNKIT_API void SayUncaughtException() noexcept;

/// Whether the C++ runtime that has this handler is the library's own.
TARNKIT_API bool IsLibraryTerminateHandler(std::terminate_handler handler);

/// Installs a handler while the module that has the object is loaded.
class CTerminateHandler {
public:
    void Install(std::terminate_handler newHandler) {
        handler = newHandler;
        previous = std::set_terminate(newHandler);
    }
    /// Leaves a handler that was installed later in place.
    void Remove() {
        if (handler != nullptr && std::get_terminate() == handler)
            std::set_terminate(previous);
        handler = nullptr;
    }
    [[noreturn]] void SayAndEnd() const {
        SayUncaughtException();
        if (previous != nullptr)
            previous();
        std::abort();
    }

private:
    std::terminate_handler handler = nullptr;
    std::terminate_handler previous = nullptr;
};

/// Library-internal: when the library is loaded and unloaded.
void AttachTerminateHandler();
void DetachTerminateHandler();

} // namespace Tarn
