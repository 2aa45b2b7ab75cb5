// The folders of the system, names for temporary files, and the free space on a disk.
#include "platform/platform.h"
#include "platform/posix/files/open_file.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/user_folders.h"

#include <cerrno>
#include <ctime>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Tarn::Platform {

using namespace Posix;

namespace {

constexpr const char* kTemporaryDirectoryVariable = "TMPDIR";
constexpr const char* kTemporaryDirectory = "/tmp";
/// What serves as the Windows directory and as the directory of its libraries.
constexpr char16_t kWindowsDirectory[] = u"\\usr";
constexpr char16_t kSystemDirectory[] = u"\\usr\\lib";
constexpr std::size_t kTemporaryPrefix = 3;
/// The longest directory that a temporary name can be made in: prefix, number, ".tmp" and the terminator must
/// fit.
constexpr std::size_t kLongestTemporaryDirectory = static_cast<std::size_t>(MAX_PATH) - 14;
constexpr UINT kTemporaryNumbers = 0xFFFF;
constexpr unsigned kModeForOwner = 0600;

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

U16String temporaryName(const U16String& directory, const char16_t* prefix, UINT number) {
    U16String name = directory;
    if (!EndsWithSeparator(name.c_str()))
        name += u'\\';
    for (std::size_t i = 0; prefix != nullptr && i < kTemporaryPrefix && prefix[i] != 0; i++)
        name += prefix[i];
    int shift = 12;
    while (shift > 0 && (number >> shift) == 0)
        shift -= 4;
    for (; shift >= 0; shift -= 4)
        name += u"0123456789ABCDEF"[number >> shift & 0xF];
    return name += u".tmp";
}

/// The first number to try, one that other processes and threads are unlikely to begin with.
UINT firstTemporaryNumber() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const UINT mixed = static_cast<UINT>(now.tv_nsec) ^ static_cast<UINT>(now.tv_sec) ^
                       static_cast<UINT>(getpid()) * 0x9E3779B1U;
    return (mixed ^ mixed >> 16) % kTemporaryNumbers + 1;
}

DWORD findTemporaryDirectory(const char16_t* directory, Name& found) {
    DWORD code = Find(directory, found);
    if (code == ERROR_SUCCESS && !found.IsDirectory())
        code = ERROR_DIRECTORY;
    const bool isMissing =
        code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND || code == ERROR_INVALID_NAME;
    return isMissing ? DWORD{ERROR_DIRECTORY} : code;
}

/// Creates a file with the first free name. In a directory where everybody can create files, only the owner
/// can read it.
DWORD makeTemporaryFile(const char16_t* directory, const char16_t* prefix, UINT& number, U16String& name) {
    Name found;
    if (const DWORD code = findTemporaryDirectory(directory, found); code != ERROR_SUCCESS)
        return code;
    const bool isForEverybody = (found.target.mode & S_IWOTH) != 0;
    number = firstTemporaryNumber();
    for (UINT i = 0; i < kTemporaryNumbers; i++, number = number % kTemporaryNumbers + 1) {
        name = temporaryName(directory, prefix, number);
        Owned<OpenFile> file;
        bool existed;
        const DWORD code =
            Open(name.c_str(), GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, file, existed);
        if (code == ERROR_SUCCESS && isForEverybody && fchmod(file->descriptor, kModeForOwner) != 0)
            return CodeOf(errno);
        if (code != ERROR_FILE_EXISTS)
            return code == ERROR_SUCCESS ? file->Shut() : code;
    }
    return ERROR_FILE_EXISTS;
}

DWORD getTemporaryName(const char16_t* directory, const char16_t* prefix, UINT& number, char16_t* buffer) {
    const U16String text = directory == nullptr ? u"" : directory;
    if (text.size() > kLongestTemporaryDirectory)
        return kBufferOverflow;
    U16String name;
    number &= kTemporaryNumbers;
    if (number != 0)
        name = temporaryName(text, prefix, number);
    else if (const DWORD code = makeTemporaryFile(text.c_str(), prefix, number, name); code != ERROR_SUCCESS)
        return code;
    giveText(name, buffer, MAX_PATH);
    return ERROR_SUCCESS;
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

UINT GetTempFileNameW(const char16_t* directory, const char16_t* prefix, UINT unique, char16_t* name) {
    return Report(Guarded([&] { return getTemporaryName(directory, prefix, unique, name); })) ? unique : 0;
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
