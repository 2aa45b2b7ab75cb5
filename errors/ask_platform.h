// Questions to the system whose answer may be that there is nothing.
#pragma once

#include <tarnkit/failures.h>

#include "platform/platform.h"

namespace Tarn {

/// Returns what `ask` returns. Null or 0 must not mean that there was no memory to look: that raises the
/// memory exception.
template<class Ask>
auto AskPlatform(Ask ask) {
    Platform::SetLastError(ERROR_SUCCESS); // a call that finds nothing need not set it
    const auto answer = ask();
    if (!answer && Platform::GetLastError() == ERROR_NOT_ENOUGH_MEMORY)
        ThrowMemoryException();
    return answer;
}

} // namespace Tarn
