// The folders of the system, and the free space on a disk.
#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/user_folders.h"

#include <cerrno>
#include <sys/statvfs.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr const char* kTemporaryDirectoryVariable = "TMPDIR";
constexpr const char* kTemporaryDirectory = "/tmp";
/// What serves as the Windows directory and as the directory of its libraries.
constexpr char16_t kWindowsDirectory[] = u"\\usr";
constexpr char16_t kSystemDirectory[] = u"\\usr\\lib";

/// Copies the text to a buffer of `size` units and returns its length, or the size needed with the
/// terminator.
UINT giveText(const U16String& text, char16_t* buffer, UINT size) {
    const UINT length = static_cast<UINT>(text.size());
    if (buffer == nullptr || size <= length)
        return length + 1;
    text.copy(buffer, length);
    buffer[length] = 0;
    return length;
}

DWORD getDiskSpace(const char16_t* directory, UInt64* available, UInt64* total, UInt64* free) {
    Name name;
    const DWORD code = Find(directory == nullptr ? u"." : directory, name);
    if (code != ERROR_SUCCESS)
        return code == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_PATH_NOT_FOUND} : code;
    if (!name.IsDirectory())
        return ERROR_DIRECTORY;
    struct statvfs status;
    if (statvfs(name.path.c_str(), &status) != 0)
        return CodeOf(errno);
    const auto give = [&](UInt64* result, UInt64 blocks) {
        if (result != nullptr)
            *result = blocks * status.f_frsize;
    };
    give(available, status.f_bavail);
    give(total, status.f_blocks);
    give(free, status.f_bfree);
    return ERROR_SUCCESS;
}

} // namespace

DWORD GetTempPathW(DWORD size, char16_t* buffer) {
    DWORD result = 0;
    Report(Guarded([&]() -> DWORD {
        const String chosen = AbsolutePathIn(kTemporaryDirectoryVariable);
        const String directory = chosen.empty() ? kTemporaryDirectory : chosen;
        result = giveText(ToWide(directory.back() == '/' ? directory : directory + '/'), buffer, size);
        return ERROR_SUCCESS;
    }));
    return result;
}

BOOL GetDiskFreeSpaceExW(const char16_t* directory, UInt64* available, UInt64* total, UInt64* free) {
    return Report(Guarded([&] { return getDiskSpace(directory, available, total, free); }));
}

UINT GetSystemDirectoryW(char16_t* buffer, UINT size) {
    UINT result = 0;
    Report(Guarded([&]() -> DWORD {
        result = giveText(kSystemDirectory, buffer, size);
        return ERROR_SUCCESS;
    }));
    return result;
}

UINT GetWindowsDirectoryW(char16_t* buffer, UINT size) {
    UINT result = 0;
    Report(Guarded([&]() -> DWORD {
        result = giveText(kWindowsDirectory, buffer, size);
        return ERROR_SUCCESS;
    }));
    return result;
}

} // namespace Tarn::Platform
