// File handles: opening, transfers, positions, lengths and times.
#include "platform/platform.h"
#include "platform/posix/files/open_file.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"

#include <cerrno>
#include <unistd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr DWORD kNoTime = 0xFFFFFFFF;

/// Splits a number for SetFilePointer and GetFileSize. If its low half looks like their failure, the last
/// error says that there was none.
DWORD reportHalves(UInt64 value, DWORD& high) {
    high = static_cast<DWORD>(value >> 32);
    const DWORD low = static_cast<DWORD>(value);
    if (low == INVALID_FILE_SIZE)
        SetLastError(ERROR_SUCCESS);
    return low;
}

DWORD lengthOf(const OpenFile& file, UInt64& length) {
    FileInformation information;
    if (const int error = Query(file.descriptor, information); error != 0)
        return CodeOf(error);
    length = information.size;
    if (file.isRegular)
        return ERROR_SUCCESS;
    const off_t end = lseek(file.descriptor, 0, SEEK_END);
    length = end > 0 ? static_cast<UInt64>(end) : 0;
    return end >= 0 ? ERROR_SUCCESS : ERROR_INVALID_FUNCTION;
}

DWORD positionAt(const OpenFile& file, Int64 distance, DWORD from, Int64& position) {
    if (!file.isSeekable)
        return ERROR_SEEK;
    UInt64 base = 0;
    if (from == FILE_CURRENT)
        base = static_cast<UInt64>(file.position);
    else if (from == FILE_END) {
        if (const DWORD code = lengthOf(file, base); code != ERROR_SUCCESS)
            return code;
    } else if (from != FILE_BEGIN)
        return ERROR_INVALID_PARAMETER;
    if (__builtin_add_overflow(static_cast<Int64>(base), distance, &position))
        return ERROR_INVALID_PARAMETER;
    return position < 0 ? ERROR_NEGATIVE_SEEK : ERROR_SUCCESS;
}

/// The time to set. If it is missing, 0 or all ones, the file's time stays as it is.
timespec timeToSet(const FILETIME* time) {
    const DWORD both = time == nullptr ? 0 : time->dwLowDateTime | time->dwHighDateTime;
    const bool isAllOnes =
        time != nullptr && time->dwLowDateTime == kNoTime && time->dwHighDateTime == kNoTime;
    if (both != 0 && !isAllOnes)
        return ToTimespec(*time);
    timespec omitted{};
    omitted.tv_nsec = UTIME_OMIT;
    return omitted;
}

/// Runs `body(file)`, which returns a code, on the file of a handle; other calls on that handle wait.
template<class Body>
BOOL onFile(HANDLE handle, Body body) {
    const Held<OpenFile> file(handle);
    if (!file)
        return Report(ERROR_INVALID_HANDLE);
    const std::lock_guard lock(file->use);
    return Report(body(*file));
}

/// The common part of `ReadFile` and `WriteFile`. The count is set even if the call fails.
template<class Transfer>
BOOL transferOn(HANDLE handle, DWORD* transferred, bool (OpenFile::*isAllowed)() const, Transfer transfer) {
    std::size_t done = 0;
    const BOOL result = onFile(handle, [&](OpenFile& file) {
        return (file.*isAllowed)() ? transfer(file, done) : DWORD{ERROR_ACCESS_DENIED};
    });
    if (transferred != nullptr)
        *transferred = static_cast<DWORD>(done);
    return result;
}

} // namespace

HANDLE CreateFileW(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes) {
    HANDLE handle = INVALID_HANDLE_VALUE;
    bool existed = false;
    const DWORD code = Guarded([&]() -> DWORD {
        Owned<OpenFile> file;
        if (const DWORD failure = Open(name, access, share, disposition, attributes, file, existed);
            failure != ERROR_SUCCESS)
            return failure;
        const HANDLE made = NewHandle(file.get());
        if (made == nullptr)
            return ERROR_TOO_MANY_OPEN_FILES;
        file.release();
        handle = made;
        return ERROR_SUCCESS;
    });
    const bool tellsOfExisting = existed && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS);
    SetLastError(code == ERROR_SUCCESS && tellsOfExisting ? ERROR_ALREADY_EXISTS : code);
    return handle;
}

BOOL CreateTemporaryFileW(const char16_t* name) {
    return Report(Guarded([&] { return CreateTemporary(name); }));
}

