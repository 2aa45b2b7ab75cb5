// Where the databases of the POSIX port's registry are, and who may read them.
//
// The user's is in the user's configuration folder, the machine's in /etc/tarnkit; if TARNKIT_REGISTRY names
// a folder, both are there. What is created belongs to its owner alone, except for the machine's own folder
// and database, which everyone may read. The modes of what exists are left as they are.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <tarnkit/types.h>

namespace Tarn::Platform::Posix {

enum class RegistryKind { User, Machine };

/// The absolute path of a database; empty if the user has no home.
String RegistryFile(RegistryKind kind);

/// Creates an empty file for a database, with the folders that are missing above it.
LSTATUS MakeRegistryFile(RegistryKind kind, const String& file);

/// Brings what was written to a file or the entries of a folder to the disk. A missing one counts as done.
LSTATUS SyncRegistryFile(const char* name);

/// The registry's code for an `errno` value. A store that cannot be used for any reason except a full or
/// broken disk counts as one that this user may not use.
LSTATUS RegistryCodeOf(int error);

} // namespace Tarn::Platform::Posix
