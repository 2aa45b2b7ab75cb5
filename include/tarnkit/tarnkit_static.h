/// \file
/// The static part of the library: what every client module links in for itself.
///
/// Linking TarnkitStatic gives a module the library's `operator new` and `operator delete`, marks it as a
/// client of the library, and lets `LoadDLL` refuse it when one of its static objects throws. For the main
/// thread, at start-up.
///
/// \code
/// static const bool isRegistered = (RegisterThisModule(openTools, closeTools), true); // in a plug-in
/// \endcode
#pragma once

#include <tarnkit/types.h>

namespace Tarn {

/// The module that contains the call.
HINSTANCE GetThisModule();

/// Registers the calling module with its initialisation and termination functions (each may be null).
/// Asserts, naming both, when the version of the loaded library is not the one that this module was built
/// against.
void RegisterThisModule(void (*init)() = nullptr, void (*term)() = nullptr);

} // namespace Tarn
