#include "files/temp_folder.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/text_of_values.h>

#include "platform/platform.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace Tarn {

namespace {

constexpr char16_t kLockPrefix[] = u".tarnkit-";
constexpr char16_t kLockExtension[] = u".lock";
constexpr char16_t kTempExtension[] = u".tmp";
constexpr int kMostPrefix = 3;
constexpr int kMostTries = 100;
constexpr unsigned kHex = 16;

// Nobody can guess it, so nobody can be waiting under a name that contains it.
CUnicodeString randomToken() {
    std::uint8_t bytes[7];
    if (!Platform::RtlGenRandom(bytes, sizeof bytes))
        return {};
    CUnicodeString token;
    for (const unsigned byte : bytes) {
        token += u"0123456789abcdef"[byte >> 4];
        token += u"0123456789abcdef"[byte & 15];
    }
    return token;
}

HANDLE openLock(const CUnicodeString& name, DWORD disposition) {
    return Platform::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, disposition,
                                 FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_HIDDEN);
}

// Calls `use(name)` with each plain file that matches. Returns whether the search came to its end.
template<class Use>
bool forEachFile(const CUnicodeString& dir, const CUnicodeString& mask, Use use) {
    WIN32_FIND_DATAW data;
    const HANDLE search = Platform::FindFirstFileW(dir + mask, &data);
    if (search == INVALID_HANDLE_VALUE)
        return Platform::GetLastError() == ERROR_FILE_NOT_FOUND;
    constexpr DWORD kNoPlainFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    bool isComplete;
    try {
        do
            if ((data.dwFileAttributes & kNoPlainFile) == 0)
                use(CUnicodeString(reinterpret_cast<const char16_t*>(data.cFileName)));
        while (Platform::FindNextFileW(search, &data));
        isComplete = Platform::GetLastError() == ERROR_NO_MORE_FILES;
    } catch (...) {
        Platform::FindClose(search);
        throw;
    }
    Platform::FindClose(search);
    return isComplete;
}

// Whether the lock, which this process has open, keeps others out here.
bool excludesOthers(const CUnicodeString& name) {
    const HANDLE second = openLock(name, OPEN_EXISTING);
    if (second == INVALID_HANDLE_VALUE)
        return Platform::GetLastError() == ERROR_SHARING_VIOLATION;
    Platform::CloseHandle(second);
    return false;
}

void removeFilesOf(const CUnicodeString& dir, const CUnicodeString& lock) {
    const CUnicodeString name = dir + lock;
    const HANDLE opened = openLock(name, OPEN_EXISTING);
    if (opened == INVALID_HANDLE_VALUE)
        return; // its process lives, or belongs to another user
    const int start = static_cast<int>(std::size(kLockPrefix)) - 1;
    const int length = lock.GetLength() - start - static_cast<int>(std::size(kLockExtension)) + 1;
    bool isDone = length > 0 && excludesOthers(name);
    if (isDone)
        isDone = forEachFile(
                     dir, u"*" + lock.Mid(start, length) + u"-*" + kTempExtension,
                     [&](const CUnicodeString& file) { isDone &= Platform::DeleteFileW(dir + file) != 0; }) &&
                 isDone;
    Platform::CloseHandle(opened);
    if (isDone)
        Platform::DeleteFileW(name);
}

} // namespace

bool CTempFolder::Create(const CUnicodeString& folder) {
    dir = folder;
    DWORD code = ERROR_SUCCESS;
    for (int i = 0; i < kMostTries; i++) {
        token = randomToken();
        if (token.IsEmpty())
            return false;
        lockFile = dir + kLockPrefix + token + kLockExtension;
        lock = openLock(lockFile, CREATE_NEW);
        code = Platform::GetLastError();
        // Somebody may open a lock that was just created, and take it for one that was left.
        if (lock != INVALID_HANDLE_VALUE || (code != ERROR_FILE_EXISTS && code != ERROR_SHARING_VIOLATION))
            break;
    }
    Platform::SetLastError(code);
    return lock != INVALID_HANDLE_VALUE;
}

void CTempFolder::Remove() const {
    Platform::CloseHandle(lock);
    Platform::DeleteFileW(lockFile);
}

CUnicodeString CTempFolder::NextName(const char16_t* prefix) {
    const CUnicodeString number = UnicodeStr(++lastNumber, kHex);
    const CUnicodeString start(prefix);
    return dir + start.Left(std::min(start.GetLength(), kMostPrefix)) + token + u"-" + number + kTempExtension;
}

void RemoveStrayTempFiles(const CUnicodeString& folder) {
    try {
        forEachFile(folder, CUnicodeString(kLockPrefix) + u"*" + kLockExtension,
                    [&](const CUnicodeString& lock) { removeFilesOf(folder, lock); });
    } catch (CException* e) { // the next program tries again
        e->Delete();
    }
}

} // namespace Tarn
