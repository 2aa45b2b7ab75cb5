// The process's directories, and the calls on files and directories by name.
#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>

#include "files/full_path.h"
#include "files/platform_text.h"
#include "files/process_files.h"
#include "memory/shared_state.h"
#include "platform/platform.h"

#include <climits>

namespace Tarn::FileSystem {

namespace {

constexpr int kApplicationDataPaths = 3;

struct CProcessPaths {
    CUnicodeString current; // empty until it is first asked for
    CUnicodeString applicationData[kApplicationDataPaths];
};

constinit CSharedState<CProcessPaths> processPaths;

[[noreturn]] void throwLastError(const CUnicodeString& path) {
    const DWORD code = Platform::GetLastError();
    ThrowFileException(code, path);
}

void check(BOOL result, const CUnicodeString& path) {
    if (!result)
        throwLastError(path);
}

template<class Ask>
CUnicodeString askOrThrow(Ask ask) {
    const CUnicodeString text = AskPlatformForText(ask);
    check(!text.IsEmpty(), text);
    return text;
}

bool fail(DWORD code) {
    Platform::SetLastError(code);
    return false;
}

// For a call on two names. Blames the source if it is missing, or if something is in use and there is no
// target; else the target.
[[noreturn]] void throwLastError(const CUnicodeString& from, const CUnicodeString& to) {
    const DWORD code = Platform::GetLastError();
    const auto isThere = [](const CUnicodeString& path) {
        return Platform::GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
    };
    const bool isAboutSource = !isThere(from) || (code == ERROR_SHARING_VIOLATION && !isThere(to));
    ThrowFileException(code, isAboutSource ? from : to);
}

// A search for the entries of a directory, closed when it goes out of scope.
class CSearch {
public:
    // Throws when the search fails, but not when nothing matches.
    CSearch(const CUnicodeString& dir, const CUnicodeString& mask) : directory(dir) {
        if (dir.IsEmpty()) // would be searched as the directory that the process was started in
            ThrowFileException(ERROR_PATH_NOT_FOUND, dir);
        handle = Platform::FindFirstFileW(Merge(dir, mask, CUnicodeString()), &data);
        if (handle == INVALID_HANDLE_VALUE)
            throwUnless(ERROR_FILE_NOT_FOUND);
    }
    ~CSearch() {
        if (handle != INVALID_HANDLE_VALUE)
            Platform::FindClose(handle);
    }
    CSearch(const CSearch&) = delete;
    CSearch& operator=(const CSearch&) = delete;

    bool AtEnd() const { return handle == INVALID_HANDLE_VALUE || hasEnded; }
    const WIN32_FIND_DATAW& Data() const { return data; }
    void Next() {
        if (!Platform::FindNextFileW(handle, &data)) {
            hasEnded = true;
            throwUnless(ERROR_NO_MORE_FILES);
        }
    }

private:
    const CUnicodeString& directory;
    WIN32_FIND_DATAW data;
    HANDLE handle = INVALID_HANDLE_VALUE;
    bool hasEnded = false;

