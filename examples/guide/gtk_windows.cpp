#include <tarnkit/gtk_windows.h>
#include <tarnkit/tarnkit.h>

#include <thread>

using namespace Tarn;

int main() {
    CGtkWindowSystem windows;
    SetWindowSystem(&windows);
    if (!Initialize(nullptr, nullptr))
        return 1;
    SetAppTitle(u"Import");
    std::thread worker([&] {
        const int answer = MessageBoxW(u"notes.txt has changed meanwhile. Import it again?",
                                       MB_YESNOCANCEL | MB_ICONQUESTION | MB_DEFBUTTON2);
        if (answer == IDYES)
            MessageBoxW(u"Done.", MB_OK | MB_ICONINFORMATION);
        windows.Quit();
    });
    windows.Run();
    worker.join();
    Clean();
    SetWindowSystem(nullptr);
}
