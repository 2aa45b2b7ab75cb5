// A file descriptor that is closed at the end of a scope.
#pragma once

#include <unistd.h>

namespace Tarn::Platform::Posix {

class Descriptor {
public:
    explicit Descriptor(int opened) : descriptor(opened) {}
    ~Descriptor() {
        if (descriptor >= 0)
            close(descriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    operator int() const { return descriptor; }

private:
    int descriptor;
};

} // namespace Tarn::Platform::Posix
