// A plug-in that cannot be loaded: it registers itself, and then one of its static objects throws. Built
// twice, for an exception of the library and for another one.
#include <tarnkit/tarnkit.h>

namespace {

void note() { Tarn::SetAppTitle(Tarn::GetAppTitle() + u"!"); }

[[gnu::init_priority(150)]] Tarn::CMessage MSG_OF_PLUGIN(u"MSG_OF_PLUGIN", 0);

struct CThrower {
    CThrower() {
        Tarn::RegisterThisModule(note, note);
        Tarn::AddResourceModule(Tarn::GetThisModule());
        THROWN;
    }
    ~CThrower() { note(); } // not called: the object is never completed
};
[[gnu::init_priority(200)]] CThrower thrower;

[[maybe_unused]] const bool isNoted = (note(), true); // not constructed: it comes after the one that throws

} // namespace
