// What the file system knows about a file, with times and attributes as Windows represents them.
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
    /// No write bit is set. Such a file counts as read-only even for root, who could in fact write to it.
    bool IsReadOnly() const { return (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0; }
    bool IsSameFile(const FileInformation& other) const {
        return device == other.device && inode == other.inode;
    }
};

/// Fill `result` and return 0, or return an `errno` value.
int Query(const char* path, FileInformation& result, int flags = 0, int directory = AT_FDCWD);
int Query(int descriptor, FileInformation& result);

/// The attribute bits of a name: `entry` is the name itself, `target` what it leads to; they differ if the
/// name is a symbolic link. For a broken link both are the link.
DWORD AttributesOf(const FileInformation& entry, const FileInformation& target);

/// The mode of a file that is to be writable again: the owner may write, and so may everyone who may read,
/// unless the process's mask forbids it for new files.
unsigned WritableMode(unsigned mode);

/// The process's mask for new files.
unsigned FileModeMask();

timespec ToTimespec(const FILETIME& time);

} // namespace Tarn::Platform::Posix
