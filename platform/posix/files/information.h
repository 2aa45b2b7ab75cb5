// What the disk knows of a file, in the units of the door's calls.
#pragma once

#include <tarnkit/types.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace Tarn::Platform::Posix {

struct FileInformation {
    unsigned mode = 0;
    unsigned owner = 0;
    unsigned group = 0;
    UInt64 size = 0;
    UInt64 device = 0;
    UInt64 inode = 0;
    FILETIME creation{};
    FILETIME access{};
    FILETIME write{};

    bool IsDirectory() const { return S_ISDIR(mode); }
    bool IsRegular() const { return S_ISREG(mode); }
    bool IsLink() const { return S_ISLNK(mode); }
    /// Nobody may write, not even one whom the system would let.
    bool IsReadOnly() const { return (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0; }
    bool IsSameFile(const FileInformation& other) const {
        return device == other.device && inode == other.inode;
    }
};

/// Both return an `errno` value, 0 when `result` is filled.
int Query(const char* path, FileInformation& result, int flags = 0, int directory = AT_FDCWD);
int Query(int descriptor, FileInformation& result);

/// The attribute bits of a name: `entry` is the name itself, `target` what it leads to, the same thing unless
/// the name is a symbolic link. A link to nothing has neither.
DWORD AttributesOf(const FileInformation& entry, const FileInformation& target);

/// The mode that a file has once its write bits are given back: whoever may read may write, as far as the
/// process's mask lets new files be written, and the owner in any case.
unsigned WritableMode(unsigned mode);

timespec ToTimespec(const FILETIME& time);

} // namespace Tarn::Platform::Posix
