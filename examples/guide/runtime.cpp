#include <tarnkit/tarnkit.h>

#include <iostream>
#include <thread>

using namespace Tarn;

static void print(const CUnicodeString& text) { std::cout << text.CreateString(65001) << '\n'; }

static void start() { std::cout << "This module starts\n"; }
static void end() { std::cout << "This module ends\n"; }

int main() {
    RegisterThisModule(start, end);
    AddResourcePrefix(FileSystem::GetEXEDir(), u"Tarnkit"); // Tarnkit1.dll and Tarnkit2.dll
    if (!Initialize(u"Software\\Example\\Guide", u"Software\\Example\\Guide"))
        return 1;

    for (int i = 0; i < NumberOfLanguages(); i++) {
        SetCurrentLanguageCode(GetLanguageCode(i));
        print(GetLanguageDisplayName(GetLanguageCode(i)) + u": " + ERR_FILE_NOT_FOUND.SubstParam(u"a.txt"));
    }
    std::cout << (LoadDLL(u"NoSuchPlugIn.dll") == nullptr ? "No plug-in\n" : "A plug-in\n");

    CThreadDataStorage storage;
    const int slot = storage.AllocSlot();
    int mine = 1;
    storage.SetSlotData(slot, &mine);
    std::thread([&] {
        std::cout << (storage.GetSlotData(slot) == nullptr ? "nothing here yet\n" : "shared\n");
        int others = 2;
        storage.SetSlotData(slot, &others);
    }).join();
    std::cout << *static_cast<int*>(storage.GetSlotData(slot)) << " is still mine\n";

    Clean();
}
