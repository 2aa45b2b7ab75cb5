#include "files/file_replacement.h"

#include "files/full_path.h"
#include "platform/platform.h"

namespace Tarn {

namespace {

constexpr unsigned kForWriting = CFile::ForWriting | CFile::Exclusive | CFile::Create;

enum class TOldFile { missing, replaceable, inPlace };

// What is there to be replaced. A file that could not be overwritten must not be replaced either.
TOldFile checkOldFile(const CUnicodeString& name) {
    const HANDLE old = Platform::CreateFileW(name, GENERIC_WRITE, 0, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (old == INVALID_HANDLE_VALUE) {
        const DWORD code = Platform::GetLastError();
        if (code != ERROR_FILE_NOT_FOUND)
            ThrowFileException(code, name);
        return TOldFile::missing;
    }
    const DWORD type = Platform::GetFileType(old);
    Platform::CloseHandle(old);
    const bool isDocument = type == FILE_TYPE_DISK && !TempFile::IsTempFile(name);
    return isDocument ? TOldFile::replaceable : TOldFile::inPlace;
}

} // namespace

CFileReplacement::CFileReplacement(const CUnicodeString& fileName)
    : name(TempFile::FollowLinks(FileSystem::FullPath(fileName))) {
    const TOldFile old = checkOldFile(name);
    if (old != TOldFile::inPlace)
        temp = TempFile::TryNewInDir(TempFile::FolderOf(name), nullptr);
    if (temp.IsEmpty()) {
        const DWORD code = Platform::GetLastError();
        if (old == TOldFile::missing || (old == TOldFile::replaceable && code != ERROR_ACCESS_DENIED))
            ThrowFileException(code, name);
        file.Open(name, kForWriting);
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
        if (!temp.IsEmpty())
            TempFile::MakePermanent(temp, name);
    });
    temp.Empty();
}

} // namespace Tarn
