// One half of the POSIX port's registry, the user's or the machine's: a hierarchy of keys with typed values.
//
// A store whose database does not exist reads as empty; the first write creates it. Every change is one
// transaction. Results are the registry's codes: ERROR_KEY_DELETED for any operation on a key that no longer
// exists, whoever deleted it, and ERROR_BADDB when the database is damaged. Listing keys and descending into
// them ends even then. Not synchronised: registry.cpp calls it under its lock. Members may throw
// std::bad_alloc.
#pragma once

#include "platform/posix/registry/database.h"

namespace Tarn::Platform::Posix {

/// The longest names, in 16-bit units.
inline constexpr std::size_t kMaxKeyName = 255;
inline constexpr std::size_t kMaxValueName = 16383;

/// Identifies a key for as long as it exists. Never reused.
using RegistryKeyId = sqlite3_int64;

/// The key that every store has, with neither name nor parent.
inline constexpr RegistryKeyId kRootKey = 0;

/// A predefined key that nothing has been written to: it exists and is empty.
inline constexpr RegistryKeyId kEmptyKey = -1;

/// A name as the database stores it: each 16-bit unit with its high byte first, so that bytes sort as units
/// do.
struct RegistryName {
    RegistryName(const char16_t* units, std::size_t length);

    String text;
    String folded; ///< the text in upper case, by which keys and values are found and keys are sorted
};

using RegistryPath = Vector<RegistryName>;

struct RegistryKeySizes {
    DWORD subKeys, longestSubKey, values, longestValueName, longestData;
};

/// Where to put a name. `*length` is first the room in units, including the terminator, and then the length
/// of the name without it.
struct RegistryNameBuffer {
    char16_t* units;
    DWORD* length;
};

/// Where to put a value. Each pointer may be null; without `data`, only the size is reported.
struct RegistryValueBuffer {
    DWORD* type;
    void* data;
    DWORD* size; ///< first the room at `data`, then the size of the value, in bytes
};

class RegistryStore {
public:
    explicit constexpr RegistryStore(RegistryKind kind) : database(kind) {}

    LSTATUS FindKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key);
    /// Finds the key at the end of `path`, or creates it and all keys on the way.
    LSTATUS CreateKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key, bool* isNew);
    /// Refuses to delete the root and keys with sub-keys (ERROR_ACCESS_DENIED).
    LSTATUS DeleteKey(RegistryKeyId parent, const RegistryPath& path);
    LSTATUS GetSizes(RegistryKeyId key, RegistryKeySizes* sizes);
    /// Sub-keys are numbered in the order of their folded names.
    LSTATUS GetSubKeyName(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name);

    LSTATUS GetValue(RegistryKeyId key, const RegistryName& name, const RegistryValueBuffer& value);
    /// Values are numbered in the order in which they were created; overwriting one keeps its number.
    LSTATUS GetValueAt(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name,
                       const RegistryValueBuffer& value);
    LSTATUS SetValue(RegistryKeyId key, const RegistryName& name, DWORD type, const void* data, DWORD size);
    LSTATUS DeleteValue(RegistryKeyId key, const RegistryName& name);

    /// ERROR_ACCESS_DENIED if writes would be refused.
    LSTATUS CheckWritable() { return database.Open(RegistryDatabase::Use::Write); }

    LSTATUS Flush() { return database.Flush(); }
    /// Whether this process has written something since the database was closed.
    bool HasWritten() const { return database.HasWritten(); }

    /// Closes the database until it is used again. `Suspend` is for a fork, and leaves the log as it is.
    void Close();
    void Suspend();

private:
    // The item that was listed last, so that the next one need not be counted from the start.
    struct Cursor {
        RegistryKeyId key = kEmptyKey;
        DWORD index = 0;
        sqlite3_int64 mark = 0;
        sqlite3_value* place = nullptr; // in the order of the list; owned

        void MoveTo(const Cursor& other);
    };

    // The two ways to find an item of a list, and the item that was listed last.
    struct Enumeration {
        RegistryQuery byIndex;
        RegistryQuery byPredecessor;
        Cursor cursor;
    };

    void forgetPlaces();
    LSTATUS open(RegistryDatabase::Use use, RegistryKeyId key, DWORD codeWhenEmpty);
    LSTATUS whyMissing(RegistryKeyId key, DWORD codeWhenPresent);
    LSTATUS getDepth(RegistryKeyId key, int* depth);
    LSTATUS findChild(RegistryKeyId parent, const RegistryName& name, RegistryKeyId* key);
    LSTATUS findPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key);
    LSTATUS addPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key, bool* isNew);
    LSTATUS addChild(RegistryKeyId parent, const RegistryName& name, int depth, RegistryKeyId* key);
    template<class Deliver>
    LSTATUS enumerate(Enumeration& enumeration, RegistryKeyId key, DWORD index, Deliver deliver);

    RegistryDatabase database;
    Enumeration subKeys = {RegistryQuery::SubKeyAt, RegistryQuery::SubKeyAfter, {}};
    Enumeration values = {RegistryQuery::ValueAt, RegistryQuery::ValueAfter, {}};
};

} // namespace Tarn::Platform::Posix
