#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>
#include <tarnkit/temp_file.h>

#include "errors/requirement.h"
#include "files/full_path.h"
#include "files/platform_text.h"
#include "files/process_files.h"
#include "files/temp_files.h"
#include "files/temp_folder.h"
#include "memory/shared_state.h"
#include "platform/fork.h"
#include "platform/platform.h"

#include <exception>
#include <utility>

namespace Tarn::TempFile {

namespace {

constexpr CRequirement require(u"TempFile");

constexpr const char16_t* kDefaultPrefix = u"tmp";

bool isSameName(const CUnicodeString& a, const CUnicodeString& b) {
    return FileSystem::CmpNames(&a, &b) == 0;
}

CUnicodeString folderOf(const CUnicodeString& path) { return FileSystem::GetDrivePath(path); }

constexpr int kMostSearchedFolders = 100;

// What the process remembers of its temporary files.
struct CTempFiles {
    CUnicodeString chosenDir;
    CArray<CUnicodeString> names; // full paths
    int reserved = 0;             // the names that are about to be added
    CArray<CTempFolder> folders;
    CArray<CUnicodeString> searchedFolders; // for what other processes have left

    // The index in the list of the file with this full path, or -1.
    int Find(const CUnicodeString& path) const {
        for (int i = 0; i < names.Size(); i++)
            if (isSameName(names[i], path))
                return i;
        return -1;
    }
    CTempFolder* FindFolder(const CUnicodeString& dir) {
        for (CTempFolder& folder : folders)
            if (isSameName(folder.dir, dir))
                return &folder;
        return nullptr;
    }
};

constinit CSharedState<CTempFiles> tempFiles;

bool isListed(const CUnicodeString& path) {
    return tempFiles.Use([&](CTempFiles& files) { return files.Find(path) >= 0; });
}

// Forgets a file of the folder, and the mark there when nothing needs it any more.
void leaveFolder(const CUnicodeString& dir) {
    CTempFolder left;
    tempFiles.Use([&](CTempFiles& files) {
        CTempFolder* folder = files.FindFolder(dir);
        if (folder == nullptr || --folder->files > 0 || folder->isKept)
            return;
        left = *folder;
        files.folders.DeleteAt(static_cast<int>(folder - files.folders.begin()));
    });
    if (left.lock != INVALID_HANDLE_VALUE)
        left.Remove();
}

void removeFromList(const CUnicodeString& path) {
    const bool wasListed = tempFiles.Use([&](CTempFiles& files) {
        const int place = files.Find(path);
        if (place >= 0)
            files.names.DeleteAt(place);
        return place >= 0;
    });
    if (wasListed)
        leaveFolder(folderOf(path));
}

// Room in the list for one more name, so that adding it takes no memory.
class CReservation {
public:
    CReservation() {
        CMemoryManagerSwitcher toDefault(nullptr); // outlives every caller
        tempFiles.Use([](CTempFiles& files) {
            files.names.Reserve(files.names.Size() + files.reserved + 1);
            files.reserved++;
        });
    }
    ~CReservation() {
        tempFiles.Use([](CTempFiles& files) { files.reserved--; });
    }

    CReservation(const CReservation&) = delete;
    CReservation& operator=(const CReservation&) = delete;

