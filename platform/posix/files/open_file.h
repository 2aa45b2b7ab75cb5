// An open file, and the only way to open one. The calls on file handles, and those that copy, work on it.
#pragma once

#include "platform/posix/files/handles.h"

namespace Tarn::Platform::Posix {

struct OpenFile : HandleObject {
    static constexpr Kind kKind = Kind::File;

    OpenFile() : HandleObject(kKind) {}
    ~OpenFile() override { Shut(); }
    DWORD Shut() override;

    bool CanRead() const { return (access & GENERIC_READ) != 0; }
    bool CanWrite() const { return (access & GENERIC_WRITE) != 0; }

    int descriptor = -1;
    DWORD access = 0;
    bool isRegular = false;
    /// Transfers happen at `position`; otherwise wherever the device is.
    bool isSeekable = false;
    bool isClaimed = false;
    /// Writing may raise a signal: if nobody reads a pipe, or at the process's limit on file sizes.
    bool mayRaiseSignal = false;
    Int64 position = 0; ///< shared by all transfers on the handle
    /// The path of a file that is to be removed when it is closed.
    String pathToDelete;
};

/// Opens as `CreateFileW` does. Returns a code; on success `file` is the open file and `existed` says whether
/// there was already a file of that name.
DWORD Open(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes,
           Owned<OpenFile>& file, bool& existed);

/// Creates an empty file as `CreateTemporaryFileW` does.
DWORD CreateTemporary(const char16_t* name);

/// Transfers all `size` bytes, or those up to the end of the file, and moves the position. `done` is the
/// number of bytes transferred, even if a later part failed. The access rights are not checked.
DWORD ReadFrom(OpenFile& file, void* buffer, std::size_t size, std::size_t& done);
DWORD WriteTo(OpenFile& file, const void* buffer, std::size_t size, std::size_t& done);

/// Copies the contents of `source` to the beginning of `target`. Neither may have been read from or written
/// to before.
DWORD CopyContents(OpenFile& source, OpenFile& target);

/// Changes the length of the file; ERROR_DISK_FULL if the disk has no room for what is to be added.
DWORD Resize(OpenFile& file, Int64 size);

} // namespace Tarn::Platform::Posix
