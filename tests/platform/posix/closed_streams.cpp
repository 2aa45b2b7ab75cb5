// A program that is started without some of its standard descriptors, opens a file in their place and shows a
// message.
#include "platform/platform.h"
#include "tests/support/system.h"

#include <fcntl.h>
#include <unistd.h>

int main() {
    Tarn::SetEnvironment("TARNKIT_TRACE", "stderr");
    while (open("document.txt", O_RDWR | O_CREAT | O_APPEND, 0600) < STDERR_FILENO) {
    }
    Tarn::Platform::OutputDebugStringW(u"trace\n");
    return Tarn::Platform::MessageBoxW(nullptr, u"text", u"caption", MB_YESNO) == IDYES ? 0 : 1;
}
