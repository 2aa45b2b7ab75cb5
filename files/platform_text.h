// Texts of the platform whose length is not known beforehand.
#pragma once

#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// The text that `ask(buffer, size)` writes, in the manner of the platform's path calls: it returns the
/// length of the text without its terminator, a number not below `size` when the buffer is too small, 0 when
/// it fails; the result is empty then.
template<class Ask>
CUnicodeString AskPlatformForText(Ask ask) {
    DWORD size = MAX_PATH;
    for (;;) {
        CUnicodeString text;
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
