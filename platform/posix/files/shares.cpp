#include "platform/posix/files/shares.h"

#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <sys/file.h>

namespace Tarn::Platform::Posix {

namespace {

// A set of marks: the accesses in the low three bits, their denials in the next three.
using Marks = unsigned;
constexpr unsigned kMarkCount = 6;
constexpr unsigned kDenialShift = 3;

// The bytes of the marks. Read locks of many holders can lie on the same byte. A descriptor that can only
// write can only take write locks, which cannot be shared, so for those every mark has a row of bytes.
constexpr off_t kArea = std::numeric_limits<off_t>::max() - 0xFFF;
constexpr off_t kRows = kArea + kMarkCount;
constexpr off_t kRowLength = 256;
constexpr off_t kAreaLength = kMarkCount + kMarkCount * kRowLength;

constexpr int kGateTries = 200;
constexpr long kGatePause = 1'000'000;

struct flock makeLock(short type, off_t start, off_t length) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return lock;
}

int setLock(int descriptor, int type, off_t start, off_t length) {
    struct flock lock = makeLock(static_cast<short>(type), start, length);
    while (fcntl(descriptor, F_OFD_SETLK, &lock) != 0)
        if (errno != EINTR)
            return errno;
    return 0;
}

bool isLockedByOthers(int descriptor, off_t start, off_t length) {
    struct flock lock = makeLock(F_WRLCK, start, length);
    return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/// Calls `body(first, count)` for every run of neighbours in `marks` until it returns true.
template<class Body>
bool anyRun(Marks marks, Body body) {
    for (unsigned first = 0; first < kMarkCount; first++) {
        if ((marks >> first & 1) == 0)
            continue;
        unsigned end = first;
        while ((marks >> end & 1) != 0)
            end++;
        if (body(static_cast<off_t>(first), static_cast<off_t>(end - first)))
            return true;
        first = end;
    }
    return false;
}

int markWriteOnly(int descriptor, off_t mark) {
    int error = EAGAIN;
    for (off_t i = 0; i < kRowLength && (error == EAGAIN || error == EACCES); i++)
        error = setLock(descriptor, F_WRLCK, kRows + mark * kRowLength + i, 1);
    return error;
}

int setMarks(int descriptor, Marks marks) {
    int error = 0;
    anyRun(marks, [&](off_t first, off_t count) {
        error = setLock(descriptor, F_RDLCK, kArea + first, count);
        if (error != EBADF)
            return error != 0;
        error = 0; // a descriptor that can only write
        for (off_t i = 0; i < count && error == 0; i++)
            error = markWriteOnly(descriptor, first + i);
        return error != 0;
    });
    return error;
}

bool haveOthersMarks(int descriptor, Marks marks) {
    if (!isLockedByOthers(descriptor, kArea, kAreaLength))
        return false;
    if (anyRun(marks,
               [&](off_t first, off_t count) { return isLockedByOthers(descriptor, kArea + first, count); }))
        return true;
    return isLockedByOthers(descriptor, kRows, kMarkCount * kRowLength) &&
           anyRun(marks, [&](off_t first, off_t count) {
               return isLockedByOthers(descriptor, kRows + first * kRowLength, count * kRowLength);
           });
}

// Lets one claim at a time through. A claim marks the file before it looks for the marks of others, so two
// conflicting claims never both succeed; the gate keeps them from both failing. A claim does not wait forever
// for an unrelated program that keeps the file locked, nor for a stopped process.
class Gate {
public:
    explicit Gate(int gateDescriptor) : descriptor(gateDescriptor) {
        const timespec pause{0, kGatePause};
        for (int i = 0; i < kGateTries && !isOpen; i++) {
            isOpen = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
            if (!isOpen && errno != EWOULDBLOCK && errno != EINTR)
                return;
            if (!isOpen)
                nanosleep(&pause, nullptr);
        }
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() {
        if (isOpen)
            flock(descriptor, LOCK_UN);
    }

private:
    int descriptor;
    bool isOpen = false;
};

bool meansNoLocksHere(int error) {
    return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == EOVERFLOW;
}

} // namespace

DWORD Claim(int descriptor, DWORD access, DWORD share, DWORD needed) {
    const Marks denials = kAllAccesses & ~share;
    const Gate gate(descriptor);
    if (const int error = setMarks(descriptor, access | denials << kDenialShift); error != 0) {
        Disclaim(descriptor);
        // Only an unrelated program that has locked the whole file can prevent a mark.
        const bool isLocked = error == EAGAIN || error == EACCES;
        return meansNoLocksHere(error) ? ERROR_SUCCESS : isLocked ? ERROR_SHARING_VIOLATION : CodeOf(error);
    }
    if (!haveOthersMarks(descriptor, (access | needed) << kDenialShift | denials))
        return ERROR_SUCCESS;
    Disclaim(descriptor);
    return ERROR_SHARING_VIOLATION;
}

void Disclaim(int descriptor) { setLock(descriptor, F_UNLCK, kArea, kAreaLength); }

} // namespace Tarn::Platform::Posix
