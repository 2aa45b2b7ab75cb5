/// \file
/// The variables of the environment that describe the user's language and time zone.
#pragma once

namespace Tarn::Platform::Posix {

/// Values as `getenv` returns them: null for a variable that is not set.
struct UserVariables {
    const char* lcAll = nullptr;
    const char* lcTime = nullptr;
    const char* lang = nullptr;
    const char* localePath = nullptr; // LOCPATH
    const char* zone = nullptr;       // TZ

    /// The name of the locale for dates; null if there is none.
    const char* TimeLocale() const;
};

/// Reads the environment, which no other thread may be changing. A look at an environment that has not
/// changed is much shorter than one `getenv`.
UserVariables ReadUserVariables();

} // namespace Tarn::Platform::Posix
