/// \file
/// Checking and repairing what the registry is kept in, where that is two databases.
///
/// A program whose calls of `CRegistryKey` fail with ERROR_BADDB can offer its user to repair the registry,
/// as `tarnreg repair` does. On Windows the system keeps its registry: both functions return
/// ERROR_CALL_NOT_IMPLEMENTED.
///
/// \code
/// CRegistryStoreState state;
/// if (CheckRegistryStore(HKEY_CURRENT_USER, state) == ERROR_BADDB)
///     RepairRegistryStore(HKEY_CURRENT_USER, state);
/// \endcode
#pragma once

#include <tarnkit/export.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// What a check or a repair has found.
struct CRegistryStoreState {
    UInt64 KeyCount = 0;        ///< keys that can be read
    UInt64 ValueCount = 0;      ///< values that can be read
    UInt64 UnreadablePages = 0; ///< parts of the file that cannot be read
    UInt64 LostKeys = 0;        ///< keys whose parents cannot be read
    CUnicodeString FileName;    ///< the store's
    CUnicodeString OldFileName; ///< what a file that was replaced is called now; empty if none was
};

/// Reads the whole store of HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE. Returns ERROR_SUCCESS if it is sound,
/// ERROR_FILE_NOT_FOUND if nothing was written to it yet, ERROR_BADDB if something is damaged, and another
/// code if it cannot be read now.
TARNKIT_API DWORD CheckRegistryStore(HKEY root, CRegistryStoreState& state);

/// Replaces a damaged store by a new one with everything that can be read; keys whose place is unknown come
/// below the key `Lost keys`, under a number. The old file and its log stay under another name. Returns
/// ERROR_BUSY while another process writes; others should have ended, because they may go on with the old
/// file for a moment. A sound store is left alone.
TARNKIT_API DWORD RepairRegistryStore(HKEY root, CRegistryStoreState& state);

} // namespace Tarn
