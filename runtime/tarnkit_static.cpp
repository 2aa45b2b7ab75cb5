// Linked into every client module: its own set of the global operators, its marker, its registration.
#include "memory/global_operators.inl"
#include "runtime/static_constructors.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/tarnkit_static.h>

extern "C" {
/// By this the library recognises the modules that use it. Never called.
TARNKIT_MODULE_EXPORT void ___TarnkitUsed();
void ___TarnkitUsed() { Tarn::LinkStaticConstructors(); }
}

namespace Tarn {

namespace {

// Its address lies in this module. That of an exported object may be another module's: names are shared.
const char placeInThisModule = 0;

} // namespace

HINSTANCE GetThisModule() { return GetModuleOfAddress(&placeInThisModule); }

void RegisterThisModule(void (*init)(), void (*term)()) {
    if (GetTarnkitVersion() != kTarnkitVersion)
        GenAssert(u"TarnkitStatic", 79);
    RegisterModule(GetThisModule(), init, term);
}

} // namespace Tarn
