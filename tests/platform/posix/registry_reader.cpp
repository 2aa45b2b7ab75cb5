// A program that reads the value "v" of the current user's key, after leaving its folder, and ends with the
// result. With an argument, it fails if it has no other rights than its user.
#include "platform/platform.h"

#include <sys/auxv.h>
#include <unistd.h>

int main(int argc, char**) {
    using namespace Tarn::Platform;
    if (argc > 1 && getauxval(AT_SECURE) == 0)
        return 100;
    OutputDebugStringW(u"trace\n");
    return chdir("/") == 0 ? RegQueryValueExW(HKEY_CURRENT_USER, u"v", nullptr, nullptr, nullptr) : 101;
}
