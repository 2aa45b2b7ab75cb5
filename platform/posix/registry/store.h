// One half of the POSIX port's registry, the user's or the machine's: a hierarchy of keys with typed values.
//
// A store whose database does not exist reads as empty; the first write creates it. Every change is one
// transaction. Results are the registry's codes: ERROR_KEY_DELETED for any operation on a key that no longer
// exists, whoever deleted it, and ERROR_BADDB when the database is damaged. Listing keys and descending into
// them ends even then. Not synchronised: registry.cpp calls it under its lock. Members may throw
// std::bad_alloc.
#pragma once

#include "platform/posix/registry/cache.h"
#include "platform/posix/registry/database.h"

#include <memory>

namespace Tarn::Platform {
struct RegistryStoreState;
}

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

    /// Whether it is known how `FindKey` ends: because it was told this `text` before, and nothing has
    /// changed.
    bool FindKnownKey(RegistryKeyId parent, std::u16string_view text, RegistryKeyId* key, LSTATUS* result);
    /// `path` is what was made of `text`.
    LSTATUS FindKey(RegistryKeyId parent, const RegistryPath& path, std::u16string_view text,
                    RegistryKeyId* key);
    /// Finds the key at the end of `path`, or creates it and all keys on the way.
    LSTATUS CreateKey(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key, bool* isNew);
    /// Refuses to delete the root and keys with sub-keys (ERROR_ACCESS_DENIED).
    LSTATUS DeleteKey(RegistryKeyId parent, const RegistryPath& path);
    /// ERROR_SUCCESS if the key exists.
    LSTATUS CheckKey(RegistryKeyId key);
    LSTATUS GetSizes(RegistryKeyId key, RegistryKeySizes* sizes);
    /// Sub-keys are numbered in the order of their folded names.
    LSTATUS GetSubKeyName(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name);

    LSTATUS GetValue(RegistryKeyId key, std::u16string_view name, const RegistryValueBuffer& value);
    /// The same right after the key was found, so that the store need not be looked for again.
    LSTATUS GetValueOfFound(RegistryKeyId key, std::u16string_view name, const RegistryValueBuffer& value);
    /// Values are numbered in the order in which they were created; overwriting one keeps its number.
    LSTATUS GetValueAt(RegistryKeyId key, DWORD index, const RegistryNameBuffer& name,
                       const RegistryValueBuffer& value);
    LSTATUS SetValue(RegistryKeyId key, const RegistryName& name, DWORD type, const void* data, DWORD size);
    LSTATUS DeleteValue(RegistryKeyId key, const RegistryName& name);

    /// ERROR_ACCESS_DENIED if writes would be refused.
    LSTATUS CheckWritable() { return database.Open(RegistryDatabase::Use::Write); }

    /// Closes the database and examines its file; see repair.h.
    LSTATUS Check(const String& file, RegistryStoreState* state);
    LSTATUS Repair(const String& file, RegistryStoreState* state, String* oldFile);

    LSTATUS Flush() { return database.Flush(); }
    /// Whether this process has written something since the database was closed.
    bool HasWritten() const { return database.HasWritten(); }

    /// Closes the database until it is used again. `Suspend` is for a fork, and leaves the log as it is.
    void Close();
    void Suspend();

private:
    struct FreeValue {
        void operator()(sqlite3_value* value) const { sqlite3_value_free(value); }
    };

    struct ListItem {
        sqlite3_int64 id;                                // of a value: its place in the order
        std::unique_ptr<sqlite3_value, FreeValue> place; // of a sub-key; null without memory
        bool isInPlace;
        String name;
        DWORD type, size;
        String data; ///< empty if the caller had no room for it
    };

    // Items of a list that follow each other. They are delivered as long as nothing changes, and tell where
    // the list goes on as long as this list does not change.
    struct Section {
        RegistryKeyId key = kEmptyKey;
        DWORD first = 0;
        std::uint64_t version = 0;
        sqlite3_int64 mark = 0;
        std::size_t bytes = 0; // of names and data
        Vector<ListItem> items;

        ListItem* Find(RegistryKeyId listed, DWORD index) {
            return key == listed && index >= first && index - first < items.size() ? &items[index - first]
                                                                                   : nullptr;
        }
    };

    // The two ways to find an item of a list, and what was read of it last; owned.
    struct Enumeration {
        RegistryQuery byIndex;
        RegistryQuery byPredecessor;
        Section* section;
    };

    struct KnownSizes {
        RegistryKeyId key = kEmptyKey;
        sqlite3_int64 mark = 0;
        RegistryKeySizes sizes = {};
    };

    void forgetList(Enumeration& list, RegistryKeyId key);
    void forgetSizes(RegistryKeyId key);
    void forgetAll();
    LSTATUS open(RegistryDatabase::Use use, RegistryKeyId key, DWORD codeWhenEmpty);
    LSTATUS whyMissing(RegistryKeyId key, DWORD codeWhenPresent);
    LSTATUS getDepth(RegistryKeyId key, int* depth);
    LSTATUS findChild(RegistryKeyId parent, const RegistryName& name, RegistryKeyId* key);
    LSTATUS findPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key);
    LSTATUS addPath(RegistryKeyId parent, const RegistryPath& path, RegistryKeyId* key, bool* isNew);
    LSTATUS addChild(RegistryKeyId parent, const RegistryName& name, int depth, RegistryKeyId* key);
    LSTATUS countSizes(RegistryKeyId key, RegistryKeySizes* sizes);
    LSTATUS findItem(Enumeration& list, RegistryKeyId key, DWORD index, DWORD room, ListItem** item);
    LSTATUS readItems(Enumeration& list, RegistryKeyId key, DWORD index, DWORD room);
    ListItem itemOf(const RegistryStatement& row, bool isValue, DWORD room);

    RegistryDatabase database;
    RegistryCache cache;
    KnownSizes known;
    Enumeration subKeys = {RegistryQuery::SubKeyAt, RegistryQuery::SubKeyAfter, nullptr};
    Enumeration values = {RegistryQuery::ValueAt, RegistryQuery::ValueAfter, nullptr};
};

} // namespace Tarn::Platform::Posix
