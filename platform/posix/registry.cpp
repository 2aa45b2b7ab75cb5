// The registry's calls over two stores: the user's (HKEY_CURRENT_USER) and the machine's
// (HKEY_LOCAL_MACHINE, whose `Software\Classes` is HKEY_CLASSES_ROOT and whose `Users` is HKEY_USERS). One
// lock is held through each call.
#include "platform/platform.h"
#include "platform/posix/registry/store.h"

#include <cstdlib>
#include <exception>
#include <mutex>
#include <pthread.h>

namespace Tarn::Platform {

namespace {

using namespace Posix;

constexpr DWORD kClassesRoot = 0x80000000;
constexpr DWORD kCurrentUser = 0x80000001;
constexpr DWORD kLocalMachine = 0x80000002;
constexpr DWORD kUsers = 0x80000003;

constexpr REGSAM kDelete = 0x00010000;
constexpr REGSAM kMaximumAllowed = 0x02000000;
constexpr REGSAM kGenericAll = 0x10000000;
constexpr REGSAM kAllAccess = 0x000F003F;

// A handle is the number of its place in the table, from 1, and of that place's use, so that a closed handle
// is known for one until its place was used anew many times. The top bit, which marks the predefined keys,
// stays clear.
constexpr unsigned kPlaceBits = 20;
constexpr DWORD kPlaceMask = (1u << kPlaceBits) - 1;
constexpr DWORD kUseMask = (1u << (31 - kPlaceBits)) - 1;
constexpr DWORD kNoPlace = ~DWORD{0};
constexpr DWORD kFirstTableSize = 64;

struct OpenKey {
    RegistryStore* store; ///< null while the place is free
    RegistryKeyId key;
    REGSAM access;
    DWORD use;
    DWORD nextFree;
};

// What a handle stands for.
struct KeyReference {
    RegistryStore* store;
    RegistryKeyId key;
    REGSAM access;
};

// The table of handles and the stores. Constant-initialised and never destroyed: keys are opened before and
// closed after any other static object lives.
struct Registry {
    std::mutex lock;
    RegistryStore user{RegistryDatabase::Kind::User};
    RegistryStore machine{RegistryDatabase::Kind::Machine};
    OpenKey* table = nullptr;
    DWORD tableSize = 0;
    DWORD firstFree = kNoPlace;
    DWORD lastFree = kNoPlace;
    bool isForkHandled = false;
};
constinit Registry registry;

// SQLite's locks belong to the process that took them: no connection may be open across a fork. Each side
// opens its own when it needs it.
void beforeFork() {
    registry.lock.lock();
    registry.user.Close();
    registry.machine.Close();
}
void afterFork() { registry.lock.unlock(); }

template<class Call>
LSTATUS locked(Call call) {
    const std::lock_guard guard(registry.lock);
    try {
        if (!registry.isForkHandled)
            registry.isForkHandled = pthread_atfork(beforeFork, afterFork, afterFork) == 0;
        return call();
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

// The value of a predefined key, sign-extended or zero-extended; 0 for any other handle.
DWORD predefinedKey(HKEY handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const auto low = static_cast<DWORD>(value);
    const bool isExtended = value == low || static_cast<std::intptr_t>(value) == static_cast<LONG>(low);
    return isExtended && low >= kClassesRoot && low <= kUsers ? low : 0;
}

bool growTable() {
    const DWORD size = registry.tableSize == 0 ? kFirstTableSize : 2 * registry.tableSize;
    if (size > kPlaceMask)
        return false;
    auto* table = static_cast<OpenKey*>(std::realloc(registry.table, size * sizeof(OpenKey)));
    if (table == nullptr)
        return false;
    for (DWORD place = registry.tableSize; place < size; place++)
        table[place] = {nullptr, 0, 0, 0, place + 1 < size ? place + 1 : kNoPlace};
    registry.firstFree = registry.tableSize;
    registry.lastFree = size - 1;
    registry.table = table;
    registry.tableSize = size;
    return true;
}

HKEY handleOf(DWORD place) {
    const std::uintptr_t value = registry.table[place].use << kPlaceBits | (place + 1);
    return reinterpret_cast<HKEY>(value);
}

LSTATUS makeHandle(RegistryStore* store, RegistryKeyId key, REGSAM access, HKEY* handle) {
    if (registry.firstFree == kNoPlace && !growTable())
        return ERROR_NOT_ENOUGH_MEMORY;
    const DWORD place = registry.firstFree;
    OpenKey& entry = registry.table[place];
    registry.firstFree = entry.nextFree;
    entry = {store, key, access, entry.use, kNoPlace};
    *handle = handleOf(place);
    return 0;
}

// The place of an open handle; null for any other value.
OpenKey* findHandle(HKEY handle) {
    const DWORD place = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(handle) & kPlaceMask) - 1;
    if (place >= registry.tableSize || registry.table[place].store == nullptr || handleOf(place) != handle)
        return nullptr;
    return &registry.table[place];
}

// Places are used in turn, which keeps closed handles apart from new ones for longest.
void freeHandle(OpenKey* entry) {
    const auto place = static_cast<DWORD>(entry - registry.table);
    *entry = {nullptr, 0, 0, (entry->use + 1) & kUseMask, kNoPlace};
    if (registry.firstFree == kNoPlace)
        registry.firstFree = place;
    else
        registry.table[registry.lastFree].nextFree = place;
    registry.lastFree = place;
}

enum class Missing { Empty, Create };

// The key of the machine's store that a predefined key stands for.
LSTATUS resolveAlias(const RegistryPath& path, Missing missing, KeyReference* reference) {
    bool isNew;
    *reference = {&registry.machine, kEmptyKey, kAllAccess};
    if (missing == Missing::Create)
        return registry.machine.CreateKey(kRootKey, path, &reference->key, &isNew);
    const LSTATUS result = registry.machine.FindKey(kRootKey, path, &reference->key);
    return result == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ? 0 : result;
}

// What `handle` stands for, provided that it grants `needed`. HKEY_CLASSES_ROOT and HKEY_USERS are keys that
// may have to be made for a write.
LSTATUS resolve(HKEY handle, REGSAM needed, KeyReference* reference, Missing missing = Missing::Empty) {
    switch (predefinedKey(handle)) {
    case kCurrentUser:
        *reference = {&registry.user, kRootKey, kAllAccess};
        return 0;
    case kLocalMachine:
        *reference = {&registry.machine, kRootKey, kAllAccess};
        return 0;
    case kClassesRoot:
        return resolveAlias({{u"Software", 8}, {u"Classes", 7}}, missing, reference);
    case kUsers:
        return resolveAlias({{u"Users", 5}}, missing, reference);
    }
    const OpenKey* entry = findHandle(handle);
    if (entry == nullptr)
        return ERROR_INVALID_HANDLE;
    *reference = {entry->store, entry->key, entry->access};
    return (entry->access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// Splits a path at its separators; several in a row count as one. One at the start is wrong.
LSTATUS parsePath(const char16_t* name, RegistryPath* path) {
    if (name == nullptr)
        return 0;
    if (*name == u'\\')
        return ERROR_BAD_PATHNAME;
    while (*name != 0) {
        std::size_t length = 0;
        while (name[length] != 0 && name[length] != u'\\')
            length++;
        if (length > kMaxKeyName)
            return ERROR_INVALID_PARAMETER;
        if (length > 0)
            path->emplace_back(name, length);
        name += length;
        if (*name != 0)
            name++;
    }
    return 0;
}

// The key that `handle` stands for and the path to go from there. That the key is deleted counts for more
// than a wrong name.
LSTATUS resolvePath(HKEY handle, const char16_t* name, KeyReference* place, RegistryPath* path) {
    if (const LSTATUS failure = resolve(handle, 0, place); failure != 0)
        return failure;
    const LSTATUS failure = parsePath(name, path);
    RegistryKeyId same;
    if (failure != 0 &&
        place->store->FindKey(place->key, {}, &same) == static_cast<LSTATUS>(ERROR_KEY_DELETED))
        return ERROR_KEY_DELETED;
    return failure;
}

RegistryName valueName(const char16_t* name) {
    return name == nullptr ? RegistryName(u"", 0) : RegistryName(name, U16String::traits_type::length(name));
}

// The rights that a request for generic ones means.
REGSAM specificAccess(REGSAM access) {
    if ((access & (kMaximumAllowed | kGenericAll)) != 0)
        access |= kAllAccess;
    if ((access & GENERIC_READ) != 0)
        access |= KEY_READ;
    if ((access & GENERIC_WRITE) != 0)
        access |= KEY_WRITE;
    return access;
}

// A handle for a found key, unless it asks for writing where nothing may be written.
LSTATUS openFound(const KeyReference& found, REGSAM access, HKEY* handle) {
    access = specificAccess(access);
    if ((access & (KEY_SET_VALUE | KEY_CREATE_SUB_KEY | kDelete)) != 0)
        if (const LSTATUS failure = found.store->CheckWritable(); failure != 0)
            return failure;
    return makeHandle(found.store, found.key, access, handle);
}

} // namespace

LSTATUS RegOpenKeyExW(HKEY parent, const char16_t* name, DWORD, REGSAM access, HKEY* key) {
    if (key == nullptr)
        return ERROR_INVALID_PARAMETER;
    *key = nullptr;
    return locked([=]() -> LSTATUS {
        KeyReference place;
        RegistryPath path;
        LSTATUS failure = resolvePath(parent, name, &place, &path);
        if (failure != 0)
            return failure;
        if (path.empty() && predefinedKey(parent) != 0) {
            *key = parent;
            return 0;
        }
        failure = place.store->FindKey(place.key, path, &place.key);
        return failure != 0 ? failure : openFound(place, access, key);
    });
}

// As documented for the call, the rights of `parent` do not matter here, nor do they for deleting a key.
LSTATUS RegCreateKeyExW(HKEY parent, const char16_t* name, REGSAM access, HKEY* key, DWORD* disposition) {
    if (key == nullptr || name == nullptr)
        return ERROR_INVALID_PARAMETER;
    *key = nullptr;
    return locked([=]() -> LSTATUS {
        KeyReference place;
        RegistryPath path;
        LSTATUS failure = resolvePath(parent, name, &place, &path);
        if (failure != 0)
            return failure;
        bool isNew = false;
        if (path.empty() && predefinedKey(parent) != 0)
            *key = parent;
        else {
            if (place.key == kEmptyKey)
                failure = resolve(parent, 0, &place, Missing::Create);
            if (failure == 0)
                failure = place.store->CreateKey(place.key, path, &place.key, &isNew);
            if (failure == 0)
                failure = openFound(place, access, key);
        }
        if (failure == 0 && disposition != nullptr)
            *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        return failure;
    });
}

LSTATUS RegCloseKey(HKEY key) {
    return locked([=]() -> LSTATUS {
        if (predefinedKey(key) != 0)
            return 0;
        OpenKey* entry = findHandle(key);
        if (entry == nullptr)
            return ERROR_INVALID_HANDLE;
        freeHandle(entry);
        return 0;
    });
}

LSTATUS RegQueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass, DWORD* values,
                         DWORD* longestValueName, DWORD* longestData) {
    return locked([=] {
        KeyReference place;
        RegistryKeySizes sizes;
        LSTATUS failure = resolve(key, KEY_QUERY_VALUE, &place);
        if (failure == 0)
            failure = place.store->GetSizes(place.key, &sizes);
        if (failure != 0)
            return failure;
        const struct {
            DWORD* target;
            DWORD value;
        } results[] = {{subKeys, sizes.subKeys},
                       {longestSubKey, sizes.longestSubKey},
                       {longestClass, 0},
                       {values, sizes.values},
                       {longestValueName, sizes.longestValueName},
                       {longestData, sizes.longestData}};
        for (const auto& result : results)
            if (result.target != nullptr)
                *result.target = result.value;
        return failure;
    });
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* type, void* data, DWORD* size) {
    if (data != nullptr && size == nullptr)
        return ERROR_INVALID_PARAMETER;
    return locked([=] {
        KeyReference place;
        const LSTATUS failure = resolve(key, KEY_QUERY_VALUE, &place);
        return failure != 0 ? failure : place.store->GetValue(place.key, valueName(name), {type, data, size});
    });
}

LSTATUS RegSetValueExW(HKEY key, const char16_t* name, DWORD type, const void* data, DWORD size) {
    if (data == nullptr && size != 0)
        return ERROR_INVALID_PARAMETER;
    return locked([=]() -> LSTATUS {
        KeyReference place;
        const LSTATUS failure = resolve(key, KEY_SET_VALUE, &place, Missing::Create);
        if (failure != 0)
            return failure;
        if (name != nullptr && U16String::traits_type::length(name) > kMaxValueName)
            return ERROR_INVALID_PARAMETER;
        return place.store->SetValue(place.key, valueName(name), type, data, size);
    });
}

LSTATUS RegDeleteValueW(HKEY key, const char16_t* name) {
    return locked([=] {
        KeyReference place;
        const LSTATUS failure = resolve(key, KEY_SET_VALUE, &place);
        return failure != 0 ? failure : place.store->DeleteValue(place.key, valueName(name));
    });
}

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* name) {
    if (name == nullptr)
        return ERROR_INVALID_PARAMETER;
    return locked([=]() -> LSTATUS {
        KeyReference place;
        RegistryPath path;
        const LSTATUS failure = resolvePath(key, name, &place, &path);
        if (failure != 0)
            return failure;
        if (path.empty() && predefinedKey(key) != 0)
            return ERROR_ACCESS_DENIED;
        return place.store->DeleteKey(place.key, path);
    });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize) {
    if (name == nullptr || nameSize == nullptr)
        return ERROR_INVALID_PARAMETER;
    return locked([=] {
        KeyReference place;
        const LSTATUS failure = resolve(key, KEY_ENUMERATE_SUB_KEYS, &place);
        return failure != 0 ? failure : place.store->GetSubKeyName(place.key, index, {name, nameSize});
    });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameSize, DWORD* type, void* data,
                      DWORD* size) {
    if (name == nullptr || nameSize == nullptr || (data != nullptr && size == nullptr))
        return ERROR_INVALID_PARAMETER;
    return locked([=] {
        KeyReference place;
        const LSTATUS failure = resolve(key, KEY_QUERY_VALUE, &place);
        if (failure != 0)
            return failure;
        return place.store->GetValueAt(place.key, index, {name, nameSize}, {type, data, size});
    });
}

void ReleaseRegistry() {
    const std::lock_guard guard(registry.lock);
    registry.user.Close();
    registry.machine.Close();
    for (DWORD place = 0; place < registry.tableSize; place++)
        if (registry.table[place].store != nullptr)
            return;
    std::free(registry.table);
    registry.table = nullptr;
    registry.tableSize = 0;
    registry.firstFree = registry.lastFree = kNoPlace;
}

} // namespace Tarn::Platform
