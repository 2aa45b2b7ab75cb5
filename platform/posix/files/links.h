// Where symbolic links lead.
#pragma once

#include "platform/posix/files/paths.h"

namespace Tarn::Platform::Posix {

/// The path of what a name that `Find` has found leads to in the end; its last component may be missing. A
/// link to something that has no path, such as a pipe, is itself the result. Returns ERROR_ACCESS_DENIED for
/// a link that somebody else has put where everybody may.
DWORD FollowLinks(const Name& name, String& target);

} // namespace Tarn::Platform::Posix
