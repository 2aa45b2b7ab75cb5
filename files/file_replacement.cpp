#include "files/file_replacement.h"

#include "files/full_path.h"
#include "files/patience.h"
#include "platform/platform.h"

namespace Tarn {

namespace {

constexpr unsigned kForWriting = CFile::ForWriting | CFile::Exclusive;

// Whether the folder, not the file, cannot be changed as a replacement needs it.
bool isRefusal(DWORD code) {
    return code == ERROR_ACCESS_DENIED || code == ERROR_BUSY || code == ERROR_WRITE_PROTECT;
}

bool isOnDisk(CFile& file) { return Platform::GetFileType(file.Handle()) == FILE_TYPE_DISK; }

// Opens what is there to be replaced, if there is anything. A file that could not be overwritten must not be
// replaced either.
bool openOldFile(CFile& file, const CUnicodeString& name) {
    try {
        OpenPatiently(file, name, kForWriting);
        return true;
    } catch (CFileException* e) {
        if (e->ErrorCode() != ERROR_FILE_NOT_FOUND)
            throw;
        e->Delete();
        return false;
    }
}

} // namespace

CFileReplacement::CFileReplacement(const CUnicodeString& fileName)
    : name(TempFile::FollowLinks(FileSystem::FullPath(fileName))) {
    // If a pipe were closed and opened again, its reader would see its end.
    const bool isThere = openOldFile(file, name);
    const bool isReplaced = !isThere || (isOnDisk(file) && !TempFile::IsTempFile(name));
    if (isReplaced) {
        file.Close();
        temp = TempFile::TryNewInDir(TempFile::FolderOf(name), nullptr);
        if (!temp.IsEmpty()) {
            openTemp();
            return;
        }
        const DWORD code = Platform::GetLastError();
        if (!isThere || !isRefusal(code))
            ThrowFileException(code, name);
        OpenPatiently(file, name, kForWriting);
    }
    if (isOnDisk(file))
        file.SetLength(Int64{0});
}

void CFileReplacement::openTemp() {
    try {
        file.Open(temp, kForWriting);
    } catch (...) {
        TempFile::Discard(temp);
        throw;
    }
}

CFileReplacement::~CFileReplacement() {
    file.Abort();
    if (!temp.IsEmpty())
        TempFile::Discard(temp);
}

void CFileReplacement::Commit() {
    TempFile::RunOnBehalfOf(name, temp, [this] {
        if (temp.IsEmpty() && isOnDisk(file))
            file.Flush();
        file.Close();
        if (!temp.IsEmpty())
            takeName();
    });
    temp.Empty();
}

void CFileReplacement::takeName() {
    // Whoever reads the old file at this moment keeps it from being replaced. On Windows, access is denied
    // while it is being closed.
    constexpr int kMostDenials = 30;
    int denials = 0;
    const auto mayPass = [&](DWORD code) {
        const bool isDisturbed =
            code == ERROR_SHARING_VIOLATION || (code == ERROR_ACCESS_DENIED && denials++ < kMostDenials);
        return isDisturbed && FileSystem::AccessFile(temp, 0);
    };
    try {
        TryPatiently(
            kWaitForDocument, [this] { TempFile::MakePermanent(temp, name); }, mayPass);
    } catch (CFileException* e) {
        if (!isRefusal(e->ErrorCode()))
            throw;
        e->Delete();
        if (!Platform::CopyFileW(temp, name, FALSE))
            ThrowFileException(Platform::GetLastError(), name);
        TempFile::Discard(temp);
    }
}

} // namespace Tarn
