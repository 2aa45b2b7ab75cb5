// Files and directories by name: attributes, removal, copying, moving and creation.
#include "platform/platform.h"
#include "platform/posix/files/deletion_claim.h"
#include "platform/posix/files/open_file.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/files/shares.h"
#include "platform/posix/support/error_codes.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr unsigned kPermissions = 0777;
constexpr unsigned kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr int kMostTries = 100;
constexpr DWORD kMoveFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH;

DWORD codeOfLastCall(int result) { return result == 0 ? DWORD{ERROR_SUCCESS} : CodeOf(errno); }

DWORD deleteFile(const char16_t* text) {
    Name name;
    if (const DWORD code = Find(text, name); code != ERROR_SUCCESS)
        return code;
    if (name.IsDirectory() || (!name.entry.IsLink() && name.entry.IsReadOnly()))
        return ERROR_ACCESS_DENIED;
    if (const DWORD code = CheckParentWritable(name.path); code != ERROR_SUCCESS)
        return code;
    DeletionClaim claim;
    if (const DWORD code = claim.Take(name.path.c_str(), name.entry); code != ERROR_SUCCESS)
        return code;
    return codeOfLastCall(unlink(name.path.c_str()));
}

DWORD makeDirectory(const char16_t* text) {
    Name name;
    const DWORD code = Find(text, name);
    if (code == ERROR_SUCCESS || (code == ERROR_INVALID_NAME && name.entry.mode != 0))
        return ERROR_ALREADY_EXISTS;
    if (code != ERROR_FILE_NOT_FOUND)
        return code;
    if (const DWORD failure = CheckParentWritable(name.path); failure != ERROR_SUCCESS)
        return failure;
    if (mkdir(name.path.c_str(), kPermissions) != 0)
        return errno == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(errno);
    return ERROR_SUCCESS;
}

DWORD removeDirectory(const char16_t* text) {
    Name name;
    const DWORD code = Find(text, name);
    if (code != ERROR_SUCCESS)
        return code == ERROR_INVALID_NAME && name.entry.mode != 0 ? DWORD{ERROR_DIRECTORY} : code;
    if (!name.IsDirectory())
        return ERROR_DIRECTORY;
    if (const DWORD failure = CheckParentWritable(name.path); failure != ERROR_SUCCESS)
        return failure;
    if (name.entry.IsLink())
        return codeOfLastCall(unlink(name.path.c_str()));
    if (name.entry.IsReadOnly())
        return ERROR_ACCESS_DENIED;
    if (rmdir(name.path.c_str()) != 0)
        return errno == EEXIST ? DWORD{ERROR_DIR_NOT_EMPTY} : CodeOf(errno);
    return ERROR_SUCCESS;
}

DWORD setAttributes(const char16_t* text, DWORD attributes) {
    Name name;
    if (const DWORD code = Find(text, name); code != ERROR_SUCCESS)
        return code;
    if (name.IsBrokenLink())
        return ERROR_FILE_NOT_FOUND;
    const bool readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly == name.target.IsReadOnly())
        return ERROR_SUCCESS;
    const unsigned mode = name.target.mode & 07777;
    return codeOfLastCall(chmod(name.path.c_str(), readOnly ? mode & ~kWriteBits : WritableMode(mode)));
}

/// The absolute path on disk of the file that the name refers to.
DWORD followLinks(const Name& name, String& path) {
    path = name.path;
    if (!name.entry.IsLink())
        return ERROR_SUCCESS;
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(name.path.c_str(), nullptr), &std::free);
    if (real == nullptr)
        return CodeOf(errno);
    path = real.get();
    return ERROR_SUCCESS;
}

