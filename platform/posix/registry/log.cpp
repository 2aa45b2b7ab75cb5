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

uint32_t wordAt(std::string_view bytes, std::size_t place, bool isBigEndian = true) {
    uint32_t word = 0;
    for (std::size_t i = 0; i < 4; i++)
        word = word << 8 | static_cast<unsigned char>(bytes[place + (isBigEndian ? i : 3 - i)]);
    return word;
}

} // namespace

RegistryLog CheckRegistryLog(const char* file) {
    const Descriptor descriptor(open(file, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (descriptor < 0)
        return errno == ENOENT || errno == ENOTDIR ? RegistryLog::Empty : RegistryLog::Readable;
    struct stat status;
    char header[kHeaderSize];
    RegistryLog result = RegistryLog::Readable;
    if (fstat(descriptor, &status) == 0) {
        const ssize_t size = status.st_size > kHeaderSize ? pread(descriptor, header, kHeaderSize, 0) : 0;
        if (size == kHeaderSize)
            result =
                RegistryLogSum().Begin({header, kHeaderSize}) ? RegistryLog::Readable : RegistryLog::Damaged;
        else if (size >= 0)
            result = RegistryLog::Empty;
    }
    return result;
}

bool RegistryLogSum::Begin(std::string_view header) {
    const uint32_t signature = wordAt(header, 0);
    if ((signature & ~1u) != kSignature || wordAt(header, 4) != kVersion)
        return false;
    isBigEndian = (signature & 1) != 0;
    add(header.substr(0, kSummedSize));
    return first == wordAt(header, kSummedSize) && second == wordAt(header, kSummedSize + 4);
}

bool RegistryLogSum::Continue(std::string_view frame) {
    constexpr std::size_t kPlaceOfSum = 16;
    add(frame.substr(0, 8));
    add(frame.substr(kPlaceOfSum + 8));
    return first == wordAt(frame, kPlaceOfSum) && second == wordAt(frame, kPlaceOfSum + 4);
}

void RegistryLogSum::add(std::string_view bytes) {
    for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
        first += wordAt(bytes, i, isBigEndian) + second;
        second += wordAt(bytes, i + 4, isBigEndian) + first;
    }
}

} // namespace Tarn::Platform::Posix
