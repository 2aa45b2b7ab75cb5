// Who may do what with a file.
#pragma once

#include "platform/posix/files/paths.h"

namespace Tarn::Platform::Posix {

/// Gives the open file the owner, the group, the mode, the access-control list and the extended attributes of
/// the file at the path `model`, as far as the system allows this user to give them. What it does not allow
/// never gives anybody more rights than he has with the model. Returns a code.
DWORD CopySecurity(const String& model, const FileInformation& information, int file);

/// Gives the open file what any new file in the folder gets.
DWORD GiveUsualSecurity(const String& folder, int file);

} // namespace Tarn::Platform::Posix