HANDLE CreateFileForMappingW(const char16_t* name, DWORD access, DWORD share, DWORD disposition,
                             DWORD attributes) {
    return CreateFileW(name, access, share, disposition, attributes);
}

BOOL CloseHandle(HANDLE handle) {
    HandleObject* file = RemoveHandle(handle, HandleObject::Kind::File);
    return Report(file == nullptr ? DWORD{ERROR_INVALID_HANDLE} : LetGo(file));
}

BOOL ReadFile(HANDLE handle, void* buffer, DWORD size, DWORD* read) {
    return transferOn(handle, read, &OpenFile::CanRead,
                      [&](OpenFile& file, std::size_t& done) { return ReadFrom(file, buffer, size, done); });
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD size, DWORD* written) {
    return transferOn(handle, written, &OpenFile::CanWrite,
                      [&](OpenFile& file, std::size_t& done) { return WriteTo(file, buffer, size, done); });
}

DWORD SetFilePointer(HANDLE handle, LONG low, LONG* high, DWORD from) {
    UInt64 result = 0;
    const Int64 distance = high == nullptr ? Int64{low} : Int64{*high} * (Int64{1} << 32) + DWORD(low);
    const BOOL succeeded = onFile(handle, [&](OpenFile& file) -> DWORD {
        Int64 position = 0;
        if (const DWORD code = positionAt(file, distance, from, position); code != ERROR_SUCCESS)
            return code;
        if (high == nullptr && (position >> 32) != 0)
            return ERROR_INVALID_PARAMETER;
        file.position = position;
        result = static_cast<UInt64>(position);
        return ERROR_SUCCESS;
    });
    if (!succeeded)
        return INVALID_SET_FILE_POINTER;
    DWORD resultHigh;
    const DWORD resultLow = reportHalves(result, resultHigh);
    if (high != nullptr)
        *high = static_cast<LONG>(resultHigh);
    return resultLow;
}

BOOL SetEndOfFile(HANDLE handle) {
    return onFile(handle, [](OpenFile& file) -> DWORD {
        if (!file.CanWrite())
            return ERROR_ACCESS_DENIED;
        return file.isRegular ? Resize(file, file.position) : DWORD{ERROR_INVALID_FUNCTION};
    });
}

DWORD GetFileSize(HANDLE handle, DWORD* high) {
    UInt64 length = 0;
    if (!onFile(handle, [&](OpenFile& file) { return lengthOf(file, length); }))
        return INVALID_FILE_SIZE;
    DWORD lengthHigh;
    const DWORD low = reportHalves(length, lengthHigh);
    if (high != nullptr)
        *high = lengthHigh;
    return low;
}

BOOL FlushFileBuffers(HANDLE handle) {
    return onFile(handle, [](OpenFile& file) -> DWORD {
        if (!file.CanWrite())
            return ERROR_ACCESS_DENIED;
        while (fsync(file.descriptor) != 0)
            if (errno == EINVAL || errno == EROFS)
                return ERROR_SUCCESS; // A file of this kind has nothing to store.
            else if (errno != EINTR)
                return CodeOf(errno);
        return ERROR_SUCCESS;
    });
}

DWORD GetFileType(HANDLE handle) {
    DWORD type = FILE_TYPE_UNKNOWN;
    onFile(handle, [&](OpenFile& file) {
        type = file.isRegular ? FILE_TYPE_DISK : file.isSeekable ? FILE_TYPE_CHAR : FILE_TYPE_PIPE;
        return DWORD{ERROR_SUCCESS};
    });
    return type;
}

BOOL GetFileTime(HANDLE handle, FILETIME* creation, FILETIME* access, FILETIME* write) {
    return onFile(handle, [&](OpenFile& file) {
        FileInformation information;
        const int error = Query(file.descriptor, information);
        if (error == 0 && creation != nullptr)
            *creation = information.creation;
        if (error == 0 && access != nullptr)
            *access = information.access;
        if (error == 0 && write != nullptr)
            *write = information.write;
        return CodeOf(error);
    });
}

BOOL SetFileTime(HANDLE handle, const FILETIME*, const FILETIME* access, const FILETIME* write) {
    return onFile(handle, [&](OpenFile& file) -> DWORD {
        if (!file.CanWrite())
            return ERROR_ACCESS_DENIED;
        // The system keeps the time of creation itself.
        const timespec times[2] = {timeToSet(access), timeToSet(write)};
        return CodeOf(futimens(file.descriptor, times) == 0 ? 0 : errno);
    });
}

} // namespace Tarn::Platform
