/// \file
/// `CRegistryKey`: an open key of the registry, with typed reads and writes, listing, deletion of whole
/// subtrees and copying.
///
/// A key object owns its handle and closes it in its destructor. It does not throw when a registry call
/// fails: every call, whether it succeeds or not, sets the thread's last-error code, and reading from a
/// closed key, or reading something that is not there, returns 0, false or the default. Misuse (null names,
/// writing through a read-only key, opening twice) is an assertion. Threads may use different key objects at
/// the same time, even for the same key, but each object one thread at a time. The registry itself is shared
/// by all threads and processes.
///
/// On Windows this is the registry of the system. Elsewhere it is a pair of databases, one for the user and
/// one for the machine; when a database is damaged, calls end with ERROR_BADDB.
///
/// \code
/// CRegistryKey key(false);
/// key.Open(HKEY_CURRENT_USER, u"Software\\Example"); // creates the key if it does not exist
/// if (!key.SetStringValue(u"Editor", u"Notes"))
///     GenCheckLastError(GetLastError());
/// const CUnicodeString editor = key.QueryStringValue(u"Editor", u"none");
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// How many sub-keys and values a key has, and how long they are. Lengths of names do not count the
/// terminator.
struct CRegistryKeyInfo {
    DWORD subKeyCount;       ///< directly below the key
    DWORD longestSubKeyName; ///< in 16-bit units
    DWORD longestClassName;  ///< in 16-bit units
    DWORD valueCount;        ///< of the key itself
    DWORD longestValueName;  ///< in 16-bit units
    DWORD longestValueData;  ///< in bytes
};
TARNKIT_LAYOUT(CRegistryKeyInfo, 24, subKeyCount, longestSubKeyName, longestClassName, valueCount,
               longestValueName, longestValueData);

/// An open key of the registry; see the top of this header.
class TARNKIT_API CRegistryKey {
public:
    /// Opens nothing yet. A key that is not read-only creates the keys that it is told to open.
    explicit CRegistryKey(bool isReadOnlyKey) : isReadOnly(isReadOnlyKey) {}
    explicit CRegistryKey(const void*) = delete; // a handle or a name would convert to bool
    ~CRegistryKey() { Close(); }

    CRegistryKey(const CRegistryKey&) = delete;
    CRegistryKey& operator=(const CRegistryKey&) = delete;

    /// Opens the key `name` below `parent`, or `parent` itself if the name is empty. The object stays closed
    /// if that fails. Asserts if a key is open already, and on a null name or parent.
    void Open(HKEY parent, const char16_t* name);
    void Open(const CRegistryKey& parent, const char16_t* name);

    /// Does nothing if no key is open.
    void Close();

    /// The handle, which stays this object's; null if no key is open.
    HKEY GetKey() const { return key; }

    /// Hands the handle over to the caller, who closes it with `RegCloseKey`, and leaves this object closed.
    /// Null if no key is open.
    HKEY Detach();

    /// Whether a key is open and still exists.
    bool IsValid() const;

    /// The type of a value (`REG_SZ`, ...); 0 if there is no such value. The empty name is that of the key's
    /// unnamed value, here and in all that follows.
    DWORD GetValueType(const char16_t* valueName) const;

    /// Reads a value into `buffer`, which has room for `bufferSize` bytes, and returns the value's size in
    /// bytes; 0 if it is missing or does not fit. With a null buffer, returns the size needed. A text is read
    /// as it was stored: no terminator is added.
    int QueryValue(const char16_t* valueName, void* buffer, int bufferSize) const;

    /// The text of a `REG_SZ` or `REG_EXPAND_SZ` value without its terminator; `defaultValue` for anything
    /// else, and for text of an odd number of bytes. Environment variables are not expanded.
    CUnicodeString QueryStringValue(const char16_t* valueName, const char16_t* defaultValue) const;

    /// Stores `dataSize` bytes. Returns false on failure and if no key is open. Asserts on a read-only key
    /// and on null arguments.
    bool SetValue(const char16_t* valueName, DWORD type, const void* data, int dataSize);

    /// Stores a `REG_SZ` value with its terminator.
    bool SetStringValue(const char16_t* valueName, const char16_t* value);

    /// Asserts on a closed or read-only key and on a null name.
    void DeleteValue(const char16_t* valueName);

    /// Deletes a sub-key with everything below it, key by key. The last-error code tells whether that
    /// succeeded, which it does for a sub-key that does not exist, too, or else what failed first. An empty
    /// name gives ERROR_INVALID_PARAMETER, and nothing is deleted. Asserts as `DeleteValue` does.
    void DeleteSubKey(const char16_t* subKeyName);

    /// Returns when everything that this process has written to the registry before, through whichever key,
    /// is on the disk and survives a power cut, too; on Windows, what was written below the same root key.
    /// That takes as long as the disk does: for what must not be lost, not for every setting. Returns false
    /// on failure and if no key is open.
    bool Flush();

    /// The names of the sub-keys in the order in which the system lists them.
    void GetSubKeys(CArray<CUnicodeString, CurrentMemoryManager>& names) const;

    /// The names of the values of type `REG_SZ`, and of no other type, in the order in which the system lists
    /// them.
    void GetStringValueNames(CArray<CUnicodeString, CurrentMemoryManager>& names) const;

    /// The names of all values, whatever their type, in the same order; that of the unnamed value is empty.
    void GetValueNames(CArray<CUnicodeString, CurrentMemoryManager>& names) const;

    /// Gives all zeros if no key is open or it cannot be queried.
    void GetInfo(CRegistryKeyInfo& info) const;

    /// Copies all values and sub-keys to `destination`. Values of the same names are overwritten, others
    /// stay; what cannot be copied is skipped, and the last-error code tells what failed first. The list of
    /// keys is made before the first write, so that a key can be copied into its own subtree. Asserts on a
    /// null destination.
    void CopyTo(HKEY destination) const;
    void CopyTo(const CRegistryKey& destination) const;

private:
    void copyValuesTo(HKEY destination) const;
    void listValues(CArray<CUnicodeString, CurrentMemoryManager>& names, bool isTextOnly) const;
    void listSubtree(CArray<CUnicodeString, CurrentMemoryManager>& paths) const;

    HKEY key = nullptr;
    bool isReadOnly;

    friend struct CLayout<CRegistryKey>;
};
TARNKIT_LAYOUT(CRegistryKey, 8, key, isReadOnly);

} // namespace Tarn
