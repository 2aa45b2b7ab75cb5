// The calling thread's last-error code, for the calls that are too hot to go through `SetLastError`.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

// Written by every allocation: a fixed offset from the thread pointer instead of a call.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local DWORD lastError;

} // namespace Tarn::Platform::Posix
