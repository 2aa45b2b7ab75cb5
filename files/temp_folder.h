// How temporary files are told from those that a process which was killed has left behind.
//
// A process with temporary files in a folder has a lock file there, ".tarnkit-TOKEN.lock", which it keeps
// open exclusively, and the names of its temporary files contain the same random token. However the process
// ends, the system then lets others open the lock. Who can do so, and is the user whose lock it is, removes
// the files of that token, then the lock. Left alone are files whose lock is missing, those that the lock
// file lists, because they have become documents, and everything where locks exclude nobody.
#pragma once

#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// This process's mark in a folder. Copies are the same mark; it ends with `Remove`.
struct CTempFolder {
    CUnicodeString dir; // a full path that ends with a separator
    CUnicodeString token;
    CUnicodeString lockFile;
    HANDLE lock = INVALID_HANDLE_VALUE;
    int files = 0;       // how many files of this process need the mark
    bool isKept = false; // even without files
    int lastNumber = 0;
    int listed = 0; // the length of the list in the lock file, in bytes

    /// Puts a mark into the folder. Returns false and leaves the last error if that cannot be done.
    bool Create(const CUnicodeString& folder);
    /// Takes no memory from the current manager.
    void Remove() const;

    /// The full name of the next temporary file, which begins with at most three units of `prefix`.
    CUnicodeString NextName(const char16_t* prefix);
    /// A full name that no file has; empty if there is none.
    CUnicodeString UnusedName() const;
    /// Lists a file of the folder, so that it stays whatever becomes of this process and of the system. A
    /// file without this mark's token stays anyway. Returns false and leaves the last error if that fails.
    bool List(const CUnicodeString& name);
};

/// Removes from the marked folder what this user's processes that are gone have left. Ignores what cannot be
/// removed.
void RemoveStrayTempFiles(const CTempFolder& own);

} // namespace Tarn
