// The modules that are initialised and terminated with the library, and its references to them.
//
// A record is created when a module announces itself (`RegisterModule`) or is loaded (`LoadDLL`); a module
// that does both has one record. Any thread may load modules; they are loaded, initialised and terminated by
// one thread at a time.
#pragma once

#include "runtime/static_constructors.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/message_handlers.h>
#include <tarnkit/messages.h>
#include <tarnkit/types.h>

namespace Tarn {

/// Called when the library is loaded: prepares for forks of the process.
void AttachRegisteredModules();

/// Does nothing. Referring to it links the library's objects into a program with a static library.
void LinkLibraryObjects();

/// Calls the initialisation function of every module that is not initialised yet, in the order of
/// registration. If one fails, shows the failure, leaves the modules after it for the next call and returns
/// false.
bool InitializeModules();

/// Calls the termination functions in reverse order, shows their failures, and releases every reference that
/// `LoadDLL` took. Only modules that are clients of the library, and still loaded, stay registered.
void ReleaseModules();

/// Forgets all records.
void ForgetModules();

/// Loads a library as `LoadDLL` does, for an owner who releases it with `FreeOwnedLibrary`.
HINSTANCE LoadOwnedLibrary(const char16_t* name);
void FreeOwnedLibrary(HINSTANCE module);

/// The export by which clients of the library are recognised.
inline constexpr char16_t kClientMarker[] = u"___TarnkitUsed";

/// Runs `action`. If it throws, shows the exception and returns false.
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
