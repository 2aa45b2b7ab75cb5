// Checks a whole database of the POSIX port's registry and replaces a damaged one.
#pragma once

#include "platform/platform.h"
#include "platform/posix/registry/database.h"

namespace Tarn::Platform::Posix {

/// ERROR_SUCCESS if everything is in its place, ERROR_FILE_NOT_FOUND if there is nothing, ERROR_BADDB if
/// something is damaged. `database` is used as any call would use it; no other connection may be open.
LSTATUS CheckRegistryFile(RegistryDatabase& database, const String& file, RegistryStoreState* state);

/// Puts a new database with what can be read in the place of a damaged one, and gives the name that this one
/// has now; its log has the same with "-wal". As `CheckRegistryFile` if that finds nothing damaged.
LSTATUS RepairRegistryFile(RegistryDatabase& database, const String& file, RegistryStoreState* state,
                           String* oldFile);

} // namespace Tarn::Platform::Posix
