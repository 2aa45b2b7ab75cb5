#include "tests/support/capabilities.h"

namespace Tarn {

const CCapability kFullDevice{"no device here is always full"};
const CCapability kPosixShell{"programs are started without a shell"};
const CCapability kReadOnlyFolders{"the attribute of a folder does not protect what is in it"};
const CCapability kSymbolicLinks{"links need a special right"};
const CCapability kLocaleFromEnvironment{"the locale is the user's in the registry"};
const CCapability kTraceOutput{"what is traced goes to a debugger"};
const CCapability kRestartsItself{nullptr};

} // namespace Tarn
