#include <tarnkit/array.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>
#include <tarnkit/temp_file.h>

#include "errors/requirement.h"
#include "files/full_path.h"
#include "files/platform_text.h"
#include "files/process_files.h"
#include "memory/shared_state.h"
#include "platform/fork.h"
#include "platform/platform.h"

#include <exception>

namespace Tarn::TempFile {

namespace {

constexpr CRequirement require(u"TempFile");

constexpr const char16_t* kDefaultPrefix = u"tmp";

bool isSameName(const CUnicodeString& a, const CUnicodeString& b) {
    return FileSystem::CmpNames(&a, &b) == 0;
}

// What the process remembers of its temporary files.
struct CTempFiles {
    CUnicodeString chosenDir;
    CArray<CUnicodeString> names; // full paths
    int reserved = 0;             // the names that are about to be added

    // The index in the list of the file with this full path, or -1.
    int Find(const CUnicodeString& path) const {
        for (int i = 0; i < names.Size(); i++)
            if (isSameName(names[i], path))
                return i;
        return -1;
    }
};

constinit CSharedState<CTempFiles> tempFiles;

bool isListed(const CUnicodeString& path) {
    return tempFiles.Use([&](CTempFiles& files) { return files.Find(path) >= 0; });
}

void removeFromList(const CUnicodeString& path) {
    tempFiles.Use([&](CTempFiles& files) {
        if (const int place = files.Find(path); place >= 0)
            files.names.DeleteAt(place);
    });
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

// Creates a file without listing it and returns its full name; empty when the check returns.
CUnicodeString create(const CUnicodeString& dir, const char16_t* prefix) {
    char16_t name[MAX_PATH];
    // An empty name would be the directory that the process was started in.
    if (dir.IsEmpty() || Platform::GetTempFileNameW(dir, prefix, 0, name) == 0) {
        GenCheck(ERR_CREATE_TEMP_FILE, dir);
        return CUnicodeString();
    }
    return FileSystem::FullPath(CUnicodeString(name));
}

// Moves a file over the empty file that holds the name.
void moveOver(const CUnicodeString& from, const CUnicodeString& to) {
    FileSystem::Remove(to);
    FileSystem::Move(from, to);
}

void undoMove(const CUnicodeString& from, const CUnicodeString& to) {
    try {
        FileSystem::Move(to, from);
    } catch (CException* e) { // the file stays where it is, under its temporary name
        e->Delete();
    }
}

// Gives a file the final name in its own directory. An existing file of that name is set aside meanwhile and
// restored if this fails.
void putInPlace(const CUnicodeString& file, const CUnicodeString& permanent, const CUnicodeString& dir) {
    if (!FileSystem::AccessFile(permanent, 0)) {
        FileSystem::Rename(file, permanent);
        return;
    }
    if ((FileSystem::GetAttributes(permanent) & FILE_ATTRIBUTE_READONLY) != 0)
        ThrowFileException(ERROR_ACCESS_DENIED, permanent);
    const CUnicodeString aside = create(dir, kDefaultPrefix);
    moveOver(permanent, aside);
    try {
        FileSystem::Rename(file, permanent);
    } catch (...) {
        undoMove(permanent, aside);
        throw;
    }
    FileSystem::RemoveIgnoreErrors(aside);
}

// Brings the temporary file into the other directory under a fresh name and puts it in place there. It is
// moved, or copied if it cannot be moved; the original is only removed when everything else has succeeded.
void putInPlaceElsewhere(const CUnicodeString& temp, const CUnicodeString& permanent,
                         const CUnicodeString& dir) {
    const CUnicodeString fresh = create(dir, kDefaultPrefix);
    bool isMoved = true;
    try {
        moveOver(temp, fresh);
    } catch (CException* e) {
        e->Delete();
        isMoved = false;
    }
    try {
        if (!isMoved)
            FileSystem::Copy(temp, fresh);
        putInPlace(fresh, permanent, dir);
    } catch (...) {
        if (isMoved)
            undoMove(temp, fresh);
        else
            FileSystem::RemoveIgnoreErrors(fresh);
        throw;
    }
    if (!isMoved)
        FileSystem::RemoveIgnoreErrors(temp);
}

// Removes a listed file unless it is gone already.
void removeIfPresent(const CUnicodeString& path) {
    if (FileSystem::AccessFile(path, 0))
        FileSystem::Remove(path);
}

} // namespace

void AttachTempFiles() {
    tempFiles.KeepUsableAfterFork<tempFiles>();
    // The files stay those of the process that created them: a child's `Clean` must not remove them.
    Platform::HandleForks([] {}, [] {},
                          [] { tempFiles.Use([](CTempFiles& files) { files.names.DeleteAll(); }); });
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

CUnicodeString New(const char16_t* prefix) { return NewInDir(GetTemporaryDir(), prefix); }

CUnicodeString NewInDir(const CUnicodeString& dir, const char16_t* prefix) {
    CReservation place; // so that no file is created that cannot be listed
    const bool hasPrefix = prefix != nullptr && *prefix != 0;
    const CUnicodeString name = create(FileSystem::FullPath(dir), hasPrefix ? prefix : kDefaultPrefix);
    if (!name.IsEmpty())
        place.Use(name);
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
    const CUnicodeString permanent = FileSystem::FullPath(permanentName);
    if (!require(isListed(temp) && FileSystem::AccessFile(temp, 0), __LINE__))
        return;
    if (!isSameName(temp, permanent)) {
        const CUnicodeString dir = FileSystem::GetDrivePath(permanent);
        if (isSameName(FileSystem::GetDrivePath(temp), dir))
            putInPlace(temp, permanent, dir);
        else
            putInPlaceElsewhere(temp, permanent, dir);
    }
    removeFromList(temp);
    // The final name may have belonged to another temporary file, now replaced; the new file must stay.
    removeFromList(permanent);
}

void DeleteAll() {
    SetTemporaryDir(CUnicodeString());
    if (areTempFilesKept()) {
        tempFiles.Use([](CTempFiles& files) { files.names.DeleteAll(); });
        return;
    }
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
    if (failure)
        std::rethrow_exception(failure);
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
