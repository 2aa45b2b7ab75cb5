// The right to remove the name of a file, held until the name is gone. Anybody who has the file open can deny
// it. The marks on a file that this user can neither read nor write cannot be seen and are ignored.
#pragma once

#include "platform/posix/files/information.h"
#include "platform/posix/files/shares.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <unistd.h>

namespace Tarn::Platform::Posix {

/// Not a system code: the name no longer leads to what it did.
inline constexpr DWORD kNameChanged = 0xFFFFFFFF;

class DeletionClaim {
public:
    DeletionClaim() = default;
    DeletionClaim(const DeletionClaim&) = delete;
    DeletionClaim& operator=(const DeletionClaim&) = delete;
    ~DeletionClaim() {
        if (descriptor >= 0) {
            Disclaim(descriptor);
            close(descriptor);
        }
    }

    /// Claims what the path, seen from the open directory, is the name of. `entry` is what it was before; it
    /// must still be that, or the result is kNameChanged or ERROR_FILE_NOT_FOUND.
    DWORD Take(const char* path, const FileInformation& entry, int directory = AT_FDCWD) {
        if (!entry.IsRegular())
            return ERROR_SUCCESS;
        // What has become a pipe meanwhile must not be waited for.
        constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
        descriptor = openat(directory, path, O_RDONLY | kFlags);
        if (descriptor < 0 && errno == EACCES)
            descriptor = openat(directory, path, O_WRONLY | kFlags);
        if (descriptor < 0)
            return codeOfOpening(errno);
        FileInformation opened;
        if (const int error = Query(descriptor, opened); error != 0)
            return CodeOf(error);
        if (!opened.IsSameFile(entry) || !opened.IsRegular()) // the number of a file is soon given to another
            return kNameChanged;
        if (const DWORD code = Claim(descriptor, kDeletes, kAllAccesses); code != ERROR_SUCCESS)
            return code;
        FileInformation now;
        if (const int error = Query(path, now, AT_SYMLINK_NOFOLLOW, directory); error != 0)
            return CodeOf(error);
        return now.IsSameFile(entry) ? DWORD{ERROR_SUCCESS} : kNameChanged;
    }

private:
    static DWORD codeOfOpening(int error) {
        if (error == EACCES || error == ETXTBSY)
            return ERROR_SUCCESS;
        // A link now; or a file that somebody has leased, who is asked to give it back.
        return error == ELOOP    ? kNameChanged
               : error == EAGAIN ? DWORD{ERROR_SHARING_VIOLATION}
                                 : CodeOf(error);
    }

    int descriptor = -1;
};

} // namespace Tarn::Platform::Posix
