#include "files/file_replacement.h"

#include "files/full_path.h"
#include "files/patience.h"
#include "platform/platform.h"

namespace Tarn {

namespace {

constexpr unsigned kForWriting = CFile::ForWriting | CFile::Exclusive | CFile::Create;

enum class TOldFile { missing, replaceable, inPlace };

// What is there to be replaced. A file that could not be overwritten must not be replaced either. What is not
// on a disk stays open as `file`: if a pipe were closed and opened again, its reader would see its end.
TOldFile checkOldFile(const CUnicodeString& name, CFile& file) {
    try {
        OpenPatiently(file, name, CFile::ForWriting | CFile::Exclusive);
    } catch (CFileException* e) {
        if (e->ErrorCode() != ERROR_FILE_NOT_FOUND)
            throw;
        e->Delete();
        return TOldFile::missing;
    }
    if (Platform::GetFileType(file.Handle()) != FILE_TYPE_DISK)
        return TOldFile::inPlace;
    file.Abort();
    return TempFile::IsTempFile(name) ? TOldFile::inPlace : TOldFile::replaceable;
}

} // namespace

CFileReplacement::CFileReplacement(const CUnicodeString& fileName)
    : name(TempFile::FollowLinks(FileSystem::FullPath(fileName))) {
    const TOldFile old = checkOldFile(name, file);
    if (file.IsOpen())
        return;
    if (old != TOldFile::inPlace)
        temp = TempFile::TryNewInDir(FileSystem::GetDrivePath(name), nullptr);
    if (temp.IsEmpty()) {
        const DWORD code = Platform::GetLastError();
        if (old == TOldFile::missing || (old == TOldFile::replaceable && code != ERROR_ACCESS_DENIED))
            ThrowFileException(code, name);
        OpenPatiently(file, name, kForWriting);
        return;
    }
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
        file.Close();
        if (temp.IsEmpty())
            return;
        // Whoever reads the old file at this moment keeps it from being replaced.
        TryPatiently(
            kWaitForDocument, [this] { TempFile::MakePermanent(temp, name); },
            [this](DWORD code) {
                return (code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED) &&
                       FileSystem::AccessFile(temp, 0);
            });
    });
    temp.Empty();
}

} // namespace Tarn
