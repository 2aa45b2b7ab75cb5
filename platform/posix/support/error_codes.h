// Translates the C library's error numbers to the codes that the calls of platform.h report.
#pragma once

#include <tarnkit/types.h>

#include "platform/platform.h"

#include <new>
#include <stdexcept>

namespace Tarn::Platform::Posix {

// Codes that only this port needs by name.
inline constexpr DWORD kBufferOverflow = 111;
inline constexpr DWORD kNoAccessToMemory = 998;
inline constexpr DWORD kCannotResolveName = 1921;

/// The code that a call on a file reports for an `errno` value. Some values stand for several codes, such as
/// a missing file or a missing directory; there the caller knows better.
DWORD CodeOf(int error);

/// Runs `body`, which returns a code; a lack of memory becomes a code too.
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

/// Ends a call declared in platform.h: a code other than ERROR_SUCCESS becomes the last error. Returns
/// whether the call succeeded.
inline BOOL Report(DWORD code) {
    if (code != ERROR_SUCCESS)
        SetLastError(code);
    return code == ERROR_SUCCESS;
}

} // namespace Tarn::Platform::Posix
