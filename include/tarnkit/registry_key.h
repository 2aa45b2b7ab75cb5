// CRegistryKey: one open key of the system registry, with typed reads and writes, enumeration, deletion of
// whole subtrees and copying.
//
// A key object owns its handle and closes it when it goes. Nothing here throws for a failure of the platform:
// the result of every platform call, success included, becomes the thread's last error, and reads of a key
// that is closed or fails give 0, false or the default. Misuse (null names, writing through a read-only key,
// opening twice) is an assertion. One thread at a time per object; the registry itself is shared between
// threads and processes.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// The sizes of a key, as the platform's key query returns them. Lengths of names leave out the terminator.
struct CRegistryKeyInfo {
    DWORD subKeyCount;
    DWORD longestSubKeyName; ///< in 16-bit units
    DWORD longestClassName;  ///< in 16-bit units
    DWORD valueCount;
    DWORD longestValueName; ///< in 16-bit units
    DWORD longestValueData; ///< in bytes
};
TARNKIT_LAYOUT(CRegistryKeyInfo, 24, subKeyCount, longestSubKeyName, longestClassName, valueCount,
               longestValueName, longestValueData);

class TARNKIT_API CRegistryKey {
public:
    /// A closed key. One that is not read-only creates the keys it opens.
    explicit CRegistryKey(bool isReadOnlyKey) : isReadOnly(isReadOnlyKey) {}
    explicit CRegistryKey(const void*) = delete;
    ~CRegistryKey() { Close(); }

    CRegistryKey(const CRegistryKey&) = delete;
    CRegistryKey& operator=(const CRegistryKey&) = delete;

    /// Opens `name` below `parent`; an empty name is `parent` itself. Stays closed on failure. Asserts on a
    /// key that is open already, a null name and a null parent.
    void Open(HKEY parent, const char16_t* name);
    void Open(const CRegistryKey& parent, const char16_t* name);

    void Close();

    HKEY GetKey() const { return key; }

    /// The handle, which the caller closes from now on; this object is closed.
    HKEY Detach();

    /// Whether a key is open and still exists.
    bool IsValid() const;

    /// The type of a value (`REG_SZ`, ...); 0 when there is none. The empty name is the unnamed value.
    DWORD GetValueType(const char16_t* valueName) const;

    /// Reads a value into `buffer` of `bufferSize` bytes and returns its size in bytes; 0 when it is missing
    /// or does not fit. With a null buffer, the size needed. Adds no terminator to texts.
    int QueryValue(const char16_t* valueName, void* buffer, int bufferSize) const;

    /// The text of a `REG_SZ` or `REG_EXPAND_SZ` value as stored (nothing is expanded), less one terminator;
    /// `defaultValue` for anything else.
    CUnicodeString QueryStringValue(const char16_t* valueName, const char16_t* defaultValue) const;

    /// Stores `dataSize` bytes; false on failure and on a closed key. Asserts on a read-only key.
    bool SetValue(const char16_t* valueName, DWORD type, const void* data, int dataSize);

    /// Stores a `REG_SZ` value with its terminator.
    bool SetStringValue(const char16_t* valueName, const char16_t* value);

    // Deleting asserts on a closed or read-only key.

    void DeleteValue(const char16_t* valueName);

    /// Deletes a sub-key with everything below it. The last error tells whether the key is gone: 87, and
    /// nothing is touched, when the name is empty.
    void DeleteSubKey(const char16_t* subKeyName);

    /// The names of the sub-keys in the platform's order.
    void GetSubKeys(CArray<CUnicodeString, CurrentMemoryManager>& names) const;

    /// The names of the values of type `REG_SZ` in the platform's order; other types are left out.
    void GetStringValueNames(CArray<CUnicodeString, CurrentMemoryManager>& names) const;

    /// All zero when the key is closed or cannot be queried.
    void GetInfo(CRegistryKeyInfo& info) const;

    /// Copies all values and sub-keys to `destination`, overwriting values of the same names and leaving
    /// others; what cannot be written is left out. The keys copied are those that exist before the first
    /// write, so that a key may be copied into its own subtree.
    void CopyTo(HKEY destination) const;
    void CopyTo(const CRegistryKey& destination) const;

private:
    void copyValuesTo(HKEY destination) const;
    void listSubtree(CArray<CUnicodeString, CurrentMemoryManager>& paths) const;

    HKEY key = nullptr;
    bool isReadOnly;

    friend struct CLayout<CRegistryKey>;
};
TARNKIT_LAYOUT(CRegistryKey, 8, key, isReadOnly);

} // namespace Tarn
