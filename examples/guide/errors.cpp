#include <tarnkit/tarnkit.h>

#include <future>
#include <iostream>
#include <memory>

using namespace Tarn;

// The names of texts, which errors.po has.
static CError ERR_TOO_MANY_GUESTS(u"ERR_TOO_MANY_GUESTS", 1);
static CMessage MSG_BRING_CHAIRS(u"MSG_BRING_CHAIRS", 2);

// Prints what the default handler shows in a box.
class CPrintingHandler : public CMessageHandler {
public:
    int ShowMessage(HWND, const char16_t* text, const char16_t* caption, unsigned flags) override {
        std::cout << '[' << CString(caption, 65001) << "] " << CString(text, 65001) << '\n';
        return GetDefaultReturnValue(flags);
    }
};

static void seat(int guests, int chairs) {
    if (guests > chairs)
        GenCheck(ERR_TOO_MANY_GUESTS, UnicodeStr(guests), UnicodeStr(chairs));
    else
        std::cout << guests << " guests sit\n";
}

int main() {
    CPrintingHandler handler;
    CMessageHandlerSwitcher switcher(&handler);
    if (!Initialize(nullptr, nullptr))
        return 1;
    SetAppTitle(u"Party");
    try {
        seat(4, 6);
        seat(8, 6);
        std::cout << "Never printed\n";
    } catch (CCheckException* caught) {
        const std::unique_ptr<CCheckException> e(caught);
        if (&e->Error() == &ERR_TOO_MANY_GUESTS)
            Warning(e.get());
    }
    try { // what a task throws, here at `get`, is a std::exception
        std::async([] { ThrowingStandardExceptions([] { seat(9, 6); }); }).get();
    } catch (const std::exception& e) {
        std::cout << "From a task: " << e.what() << '\n';
        Warning(e);
    }
    if (MessageBoxW(MSG_BRING_CHAIRS, MB_YESNO | MB_DEFBUTTON2) == IDNO)
        std::cout << "No chairs today\n";

    BeginStaticPart(); // from here on failures are shown, not thrown
    seat(7, 6);
    EndStaticPart();
    std::cout << (GetErrorFlag() ? "It was noticed\n" : "Nobody noticed\n");
    Clean();
}
