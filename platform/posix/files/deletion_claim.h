// The right to remove the name of a file, held until the name is gone. Anybody who has the file open can deny
// it. The marks on a file that this user can neither read nor write cannot be seen and are ignored.
#pragma once

#include "platform/posix/files/information.h"
#include "platform/posix/files/shares.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <unistd.h>

namespace Tarn::Platform::Posix {

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

    /// Claims what the path, seen from the open directory, is the name of. `entry` is what it was before.
    DWORD Take(const char* path, const FileInformation& entry, int directory = AT_FDCWD) {
        if (!entry.IsRegular())
            return ERROR_SUCCESS;
        descriptor = openat(directory, path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (descriptor < 0 && errno == EACCES)
            descriptor = openat(directory, path, O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
        if (descriptor < 0)
            return errno == EACCES || errno == ETXTBSY ? DWORD{ERROR_SUCCESS} : CodeOf(errno);
        if (const DWORD code = Claim(descriptor, kDeletes, kAllAccesses); code != ERROR_SUCCESS)
            return code;
        FileInformation opened;
        FileInformation now;
        const bool isStillThere = Query(descriptor, opened) == 0 &&
                                  Query(path, now, AT_SYMLINK_NOFOLLOW, directory) == 0 &&
                                  now.IsSameFile(opened);
        return isStillThere ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
    }

private:
    int descriptor = -1;
};

} // namespace Tarn::Platform::Posix
