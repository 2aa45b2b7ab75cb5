/// \file
/// Strict conversion of UTF-8. The compiler has its own because it does not link the library, and because it
/// refuses invalid bytes, which the library replaces.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnmsg {

/// The text in UTF-16; no value if the bytes are not valid UTF-8, which has no overlong forms, surrogates or
/// code points beyond U+10FFFF.
std::optional<std::u16string> ToUtf16(std::string_view bytes);

/// The text as a terminal can show it: control characters, line ends included, characters that change the
/// order of others, and bytes that are not UTF-8 become visible.
std::string Visible(std::string_view bytes);

} // namespace tarnmsg
