#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/hash_table.h>
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

#include <algorithm>
#include <exception>
#include <utility>

namespace Tarn::TempFile {

namespace {

constexpr CRequirement require(u"TempFile");

constexpr const char16_t* kDefaultPrefix = u"tmp";
constexpr const char16_t* kNeverInNames = u"*?<>:\"|\\/";

bool isSameName(const CUnicodeString& a, const CUnicodeString& b) {
    return FileSystem::CmpNames(&a, &b) == 0;
}

// On a disk that tells them apart, names that differ in case are those of different folders. Where two
// spellings mean one folder, nothing is lost if they count as two.
bool isSameSpelling(CUnicodeString a, CUnicodeString b) {
    FileSystem::ForceBackslashes(a);
    FileSystem::ForceBackslashes(b);
    return a == b;
}

constexpr int kMostSearchedFolders = 100;

struct CTempFile {
    CUnicodeString name; // a full path
    bool isInternal;     // not made by a client of the library, so not his to remove
    bool isMade = false; // otherwise it is about to be, and nobody knows it yet
};

// Names that `isSameName` takes for one have the same hash. Takes no memory.
int hashOfName(const CUnicodeString& path) {
    unsigned hash = 0;
    for (int i = 0; i < path.GetLength(); i++) {
        char16_t unit = path[i] == u'/' ? u'\\' : path[i];
        if (unit >= 0xD800 && unit <= 0xDFFF) // halves have no case of their own
            continue;
        if (unit >= 0x80)
            Platform::CharLowerBuffW(&unit, 1);
        else if (unit >= u'A' && unit <= u'Z')
            unit += u'a' - u'A';
        hash = hash * 31 + unit;
    }
    return static_cast<int>(hash);
}

// A full path, by which a file is found.
struct CWanted {
    const CUnicodeString& path;
};

int HashKey(const CTempFile& file) { return hashOfName(file.name); }
int HashKey(const CWanted& wanted) { return hashOfName(wanted.path); }
bool AreHashTableKeysEqual(const CTempFile& a, const CTempFile& b) { return isSameName(a.name, b.name); }
bool AreHashTableKeysEqual(const CTempFile& file, const CWanted& wanted) {
    return isSameName(file.name, wanted.path);
}

// What the process remembers of its temporary files.
struct CTempFiles {
    CUnicodeString chosenDir;
    CHashTable<CTempFile> files;
    CArray<CTempFolder> folders;
    CArray<CUnicodeString> searchedFolders; // for what other processes have left

