#include "platform/posix/support/error_codes.h"

#include <cerrno>

namespace Tarn::Platform::Posix {

DWORD CodeOf(int error) {
    switch (error) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case ENXIO:
    case ENODEV:
    case ENOMEDIUM:
        return ERROR_NOT_READY;
    case ESPIPE:
        return ERROR_SEEK;
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EAGAIN:
        return ERROR_LOCK_VIOLATION;
    case ENOSYS:
    case EOPNOTSUPP:
        return ERROR_NOT_SUPPORTED;
    case EEXIST:
        return ERROR_ALREADY_EXISTS;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case EPIPE:
        return ERROR_BROKEN_PIPE;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return ERROR_DISK_FULL;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case EBUSY:
        return ERROR_BUSY;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EFAULT:
        return kNoAccessToMemory;
    case EIO:
        return ERROR_IO_DEVICE;
    case EMLINK:
        return ERROR_TOO_MANY_LINKS;
    case ELOOP:
        return kCannotResolveName;
    default:
        return ERROR_GEN_FAILURE;
    }
}

} // namespace Tarn::Platform::Posix
