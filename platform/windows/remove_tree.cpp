// Removing a directory with everything in it. A directory stays open while it is emptied, so that nobody can
// exchange it for a link; links are removed and not entered.
#include "platform/platform.h"
#include "platform/windows/text16.h"

#include <cstdlib>
#include <cwchar>
#include <iterator>

namespace Tarn::Platform {

namespace {

constexpr std::size_t kRoom = 32768; // Windows knows no longer paths

bool isDirectory(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }
bool isLink(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }

class TreeRemover {
public:
    TreeRemover() : path(static_cast<wchar_t*>(std::malloc(kRoom * sizeof(wchar_t)))) {}
    ~TreeRemover() { std::free(path); }
    TreeRemover(const TreeRemover&) = delete;
    TreeRemover& operator=(const TreeRemover&) = delete;

    bool Remove(const wchar_t* tree) {
        rootLength = std::wcslen(tree);
        if (path == nullptr || rootLength >= kRoom)
            return fail(path == nullptr ? ERROR_NOT_ENOUGH_MEMORY : ERROR_FILENAME_EXCED_RANGE);
        std::wmemcpy(path, tree, rootLength + 1);
        length = rootLength;
        const DWORD attributes = ::GetFileAttributesW(path);
        if (attributes == INVALID_FILE_ATTRIBUTES)
            return false;
        return isDirectory(attributes) ? removeEntry(attributes) : fail(ERROR_DIRECTORY);
    }

    /// After a failure: the path of what could not be removed, seen from the tree.
    const wchar_t* Failed() const {
        const wchar_t* rest = path == nullptr || length == rootLength ? L"" : path + rootLength;
        return *rest == L'\\' ? rest + 1 : rest;
    }

private:
    wchar_t* path; // of what is being removed
    std::size_t length = 0;
    std::size_t rootLength = 0;

    static bool fail(DWORD code) {
        ::SetLastError(code);
        return false;
    }

    bool removeEntry(DWORD attributes) {
        // The attributes of a link may be those of its target, which is left alone.
        if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && !isLink(attributes) &&
            !::SetFileAttributesW(path, attributes & ~DWORD{FILE_ATTRIBUTE_READONLY}))
            return false;
        if (!isDirectory(attributes))
            return ::DeleteFileW(path);
        return (isLink(attributes) || empty()) && ::RemoveDirectoryW(path);
    }

    bool empty() {
        const HANDLE held =
            ::CreateFileW(path, FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
        if (held == INVALID_HANDLE_VALUE)
            return false;
        BY_HANDLE_FILE_INFORMATION now;
        bool isDone = ::GetFileInformationByHandle(held, &now);
        if (isDone && !isLink(now.dwFileAttributes)) // otherwise it was exchanged meanwhile
            isDone = removeEntries();
        const DWORD code = ::GetLastError();
        ::CloseHandle(held);
        ::SetLastError(code);
        return isDone;
    }

    bool removeEntries() {
        const std::size_t ownLength = length;
        if (!append(L"*"))
            return false;
        WIN32_FIND_DATAW entry;
        const HANDLE search = ::FindFirstFileW(path, &entry);
        shorten(ownLength);
        if (search == INVALID_HANDLE_VALUE)
            return ::GetLastError() == ERROR_FILE_NOT_FOUND;
        bool isDone = true;
        do {
            if (std::wcscmp(entry.cFileName, L".") == 0 || std::wcscmp(entry.cFileName, L"..") == 0)
                continue;
            isDone = append(entry.cFileName) && removeEntry(entry.dwFileAttributes);
            if (isDone)
                shorten(ownLength);
        } while (isDone && ::FindNextFileW(search, &entry));
        const DWORD code = ::GetLastError();
        ::FindClose(search);
        return isDone && code == ERROR_NO_MORE_FILES ? true : fail(code);
    }

    bool append(const wchar_t* name) {
        const std::size_t size = std::wcslen(name);
        const bool needsSeparator = length > 0 && path[length - 1] != L'\\' && path[length - 1] != L'/';
        if (length + needsSeparator + size >= kRoom)
            return fail(ERROR_FILENAME_EXCED_RANGE);
        if (needsSeparator)
            path[length++] = L'\\';
        std::wmemcpy(path + length, name, size + 1);
        length += size;
        return true;
    }
    void shorten(std::size_t newLength) { path[length = newLength] = 0; }
};

} // namespace

BOOL RemoveTreeW(const char16_t* name, char16_t* failed, DWORD size) {
    TreeRemover remover;
    const bool isDone = remover.Remove(wide(name));
    const DWORD code = ::GetLastError();
    std::size_t length = 0;
    for (const wchar_t* rest = isDone ? L"" : remover.Failed(); *rest != 0 && length + 1 < size; rest++)
        failed[length++] = static_cast<char16_t>(*rest);
    failed[length] = 0;
    ::SetLastError(code);
    return isDone;
}

} // namespace Tarn::Platform
