/// \file
/// The two failures that every floor of the library may report without knowing how they are shown.
///
/// The error subsystem (exceptions.h) implements them. This header exists so that memory, strings and
/// containers, which lie below it, can report them. For any thread.
#pragma once

#include <tarnkit/export.h>

namespace Tarn {

/// Throws the `CMemoryException*`; never returns. Allocates nothing.
[[noreturn]] TARNKIT_API void ThrowMemoryException();

/// Reports a broken invariant or a misuse at `file`, `line`. Throws a `CInternalError*`, or, where throwing
/// is switched off (static parts), shows the text, sets the thread's error flag and returns: the code after
/// an assertion must be safe to run. `file` must never be destroyed. Literal lines, as in
/// `GenAssert(u"ALLOC", 570)`, are a stable part of the interface; docs/errors.md has the table of them.
TARNKIT_API void GenAssert(const char16_t* file, long line);

} // namespace Tarn
