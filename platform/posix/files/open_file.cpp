#include "platform/posix/files/open_file.h"

#include "platform/posix/files/paths.h"
#include "platform/posix/files/shares.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/write_signals.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr unsigned kNewFileMode = 0666;
constexpr unsigned kNewReadOnlyMode = 0444;
constexpr unsigned kNewTemporaryMode = 0600;
constexpr std::size_t kTransferSize = 0x10000;
constexpr std::size_t kMostInOneCall = 0x40000000;
constexpr int kCommonFlags = O_CLOEXEC | O_NOCTTY;
/// How often a name is looked up again because its file was replaced while it was being opened.
constexpr int kMostTries = 100;
/// Not a system code: the name no longer leads to the file that was opened.
constexpr DWORD kLookAgain = 0xFFFFFFFF;

struct Request {
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD attributes;

    bool Reads() const { return (access & GENERIC_READ) != 0; }
    bool Writes() const { return (access & GENERIC_WRITE) != 0; }
    bool Creates() const {
        return disposition == CREATE_NEW || disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    }
    bool Truncates() const { return disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING; }
    bool DeletesOnClose() const { return (attributes & FILE_FLAG_DELETE_ON_CLOSE) != 0; }
    unsigned NewMode() const {
        return (attributes & FILE_ATTRIBUTE_READONLY) != 0    ? kNewReadOnlyMode
               : (attributes & FILE_ATTRIBUTE_TEMPORARY) != 0 ? kNewTemporaryMode
                                                              : kNewFileMode;
    }
    /// The accesses that others may deny.
    DWORD Accesses() const {
        return (Reads() ? kReads : 0) | (Writes() ? kWrites : 0) | (DeletesOnClose() ? kDeletes : 0);
    }
};

DWORD check(const Request& request) {
    const bool isKnown = request.disposition >= CREATE_NEW && request.disposition <= TRUNCATE_EXISTING;
    if (!isKnown || (request.share & ~kAllAccesses) != 0 ||
        (request.disposition == TRUNCATE_EXISTING && !request.Writes()))
        return ERROR_INVALID_PARAMETER;
    return ERROR_SUCCESS;
}

