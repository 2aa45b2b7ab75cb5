// UTF-8 as it must be, and its way to UTF-16.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarnmsg {

/// The same text in UTF-16; nothing when the bytes are not UTF-8 (overlong forms, surrogates and numbers
/// beyond Unicode are not).
std::optional<std::u16string> ToUtf16(std::string_view bytes);

} // namespace tarnmsg
