// Built against an installed window system of a toolkit. Without a display it says so, or has an event loop
// that ends.
#include HEADER

#include <tarnkit/tarnkit.h>

using namespace Tarn;

int main() {
    try {
        WINDOWS windows;
        SetWindowSystem(&windows);
        windows.Quit();
        windows.Run();
        const int answer = MessageBoxW(u"Nobody sees this.", MB_YESNO | MB_DEFBUTTON2);
        SetWindowSystem(nullptr);
        return answer == IDNO ? 0 : 1;
    } catch (CCheckException* e) {
        const bool hasNoDisplay = &e->Error() == &TOOLKIT_WITHOUT_DISPLAY;
        e->Delete();
        return hasNoDisplay ? 0 : 1;
    }
}