    CTempFolder* FindFolder(const CUnicodeString& dir) {
        for (CTempFolder& folder : folders)
            if (isSameSpelling(folder.dir, dir))
                return &folder;
        return nullptr;
    }
};

constinit CSharedState<CTempFiles> tempFiles;

bool isListed(const CUnicodeString& path) {
    return tempFiles.Use([&](CTempFiles& all) { return all.files.FindByKey(CWanted{path}) != nullptr; });
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
    const CUnicodeString name = tempFiles.Use([&](CTempFiles& all) {
        const CTempFile* file = all.files.FindByKey(CWanted{path});
        const CUnicodeString found = file != nullptr ? file->name : CUnicodeString();
        all.files.DeleteByKey(CWanted{path});
        return found;
    });
    if (!name.IsEmpty())
        leaveFolder(FolderOf(name));
}

// A file that is about to become permanent under a name of the library's, or to be kept: nobody must take it
// for one that was left behind, even if this process is killed the next moment.
void protect(const CUnicodeString& path) {
    const CUnicodeString name = path.Mid(FolderOf(path).GetLength());
    const bool isDone = tempFiles.Use([&](CTempFiles& all) {
        for (CTempFolder& folder : all.folders)
            if (!folder.List(name))
                return false;
        return true;
    });
    if (!isDone)
        ThrowFileException(Platform::GetLastError(), path);
}

// Lists a file before it is made, so that none is made that cannot be listed.
void addToList(const CTempFile& file) {
    CMemoryManagerSwitcher toDefault(nullptr); // outlives every caller
    try {
        tempFiles.Use([&](CTempFiles& all) { all.files.Insert(file); });
    } catch (...) {
        leaveFolder(FolderOf(file.name));
        throw;
    }
}

void setMade(const CUnicodeString& path) {
    tempFiles.Use([&](CTempFiles& all) {
        if (CTempFile* file = all.files.FindByKey(CWanted{path}); file != nullptr)
            file->isMade = true;
    });
}

bool areTempFilesKept() { return ReadLibraryFlag(u"KeepTempFiles", false); }

// The full path of a folder as it begins the names of its files.
CUnicodeString markedFolder(const CUnicodeString& dir) {
    const CUnicodeString path = FileSystem::FullPath(dir);
    const bool isComplete = path.IsEmpty() || FolderOf(path) == path;
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

// Whether nobody has asked for this folder before. The memory must be the process's own.
bool isFirstUse(const CUnicodeString& dir) {
    return tempFiles.Use([&](CTempFiles& files) {
        for (const CUnicodeString& known : files.searchedFolders)
            if (isSameSpelling(known, dir))
                return false;
        if (files.searchedFolders.Size() == kMostSearchedFolders)
            files.searchedFolders.DeleteAll();
        files.searchedFolders.Add(dir);
        return true;
    });
}

// Puts a mark into a folder, unless another thread has just done so. Returns false with the last error.
bool enterFolder(const CUnicodeString& dir) {
    CMemoryManagerSwitcher toDefault(nullptr);
    CTempFolder made;
    if (!made.Create(dir))
        return false;
    try {
        if (isFirstUse(dir))
            RemoveStrayTempFiles(made);
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

// Creates a file in a folder, counts it there and lists it. Returns an empty name with the last error.
CUnicodeString create(const CUnicodeString& dir, const char16_t* prefix, bool isInternal) {
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
        addToList({name, isInternal});
        if (Platform::CreateTemporaryFileW(name)) {
            setMade(name);
            return name;
        }
        const DWORD code = Platform::GetLastError();
        removeFromList(name);
        if (code != ERROR_FILE_EXISTS) {
            Platform::SetLastError(code);
            return CUnicodeString();
        }
    }
}

// The same in any folder, with any prefix.
CUnicodeString newFile(const CUnicodeString& dir, const char16_t* prefix, bool isInternal) {
    const CUnicodeString start(prefix == nullptr || *prefix == 0 ? kDefaultPrefix : prefix);
    if (start.FindOneOf(kNeverInNames) >= 0) { // might lead into another folder
        Platform::SetLastError(ERROR_INVALID_NAME);
        return CUnicodeString();
    }
    return create(markedFolder(dir), start, isInternal);
}

CUnicodeString checked(const CUnicodeString& name, const CUnicodeString& dir) {
    if (name.IsEmpty())
        GenCheck(ERR_CREATE_TEMP_FILE, FileSystem::ForDisplay(FileSystem::FullPath(dir)));
    return name;
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

void checkReplaceable(const CUnicodeString& permanent) {
    const DWORD attributes = Platform::GetFileAttributesW(permanent);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        ThrowFileException(ERROR_ALREADY_EXISTS, permanent);
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        ThrowFileException(ERROR_ACCESS_DENIED, permanent);
}

// Gives a file the rights of its final name, and stores both rights and contents so that they survive a crash
// of the system. Only a file that can be written can be stored.
void prepare(const CUnicodeString& file, const CUnicodeString& permanent, const CUnicodeString& model) {
    CFile opened(file, CFile::ForWriting | CFile::DenyNone);
    checkMove(Platform::CopyFileSecurityW(model, file), permanent);
    opened.Flush();
    opened.Close();
}

// The mark in a folder, or an empty one.
CTempFolder markIn(const CUnicodeString& dir) {
    return tempFiles.Use([&](CTempFiles& files) {
        const CTempFolder* folder = files.FindFolder(dir);
        return folder == nullptr ? CTempFolder() : *folder;
    });
}

// Gives a file its final name in its own folder, or makes it permanent under its own. If that fails, it is
// again as private as any temporary file.
void putInPlace(const CUnicodeString& file, const CUnicodeString& permanent) {
    const CTempFolder mark = markIn(FolderOf(file));
    const DWORD attributes = FileSystem::GetAttributes(file);
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        FileSystem::SetAttributes(file, attributes & ~FILE_ATTRIBUTE_READONLY);
    try {
        prepare(file, permanent, isSameName(file, permanent) ? mark.UnusedName() : permanent);
        checkMove(Platform::MoveFileExW(file, permanent, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH),
                  permanent);
    } catch (...) {
        Platform::CopyFileSecurityW(mark.lockFile, file);
        if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
            Platform::SetFileAttributesW(file, attributes);
        throw;
    }
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
    const CUnicodeString dir = FolderOf(permanent);
    const CUnicodeString fresh = checked(newFile(dir, nullptr, true), dir);
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

// Takes a file from the list, and from the disk unless it is to be kept.
void dispose(const CUnicodeString& path, bool isKept) {
    if (isKept)
        protect(path);
    else
        removeIfPresent(path);
    removeFromList(path);
}

// The files that are there, in the order in which they were made.
CArray<CTempFile> listed() {
    return tempFiles.Use([](CTempFiles& all) {
        CArray<CTempFile> made;
        for (const CTempFile& file : all.files)
            if (file.isMade)
                made.Add(file);
        return made;
    });
}

// Disposes of the files that clients have made, or of all. Throws the first failure at the end.
void disposeOfAll(bool internalToo) {
    const bool areKept = areTempFilesKept();
    std::exception_ptr failure;
    const CArray<CTempFile> all = listed();
    for (int i = all.Size() - 1; i >= 0; i--) {
        try {
            if (internalToo || !all[i].isInternal)
                dispose(all[i].name, areKept && !all[i].isInternal);
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

} // namespace

void AttachTempFiles() {
    tempFiles.KeepUsableAfterFork<tempFiles>();
    // The files stay those of the process that created them: a child's `Clean` must not remove them.
    Platform::HandleForks([] {}, [] {},
                          [] {
                              tempFiles.Use([](CTempFiles& files) {
                                  files.files.DeleteAll();
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

CUnicodeString FolderOf(const CUnicodeString& path) {
    return path.Left(std::max(path.ReverseFind(u'\\'), path.ReverseFind(u'/')) + 1);
}

CUnicodeString TryNewInDir(const CUnicodeString& dir, const char16_t* prefix) {
    return newFile(dir, prefix, true);
}

CUnicodeString NewInDir(const CUnicodeString& dir, const char16_t* prefix) {
    return checked(newFile(dir, prefix, false), dir);
}

// Programs make many files in this folder, so the mark stays there until `DeleteAll`.
CUnicodeString New(const char16_t* prefix) {
    const CUnicodeString dir = GetTemporaryDir();
    CUnicodeString name = NewInDir(dir, prefix);
    tempFiles.Use([&](CTempFiles& files) {
        if (CTempFolder* folder = files.FindFolder(FolderOf(name)); folder != nullptr)
            folder->isKept = true;
    });
    return name;
}

bool IsTempFile(const CUnicodeString& name) { return isListed(FileSystem::FullPath(name)); }

void Delete(const CUnicodeString& name) {
    const CUnicodeString path = FileSystem::FullPath(name);
    if (!require(isListed(path), __LINE__))
        return;
    if (areTempFilesKept())
        protect(path);
    else
        FileSystem::Remove(path);
    removeFromList(path);
}

void MakePermanent(const CUnicodeString& tempName, const CUnicodeString& permanentName) {
    const CUnicodeString temp = FileSystem::FullPath(tempName);
    const CUnicodeString permanent = FollowLinks(FileSystem::FullPath(permanentName));
    if (!require(isListed(temp) && FileSystem::AccessFile(temp, 0), __LINE__))
        return;
    bool isTempGone = true;
    if (!isSameSpelling(temp, permanent))
        checkReplaceable(permanent);
    protect(permanent);
    RunOnBehalfOf(permanent, temp, [&] {
        if (isSameSpelling(FolderOf(temp), FolderOf(permanent)))
            putInPlace(temp, permanent);
        else
            isTempGone = putInPlaceElsewhere(temp, permanent);
    });
    if (isTempGone)
        removeFromList(temp);
    // The final name may have belonged to another temporary file, now replaced; the new file must stay.
    removeFromList(permanent);
}

void DeleteAll() {
    SetTemporaryDir(CUnicodeString());
    disposeOfAll(false);
}

void Discard(const CUnicodeString& name) noexcept {
    try {
        dispose(name, false);
    } catch (CException* e) {
        e->Delete();
        // Nobody uses the file any more, so `DeleteAll` may remove it. This takes no memory.
        tempFiles.Use([&](CTempFiles& all) {
            for (CTempFile& file : all.files)
                file.isInternal = file.isInternal && file.name != name;
        });
    }
}

CUnicodeString FollowLinks(const CUnicodeString& path) {
    DWORD code = ERROR_SUCCESS;
    const CUnicodeString target = AskPlatformForText([&](char16_t* buffer, DWORD size) {
        Platform::SetLastError(ERROR_SUCCESS);
        const DWORD length = Platform::GetLinkTargetW(path, size, buffer);
        code = length == 0 ? Platform::GetLastError() : DWORD{ERROR_SUCCESS};
        return length;
    });
    if (code != ERROR_SUCCESS && code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND)
        ThrowFileException(code, path);
    return target.IsEmpty() ? path : target;
}

void Reset() {
    try {
        SetTemporaryDir(CUnicodeString());
        disposeOfAll(true);
    } catch (...) {
        tempFiles.Release();
        throw;
    }
    tempFiles.Release();
}

} // namespace Tarn::TempFile
