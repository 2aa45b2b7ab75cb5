// The calling thread's last-error code, for calls that are too frequent to go through `SetLastError`.
#pragma once

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

// Every allocation writes it: this model addresses it relative to the thread pointer instead of by a call.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local DWORD lastError;

} // namespace Tarn::Platform::Posix
