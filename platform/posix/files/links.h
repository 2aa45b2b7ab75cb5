// Where symbolic links lead.
#pragma once

#include "platform/posix/files/paths.h"

namespace Tarn::Platform::Posix {

/// Whether the entry is a link of the system to what a process has open. It leads there whatever its text
/// names, so it stands for the file itself; that may be a pipe, or have no name any more.
bool IsOfProcess(const FileInformation& entry);

/// The path of what a name that `Find` has found leads to in the end, which is no link, or one of a process;
/// its last component may be missing. Returns ERROR_ACCESS_DENIED for a link that somebody else has put where
/// everybody may.
DWORD FollowLinks(const Name& name, String& target);

} // namespace Tarn::Platform::Posix
