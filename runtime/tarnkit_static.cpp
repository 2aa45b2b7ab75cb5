// Linked into every client module: its own global operators, its marker and its registration.
#include "errors/uncaught.h"
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

// Says the text of an exception that is not caught, in modules whose C++ runtime is not the library's.
struct CModuleTerminateHandler {
    CTerminateHandler installed;

    CModuleTerminateHandler();
    ~CModuleTerminateHandler() { installed.Remove(); }
} terminateHandler;

[[noreturn]] void sayAndEnd() { terminateHandler.installed.SayAndEnd(); }

CModuleTerminateHandler::CModuleTerminateHandler() {
    if (!IsLibraryTerminateHandler(std::get_terminate()))
        installed.Install(sayAndEnd);
}

} // namespace

HINSTANCE GetThisModule() { return GetModuleOfAddress(&placeInThisModule); }

void RegisterThisModule(void (*init)(), void (*term)()) {
    RequireTarnkitVersion(kTarnkitVersion, GetThisModule());
    RegisterModule(GetThisModule(), init, term);
}

} // namespace Tarn