/// Renames without replacing anything, even on a file system that cannot do so in one step.
int renameToFree(const String& from, const String& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    if (link(from.c_str(), to.c_str()) == 0)
        return unlink(from.c_str()) == 0 ? 0 : errno;
    FileInformation existing;
    if (errno == EEXIST || Query(to.c_str(), existing, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// A copy in progress: a file beside the target, which takes the target's name when it is complete. If
// anything goes wrong before that, the target is unchanged.
class NewCopy {
public:
    NewCopy() = default;
    NewCopy(const NewCopy&) = delete;
    NewCopy& operator=(const NewCopy&) = delete;
    ~NewCopy() {
        if (!path.empty())
            unlink(path.c_str());
        if (mark >= 0) {
            Disclaim(mark);
            close(mark);
        }
    }

    DWORD Begin(const String& target, unsigned mode) {
        if (const DWORD code = CheckParentWritable(target); code != ERROR_SUCCESS)
            return code;
        static std::atomic<unsigned> count = 0;
        char last[64];
        do {
            std::snprintf(last, sizeof last, ".tarnkit-copy-%ld-%u", static_cast<long>(getpid()), count++);
            String candidate = Join(ParentOf(target), last);
            file.descriptor = open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (file.descriptor >= 0)
                path.swap(candidate); // takes no memory: what exists now is known
            if (file.descriptor >= 0 && !keepsName()) {
                path.clear();
                close(std::exchange(file.descriptor, -1));
                errno = EEXIST;
            }
        } while (file.descriptor < 0 && errno == EEXIST);
        if (file.descriptor < 0)
            return errno == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(errno);
        file.isRegular = file.isSeekable = file.mayRaiseSignal = true;
        return ERROR_SUCCESS;
    }

    /// Replaces the file `target`.
    DWORD Replace(const String& target) {
        if (rename(path.c_str(), target.c_str()) != 0)
            return CodeOf(errno);
        path.clear();
        return ERROR_SUCCESS;
    }

    /// Takes the free name `target`; ERROR_ALREADY_EXISTS if it is no longer free.
    DWORD TakeName(const String& target) {
        const int error = renameToFree(path, target);
        if (error == 0)
            path.clear();
        return CodeOf(error);
    }

    OpenFile file;

private:
    /// Denies the deletion of the copy to those who remove what killed processes have left. False if one of
    /// them was faster.
    bool keepsName() {
        if (Claim(file.descriptor, 0, kReads | kWrites) == ERROR_SHARING_VIOLATION)
            return false;
        FileInformation opened;
        FileInformation now;
        const int error = Query(path.c_str(), now, AT_SYMLINK_NOFOLLOW);
        if (error == ENOENT || (error == 0 && Query(file.descriptor, opened) == 0 && !now.IsSameFile(opened)))
            return false;
        mark = fcntl(file.descriptor, F_DUPFD_CLOEXEC, 0); // holds on until the copy has its name
        return true;
    }

    String path;
    int mark = -1;
};

/// Sets the owner, the permissions and the time of the last write of a copy as far as the system allows, so
/// that another user's file remains that user's.
DWORD giveProperties(const OpenFile& copy, unsigned owner, unsigned group, unsigned mode,
                     const FILETIME& write) {
    timespec times[2] = {{}, ToTimespec(write)};
    times[0].tv_nsec = UTIME_OMIT;
    const auto isDone = [](int result) { return result == 0 || errno == EPERM; };
    const bool succeeded = isDone(fchown(copy.descriptor, owner, group)) &&
                           isDone(fchmod(copy.descriptor, mode)) && isDone(futimens(copy.descriptor, times));
    return succeeded ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
}

/// What a copy is for. A file that is being moved keeps its owner and permissions; any other copy is a new
/// file of this user.
enum class CopyPurpose { Copy, Move, MoveOver };

/// Copies to a free name, or over what has the name.
DWORD copyToNew(OpenFile& source, const FileInformation& from, const String& target, CopyPurpose purpose) {
    const bool moves = purpose != CopyPurpose::Copy;
    NewCopy copy;
    if (const DWORD code = copy.Begin(target, from.mode & kPermissions); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = CopyContents(source, copy.file); code != ERROR_SUCCESS)
        return code;
    FileInformation made = from;
    if (const int error = moves ? 0 : Query(copy.file.descriptor, made); error != 0)
        return CodeOf(error);
    if (const DWORD code =
            giveProperties(copy.file, made.owner, made.group, made.mode & kPermissions, from.write);
        code != ERROR_SUCCESS)
        return code;
    // The copy of a file that is being moved is stored before the original is removed.
    if (moves && fdatasync(copy.file.descriptor) != 0)
        return CodeOf(errno);
    if (const DWORD code = copy.file.Shut(); code != ERROR_SUCCESS)
        return code;
    return purpose == CopyPurpose::MoveOver ? copy.Replace(target) : copy.TakeName(target);
}

/// Copies into the open file itself: a device, or a file in a directory where no new file can be created or
/// take its name.
DWORD copyInPlace(OpenFile& source, const FileInformation& from, OpenFile& opened, const FileInformation& old,
                  unsigned mode) {
    if (!opened.isRegular)
        return CopyContents(source, opened);
    // A full disk is reported before a byte of the old contents is lost.
    if (from.size > old.size)
        if (const DWORD code = Resize(opened, static_cast<Int64>(from.size)); code != ERROR_SUCCESS)
            return code;
    if (const DWORD code = CopyContents(source, opened); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = Resize(opened, opened.position); code != ERROR_SUCCESS)
        return code;
    return giveProperties(opened, old.owner, old.group, mode, from.write);
}

/// Copies over the file at `path`, which the caller has open exclusively.
DWORD copyOver(OpenFile& source, const FileInformation& from, OpenFile& opened, const String& path) {
    FileInformation old;
    if (const int error = Query(opened.descriptor, old); error != 0)
        return CodeOf(error);
    const unsigned mode = old.mode & kPermissions & (from.IsReadOnly() ? ~kWriteBits : ~0U);
    NewCopy copy;
    const DWORD begun = opened.isRegular ? copy.Begin(path, mode | S_IWUSR) : DWORD{ERROR_ACCESS_DENIED};
    if (begun == ERROR_ACCESS_DENIED)
        return copyInPlace(source, from, opened, old, mode);
    if (begun != ERROR_SUCCESS)
        return begun;
    if (const DWORD code = CopyContents(source, copy.file); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = giveProperties(copy.file, old.owner, old.group, mode, from.write);
        code != ERROR_SUCCESS)
        return code;
    // The copy is stored before it replaces the old file.
    if (fdatasync(copy.file.descriptor) != 0)
        return CodeOf(errno);
    if (const DWORD code = copy.file.Shut(); code != ERROR_SUCCESS)
        return code;
    const DWORD replaced = copy.Replace(path);
    return replaced == ERROR_ACCESS_DENIED ? copyInPlace(source, from, opened, old, mode) : replaced;
}

DWORD tryCopy(OpenFile& source, const FileInformation& information, const char16_t* to, BOOL failIfExists) {
    Name target;
    const DWORD code = Find(to, target);
    if (code == ERROR_FILE_NOT_FOUND)
        return target.endsWithSeparator ? DWORD{ERROR_INVALID_NAME}
                                        : copyToNew(source, information, target.path, CopyPurpose::Copy);
    if (code != ERROR_SUCCESS)
        return code;
    if (failIfExists)
        return ERROR_FILE_EXISTS;
    Owned<OpenFile> opened;
    bool existed;
    if (const DWORD failure = Open(to, GENERIC_WRITE, 0,
                                   target.IsBrokenLink() ? CREATE_ALWAYS : OPEN_EXISTING, 0, opened, existed);
        failure != ERROR_SUCCESS)
        return failure;
    String path;
    if (const DWORD failure = followLinks(target, path); failure != ERROR_SUCCESS)
        return failure;
    const DWORD result = copyOver(source, information, *opened, path);
    if (result != ERROR_SUCCESS && !existed)
        unlink(path.c_str());
    return result;
}

DWORD copyFile(const char16_t* from, const char16_t* to, BOOL failIfExists) {
    Owned<OpenFile> source;
    bool existed;
    if (const DWORD code =
            Open(from, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0, source, existed);
        code != ERROR_SUCCESS)
        return code;
    FileInformation information;
    if (const int error = Query(source->descriptor, information); error != 0)
        return CodeOf(error);
    for (int i = 0; i < kMostTries; i++) {
        const DWORD code = tryCopy(*source, information, to, failIfExists);
        if (code != ERROR_ALREADY_EXISTS)
            return code;
    }
    return ERROR_SHARING_VIOLATION;
}

/// Where a file is moved to, and what is there now, if it is to be replaced.
struct MoveTarget {
    String path;
    Name replaced;
    bool replaces = false;
};

/// Moves to another file system: a file is copied and a symbolic link recreated; nothing else can be moved.
DWORD moveAcross(const char16_t* text, const Name& from, const MoveTarget& to) {
    if (from.entry.IsLink() && !to.replaces) {
        char text8[PATH_MAX];
        const ssize_t size = readlink(from.path.c_str(), text8, sizeof text8);
        if (size < 0 || size == sizeof text8)
            return size < 0 ? CodeOf(errno) : DWORD{ERROR_FILENAME_EXCED_RANGE};
        if (symlink(String(text8, static_cast<std::size_t>(size)).c_str(), to.path.c_str()) != 0)
            return CodeOf(errno);
    } else if (from.entry.IsRegular()) {
        Owned<OpenFile> source;
        bool existed;
        if (const DWORD code = Open(text, GENERIC_READ, kAllAccesses, OPEN_EXISTING, 0, source, existed);
            code != ERROR_SUCCESS)
            return code;
        const CopyPurpose purpose = to.replaces ? CopyPurpose::MoveOver : CopyPurpose::Move;
        if (const DWORD code = copyToNew(*source, from.entry, to.path, purpose); code != ERROR_SUCCESS)
            return code;
    } else {
        return ERROR_NOT_SAME_DEVICE;
    }
    // The new file is complete; if the old one cannot be removed, both exist.
    unlink(from.path.c_str());
    return ERROR_SUCCESS;
}

/// Finds the path that `text` names. The moved file's own name in another spelling counts as free.
DWORD findMoveTarget(const char16_t* text, const Name& from, bool mayReplace, MoveTarget& found) {
    Name target;
    const DWORD code = Find(text, target);
    if (code == ERROR_FILE_NOT_FOUND) {
        found.path = target.path;
        return target.endsWithSeparator && !from.IsDirectory() ? DWORD{ERROR_INVALID_NAME}
                                                               : DWORD{ERROR_SUCCESS};
    }
    if (code != ERROR_SUCCESS)
        return code;
    const bool isItself = target.path == from.path;
    if (isItself ? target.given.empty() : !mayReplace)
        return ERROR_ALREADY_EXISTS;
    found.path = isItself ? Join(ParentOf(target.path), target.given) : target.path;
    found.replaces = !isItself;
    found.replaced = target;
    const bool isProtected = target.IsDirectory() || (!target.entry.IsLink() && target.entry.IsReadOnly());
    return !isItself && (isProtected || from.IsDirectory()) ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

/// The folder of a path, for storing what happens in it. What cannot be opened or stored, the system stores
/// in its own time.
class StoredFolder {
public:
    explicit StoredFolder(const String& path)
        : descriptor(open(ParentOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
    ~StoredFolder() {
        if (descriptor >= 0)
            close(descriptor);
    }
    StoredFolder(const StoredFolder&) = delete;
    StoredFolder& operator=(const StoredFolder&) = delete;

    void Store() const {
        while (descriptor >= 0 && fsync(descriptor) != 0 && errno == EINTR) {
        }
    }

private:
    int descriptor;
};

/// Two names of one file stay as they are when one is moved over the other, so the first is removed.
int moveOver(const Name& from, const MoveTarget& to) {
    const bool isSameFile = from.entry.IsSameFile(to.replaced.entry);
    const int result = isSameFile ? unlink(from.path.c_str()) : rename(from.path.c_str(), to.path.c_str());
    return result == 0 ? 0 : errno;
}

DWORD move(const char16_t* fromText, const Name& from, const MoveTarget& to, DWORD flags) {
    DeletionClaim claims[2];
    if (const DWORD code = claims[0].Take(from.path.c_str(), from.entry); code != ERROR_SUCCESS)
        return code;
    if (from.path == to.path)
        return ERROR_SUCCESS;
    // As on Windows, a file that is in use counts as one that may not be replaced.
    if (const DWORD code =
            to.replaces ? claims[1].Take(to.path.c_str(), to.replaced.entry) : DWORD{ERROR_SUCCESS};
        code != ERROR_SUCCESS)
        return code == ERROR_SHARING_VIOLATION ? DWORD{ERROR_ACCESS_DENIED} : code;
    const int error = to.replaces ? moveOver(from, to) : renameToFree(from.path, to.path);
    if (error != EXDEV)
        return CodeOf(error);
    return (flags & MOVEFILE_COPY_ALLOWED) != 0 ? moveAcross(fromText, from, to)
                                                : DWORD{ERROR_NOT_SAME_DEVICE};
}

DWORD moveFile(const char16_t* fromText, const char16_t* toText, DWORD flags) {
    if ((flags & ~kMoveFlags) != 0)
        return ERROR_INVALID_PARAMETER;
    Name from;
    if (const DWORD code = Find(fromText, from); code != ERROR_SUCCESS)
        return code;
    MoveTarget to;
    if (const DWORD code = findMoveTarget(toText, from, (flags & MOVEFILE_REPLACE_EXISTING) != 0, to);
        code != ERROR_SUCCESS)
        return code;
    for (const String* path : {&std::as_const(from.path), &std::as_const(to.path)})
        if (const DWORD code = CheckParentWritable(*path); code != ERROR_SUCCESS)
            return code;
    if ((flags & MOVEFILE_WRITE_THROUGH) == 0)
        return move(fromText, from, to, flags);
    const StoredFolder newFolder(to.path);
    const StoredFolder oldFolder(from.path);
    const DWORD code = move(fromText, from, to, flags);
    newFolder.Store(); // first: the file must not lose its old name before it has the new one
    oldFolder.Store();
    return code;
}

} // namespace

DWORD GetFileAttributesW(const char16_t* name) {
    DWORD attributes = INVALID_FILE_ATTRIBUTES;
    Report(Guarded([&] {
        Name found;
        const DWORD code = Find(name, found);
        if (code == ERROR_SUCCESS)
            attributes = AttributesOf(found.entry, found.target);
        return code;
    }));
    return attributes;
}

BOOL SetFileAttributesW(const char16_t* name, DWORD attributes) {
    return Report(Guarded([&] { return setAttributes(name, attributes); }));
}

BOOL DeleteFileW(const char16_t* name) {
    return Report(Guarded([&] { return deleteFile(name); }));
}

BOOL CopyFileW(const char16_t* from, const char16_t* to, BOOL failIfExists) {
    return Report(Guarded([&] { return copyFile(from, to, failIfExists); }));
}

BOOL MoveFileW(const char16_t* from, const char16_t* to) {
    return MoveFileExW(from, to, MOVEFILE_COPY_ALLOWED);
}

BOOL MoveFileExW(const char16_t* from, const char16_t* to, DWORD flags) {
    return Report(Guarded([&] { return moveFile(from, to, flags); }));
}

BOOL CreateDirectoryW(const char16_t* name) {
    return Report(Guarded([&] { return makeDirectory(name); }));
}

BOOL RemoveDirectoryW(const char16_t* name) {
    return Report(Guarded([&] { return removeDirectory(name); }));
}

} // namespace Tarn::Platform
