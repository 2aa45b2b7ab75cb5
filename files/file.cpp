#include <tarnkit/byte_order.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>

#include "errors/requirement.h"
#include "files/full_path.h"
#include "memory/in_destructor.h"
#include "platform/platform.h"

#include <climits>
#include <cstdint>
#include <utility>

namespace Tarn {

namespace {

constexpr CRequirement require(u"File");

constexpr unsigned int kAccessBits = 0x0003;
constexpr unsigned int kShareBits = 0x0070;

bool areFlagsValid(unsigned int flags) {
    return (flags & kAccessBits) <= CFile::ForReadingAndWriting && (flags & kShareBits) <= CFile::DenyNone;
}

bool fitsInt(Int64 value) { return value >= 0 && value <= INT_MAX; }

// A 64-bit value as the 32-bit calls return it.
int narrow(Int64 value) { return require(fitsInt(value), __LINE__) ? static_cast<int>(value) : INT_MAX; }

} // namespace

CBaseFile::~CBaseFile() noexcept(false) = default;

CFile::CFile(const CUnicodeString& fileName, unsigned int flags) { Open(fileName, flags); }

CFile::CFile(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes) {
    Open(fileName, flags, attributes);
}

CFile::CFile(CFile& other) : CBaseFile(other) {}

CFile::CFile(CFile&& other) noexcept
    : CBaseFile(other), handle(std::exchange(other.handle, INVALID_HANDLE_VALUE)),
      name(std::move(other.name)) {}

CFile& CFile::operator=(const CFile& other) {
    if (this != &other)
        CFile::Close();
    return *this;
}

CFile& CFile::operator=(CFile&& other) noexcept {
    if (this != &other) {
        CFile::Abort();
        handle = std::exchange(other.handle, INVALID_HANDLE_VALUE);
        name = std::move(other.name);
    }
    return *this;
}

CFile::~CFile() noexcept(false) {
    RunInDestructor([this] { CFile::Close(); });
}

void CFile::Open(const CUnicodeString& fileName, unsigned int flags) {
    Open(fileName, flags, FILE_ATTRIBUTE_NORMAL);
}

void CFile::Open(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes) {
    openThrough(Platform::CreateFileW, fileName, flags, attributes);
}

void CFile::OpenForMapping(const CUnicodeString& fileName, unsigned int flags) {
    OpenForMapping(fileName, flags, FILE_ATTRIBUTE_NORMAL);
}

void CFile::OpenForMapping(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes) {
    openThrough(Platform::CreateFileForMappingW, fileName, flags, attributes);
}

void CFile::CloseMapped() { CFile::Abort(); }

void CFile::openThrough(TCreateCall& create, const CUnicodeString& fileName, unsigned int flags,
                        unsigned long attributes) {
    if (!require(!IsOpen(), __LINE__))
        return;
    const auto access = static_cast<DWORD>(AccessMode(flags));
    const auto share = static_cast<DWORD>(ShareMode(flags));
    if (!areFlagsValid(flags))
        return;
    name = FileSystem::FullPath(fileName);
    handle =
        create(name, access, share, static_cast<DWORD>(CreateMode(flags)), static_cast<DWORD>(attributes));
    if (!IsOpen())
        throwLastErrorAndDie();
}

CUnicodeString CFile::GetFileName() { return FileSystem::ForDisplay(name); }

int CFile::Read(void* buffer, int size) {
    if (size == 0 || !assertTransfer(buffer, size))
        return 0;
    DWORD read = 0;
    if (!Platform::ReadFile(handle, buffer, static_cast<DWORD>(size), &read))
        throwLastError();
    return static_cast<int>(read);
}

void CFile::Write(const void* buffer, int size) {
    if (size == 0 || !assertTransfer(buffer, size))
        return;
    DWORD written = 0;
    if (!Platform::WriteFile(handle, buffer, static_cast<DWORD>(size), &written))
        throwLastError();
    if (written < static_cast<DWORD>(size)) // the disk is full, although the system reported success
        ThrowFileException(ERROR_DISK_FULL, name);
}

int CFile::GetPosition() const { return narrow(GetPosition64()); }

int CFile::Seek(int offset, TSeekPosition from) {
    const Int64 reached = Seek(Int64{offset}, from);
    if (!fitsInt(reached))
        ThrowFileException(CFileException::badSeek, name);
    return static_cast<int>(reached);
}

void CFile::SetLength(int length) { SetLength(Int64{length}); }

int CFile::GetLength() const { return narrow(GetLength64()); }

void CFile::Abort() {
    if (!IsOpen())
        return;
    Platform::CloseHandle(std::exchange(handle, INVALID_HANDLE_VALUE));
    name.Empty();
}

void CFile::Flush() {
    if (assertOpen() && !Platform::FlushFileBuffers(handle))
        throwLastError();
}

void CFile::Close() {
    if (!IsOpen())
        return;
    if (!Platform::CloseHandle(std::exchange(handle, INVALID_HANDLE_VALUE)))
        throwLastError();
    name.Empty();
}

Int64 CFile::GetPosition64() const { return assertOpen() ? seekTo(0, Current) : 0; }

Int64 CFile::Seek(Int64 offset, TSeekPosition from) { return assertOpen() ? seekTo(offset, from) : 0; }

Int64 CFile::seekTo(Int64 offset, TSeekPosition from) const {
    auto high = static_cast<LONG>(offset >> 32);
    Platform::SetLastError(ERROR_SUCCESS); // a low half of all ones is valid, so only the error tells
    const DWORD low =
        Platform::SetFilePointer(handle, static_cast<LONG>(offset), &high, static_cast<DWORD>(from));
    if (low == INVALID_SET_FILE_POINTER && Platform::GetLastError() != ERROR_SUCCESS)
        throwLastError();
    return Int64{high} << 32 | low;
}

Int64 CFile::GetLength64() const {
    if (!assertOpen())
        return 0;
    DWORD high = 0;
    Platform::SetLastError(ERROR_SUCCESS); // as in seekTo
    const DWORD low = Platform::GetFileSize(handle, &high);
    if (low == INVALID_FILE_SIZE && Platform::GetLastError() != ERROR_SUCCESS)
        throwLastError();
    return Int64{high} << 32 | low;
}

void CFile::SetLength(Int64 length) {
    if (!require(length >= 0, __LINE__) || !assertOpen())
        return;
    seekTo(length, Begin);
    if (!Platform::SetEndOfFile(handle))
        throwLastError();
}

void CFile::ReadRecord(void* buffer, int size) {
    if (Read(buffer, size) < size)
        ThrowFileException(CFileException::endOfFile, name);
}

unsigned char CFile::ReadByte() {
    unsigned char value = 0;
    ReadRecord(&value, sizeof value);
    return value;
}

unsigned short CFile::ReadWord() {
    std::uint16_t value = 0;
    ReadRecord(&value, sizeof value);
    return LittleEndian(value);
}

unsigned long CFile::ReadDWord() {
    std::uint32_t value = 0;
    ReadRecord(&value, sizeof value);
    return LittleEndian(value);
}

void CFile::WriteByte(unsigned char value) { Write(&value, sizeof value); }

void CFile::WriteWord(unsigned short value) {
    value = LittleEndian(value);
    Write(&value, sizeof value);
}

void CFile::WriteDWord(unsigned long value) {
    auto stored = static_cast<std::uint32_t>(value);
    require(stored == value, __LINE__);
    stored = LittleEndian(stored);
    Write(&stored, sizeof stored);
}

unsigned long CFile::AccessMode(unsigned int flags) {
    switch (flags & kAccessBits) {
    case ForReading:
        return GENERIC_READ;
    case ForWriting:
        return GENERIC_WRITE;
    case ForReadingAndWriting:
        return GENERIC_READ | GENERIC_WRITE;
    default:
        GenAssert(u"File", __LINE__);
        return 0;
    }
}

unsigned long CFile::ShareMode(unsigned int flags) {
    switch (flags & kShareBits) {
    case 0:
    case Exclusive:
        return 0;
    case DenyWrite:
        return FILE_SHARE_READ;
    case DenyRead:
        return FILE_SHARE_WRITE;
    case DenyNone:
        return FILE_SHARE_READ | FILE_SHARE_WRITE;
    default:
        GenAssert(u"File", __LINE__);
        return 0;
    }
}

unsigned long CFile::CreateMode(unsigned int flags) {
    if ((flags & Create) == 0)
        return OPEN_EXISTING;
    return (flags & KeepContents) != 0 ? OPEN_ALWAYS : CREATE_ALWAYS;
}

bool CFile::assertOpen() const { return require(IsOpen(), __LINE__); }

bool CFile::assertTransfer(const void* buffer, int size) const {
    return require(buffer != nullptr && size > 0, __LINE__) && assertOpen();
}

void CFile::throwLastError() const {
    const DWORD code = Platform::GetLastError();
    ThrowFileException(code, name);
}

void CFile::throwLastErrorAndDie() {
    const DWORD code = Platform::GetLastError();
    const CUnicodeString failed = std::exchange(name, CUnicodeString());
    ThrowFileException(code, failed);
}

} // namespace Tarn
