// An open file and the one way to open it. The door's calls on handles, and those that copy, work on it.
#pragma once

#include "platform/posix/files/handles.h"

#include <mutex>

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
    /// Transfers happen at `position`; otherwise where the device is.
    bool isSeekable = false;
    bool isClaimed = false;
    /// Writing may raise a signal: into a pipe that nobody reads, or above the process's limit for files.
    bool mayRaiseSignal = false;
    Int64 position = 0;
    /// Keeps transfers on the handle apart, for they share the position.
    std::mutex use;
    /// The path of a file that is to go when it is closed.
    String pathToDelete;
};

/// Opens as `CreateFileW` does. Returns a code; on success `file` is the open file and `existed` says whether
/// there was a file of the name before.
DWORD Open(const char16_t* name, DWORD access, DWORD share, DWORD disposition, DWORD attributes,
           Owned<OpenFile>& file, bool& existed);

/// Transfers all `size` bytes, or those up to the end of the file, and moves the position. `done` counts what
/// was transferred, also when a later part failed. The access is not looked at.
DWORD ReadFrom(OpenFile& file, void* buffer, std::size_t size, std::size_t& done);
DWORD WriteTo(OpenFile& file, const void* buffer, std::size_t size, std::size_t& done);

/// Copies what `source` holds from its beginning on to the beginning of `target`, neither of them read from
/// or written to before.
DWORD CopyContents(OpenFile& source, OpenFile& target);

/// Gives the file that length; 112 when the disk has no room for what is to be added.
DWORD Resize(OpenFile& file, Int64 size);

} // namespace Tarn::Platform::Posix