int openDescriptor(const String& path, int flags, unsigned mode = 0) {
    int descriptor;
    do
        descriptor = open(path.c_str(), flags | kCommonFlags, mode);
    while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

/// A regular file is opened for more than was asked if that is allowed: marks need a descriptor that can
/// read, emptying a file needs one that can write. The handle itself decides which transfers it allows.
int openExistingDescriptor(const Request& request, const Name& name) {
    const int extra = (request.attributes & FILE_FLAG_WRITE_THROUGH) != 0 ? O_SYNC : 0;
    const bool isRegular = name.target.IsRegular();
    const bool writes = request.Writes() || (request.Truncates() && isRegular);
    if (request.Accesses() == 0 && !writes)
        return openDescriptor(name.path, O_PATH);
    if (!writes)
        return openDescriptor(name.path, O_RDONLY);
    if (request.Reads() || !isRegular)
        return openDescriptor(name.path, (request.Reads() ? O_RDWR : O_WRONLY) | extra);
    const int descriptor = openDescriptor(name.path, O_RDWR | extra);
    return descriptor < 0 && errno == EACCES ? openDescriptor(name.path, O_WRONLY | extra) : descriptor;
}

bool isSizeLimited() {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

/// Whether the path still leads to the file that the descriptor has open.
bool isStillThere(const String& path, const FileInformation& opened) {
    FileInformation now;
    return Query(path.c_str(), now) == 0 && now.IsSameFile(opened);
}

/// Marks the file with the handle's accesses and with those that it denies to others. A handle without access
/// denies nothing.
DWORD claim(OpenFile& file, const Request& request) {
    const DWORD accesses = request.Accesses();
    const DWORD needed = request.Truncates() ? kWrites : 0;
    if ((accesses | needed) == 0)
        return ERROR_SUCCESS;
    const DWORD code = Claim(file.descriptor, accesses, accesses != 0 ? request.share : kAllAccesses, needed);
    file.isClaimed = code == ERROR_SUCCESS;
    return code;
}

/// Sets what the handle needs to know about its descriptor, and marks the file.
DWORD takeUp(OpenFile& file, const Request& request, const String& path, const FileInformation& opened) {
    file.access = request.access;
    file.isRegular = opened.IsRegular();
    file.isSeekable = file.isRegular || lseek(file.descriptor, 0, SEEK_CUR) >= 0;
    file.mayRaiseSignal = request.Writes() && (!file.isRegular || isSizeLimited());
    if (!file.isRegular)
        return ERROR_SUCCESS;
    if ((request.attributes & FILE_FLAG_SEQUENTIAL_SCAN) != 0)
        posix_fadvise(file.descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
    if ((request.attributes & FILE_FLAG_RANDOM_ACCESS) != 0)
        posix_fadvise(file.descriptor, 0, 0, POSIX_FADV_RANDOM);
    const DWORD code = claim(file, request);
    if (code != ERROR_SUCCESS || !file.isClaimed)
        return code;
    FileInformation now;
    const int error = Query(path.c_str(), now);
    if (error == 0 ? now.IsSameFile(opened) : error != ENOENT)
        return CodeOf(error);
    return kLookAgain;
}

DWORD empty(OpenFile& file, const Request& request, const FileInformation& information) {
    if (file.isRegular && information.size != 0)
        if (const DWORD code = Resize(file, 0); code != ERROR_SUCCESS)
            return code;
    if (file.isRegular && (request.attributes & FILE_ATTRIBUTE_READONLY) != 0)
        fchmod(file.descriptor, information.mode & kNewReadOnlyMode);
    return ERROR_SUCCESS;
}

DWORD openExisting(const Request& request, const Name& name, OpenFile& file) {
    if (request.disposition == CREATE_NEW)
        return ERROR_FILE_EXISTS;
    if (name.IsDirectory())
        return name.endsWithSeparator ? ERROR_PATH_NOT_FOUND : ERROR_ACCESS_DENIED;
    if ((request.Writes() || request.Truncates() || request.DeletesOnClose()) && name.target.IsReadOnly())
        return ERROR_ACCESS_DENIED;
    file.descriptor = openExistingDescriptor(request, name);
    if (file.descriptor < 0)
        return errno == ENOENT ? kLookAgain : CodeOf(errno);
    FileInformation opened;
    if (const int error = Query(file.descriptor, opened); error != 0)
        return CodeOf(error);
    if (opened.IsDirectory())
        return ERROR_ACCESS_DENIED;
    String pathToDelete = request.DeletesOnClose() ? name.path : String();
    if (const DWORD code = takeUp(file, request, name.path, opened); code != ERROR_SUCCESS)
        return code;
    if (request.Truncates())
        if (const DWORD code = empty(file, request, opened); code != ERROR_SUCCESS)
            return code;
    file.pathToDelete.swap(pathToDelete);
    return ERROR_SUCCESS;
}

/// Creates the file of a missing name, or the file that a broken link leads to.
DWORD create(const Request& request, const Name& name, bool throughLink, OpenFile& file) {
    if (name.endsWithSeparator)
        return ERROR_INVALID_NAME;
    if (const DWORD code = throughLink ? DWORD{ERROR_SUCCESS} : CheckParentWritable(name);
        code != ERROR_SUCCESS)
        return code;
    String pathToDelete = request.DeletesOnClose() ? name.path : String();
    const int flags = O_RDWR | O_CREAT | (throughLink ? 0 : O_EXCL) |
                      ((request.attributes & FILE_FLAG_WRITE_THROUGH) != 0 ? O_SYNC : 0);
    file.descriptor = openDescriptor(name.path, flags, request.NewMode());
    if (file.descriptor < 0)
        return errno == EEXIST ? kLookAgain : errno == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : CodeOf(errno);
    FileInformation opened;
    DWORD code = CodeOf(Query(file.descriptor, opened));
    if (code == ERROR_SUCCESS)
        code = takeUp(file, request, name.path, opened);
    if (code == ERROR_SUCCESS)
        file.pathToDelete.swap(pathToDelete);
    // A new file that somebody else has opened meanwhile is kept; after any other failure it is removed.
    else if (code != ERROR_SHARING_VIOLATION && code != kLookAgain && !throughLink)
        unlink(name.path.c_str());
    return code;
}

/// One attempt to open the file as it is found now.
DWORD tryOpen(const char16_t* text, const Request& request, OpenFile& file, bool& existed) {
    Name name;
    const DWORD code = Find(text, name);
    existed = code == ERROR_SUCCESS && !name.IsBrokenLink();
    if (existed || (code == ERROR_SUCCESS && request.disposition == CREATE_NEW))
        return openExisting(request, name, file);
    if ((code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND) && request.Creates())
        return create(request, name, code == ERROR_SUCCESS, file);
    return code == ERROR_SUCCESS ? DWORD{ERROR_FILE_NOT_FOUND} : code;
}

/// Whether the disk has that much space left; assumed if the file system does not say.
bool hasRoomFor(const OpenFile& file, UInt64 size) {
    struct statvfs status;
    return fstatvfs(file.descriptor, &status) != 0 || status.f_blocks == 0 ||
           size / status.f_frsize <= status.f_bavail;
}

/// Repeats `transfer(bytes done so far, position)` until everything is done, the file ends or a part fails.
/// After a failure the position is unchanged, so that the same transfer can be retried.
template<class Transfer>
DWORD transferAll(OpenFile& file, std::size_t size, std::size_t& done, bool untilFull, Transfer transfer) {
    done = 0;
    while (done < size) {
        const ssize_t part = transfer(done, file.position + static_cast<off_t>(done));
        if (part < 0 && errno == EINTR)
            continue;
        if (part < 0)
            return CodeOf(errno);
        done += static_cast<std::size_t>(part);
        if (part == 0 || !untilFull)
            break;
    }
    file.position += static_cast<off_t>(done);
    return ERROR_SUCCESS;
}

} // namespace

DWORD OpenFile::Shut() {
    if (descriptor < 0)
        return ERROR_SUCCESS;
    FileInformation opened;
    // The marks, and the file that is to be removed, belong to the process that opened it.
    if (!isInherited && !pathToDelete.empty() && Query(descriptor, opened) == 0 &&
        isStillThere(pathToDelete, opened))
        unlink(pathToDelete.c_str());
    if (isClaimed && !isInherited)
        Disclaim(descriptor);
    // An interrupted close has closed the descriptor all the same.
    const int error = close(descriptor) == 0 || errno == EINTR ? 0 : errno;
    descriptor = -1;
    return CodeOf(error);
}

DWORD Open(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes,
           Owned<OpenFile>& file, bool& existed) {
    const Request request{access, share, disposition, attributes};
    DWORD code = check(request);
    if (code != ERROR_SUCCESS)
        return code;
    for (int i = 0; i < kMostTries; i++) {
        file.reset(New<OpenFile>());
        if (!file)
            return ERROR_NOT_ENOUGH_MEMORY;
        code = tryOpen(name, request, *file, existed);
        if (code != kLookAgain)
            break;
    }
    if (code != ERROR_SUCCESS)
        file.reset();
    return code == kLookAgain ? DWORD{ERROR_SHARING_VIOLATION} : code;
}

DWORD CreateTemporary(const char16_t* name) {
    String path;
    if (ToDisk(name, path) == ERROR_SUCCESS && CheckParentWritable(path) == ERROR_SUCCESS) {
        const int descriptor = openDescriptor(path, O_WRONLY | O_CREAT | O_EXCL, kNewTemporaryMode);
        if (descriptor >= 0) {
            close(descriptor);
            return ERROR_SUCCESS;
        }
    }
    // The folder may be spelled in another way. If not, this says what is wrong.
    Owned<OpenFile> file;
    bool existed;
    return Open(name, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY, file, existed);
}

DWORD ReadFrom(OpenFile& file, void* buffer, std::size_t size, std::size_t& done) {
    char* bytes = static_cast<char*>(buffer);
    // A device gives what it has; waiting for more could take forever.
    return transferAll(file, size, done, file.isRegular, [&](std::size_t start, off_t position) {
        return file.isSeekable ? pread(file.descriptor, bytes + start, size - start, position)
                               : read(file.descriptor, bytes + start, size - start);
    });
}

DWORD WriteTo(OpenFile& file, const void* buffer, std::size_t size, std::size_t& done) {
    const char* bytes = static_cast<const char*>(buffer);
    const WriteSignalsHeld held(file.mayRaiseSignal);
    return transferAll(file, size, done, true, [&](std::size_t start, off_t position) {
        return file.isSeekable ? pwrite(file.descriptor, bytes + start, size - start, position)
                               : write(file.descriptor, bytes + start, size - start);
    });
}

DWORD CopyContents(OpenFile& source, OpenFile& target) {
    const std::unique_ptr<void, decltype(&std::free)> buffer(std::malloc(kTransferSize), &std::free);
    if (buffer == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    source.position = target.position = 0;
    // The system may share or move the bytes itself; what it leaves over or fails at goes through the buffer.
    if (source.isRegular && target.isRegular) {
        const WriteSignalsHeld held(target.mayRaiseSignal);
        off_t from = 0;
        off_t to = 0;
        while (copy_file_range(source.descriptor, &from, target.descriptor, &to, kMostInOneCall, 0) > 0) {
        }
        source.position = from;
        target.position = to;
    }
    for (;;) {
        std::size_t done = 0;
        if (const DWORD code = ReadFrom(source, buffer.get(), kTransferSize, done);
            code != ERROR_SUCCESS || done == 0)
            return code;
        if (const DWORD code = WriteTo(target, buffer.get(), done, done); code != ERROR_SUCCESS)
            return code;
    }
}

DWORD Resize(OpenFile& file, Int64 size) {
    FileInformation now;
    if (const int error = Query(file.descriptor, now); error != 0)
        return CodeOf(error);
    const UInt64 newSize = static_cast<UInt64>(size);
    if (newSize > now.size && !hasRoomFor(file, newSize - now.size))
        return ERROR_DISK_FULL;
    const WriteSignalsHeld held(file.mayRaiseSignal);
    while (ftruncate(file.descriptor, size) != 0)
        if (errno != EINTR)
            return CodeOf(errno);
    return ERROR_SUCCESS;
}

} // namespace Tarn::Platform::Posix
