// The static part of the library: what every client module links in for itself.
//
// Linking TarnkitStatic gives a module the library's `operator new` and `operator delete` and marks it as a
// user of the library. Main thread, at start-up.
#pragma once

#include <tarnkit/types.h>

namespace Tarn {

/// The module that this call is linked into.
HINSTANCE GetThisModule();

/// Announces the calling module with its initialisation and termination functions (each may be null); an
/// assertion when the library that was loaded is not of the version this module was built against.
void RegisterThisModule(void (*init)() = nullptr, void (*term)() = nullptr);

} // namespace Tarn
