#include "message_windows.h"
#include "messages.h"

#include <tarnkit/exceptions.h>

// CMakeLists.txt says which toolkits there are.
#ifdef NOTEBOOK_GTK
#include <tarnkit/gtk_windows.h>
#endif
#ifdef NOTEBOOK_QT
#include <tarnkit/qt_windows.h>
#endif

using namespace Tarn;

namespace {

std::unique_ptr<IWindowSystem> createWindows(const CUnicodeString& toolkit) {
#ifdef NOTEBOOK_GTK
    if (toolkit == u"gtk")
        return std::make_unique<CGtkWindowSystem>();
#endif
#ifdef NOTEBOOK_QT
    if (toolkit == u"qt")
        return std::make_unique<CQtWindowSystem>();
#endif
    GenCheck(ERR_NOTEBOOK_NO_WINDOWS, toolkit);
    return nullptr;
}

} // namespace

CMessageWindows::CMessageWindows(const CUnicodeString& toolkit) : system(createWindows(toolkit)) {
    SetWindowSystem(system.get());
    toBoxes.Begin();
}

CMessageWindows::~CMessageWindows() {
    toBoxes.End();
    SetWindowSystem(nullptr);
}
