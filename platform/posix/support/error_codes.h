// From the C library's error numbers to the codes that the door's calls report.
#pragma once

#include <tarnkit/types.h>

#include "platform/platform.h"

#include <new>
#include <stdexcept>

namespace Tarn::Platform::Posix {

// Codes that only this port names.
inline constexpr DWORD kBufferOverflow = 111;
inline constexpr DWORD kNoAccessToMemory = 998;
inline constexpr DWORD kCannotResolveName = 1921;

/// The code of an `errno` value as a call on a file reports it. The caller knows better where one number
/// stands for several codes: a file or a directory that is missing, a name that exists already.
DWORD CodeOf(int error);

/// Runs `body`, which returns a code; having no memory for the call is a code too.
template<class Body>
DWORD Guarded(Body body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const std::length_error&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

/// Ends a call of the door: a code other than 0 becomes the last error, 0 leaves it alone.
inline BOOL Report(DWORD code) {
    if (code != ERROR_SUCCESS)
        SetLastError(code);
    return code == ERROR_SUCCESS;
}

} // namespace Tarn::Platform::Posix
