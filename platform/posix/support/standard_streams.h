// Which standard descriptors the process was started with.
#pragma once

namespace Tarn::Platform::Posix {

/// Whether descriptor 0, 1 or 2 was open when the library was loaded. The system gives a closed one to the
/// next file that is opened, so what the process writes there later would end up in that file.
bool WasOpenAtLoad(int descriptor);

} // namespace Tarn::Platform::Posix
