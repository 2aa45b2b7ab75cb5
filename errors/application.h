// What the layers below runtime/ need to know about the application and the state of the library.
//
// The functions that applications call are in lifecycle.h; these are for lifecycle.cpp, which sets the state.
#pragma once

#include <tarnkit/lifecycle.h>

namespace Tarn {

enum class TLibraryState { neverInitialized, initializing, initialized, failed, cleanedUp };

TLibraryState GetLibraryState();
void SetLibraryState(TLibraryState state);

/// The process's main module, or null if it is not recorded; `GetApplicationInstance` would assert then.
HINSTANCE FindApplicationInstance();

/// Called when the library is loaded: prepares for forks of the process.
void AttachApplicationTexts();

/// Forgets the title and the registry sections.
void ReleaseApplicationTexts();

} // namespace Tarn
