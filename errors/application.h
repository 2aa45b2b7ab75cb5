// What the floors below runtime/ ask about the application and the state of the library.
//
// The functions that applications call are in lifecycle.h; these are for lifecycle.cpp, which changes what
// they tell.
#pragma once

#include <tarnkit/lifecycle.h>

namespace Tarn {

enum class TLibraryState { neverInitialized, initializing, initialized, failed, cleanedUp };

TLibraryState GetLibraryState();
void SetLibraryState(TLibraryState state);

/// The process's main module, or null while it is not recorded; `GetApplicationInstance` asserts then.
HINSTANCE FindApplicationInstance();

/// Forgets the title and the registry sections.
void ReleaseApplicationTexts();

} // namespace Tarn