    void Use(const CUnicodeString& path) {
        tempFiles.Use([&](CTempFiles& files) { files.names.Add(path); });
    }
};

bool areTempFilesKept() { return ReadLibraryFlag(u"KeepTempFiles", false); }

// The full path of a folder as it begins the names of its files.
CUnicodeString markedFolder(const CUnicodeString& dir) {
    const CUnicodeString path = FileSystem::FullPath(dir);
    const bool isComplete = path.IsEmpty() || folderOf(path) == path;
    return isComplete ? path : path + u"\\";
}

// The next name in a folder that has this process's mark; empty if it has none.
CUnicodeString nextName(const CUnicodeString& dir, const char16_t* prefix) {
    return tempFiles.Use([&](CTempFiles& files) {
        CTempFolder* folder = files.FindFolder(dir);
        if (folder == nullptr)
            return CUnicodeString();
        CUnicodeString name = folder->NextName(prefix);
        folder->files++;
        return name;
    });
}

// Puts a mark into a folder, unless another thread has just done so. Returns false with the last error.
bool enterFolder(const CUnicodeString& dir) {
    CMemoryManagerSwitcher toDefault(nullptr);
    const bool isNew = tempFiles.Use([&](CTempFiles& files) {
        for (const CUnicodeString& known : files.searchedFolders)
            if (isSameName(known, dir))
                return false;
        if (files.searchedFolders.Size() == kMostSearchedFolders)
            files.searchedFolders.DeleteAll();
        files.searchedFolders.Add(dir);
        return true;
    });
    if (isNew)
        RemoveStrayTempFiles(dir);
    CTempFolder made;
    if (!made.Create(dir))
        return false;
    try {
        tempFiles.Use([&](CTempFiles& files) {
            files.folders.Reserve(files.folders.Size() + 1);
            if (files.FindFolder(dir) == nullptr)
                files.folders.Add(std::exchange(made, CTempFolder()));
        });
    } catch (...) {
        made.Remove();
        throw;
    }
    if (made.lock != INVALID_HANDLE_VALUE)
        made.Remove();
    return true;
}

// Creates a file in a folder and counts it there. Returns an empty name with the last error.
CUnicodeString create(const CUnicodeString& dir, const char16_t* prefix) {
    if (dir.IsEmpty()) { // would be the directory that the process was started in
        Platform::SetLastError(ERROR_PATH_NOT_FOUND);
        return dir;
    }
    for (;;) {
        const CUnicodeString name = nextName(dir, prefix);
        if (name.IsEmpty()) {
            if (!enterFolder(dir))
                return name;
            continue;
        }
        const HANDLE file =
            Platform::CreateFileW(name, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_TEMPORARY);
        if (file != INVALID_HANDLE_VALUE) {
            Platform::CloseHandle(file);
            return name;
        }
        const DWORD code = Platform::GetLastError();
        leaveFolder(dir);
        if (code != ERROR_FILE_EXISTS) {
            Platform::SetLastError(code);
            return CUnicodeString();
        }
    }
}

// Where two paths are involved, a failure is that of the permanent file.
void checkMove(BOOL result, const CUnicodeString& permanent) {
    if (result)
        return;
    DWORD code = Platform::GetLastError();
    // A file that is in use counts as one that may not be replaced; its user can do more with the reason.
    if (code == ERROR_ACCESS_DENIED) {
        const HANDLE file =
            Platform::CreateFileW(permanent, GENERIC_READ, 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
        if (file != INVALID_HANDLE_VALUE)
            Platform::CloseHandle(file);
        else if (Platform::GetLastError() == ERROR_SHARING_VIOLATION)
            code = ERROR_SHARING_VIOLATION;
    }
    ThrowFileException(code, permanent);
}

// Makes the contents of a file survive a crash of the system. Only a file that can be written can be stored.
void store(const CUnicodeString& name) {
    const DWORD attributes = FileSystem::GetAttributes(name);
    const bool isReadOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (isReadOnly)
        FileSystem::SetAttributes(name, attributes & ~FILE_ATTRIBUTE_READONLY);
    CFile file(name, CFile::ForWriting | CFile::DenyNone);
    file.Flush();
    file.Close();
    if (isReadOnly)
        FileSystem::SetAttributes(name, attributes);
}

void checkReplaceable(const CUnicodeString& permanent) {
    const DWORD attributes = Platform::GetFileAttributesW(permanent);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        ThrowFileException(ERROR_ALREADY_EXISTS, permanent);
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        ThrowFileException(ERROR_ACCESS_DENIED, permanent);
}

// Gives a file its final name in its own folder.
void putInPlace(const CUnicodeString& file, const CUnicodeString& permanent) {
    store(file);
    checkMove(Platform::CopyFileSecurityW(permanent, file), permanent);
    checkMove(Platform::MoveFileExW(file, permanent, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH),
              permanent);
}

void copyContents(const CUnicodeString& from, const CUnicodeString& to) {
    constexpr int kPart = 0x4000;
    char buffer[kPart];
    CFile source(from, CFile::ForReading | CFile::DenyWrite);
    CFile target(to, CFile::ForWriting | CFile::Exclusive);
    while (const int size = source.Read(buffer, kPart))
        target.Write(buffer, size);
    target.Close();
}

// Brings the file into the other folder under a fresh name, readable by its owner only, and puts it in place
// there. It is moved, or copied if it cannot be moved; a copied original is only removed when everything else
// has succeeded. Returns whether it is gone.
bool putInPlaceElsewhere(const CUnicodeString& temp, const CUnicodeString& permanent) {
    const CUnicodeString fresh = NewInDir(folderOf(permanent), nullptr);
    const bool isMoved = Platform::MoveFileExW(temp, fresh, MOVEFILE_REPLACE_EXISTING) != 0;
    try {
        RunOnBehalfOf(permanent, fresh, [&] {
            if (!isMoved)
                copyContents(temp, fresh);
            putInPlace(fresh, permanent);
        });
    } catch (...) {
        if (!isMoved || Platform::MoveFileExW(fresh, temp, 0))
            Discard(fresh);
        throw;
    }
    removeFromList(fresh);
    return isMoved || Platform::DeleteFileW(temp);
}

// Removes a listed file unless it is gone already.
void removeIfPresent(const CUnicodeString& path) {
    if (Platform::DeleteFileW(path))
        return;
    const DWORD code = Platform::GetLastError();
    if (code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND)
        ThrowFileException(code, path);
}

// Empties the list and ends the marks; the files stay on disk.
void forgetAll() {
    CArray<CTempFolder> left;
    tempFiles.Use([&](CTempFiles& files) {
        files.names.DeleteAll();
        left.Swap(files.folders);
    });
    for (const CTempFolder& folder : left)
        folder.Remove();
}

// Marks that were kept for files to come end with the last file.
void leaveUnusedFolders() {
    CArray<CTempFolder> left;
    tempFiles.Use([&](CTempFiles& files) {
        for (int i = files.folders.Size() - 1; i >= 0; i--) {
            files.folders[i].isKept = false;
            if (files.folders[i].files > 0)
                continue;
            left.Add(files.folders[i]);
            files.folders.DeleteAt(i);
        }
    });
    for (const CTempFolder& folder : left)
        folder.Remove();
}

} // namespace

void AttachTempFiles() {
    tempFiles.KeepUsableAfterFork<tempFiles>();
    // The files stay those of the process that created them: a child's `Clean` must not remove them.
    Platform::HandleForks([] {}, [] {},
                          [] {
                              tempFiles.Use([](CTempFiles& files) {
                                  files.names.DeleteAll();
                                  files.folders.DeleteAll();
                              });
                          });
}

CUnicodeString GetTemporaryDir() {
    const CUnicodeString chosen = tempFiles.Use([](CTempFiles& files) { return files.chosenDir; });
    if (!chosen.IsEmpty())
        return chosen;
    CUnicodeString dir =
        AskPlatformForText([](char16_t* buffer, DWORD size) { return Platform::GetTempPathW(size, buffer); });
    FileSystem::NormalizePath(dir);
    return dir.IsEmpty() || !FileSystem::AccessDir(dir) ? FileSystem::GetWindowsDir() : dir;
}

void SetTemporaryDir(const CUnicodeString& dir) {
    tempFiles.Use([&](CTempFiles& files) { files.chosenDir = dir; });
}

CUnicodeString TryNewInDir(const CUnicodeString& dir, const char16_t* prefix) {
    CReservation place; // so that no file is created that cannot be listed
    const CUnicodeString folder = markedFolder(dir);
    const bool hasPrefix = prefix != nullptr && *prefix != 0;
    const CUnicodeString name = create(folder, hasPrefix ? prefix : kDefaultPrefix);
    if (!name.IsEmpty())
        place.Use(name);
    return name;
}

CUnicodeString NewInDir(const CUnicodeString& dir, const char16_t* prefix) {
    CUnicodeString name = TryNewInDir(dir, prefix);
    if (name.IsEmpty())
        GenCheck(ERR_CREATE_TEMP_FILE, FileSystem::FullPath(dir));
    return name;
}

// Programs make many files in this folder, so the mark stays there until `DeleteAll`.
CUnicodeString New(const char16_t* prefix) {
    const CUnicodeString dir = GetTemporaryDir();
    CUnicodeString name = NewInDir(dir, prefix);
    tempFiles.Use([&](CTempFiles& files) {
        if (CTempFolder* folder = files.FindFolder(folderOf(name)); folder != nullptr)
            folder->isKept = true;
    });
    return name;
}

bool IsTempFile(const CUnicodeString& name) { return isListed(FileSystem::FullPath(name)); }

void Delete(const CUnicodeString& name) {
    const CUnicodeString path = FileSystem::FullPath(name);
    if (!require(isListed(path), __LINE__))
        return;
    if (!areTempFilesKept())
        FileSystem::Remove(path);
    removeFromList(path);
}

void MakePermanent(const CUnicodeString& tempName, const CUnicodeString& permanentName) {
    const CUnicodeString temp = FileSystem::FullPath(tempName);
    const CUnicodeString permanent = FollowLinks(FileSystem::FullPath(permanentName));
    if (!require(isListed(temp) && FileSystem::AccessFile(temp, 0), __LINE__))
        return;
    bool isTempGone = true;
    if (!isSameName(temp, permanent)) {
        checkReplaceable(permanent);
        if (isSameName(folderOf(temp), folderOf(permanent)))
            putInPlace(temp, permanent);
        else
            isTempGone = putInPlaceElsewhere(temp, permanent);
    }
    if (isTempGone)
        removeFromList(temp);
    // The final name may have belonged to another temporary file, now replaced; the new file must stay.
    removeFromList(permanent);
}

void DeleteAll() {
    SetTemporaryDir(CUnicodeString());
    if (areTempFilesKept())
        return forgetAll();
    std::exception_ptr failure;
    const CArray<CUnicodeString> names = tempFiles.Use([](CTempFiles& files) { return files.names; });
    for (int i = names.Size() - 1; i >= 0; i--) {
        try {
            removeIfPresent(names[i]);
            removeFromList(names[i]);
        } catch (CException* e) {
            if (failure)
                e->Delete();
            else
                failure = std::current_exception();
        }
    }
    leaveUnusedFolders();
    if (failure)
        std::rethrow_exception(failure);
}

void Discard(const CUnicodeString& name) noexcept {
    try {
        removeIfPresent(name);
        removeFromList(name);
    } catch (CException* e) {
        e->Delete();
    }
}

CUnicodeString FollowLinks(const CUnicodeString& path) {
    const CUnicodeString target = AskPlatformForText(
        [&](char16_t* buffer, DWORD size) { return Platform::GetLinkTargetW(path, size, buffer); });
    return target.IsEmpty() ? path : target;
}

void Reset() {
    try {
        DeleteAll();
    } catch (...) {
        tempFiles.Release();
        throw;
    }
    tempFiles.Release();
}

} // namespace Tarn::TempFile
