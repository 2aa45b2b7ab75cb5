#include "platform/posix/files/information.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr Int64 kTicksPerSecond = 10'000'000;
constexpr Int64 kNanosecondsPerTick = 100;
/// 1 January 1970 in ticks since 1 January 1601.
constexpr Int64 kUnixEpoch = 116'444'736'000'000'000;
constexpr Int64 kFirstSecond = -kUnixEpoch / kTicksPerSecond;
constexpr Int64 kLastSecond = 910'670'515'199;
constexpr unsigned kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr unsigned kReadBits = S_IRUSR | S_IRGRP | S_IROTH;

/// A time before 1601 or after 30827, which some file systems can store, becomes the nearest possible one.
FILETIME toFileTime(const statx_timestamp& time) {
    const Int64 seconds = std::clamp<Int64>(time.tv_sec, kFirstSecond, kLastSecond);
    const Int64 ticks = seconds * kTicksPerSecond + time.tv_nsec / kNanosecondsPerTick + kUnixEpoch;
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

statx_timestamp toTimestamp(const timespec& time) {
    statx_timestamp result{};
    result.tv_sec = time.tv_sec;
    result.tv_nsec = static_cast<std::uint32_t>(time.tv_nsec);
    return result;
}

/// For systems that do not know `statx`, and for sandboxes that refuse it. They do not tell the time of
/// creation.
int queryWithoutStatx(int directory, const char* path, int flags, FileInformation& result) {
    struct stat status;
    if (fstatat(directory, path, &status, flags) != 0)
        return errno;
    result.mode = status.st_mode;
    result.owner = status.st_uid;
    result.group = status.st_gid;
    result.size = static_cast<UInt64>(status.st_size);
    result.device = status.st_dev;
    result.inode = status.st_ino;
    result.creation = toFileTime(toTimestamp(status.st_ctim));
    result.access = toFileTime(toTimestamp(status.st_atim));
    result.write = toFileTime(toTimestamp(status.st_mtim));
    return 0;
}

int query(int directory, const char* path, int flags, FileInformation& result) {
    struct statx status;
    if (statx(directory, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        const bool isMissing = errno == ENOSYS || errno == EPERM;
        return isMissing ? queryWithoutStatx(directory, path, flags, result) : errno;
    }
    result.mode = status.stx_mode;
    result.owner = status.stx_uid;
    result.group = status.stx_gid;
    result.size = status.stx_size;
    result.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    result.inode = status.stx_ino;
    // Where the file system does not store the time of creation, that of the last status change serves.
    result.creation = toFileTime((status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime : status.stx_ctime);
    result.access = toFileTime(status.stx_atime);
    result.write = toFileTime(status.stx_mtime);
    return 0;
}

} // namespace

int Query(const char* path, FileInformation& result, int flags, int directory) {
    return query(directory, path, flags, result);
}

int Query(int descriptor, FileInformation& result) { return query(descriptor, "", AT_EMPTY_PATH, result); }

DWORD AttributesOf(const FileInformation& entry, const FileInformation& target) {
    DWORD attributes = 0;
    if (entry.IsLink())
        attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    if (target.IsDirectory())
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (!target.IsLink() && target.IsReadOnly())
        attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

// Reading it with umask() would change it for a moment, for all threads. Where it cannot be read otherwise,
// new files are this user's only.
unsigned FileModeMask() {
    unsigned mask = 077;
    if (FILE* status = std::fopen("/proc/self/status", "re"); status != nullptr) {
        char line[128];
        while (std::fgets(line, sizeof line, status) != nullptr)
            if (std::sscanf(line, "Umask: %o", &mask) == 1)
                break;
        std::fclose(status);
    }
    return mask;
}

unsigned WritableMode(unsigned mode) {
    const unsigned readers = (mode & kReadBits) >> 1;
    return mode | S_IWUSR | (readers & kWriteBits & ~FileModeMask());
}

timespec ToTimespec(const FILETIME& time) {
    const Int64 ticks =
        static_cast<Int64>(UInt64{time.dwHighDateTime} << 32 | time.dwLowDateTime) - kUnixEpoch;
    Int64 seconds = ticks / kTicksPerSecond;
    Int64 rest = ticks % kTicksPerSecond;
    if (rest < 0) {
        rest += kTicksPerSecond;
        seconds--;
    }
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>(rest * kNanosecondsPerTick);
    return result;
}

} // namespace Tarn::Platform::Posix
