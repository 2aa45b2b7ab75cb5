// Texts of the system whose length is not known in advance.
#pragma once

#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// The text that `ask(buffer, size)` writes; empty if it fails. `ask` behaves like the system's path calls:
/// it returns the length of the text without its terminator, at least `size` if the buffer is too small, and
/// 0 if it fails.
template<class Text = CUnicodeString, class Ask>
Text AskPlatformForText(Ask ask) {
    DWORD size = MAX_PATH;
    for (;;) {
        Text text;
        const DWORD length = ask(text.GetBuffer(static_cast<int>(size)), size);
        if (length < size) {
            text.ReleaseBuffer(static_cast<int>(length));
            return text;
        }
        text.ReleaseBuffer(0);
        size = length > size ? length : size * 2;
    }
}

} // namespace Tarn
