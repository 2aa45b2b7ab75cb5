// Rejects a client module whose static objects cannot be built, instead of ending the program.
//
// C++ exceptions cannot pass through the system's loader. Each client module therefore runs its static
// constructors itself while `LoadDLL` loads it (platform/*/static_constructors.cpp, linked into every client
// module), catches what they throw, and reports it to `LoadDLL`, which then unloads the module.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/export.h>

namespace Tarn {

/// Whether the calling thread is inside `LoadDLL`. Elsewhere nobody could report the failure of a static
/// constructor, and an exception from one ends the program as in any other C++ program.
TARNKIT_API bool IsLoadingModule();

/// Whether a static constructor has thrown in the innermost load of the calling thread.
TARNKIT_API bool HasModuleLoadFailed();
TARNKIT_API void FailModuleLoad();

/// Does nothing. Referring to it links the source that runs the static constructors of the module.
void LinkStaticConstructors();

/// Runs one entry of a module's table of static constructors, unless an earlier one has failed.
template<class Constructor>
void RunStaticConstructor(Constructor construct) {
    if (HasModuleLoadFailed())
        return;
    try {
        construct();
    } catch (CException* e) {
        FailModuleLoad();
        Delete(e);
    } catch (...) {
        FailModuleLoad();
    }
}

} // namespace Tarn