    void throwUnless(DWORD expected) const {
        const DWORD code = Platform::GetLastError();
        if (code != expected && code != ERROR_NO_MORE_FILES)
            ThrowFileException(code, directory);
    }
};

bool isDirectory(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

const char16_t* allFilesIfEmpty(const CUnicodeString& mask) { return mask.IsEmpty() ? u"*" : mask.Ptr(); }

int compareFileInfo(const CFileInfo* a, const CFileInfo* b) {
    const int order = CmpNames(&a->Name, &b->Name);
    return order != 0 ? order : a->Name.Compare(b->Name); // names may differ in case alone
}

CArray<CFileInfo> listEntries(const CUnicodeString& dir, const CUnicodeString& mask) {
    CArray<CFileInfo> entries;
    for (CSearch search(dir, mask); !search.AtEnd(); search.Next()) {
        const WIN32_FIND_DATAW& data = search.Data();
        CFileInfo entry;
        entry.Name = reinterpret_cast<const char16_t*>(data.cFileName);
        entry.Size = static_cast<Int64>(UInt64{data.nFileSizeHigh} << 32 | data.nFileSizeLow);
        entry.Attributes = data.dwFileAttributes;
        if (entry.Name != u"." && entry.Name != u"..")
            entries.Add(entry);
    }
    return entries;
}

// The location of a special folder, and the shell's allocator that frees it; both released with the scope.
class CShellLocation {
public:
    explicit CShellLocation(int folder) {
        if (Platform::SHGetMalloc(&allocator) < 0)
            ThrowMemoryException();
        const HRESULT result = Platform::SHGetSpecialFolderLocation(nullptr, folder, &location);
        if (result < 0) {
            allocator->Release();
            ThrowCOMException(result, nullptr);
        }
    }
    ~CShellLocation() {
        allocator->Free(location);
        allocator->Release();
    }
    CShellLocation(const CShellLocation&) = delete;
    CShellLocation& operator=(const CShellLocation&) = delete;

    CUnicodeString Path() const {
        char16_t path[MAX_PATH];
        if (!Platform::SHGetPathFromIDListW(location, path))
            ThrowCOMException(E_FAIL, nullptr);
        return CUnicodeString(path);
    }

private:
    IMalloc* allocator = nullptr;
    ITEMIDLIST* location = nullptr;
};

// The numbers (CSIDL values) by which the shell knows the special folders.
constexpr struct {
    TSpecialFolder folder;
    int number;
} kShellFolders[] = {
    {TSpecialFolder::Desktop, 0}, {TSpecialFolder::Programs, 2},  {TSpecialFolder::Documents, 5},
    {TSpecialFolder::StartUp, 7}, {TSpecialFolder::Recent, 8},    {TSpecialFolder::StartMenu, 11},
    {TSpecialFolder::Fonts, 20},  {TSpecialFolder::Favorites, 6},
};

// The place of an application data path; -1 for an unknown kind, when the assertion returns.
int placeOfDataPath(TApplicationDataPathType type) {
    const int place = static_cast<int>(type);
    if (place >= 0 && place < kApplicationDataPaths)
        return place;
    GenAssert(u"FileSystem", __LINE__);
    return -1;
}

} // namespace

CUnicodeString GetCurrentDir() {
    const CUnicodeString current = processPaths.Use([](CProcessPaths& paths) { return paths.current; });
    if (!current.IsEmpty())
        return current;
    const CUnicodeString first = GetEXEDir();
    return processPaths.Use([&](CProcessPaths& paths) {
        if (paths.current.IsEmpty()) // another thread may have changed it
            paths.current = first;
        return paths.current;
    });
}

void ChangeDir(const CUnicodeString& dir) {
    const CUnicodeString path = FullPath(dir);
    check(AccessDir(path), path);
    processPaths.Use([&](CProcessPaths& paths) { paths.current = path; });
}

void SetApplicationDataPath(TApplicationDataPathType type, const CUnicodeString& path) {
    if (const int place = placeOfDataPath(type); place >= 0)
        processPaths.Use([&](CProcessPaths& paths) { paths.applicationData[place] = path; });
}

CUnicodeString GetApplicationDataPath(TApplicationDataPathType type) {
    const int place = placeOfDataPath(type);
    if (place < 0)
        return CUnicodeString();
    const CUnicodeString path =
        processPaths.Use([&](CProcessPaths& paths) { return paths.applicationData[place]; });
    if (AccessDir(path))
        return path;
    try {
        MakeDir(path);
    } catch (CException* e) {
        if (!AccessDir(path)) // otherwise another thread was faster
            throw;
        e->Delete();
    }
    return path;
}

void SetRelativeApplicationDataPath(const CUnicodeString& relative) {
    const CUnicodeString path = MergePath(GetSpecialFolder(TSpecialFolder::Documents), relative);
    processPaths.Use([&](CProcessPaths& paths) {
        for (CUnicodeString& place : paths.applicationData)
            place = path;
    });
}

CUnicodeString GetSpecialFolder(TSpecialFolder folder) {
    for (const auto& known : kShellFolders)
        if (known.folder == folder)
            return CShellLocation(known.number).Path();
    GenAssert(u"FileSystem", 1564);
    return CUnicodeString();
}

CUnicodeString GetSystemDir() {
    return askOrThrow(
        [](char16_t* buffer, DWORD size) { return Platform::GetSystemDirectoryW(buffer, size); });
}

CUnicodeString GetWindowsDir() {
    return askOrThrow(
        [](char16_t* buffer, DWORD size) { return Platform::GetWindowsDirectoryW(buffer, size); });
}

CUnicodeString GetModuleFileNameW(HINSTANCE module) {
    return askOrThrow([module](char16_t* buffer, DWORD size) {
        return Platform::GetModuleFileNameW(module, buffer, size);
    });
}

CUnicodeString GetEXEDir() { return GetDrivePath(GetEXEFileName()); }

CUnicodeString GetEXEFileName() { return GetModuleFileNameW(nullptr); }

void AttachPaths() { processPaths.KeepUsableAfterFork<processPaths>(); }

void ResetPaths() { processPaths.Release(); }

bool AccessDir(const CUnicodeString& path) {
    const DWORD attributes = Platform::GetFileAttributesW(FullPath(path));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    return isDirectory(attributes) || fail(ERROR_DIRECTORY);
}

bool AccessFile(const CUnicodeString& name, unsigned int mode) {
    constexpr unsigned int kWrite = 2;
    constexpr unsigned int kRead = 4;
    const CUnicodeString path = FullPath(name);
    const DWORD attributes = Platform::GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return false;
    if (isDirectory(attributes))
        return fail(ERROR_ACCESS_DENIED);
    const DWORD access =
        ((mode & kRead) != 0 ? GENERIC_READ : 0) | ((mode & kWrite) != 0 ? GENERIC_WRITE : 0);
    if (access == 0)
        return true;
    const HANDLE file = Platform::CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                                              FILE_ATTRIBUTE_NORMAL);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    Platform::CloseHandle(file);
    return true;
}

DWORD GetAttributes(const CUnicodeString& name) {
    const CUnicodeString path = FullPath(name);
    const DWORD attributes = Platform::GetFileAttributesW(path);
    check(attributes != INVALID_FILE_ATTRIBUTES, path);
    return attributes;
}

void SetAttributes(const CUnicodeString& name, DWORD attributes) {
    const CUnicodeString path = FullPath(name);
    check(Platform::SetFileAttributesW(path, attributes), path);
}

void Remove(const CUnicodeString& name) {
    const CUnicodeString path = FullPath(name);
    check(Platform::DeleteFileW(path), path);
}

void RemoveIgnoreErrors(const CUnicodeString& name) { Platform::DeleteFileW(FullPath(name)); }

void Copy(const CUnicodeString& from, const CUnicodeString& to) {
    const CUnicodeString source = FullPath(from);
    const CUnicodeString target = FullPath(to);
    if (!Platform::CopyFileW(source, target, FALSE))
        throwLastError(source, target);
}

void Move(const CUnicodeString& from, const CUnicodeString& to) {
    const CUnicodeString source = FullPath(from);
    const CUnicodeString target = FullPath(to);
    if (!Platform::MoveFileW(source, target))
        throwLastError(source, target);
}

void Rename(const CUnicodeString& from, const CUnicodeString& to) { Move(from, to); }

void MakeDir(const CUnicodeString& dir) {
    CUnicodeString path = FullPath(dir);
    NormalizePath(path);
    const bool isRoot = path.IsEmpty() && !dir.IsEmpty();
    if (isRoot || Platform::CreateDirectoryW(path))
        return;
    DWORD code = Platform::GetLastError();
    const int separator = FindLastSeparator(path);
    if (code == ERROR_PATH_NOT_FOUND && separator > 0) {
        MakeDir(path.Left(separator));
        if (Platform::CreateDirectoryW(path))
            return;
        code = Platform::GetLastError();
    }
    if (!AccessDir(path)) // it may have existed, or another process was faster
        ThrowFileException(code, path);
}

void DelDir(const CUnicodeString& dir) {
    const CUnicodeString path = FullPath(dir);
    check(Platform::RemoveDirectoryW(path), path);
}

void DelTree(const CUnicodeString& dir) {
    CUnicodeString path = FullPath(dir);
    NormalizePath(path);
    constexpr DWORD kLongestName = 32768;
    CUnicodeString failed;
    const BOOL isRemoved =
        Platform::RemoveTreeW(path, failed.GetBuffer(static_cast<int>(kLongestName)), kLongestName);
    const DWORD code = Platform::GetLastError();
    failed.ReleaseBuffer();
    if (!isRemoved)
        ThrowFileException(code, failed.IsEmpty() ? path : Merge(path, failed, CUnicodeString()));
}

long GetDiskFree() { return GetDiskFree(GetCurrentDir()); }

long GetDiskFree(const CUnicodeString& dir) {
    const CUnicodeString path = FullPath(dir);
    UInt64 available = 0;
    check(Platform::GetDiskFreeSpaceExW(path, &available, nullptr, nullptr), path);
    return available > INT_MAX ? INT_MAX : static_cast<long>(available);
}

void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask, CArray<CUnicodeString>& files) {
    CArray<CFileInfo> found;
    GetFilesInDir(dir, mask, found);
    files.DeleteAll();
    for (const CFileInfo& file : found)
        files.Add(file.Name);
}

void GetFilesInDir(const CUnicodeString& dir, const CUnicodeString& mask, CArray<CFileInfo>& files) {
    CArray<CFileInfo> found;
    for (const CFileInfo& entry : listEntries(FullPath(dir), allFilesIfEmpty(mask)))
        if (!isDirectory(entry.Attributes))
            found.Add(entry);
    found.Sort(compareFileInfo);
    files.Swap(found);
}

} // namespace Tarn::FileSystem
