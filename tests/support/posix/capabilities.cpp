#include "tests/support/capabilities.h"

namespace Tarn {

const CCapability kDocumentedCalls{nullptr};
const CCapability kReadOnlyFiles{nullptr};
const CCapability kFullDevice{nullptr};
const CCapability kSymbolicLinks{nullptr};
const CCapability kLocaleFromEnvironment{nullptr};
const CCapability kTraceOutput{nullptr};
const CCapability kRegistryEditors{"the system has no registry of its own"};
#ifdef __SANITIZE_ADDRESS__
const CCapability kFork{"the sanitizer's allocator has locks that a child may find locked"};
#else
const CCapability kFork{TARNKIT_TEST_EMULATOR[0] != '\0'
                            ? "the emulator has locks of its own, which a child may find locked"
                            : nullptr};
#endif
const CCapability kRestartsItself{
    TARNKIT_TEST_EMULATOR[0] != '\0' ? "the system does not know the program's processor" : nullptr};

} // namespace Tarn
