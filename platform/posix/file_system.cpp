// Files and directories by name: attributes, removal, copying, moving and creation.
#include "platform/platform.h"
#include "platform/posix/files/deletion_claim.h"
#include "platform/posix/files/links.h"
#include "platform/posix/files/open_file.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/files/security.h"
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
constexpr unsigned kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr int kMostTries = 100;
constexpr DWORD kMoveFlags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH;

DWORD codeOfLastCall(int result) { return result == 0 ? DWORD{ERROR_SUCCESS} : CodeOf(errno); }

/// Repeats what has found names changed by others meanwhile.
template<class Attempt>
DWORD untilNamesStay(Attempt attempt) {
    for (int i = 0; i < kMostTries; i++)
        if (const DWORD code = attempt(); code != kNameChanged)
            return code;
    return ERROR_SHARING_VIOLATION;
}

DWORD tryDelete(const char16_t* text) {
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

DWORD deleteFile(const char16_t* text) {
    return untilNamesStay([&] { return tryDelete(text); });
}

DWORD makeDirectory(const char16_t* text) {
    Name name;
    const DWORD code = Find(text, name);
    if (code == ERROR_SUCCESS || (code == ERROR_INVALID_NAME && name.entry.mode != 0))
        return ERROR_ALREADY_EXISTS;
    if (code != ERROR_FILE_NOT_FOUND)
        return code;
    if (const DWORD failure = CheckParentWritable(name); failure != ERROR_SUCCESS)
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

/// The folder of a path, for storing what happens in it. It is opened before that, so that whatever prevents
/// it from being stored at all does so before anything has changed.
class StoredFolder {
public:
    StoredFolder() = default;
    ~StoredFolder() {
        if (descriptor >= 0)
            close(descriptor);
    }
    StoredFolder(const StoredFolder&) = delete;
    StoredFolder& operator=(const StoredFolder&) = delete;

    DWORD Open(const String& path) {
        do
            descriptor = open(ParentOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        while (descriptor < 0 && errno == EINTR);
        isUnreadable = descriptor < 0 && errno == EACCES;
        return descriptor >= 0 || isUnreadable ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
    }

    DWORD Store() const {
        if (isUnreadable)
            sync(); // stores all folders
        while (descriptor >= 0 && fsync(descriptor) != 0)
            if (errno == EINVAL || errno == EROFS)
                break; // a file system that stores folders in another way
            else if (errno != EINTR)
                return CodeOf(errno);
        return ERROR_SUCCESS;
    }

private:
    int descriptor = -1;
    bool isUnreadable = false;
};

/// Renames without replacing anything, even where the file system cannot do so in one step, the kernel does
/// not know how, or a sandbox refuses it.
int renameToFree(const String& from, const String& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != EPERM)
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

/// Sets the time of the last write as far as the system allows.
DWORD finish(const OpenFile& copy, const FILETIME& write) {
    timespec times[2] = {{}, ToTimespec(write)};
    times[0].tv_nsec = UTIME_OMIT;
    return futimens(copy.descriptor, times) == 0 || errno == EPERM ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
}

/// Makes a copy read-only as far as the system allows.
DWORD makeReadOnly(const OpenFile& copy) {
    FileInformation made;
    if (const int error = Query(copy.descriptor, made); error != 0)
        return CodeOf(error);
    const bool isDone = fchmod(copy.descriptor, made.mode & kPermissions & ~kWriteBits) == 0;
    return isDone || errno == EPERM ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
}

/// Copies to a free name, or over what has the name. A file that is being moved, whose path is then `moved`,
/// keeps its owner and permissions; any other copy is a new file of this user.
DWORD copyToNew(OpenFile& source, const FileInformation& from, const String& target,
                const String* moved = nullptr, bool replaces = false) {
    NewCopy copy;
    if (const DWORD code = copy.Begin(target, moved != nullptr ? kOwnerOnly : from.mode & kPermissions);
        code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = CopyContents(source, copy.file); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code =
            moved != nullptr ? CopySecurity(*moved, from, copy.file.descriptor) : DWORD{ERROR_SUCCESS};
        code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = finish(copy.file, from.write); code != ERROR_SUCCESS)
        return code;
    // The copy of a file that is being moved is stored before the original is removed.
    if (moved != nullptr && fdatasync(copy.file.descriptor) != 0)
        return CodeOf(errno);
    if (const DWORD code = copy.file.Shut(); code != ERROR_SUCCESS)
        return code;
    return replaces ? copy.Replace(target) : copy.TakeName(target);
}

/// Copies into the open file itself: a device, or a file in a directory where no new file can be created or
/// take its name.
DWORD copyInPlace(OpenFile& source, const FileInformation& from, OpenFile& opened,
                  const FileInformation& old) {
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
    if (const DWORD code = from.IsReadOnly() ? makeReadOnly(opened) : DWORD{ERROR_SUCCESS};
        code != ERROR_SUCCESS)
        return code;
    if (fdatasync(opened.descriptor) != 0 && errno != EINVAL && errno != EROFS)
        return CodeOf(errno);
    return finish(opened, from.write);
}

/// Copies beside the file at `path` and puts the copy in its place. `isRefused` says that the file must be
/// overwritten instead.
DWORD copyBeside(OpenFile& source, const FileInformation& from, const FileInformation& old,
                 const String& path, bool& isRefused) {
    NewCopy copy;
    const DWORD begun = copy.Begin(path, kOwnerOnly);
    isRefused = begun == ERROR_ACCESS_DENIED || begun == ERROR_WRITE_PROTECT;
    if (begun != ERROR_SUCCESS)
        return begun;
    if (const DWORD code = CopyContents(source, copy.file); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = CopySecurity(path, old, copy.file.descriptor); code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = from.IsReadOnly() ? makeReadOnly(copy.file) : DWORD{ERROR_SUCCESS};
        code != ERROR_SUCCESS)
        return code;
    if (const DWORD code = finish(copy.file, from.write); code != ERROR_SUCCESS)
        return code;
    // The copy is stored before it replaces the old file.
    if (fdatasync(copy.file.descriptor) != 0)
        return CodeOf(errno);
    if (const DWORD code = copy.file.Shut(); code != ERROR_SUCCESS)
        return code;
    const DWORD code = copy.Replace(path);
    isRefused = code == ERROR_ACCESS_DENIED || code == ERROR_BUSY;
    return code;
}

/// Copies over the file at `path`, which the caller has open exclusively.
DWORD copyOver(OpenFile& source, const FileInformation& from, OpenFile& opened, const String& path) {
    FileInformation old;
    if (const int error = Query(opened.descriptor, old); error != 0)
        return CodeOf(error);
    bool isRefused = !opened.isRegular;
    const DWORD code =
        isRefused ? DWORD{ERROR_ACCESS_DENIED} : copyBeside(source, from, old, path, isRefused);
    return isRefused ? copyInPlace(source, from, opened, old) : code;
}

DWORD tryCopy(OpenFile& source, const FileInformation& information, const char16_t* to, BOOL failIfExists) {
    Name target;
    const DWORD code = Find(to, target);
    if (code == ERROR_FILE_NOT_FOUND)
        return target.endsWithSeparator ? DWORD{ERROR_INVALID_NAME}
                                        : copyToNew(source, information, target.path);
    if (code != ERROR_SUCCESS)
        return code;
    if (failIfExists)
        return ERROR_FILE_EXISTS;
    String path;
    if (const DWORD failure = FollowLinks(target, path); failure != ERROR_SUCCESS)
        return failure;
    Owned<OpenFile> opened;
    bool existed;
    if (const DWORD failure = Open(to, GENERIC_WRITE, 0,
                                   target.IsBrokenLink() ? CREATE_ALWAYS : OPEN_EXISTING, 0, opened, existed);
        failure != ERROR_SUCCESS)
        return failure;
    // Whoever may rename things here must not turn the name into a link in the very moment of opening.
    FileInformation now;
    FileInformation there;
    int error = Query(opened->descriptor, now);
    if (error == 0)
        error = Query(path.c_str(), there, AT_SYMLINK_NOFOLLOW);
    if (error == 0 && IsOfProcess(there))
        error = Query(path.c_str(), there);
    if (error != 0 || !there.IsSameFile(now))
        return error == 0 || error == ENOENT ? kNameChanged : CodeOf(error);
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
    return untilNamesStay([&] {
        const DWORD code = tryCopy(*source, information, to, failIfExists);
        return code == ERROR_ALREADY_EXISTS ? kNameChanged : code;
    });
}

/// Where a file is moved to, and what is there now, if it is to be replaced.
struct MoveTarget {
    String path;
    Name replaced;
    bool replaces = false;
};

/// Moves to another file system: a file is copied and a symbolic link recreated; nothing else can be moved.
DWORD moveAcross(const char16_t* text, const Name& from, const MoveTarget& to) {
    StoredFolder folder;
    if (const DWORD code = folder.Open(to.path); code != ERROR_SUCCESS)
        return code;
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
        if (const DWORD code = copyToNew(*source, from.entry, to.path, &from.path, to.replaces);
            code != ERROR_SUCCESS)
            return code;
    } else {
        return ERROR_NOT_SAME_DEVICE;
    }
    if (const DWORD code = folder.Store(); code != ERROR_SUCCESS)
        return code;
    // The new file is complete and will stay; if the old one cannot be removed, both exist.
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
        return code == ERROR_SHARING_VIOLATION ? DWORD{ERROR_ACCESS_DENIED}
               : code == ERROR_FILE_NOT_FOUND  ? kNameChanged
                                               : code;
    const int error = to.replaces ? moveOver(from, to) : renameToFree(from.path, to.path);
    const DWORD code = error != EXDEV                         ? CodeOf(error)
                       : (flags & MOVEFILE_COPY_ALLOWED) != 0 ? moveAcross(fromText, from, to)
                                                              : DWORD{ERROR_NOT_SAME_DEVICE};
    const bool wasFree = code == ERROR_ALREADY_EXISTS && (flags & MOVEFILE_REPLACE_EXISTING) != 0;
    return wasFree ? kNameChanged : code;
}

DWORD tryMove(const char16_t* fromText, const char16_t* toText, DWORD flags) {
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
    StoredFolder folders[2]; // the new one first: the file must not lose its old name before it has that
    if ((flags & MOVEFILE_WRITE_THROUGH) != 0)
        for (int i = 0; i < 2; i++)
            if (const DWORD code = folders[i].Open(i == 0 ? to.path : from.path); code != ERROR_SUCCESS)
                return code;
    DWORD code = move(fromText, from, to, flags);
    for (int i = 0; i < 2 && code == ERROR_SUCCESS; i++)
        code = folders[i].Store();
    return code;
}

DWORD moveFile(const char16_t* from, const char16_t* to, DWORD flags) {
    if ((flags & ~kMoveFlags) != 0)
        return ERROR_INVALID_PARAMETER;
    return untilNamesStay([&] { return tryMove(from, to, flags); });
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
