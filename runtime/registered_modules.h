// The modules that take part in the library's life, and the references that the library holds on them.
//
// A record is made when a module announces itself (`RegisterModule`) or is loaded (`LoadDLL`); a module that
// is loaded and announces itself has one record. Main thread.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/types.h>

namespace Tarn {

/// Calls the initialisation function of every module that is not initialised yet, in the order of
/// registration. A failure is shown; the modules behind it are left for the next call, and the result is
/// false.
bool InitializeModules();

/// Calls the termination functions in reverse order, shows their failures, and gives back every reference
/// that `LoadDLL` took. Only modules that are clients of the library, and still loaded, stay registered.
void ReleaseModules();

/// Forgets all records.
void ForgetModules();

/// Loads a library as `LoadDLL` does, for an owner who gives it back with `FreeOwnedLibrary`.
HINSTANCE LoadOwnedLibrary(const char16_t* name);
void FreeOwnedLibrary(HINSTANCE module);

/// What a client of the library exports to be recognised.
inline constexpr char16_t kClientMarker[] = u"___TarnkitUsed";

/// Runs `action` and shows the exception that comes out of it; false when there was one.
template<class Action>
bool RunAndShowFailure(Action action) {
    try {
        action();
        return true;
    } catch (CException* e) {
        Warning(e);
        Delete(e);
    } catch (...) {
        MessageBoxW(ERR_UNCAUGHT_INTERNAL_ERROR, static_cast<int>(MB_OK | MB_ICONHAND));
    }
    return false;
}

} // namespace Tarn
