#include "files/temp_folder.h"

#include <tarnkit/exceptions.h>
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
constexpr int kTokenBytes = 7;
constexpr int kMostTries = 100;
constexpr unsigned kHex = 16;

// Nobody can guess it, so nobody can be waiting under a name that contains it.
CUnicodeString randomToken() {
    std::uint8_t bytes[kTokenBytes];
    if (!Platform::RtlGenRandom(bytes, sizeof bytes))
        return {};
    CUnicodeString token;
    for (const unsigned byte : bytes) {
        token += u"0123456789abcdef"[byte >> 4];
        token += u"0123456789abcdef"[byte & 15];
    }
    return token;
}

bool isToken(const CUnicodeString& text) {
    for (int i = 0; i < text.GetLength(); i++)
        if (CUnicodeString(u"0123456789abcdef").Find(text[i]) < 0)
            return false;
    return text.GetLength() == 2 * kTokenBytes;
}

// What follows the token in the name of a temporary file, as in "-1f.tmp"; empty if it is not one of that
// token. The system compares names without regard to case, this does not.
CUnicodeString numberIn(const CUnicodeString& name, const CUnicodeString& token) {
    const int start = name.Find(token);
    if (start < 0 || start > kMostPrefix)
        return {};
    const CUnicodeString rest = name.Mid(start + token.GetLength());
    const int end = rest.GetLength() - static_cast<int>(std::size(kTempExtension)) + 1;
    bool isNumber = end > 1 && rest[0] == u'-' && rest.Mid(end) == kTempExtension;
    for (int i = 1; i < end; i++)
        isNumber = isNumber && CUnicodeString(u"0123456789abcdef").Find(rest[i]) >= 0;
    return isNumber ? rest : CUnicodeString();
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

// Whether a lock that this process has open keeps others out here.
bool excludesOthers(const CUnicodeString& name) {
    const HANDLE second = openLock(name, OPEN_EXISTING);
    if (second == INVALID_HANDLE_VALUE)
        return Platform::GetLastError() == ERROR_SHARING_VIOLATION;
    Platform::CloseHandle(second);
    return false;
}

// A file that a process which is gone has left, usually its lock, while nobody else has it open.
class CLeftLock {
public:
    explicit CLeftLock(const CUnicodeString& name) : handle(openLock(name, OPEN_EXISTING)) {}
    ~CLeftLock() { Close(); }
    CLeftLock(const CLeftLock&) = delete;
    CLeftLock& operator=(const CLeftLock&) = delete;

    /// False if its process lives and keeps it open, or if another user may have made it to get files
    /// removed.
    bool IsOf(const CTempFolder& own) const {
        return handle != INVALID_HANDLE_VALUE && Platform::HaveSameOwner(handle, own.lock);
    }
    /// Reads which files stay. Returns false if that fails.
    bool ReadList(CString& list) const {
        char part[256];
        DWORD size;
        do {
            if (!Platform::ReadFile(handle, part, sizeof part, &size))
                return false;
            list += CString(part, static_cast<int>(size));
        } while (size > 0);
        return true;
    }
    void Close() {
        if (handle != INVALID_HANDLE_VALUE)
            Platform::CloseHandle(handle);
        handle = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE handle;
};

void removeFilesOf(const CTempFolder& own, const CUnicodeString& lockName) {
    const int start = static_cast<int>(std::size(kLockPrefix)) - 1;
    const int length = lockName.GetLength() - start - static_cast<int>(std::size(kLockExtension)) + 1;
    const CUnicodeString token = lockName.Mid(start, std::max(length, 0));
    if (!isToken(token) || lockName != kLockPrefix + token + kLockExtension)
        return;
    CLeftLock lock(own.dir + lockName);
    CString list;
    if (!lock.IsOf(own) || !lock.ReadList(list))
        return;
    bool isDone = true;
    const auto remove = [&](const CUnicodeString& file) {
        const CUnicodeString number = numberIn(file, token);
        if (!number.IsEmpty() && list.Find((number + u"\n").CreateString()) < 0)
            isDone &= Platform::DeleteFileW(own.dir + file) != 0;
    };
    if (!forEachFile(own.dir, u"*" + token + u"-*" + kTempExtension, remove) || !isDone)
        return;
    lock.Close();
    Platform::DeleteFileW(own.dir + lockName);
}

// Who is at work on a copy denies its deletion.
void removeUnfinishedCopy(const CTempFolder& own, const CUnicodeString& name) {
    const int start = static_cast<int>(std::size(Platform::kUnfinishedCopyPrefix)) - 1;
    if (name.Left(start) != Platform::kUnfinishedCopyPrefix)
        return;
    for (int i = start; i < name.GetLength(); i++)
        if (CUnicodeString(u"0123456789-").Find(name[i]) < 0)
            return;
    if (CLeftLock(own.dir + name).IsOf(own))
        Platform::DeleteFileW(own.dir + name);
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
    return dir + start.Left(std::min(start.GetLength(), kMostPrefix)) + token + u"-" + number +
           kTempExtension;
}

CUnicodeString CTempFolder::UnusedName() const {
    const CUnicodeString name = randomToken();
    return name.IsEmpty() ? name : dir + name;
}

// If writing fails half-way, the next entry goes over this one. Entries are never read while they are
// written.
bool CTempFolder::List(const CUnicodeString& name) {
    const CUnicodeString number = numberIn(name, token);
    if (number.IsEmpty())
        return true;
    const CString entry = (number + u"\n").CreateString();
    const auto size = static_cast<DWORD>(entry.GetLength());
    DWORD written = 0;
    Platform::SetFilePointer(lock, listed, nullptr, FILE_BEGIN);
    if (!Platform::WriteFile(lock, entry.Ptr(), size, &written) || !Platform::FlushFileBuffers(lock))
        return false;
    Platform::SetLastError(ERROR_DISK_FULL);
    if (written < size)
        return false;
    listed += entry.GetLength();
    return true;
}

void RemoveStrayTempFiles(const CTempFolder& own) {
    if (!excludesOthers(own.lockFile))
        return;
    try {
        forEachFile(own.dir, CUnicodeString(kLockPrefix) + u"*" + kLockExtension,
                    [&](const CUnicodeString& lock) { removeFilesOf(own, lock); });
        forEachFile(own.dir, CUnicodeString(Platform::kUnfinishedCopyPrefix) + u"*",
                    [&](const CUnicodeString& copy) { removeUnfinishedCopy(own, copy); });
    } catch (CException* e) { // the next program tries again
        e->Delete();
    }
}

} // namespace Tarn
