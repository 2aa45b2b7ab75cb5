// Finding names regardless of case.
//
// A folder is read for each search, unless it has many names and was searched before: then its names stay in
// memory, and the system says how they change (inotify), whoever changes them. It says so before the call
// that changes a name returns, so a search knows all that was done before it. A process has one queue of
// changes, made for the first such folder. Folders on disks that may change without the system's knowledge,
// such as those of other machines, are read each time, and so is every folder if the system gives no queue.
#pragma once

#include "platform/posix/files/information.h"
#include "platform/posix/memory/allocator.h"

namespace Tarn::Platform::Posix {

/// Finds the entry of `directory` that differs from the wanted name only in case; of several, the first in
/// byte order. `found` stays empty if there is none; if the directory could not be searched, the code says
/// why. `folder` is what is known about the directory.
DWORD FindIgnoringCase(const String& directory, const FileInformation& folder, const String& wanted,
                       String& found);

} // namespace Tarn::Platform::Posix
