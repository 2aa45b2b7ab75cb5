// A plug-in that registers itself while it is loaded and records in the application's title when it is
// initialised (+) and terminated (-). It is built a second time with an initialisation that fails.
#include <tarnkit/tarnkit.h>

namespace {

void initialize() {
    if (PLUGIN_FAILS)
        Tarn::GenAssert(u"Plugin", 1);
    Tarn::SetAppTitle(Tarn::GetAppTitle() + u"+");
}

void terminate() {
    Tarn::SetAppTitle(Tarn::GetAppTitle() + u"-");
    if (PLUGIN_FAILS)
        Tarn::GenAssert(u"Plugin", 2);
}

[[maybe_unused]] const bool isRegistered = (Tarn::RegisterThisModule(initialize, terminate), true);

Tarn::CMessage MSG_OF_PLUGIN(u"MSG_OF_PLUGIN", 0);

} // namespace
