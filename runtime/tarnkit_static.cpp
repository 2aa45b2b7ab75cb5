// Linked into every client module: its own global operators, its marker and its registration.
#include "memory/global_operators.inl"
#include "runtime/static_constructors.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/tarnkit_static.h>

extern "C" {
/// Identifies modules that use the library. Never called.
TARNKIT_MODULE_EXPORT void ___TarnkitUsed();
void ___TarnkitUsed() { Tarn::LinkStaticConstructors(); }
}

namespace Tarn {

namespace {

// An address in this module. That of an exported object may be in another module that exports the same name.
const char placeInThisModule = 0;

} // namespace

HINSTANCE GetThisModule() { return GetModuleOfAddress(&placeInThisModule); }

void RegisterThisModule(void (*init)(), void (*term)()) {
    if (GetTarnkitVersion() != kTarnkitVersion)
        GenAssert(u"TarnkitStatic", 79);
    RegisterModule(GetThisModule(), init, term);
}

} // namespace Tarn
