#pragma once

#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// The text of a value of the key `path` below `parent`, as `CRegistryKey::QueryStringValue` gives it, in one
/// call, whose result becomes the last error. Asserts on a null parent; the other pointers must not be null.
CUnicodeString QueryRegistryText(HKEY parent, const char16_t* path, const char16_t* valueName,
                                 const char16_t* defaultValue);

} // namespace Tarn
