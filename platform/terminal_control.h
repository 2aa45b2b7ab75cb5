// The characters that a terminal would not show but obey.
#pragma once

namespace Tarn::Platform {

/// Whether a text may do more on a terminal than show this character: a control character, which may begin a
/// command to the terminal, or one that lets what follows appear in another order. Line ends and tabs are
/// among them; the marks that only say to which direction their place belongs are not.
constexpr bool IsTerminalControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) ||
           (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

/// Calls `put` with each character of a visible form: \x1B, \u202E.
template<class Put>
constexpr void PutVisibly(char32_t control, Put put) {
    put('\\');
    put(control < 0x100 ? 'x' : 'u');
    for (int shift = control < 0x100 ? 4 : 12; shift >= 0; shift -= 4)
        put("0123456789ABCDEF"[control >> shift & 0xF]);
}

} // namespace Tarn::Platform
