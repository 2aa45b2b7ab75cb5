// Sizes, times and attributes of files.
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>

#include "files/full_path.h"
#include "platform/platform.h"

namespace Tarn {

namespace {

// Checks a call on the file of this name.
void check(BOOL result, const CUnicodeString& name) {
    if (result)
        return;
    const DWORD code = Platform::GetLastError();
    ThrowFileException(code, name);
}

void setTimes(CFileStatus& status, const FILETIME& creation, const FILETIME& access, const FILETIME& write) {
    status.CreationTime = CTime::CreateFromFileTimeGmt(creation);
    status.AccessTime = CTime::CreateFromFileTimeGmt(access);
    status.ModificationTime = CTime::CreateFromFileTimeGmt(write);
}

// A time as the system's call takes it: null keeps the time that the file has.
class CTimeToSet {
public:
    explicit CTimeToSet(CTime wanted) : isSet(wanted != CTime::CreateZeroTime()) {
        wanted.GetAsFileTimeGmt(time);
    }
    bool IsSet() const { return isSet; }
    const FILETIME* Ptr() const { return isSet ? &time : nullptr; }

private:
    FILETIME time;
    bool isSet;
};

bool isReadOnly(DWORD attributes) { return (attributes & FILE_ATTRIBUTE_READONLY) != 0; }

} // namespace

void CFile::GetStatus(CFileStatus& status) const {
    if (!assertOpen())
        return;
    CFileStatus found;
    found.FullName = name;
    found.Attributes = FileSystem::GetAttributes(name);
    found.Size = GetLength64();
    FILETIME creation, access, write;
    if (!Platform::GetFileTime(handle, &creation, &access, &write))
        throwLastError();
    setTimes(found, creation, access, write);
    status = found;
}

void CFile::GetStatus(const CUnicodeString& fileName, CFileStatus& status) {
    CFileStatus found;
    found.FullName = FileSystem::FullPath(fileName);
    WIN32_FIND_DATAW data;
    const HANDLE search = Platform::FindFirstFileW(found.FullName, &data);
    check(search != INVALID_HANDLE_VALUE, fileName);
    Platform::FindClose(search);
    found.Attributes = data.dwFileAttributes;
    found.Size = static_cast<Int64>(UInt64{data.nFileSizeHigh} << 32 | data.nFileSizeLow);
    setTimes(found, data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime);
    status = found;
}

void CFile::SetStatus(const CUnicodeString& fileName, const CFileStatus& status) {
    const CUnicodeString path = FileSystem::FullPath(fileName);
    const DWORD attributes = Platform::GetFileAttributesW(path);
    check(attributes != INVALID_FILE_ATTRIBUTES, fileName);
    const bool attributesDiffer = attributes != status.Attributes;
    const bool wasReadOnly = isReadOnly(attributes);
    if (attributesDiffer && wasReadOnly) // until then the times cannot be written
        check(Platform::SetFileAttributesW(path, status.Attributes), fileName);

    const CTimeToSet creation(status.CreationTime);
    const CTimeToSet access(status.AccessTime);
    const CTimeToSet write(status.ModificationTime);
    if (!creation.IsSet() && !access.IsSet() && !write.IsSet())
        return;
    const HANDLE file = Platform::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    check(file != INVALID_HANDLE_VALUE, fileName);
    if (!Platform::SetFileTime(file, creation.Ptr(), access.Ptr(), write.Ptr())) {
        const DWORD code = Platform::GetLastError();
        Platform::CloseHandle(file);
        ThrowFileException(code, fileName);
    }
    check(Platform::CloseHandle(file), fileName);

    if (attributesDiffer && !wasReadOnly)
        check(Platform::SetFileAttributesW(path, status.Attributes), fileName);
}

} // namespace Tarn
