#include "platform/posix/registry/log.h"

#include "platform/posix/support/descriptor.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

using std::uint32_t;

constexpr int kHeaderSize = 32;
constexpr int kSummedSize = 24;             // the rest of the header is the check sum
constexpr uint32_t kSignature = 0x377F0682; // its lowest bit tells the byte order of the sum
constexpr uint32_t kVersion = 3007000;

uint32_t wordAt(const unsigned char* bytes, bool isBigEndian = true) {
    uint32_t word = 0;
    for (int i = 0; i < 4; i++)
        word = word << 8 | bytes[isBigEndian ? i : 3 - i];
    return word;
}

bool isIntact(const unsigned char* header) {
    const uint32_t signature = wordAt(header);
    if ((signature & ~1u) != kSignature || wordAt(header + 4) != kVersion)
        return false;
    uint32_t first = 0, second = 0;
    for (int i = 0; i < kSummedSize; i += 8) {
        first += wordAt(header + i, (signature & 1) != 0) + second;
        second += wordAt(header + i + 4, (signature & 1) != 0) + first;
    }
    return first == wordAt(header + kSummedSize) && second == wordAt(header + kSummedSize + 4);
}

} // namespace

RegistryLog CheckRegistryLog(const char* file) {
    const Descriptor descriptor(open(file, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (descriptor < 0)
        return errno == ENOENT || errno == ENOTDIR ? RegistryLog::Empty : RegistryLog::Readable;
    struct stat status;
    unsigned char header[kHeaderSize];
    RegistryLog result = RegistryLog::Readable;
    if (fstat(descriptor, &status) == 0) {
        const ssize_t size = status.st_size > kHeaderSize ? pread(descriptor, header, kHeaderSize, 0) : 0;
        if (size == kHeaderSize)
            result = isIntact(header) ? RegistryLog::Readable : RegistryLog::Damaged;
        else if (size >= 0)
            result = RegistryLog::Empty;
    }
    return result;
}

} // namespace Tarn::Platform::Posix
