// A hierarchy of keys with typed values: one half of the POSIX port's registry, the user's or the machine's.
//
// A store whose database is not there reads as empty; the first write makes it. Every change is one
// transaction. Results are the registry's codes; a key that is gone gives 1018 whatever is asked of it, also
// when another process deleted it. Not synchronised: registry.cpp calls it under its lock. Members may throw
// std::bad_alloc.
#pragma once

#include "platform/posix/registry/database.h"

namespace Tarn::Platform::Posix {

/// The longest names, in 16-bit units.
inline constexpr std::size_t kMaxKeyName = 255;
inline constexpr std::size_t kMaxValueName = 16383;

/// Names a key for as long as it exists; never given to another one.
using RegistryKeyId = sqlite3_int64;

/// The key that every store has, with neither name nor parent.
inline constexpr RegistryKeyId kRootKey = 0;

/// Stands for a predefined key that nothing was written to yet: it exists and is empty.
inline constexpr RegistryKeyId kEmptyKey = -1;

/// A name as the database holds it: units with their high byte first, so that bytes sort as units do.
struct RegistryName {
    RegistryName(const char16_t* units, std::size_t length);

    String text;
    String folded; ///< the text in upper case, by which names are found and sorted
};

using RegistryPath = Vector<RegistryName>;

struct RegistryKeySizes {
    DWORD subKeys, longestSubKey, values, longestValueName, longestData;
};

/// Where a name goes: room for `*length` units with the terminator, then `*length` units without it.
struct RegistryNameBuffer {
    char16_t* units;
    DWORD* length;
};

/// Where a value goes; each pointer may be null. Without `data` only the size is asked for.
struct RegistryValueBuffer {
    DWORD* type;
    void* data;
    DWORD* size; ///< the room at `data`, then the bytes of the value
};

class RegistryStore {
public:
    explicit constexpr RegistryStore(RegistryDatabase::Kind kind) : database(kind) {}

    LSTATUS FindKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key);
    /// Finds the key at the end of `path`, or makes it with all keys between.
    LSTATUS CreateKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key, bool* isNew);
    /// Refuses (5) the root and a key with sub-keys.
    LSTATUS DeleteKey(RegistryKeyId parent, const RegistryPath& path);
    LSTATUS GetSizes(RegistryKeyId key, RegistryKeySizes* sizes);
    /// Sub-keys are numbered in the order of their folded names.
    LSTATUS GetSubKeyName(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name);

    LSTATUS GetValue(RegistryKeyId key, const RegistryName& name, const RegistryValueBuffer& value);
    /// Values are numbered in the order in which they were made; overwriting keeps the number.
    LSTATUS GetValueAt(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name,
                       const RegistryValueBuffer& value);
    LSTATUS SetValue(RegistryKeyId key, const RegistryName& name, DWORD type, const void* data, DWORD size);
    LSTATUS DeleteValue(RegistryKeyId key, const RegistryName& name);

    /// 5 when writes would be refused.
    LSTATUS CheckWritable() { return database.Open(RegistryDatabase::Use::Write); }

    /// Lets the database go until it is used again.
    void Close();

private:
    // The item that a list showed last, so that the next index need not be counted from the start.
    struct Cursor {
        RegistryKeyId key = kEmptyKey;
        DWORD index = 0;
        sqlite3_int64 mark = 0;
        sqlite3_value* place = nullptr; // in the order of the list; owned

        void MoveTo(const Cursor& other);
    };

    // Both ways to find an item of an enumeration, and where it stands.
    struct Enumeration {
        RegistryQuery byIndex;
        RegistryQuery byPredecessor;
        Cursor cursor;
    };

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
