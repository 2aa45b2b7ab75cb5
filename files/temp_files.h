// What the library itself does with temporary files beyond <tarnkit/temp_file.h>.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/temp_file.h>

namespace Tarn::TempFile {

/// The folder of a full path, with a separator at its end, however long it is.
CUnicodeString FolderOf(const CUnicodeString& path);

/// As `NewInDir`, but where that raises an error, this returns an empty name and leaves the last error; and
/// `DeleteAll` leaves the file alone, because its caller knows nothing of it. `Reset` removes it.
CUnicodeString TryNewInDir(const CUnicodeString& dir, const char16_t* prefix);

/// Removes a temporary file that has become useless while another failure is on its way. If that cannot be
/// done, the file stays in the list, and `DeleteAll` removes it.
void Discard(const CUnicodeString& name) noexcept;

/// The file that a name leads to in the end, if it is a symbolic link; otherwise the name itself. Throws if
/// the system does not say.
CUnicodeString FollowLinks(const CUnicodeString& path);

/// Runs `action`. Its failures with a temporary file, whose name tells a user nothing, become failures with
/// the file that it stands for.
template<class Action>
void RunOnBehalfOf(const CUnicodeString& name, const CUnicodeString& temp, Action action) {
    try {
        action();
    } catch (CFileException* e) {
        if (e->FileName() != temp)
            throw;
        const auto code = e->ErrorCode();
        const auto type = e->ErrorType();
        e->Delete();
        if (code != 0)
            ThrowFileException(code, name);
        ThrowFileException(type, name);
    }
}

} // namespace Tarn::TempFile
