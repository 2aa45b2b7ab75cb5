// The second process in tests of shared files: opens the file named by its argument for writing, lets others
// only read it, signals this by a file with ".ready" after the name, and ends when one with ".leave" appears.
#include "platform/platform.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

int main(int, char** argv) {
    namespace P = Tarn::Platform;
    const std::u16string name = std::filesystem::path(argv[1]).u16string();
    const HANDLE held = P::CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING, 0);
    P::CloseHandle(P::CreateFileW((name + u".ready").c_str(), GENERIC_WRITE, 0, CREATE_NEW, 0));
    for (int i = 0; i < 3000; i++) {
        if (P::GetFileAttributesW((name + u".leave").c_str()) != INVALID_FILE_ATTRIBUTES)
            P::TerminateThisProcess(held == INVALID_HANDLE_VALUE ? 1 : 0); // without closing the file
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return 2;
}
