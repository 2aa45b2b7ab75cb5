#include "platform/posix/support/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {
namespace {

// A bit for each descriptor.
unsigned findOpenDescriptors() {
    unsigned open = 0;
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; descriptor++)
        if (fcntl(descriptor, F_GETFD) >= 0)
            open |= 1u << descriptor;
    return open;
}

unsigned openAtLoad() {
    static const unsigned open = findOpenDescriptors();
    return open;
}

// Initialised before any other object of the library could open a file.
constexpr int kFirstPriority = 101;
[[gnu::constructor(kFirstPriority)]] void askAtLoad() { openAtLoad(); }

} // namespace

bool WasOpenAtLoad(int descriptor) { return (openAtLoad() >> descriptor & 1) != 0; }

} // namespace Tarn::Platform::Posix
