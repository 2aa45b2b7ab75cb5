// Texts of other origin on a terminal or in a trace.
#pragma once

#include "platform/posix/text/utf8.h"
#include "platform/terminal_control.h"

namespace Tarn::Platform::Posix {

/// The most bytes that a unit of text becomes.
constexpr int kLongestShown = 6;

/// Calls `put` with the bytes of the character at `text`, which must be before `end`, and moves `text` past
/// it. What a terminal would obey becomes visible, except for line ends and tabs.
template<class Put>
void PutShown(const char16_t*& text, const char16_t* end, Put put) {
    const char32_t character = ReadUtf16(text, end);
    const bool isLayout =
        character == U'\n' || character == U'\t' || (character == U'\r' && text != end && *text == u'\n');
    if (IsTerminalControl(character) && !isLayout)
        PutVisibly(character, put);
    else
        PutUtf8(IsSurrogate(character) ? kReplacementCharacter : character, put);
}

} // namespace Tarn::Platform::Posix
