// The registry's calls. There are two stores: the user's (HKEY_CURRENT_USER) and the machine's
// (HKEY_LOCAL_MACHINE, whose `Software\Classes` is HKEY_CLASSES_ROOT and whose `Users` is HKEY_USERS). One
// lock is held throughout each call.
#include "platform/platform.h"
#include "platform/posix/files/paths.h"
#include "platform/posix/registry/store.h"
#include "platform/posix/support/fork_handlers.h"
#include "platform/posix/support/handle_table.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <mutex>

namespace Tarn::Platform {

namespace {

using namespace Posix;

constexpr DWORD kClassesRoot = 0x80000000;
constexpr DWORD kCurrentUser = 0x80000001;
constexpr DWORD kLocalMachine = 0x80000002;
constexpr DWORD kUsers = 0x80000003;

// What a handle refers to.
struct KeyReference {
    RegistryStore* store;
    RegistryKeyId key;
    REGSAM access;
};

// Constant-initialised and never destroyed, as the handle table requires.
struct Registry {
    std::mutex lock;
    RegistryStore user{RegistryKind::User};
    RegistryStore machine{RegistryKind::Machine};
    HandleTable<KeyReference> keys;
};
constinit Registry registry;

// SQLite's locks belong to the process that took them, so no connection may stay open across a fork. Parent
// and child reopen theirs when they need them.
void beforeFork() {
    registry.lock.lock();
    registry.user.Suspend();
    registry.machine.Suspend();
}
void afterFork() { registry.lock.unlock(); }

} // namespace

constinit const ForkHandlers Posix::kRegistryAtFork = {beforeFork, afterFork, afterFork};

namespace {

template<class Call>
LSTATUS runLocked(Call call) {
    const RegistryClock::time_point start = RegistryClock::now(); // waiting for other threads counts, too
    const std::lock_guard guard(registry.lock);
    LimitRegistryWaits(start);
    try {
        return call();
    } catch (const std::exception&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

template<class Call>
LSTATUS locked(Call call) {
    HandleForks();
    return runLocked(call);
}

// The number of a predefined key, whether the handle was sign-extended or zero-extended; 0 for other handles.
DWORD predefinedKey(HKEY handle) {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    const auto low = static_cast<DWORD>(value);
    const bool isExtended = value == low || static_cast<std::intptr_t>(value) == static_cast<LONG>(low);
    return isExtended && low >= kClassesRoot && low <= kUsers ? low : 0;
}

std::u16string_view textOf(const char16_t* name) {
    return name == nullptr ? std::u16string_view() : std::u16string_view(name);
}

// Splits a path at its separators; several in a row count as one. A separator at the start is an error.
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

// If the key was deleted and the name is invalid as well, the deletion is reported.
LSTATUS parsePathBelow(const KeyReference& place, const char16_t* name, RegistryPath* path) {
    const LSTATUS failure = parsePath(name, path);
    return failure != 0 && place.store->CheckKey(place.key) == static_cast<LSTATUS>(ERROR_KEY_DELETED)
               ? static_cast<LSTATUS>(ERROR_KEY_DELETED)
               : failure;
}

// Finds a key, which need not be parsed if it was found under that name before.
LSTATUS findKey(const KeyReference& place, const char16_t* name, RegistryKeyId* key) {
    LSTATUS result;
    if (place.store->FindKnownKey(place.key, textOf(name), key, &result))
        return result;
    RegistryPath path;
    result = parsePathBelow(place, name, &path);
    return result != 0 ? result : place.store->FindKey(place.key, path, textOf(name), key);
}

enum class Missing { Empty, Create };

// The key of the machine's store that a predefined key refers to.
LSTATUS resolveAlias(const char16_t* name, Missing missing, KeyReference* reference) {
    *reference = {&registry.machine, kEmptyKey, KEY_ALL_ACCESS};
    if (missing == Missing::Create) {
        bool isNew;
        RegistryPath path;
        parsePath(name, &path);
        return registry.machine.CreateKey(kRootKey, path, &reference->key, &isNew);
    }
    const LSTATUS result = findKey({&registry.machine, kRootKey, 0}, name, &reference->key);
    return result == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ? 0 : result;
}

// Finds what `handle` refers to; the handle must grant the rights in `needed`. HKEY_CLASSES_ROOT and
// HKEY_USERS are keys of the machine's store, which a write may have to create.
LSTATUS resolve(HKEY handle, REGSAM needed, KeyReference* reference, Missing missing = Missing::Empty) {
    switch (predefinedKey(handle)) {
    case kCurrentUser:
        *reference = {&registry.user, kRootKey, KEY_ALL_ACCESS};
        return 0;
    case kLocalMachine:
        *reference = {&registry.machine, kRootKey, KEY_ALL_ACCESS};
        return 0;
    case kClassesRoot:
        return resolveAlias(u"Software\\Classes", missing, reference);
    case kUsers:
        return resolveAlias(u"Users", missing, reference);
    }
    const KeyReference* found = registry.keys.Find(handle);
    if (found == nullptr)
        return ERROR_INVALID_HANDLE;
    *reference = *found;
    return (found->access & needed) == needed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

// Finds the key that `handle` refers to and parses the path below it.
LSTATUS resolvePath(HKEY handle, const char16_t* name, KeyReference* place, RegistryPath* path) {
    const LSTATUS failure = resolve(handle, 0, place);
    return failure != 0 ? failure : parsePathBelow(*place, name, path);
}

RegistryName valueName(const char16_t* name) { return {textOf(name).data(), textOf(name).size()}; }

// Adds the specific rights that generic ones stand for.
REGSAM specificAccess(REGSAM access) {
    if ((access & (MAXIMUM_ALLOWED | GENERIC_ALL)) != 0)
        access |= KEY_ALL_ACCESS;
    if ((access & GENERIC_READ) != 0)
        access |= KEY_READ;
    if ((access & GENERIC_WRITE) != 0)
        access |= KEY_WRITE;
    return access;
}

// Opens a handle to an existing key; refuses write access to a store that cannot be written.
LSTATUS openFound(const KeyReference& found, REGSAM access, HKEY* handle) {
    access = specificAccess(access);
    if ((access & (KEY_SET_VALUE | KEY_CREATE_SUB_KEY | DELETE)) != 0)
        if (const LSTATUS failure = found.store->CheckWritable(); failure != 0)
            return failure;
    *handle = static_cast<HKEY>(registry.keys.Open({found.store, found.key, access}));
    return *handle == nullptr ? ERROR_NOT_ENOUGH_MEMORY : ERROR_SUCCESS;
}

} // namespace

LSTATUS RegOpenKeyExW(HKEY parent, const char16_t* name, DWORD, REGSAM access, HKEY* key) {
    if (key == nullptr)
        return ERROR_INVALID_PARAMETER;
    *key = nullptr;
    return locked([=]() -> LSTATUS {
        KeyReference place;
        LSTATUS failure = resolve(parent, 0, &place);
        if (failure != 0)
            return failure;
        if (textOf(name).empty() && predefinedKey(parent) != 0) {
            *key = parent;
            return 0;
        }
        failure = findKey(place, name, &place.key);
        return failure != 0 ? failure : openFound(place, access, key);
    });
}

// As documented for the calls that create and delete keys, the access rights of `parent` are not checked.
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
        if (registry.keys.Find(key) == nullptr)
            return ERROR_INVALID_HANDLE;
        registry.keys.Close(key);
        return 0;
    });
}

LSTATUS RegQueryInfoKeyW(HKEY key, DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass, DWORD* values,
                         DWORD* longestValueName, DWORD* longestData) {
    const bool isAsked = subKeys != nullptr || longestSubKey != nullptr || values != nullptr ||
                         longestValueName != nullptr || longestData != nullptr;
    return locked([=] {
        KeyReference place;
        RegistryKeySizes sizes = {};
        LSTATUS failure = resolve(key, KEY_QUERY_VALUE, &place);
        if (failure == 0)
            failure = isAsked ? place.store->GetSizes(place.key, &sizes) : place.store->CheckKey(place.key);
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
        return failure != 0 ? failure : place.store->GetValue(place.key, textOf(name), {type, data, size});
    });
}

// Of a key that was found before, the store is looked for once.
LSTATUS QueryRegistryValue(HKEY parent, const char16_t* path, const char16_t* name, DWORD* type, void* data,
                           DWORD* size) {
    return locked([=] {
        KeyReference place;
        LSTATUS failure = resolve(parent, 0, &place);
        if (failure == 0)
            failure = findKey(place, path, &place.key);
        if (failure == 0 && data != nullptr && size == nullptr)
            failure = ERROR_INVALID_PARAMETER;
        return failure != 0 ? failure
                            : place.store->GetValueOfFound(place.key, textOf(name), {type, data, size});
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

LSTATUS RegFlushKey(HKEY key) {
    return locked([=] {
        KeyReference place;
        LSTATUS result = resolve(key, KEY_QUERY_VALUE, &place);
        if (result == 0)
            result = place.store->Flush();
        RegistryStore& other = place.store == &registry.user ? registry.machine : registry.user;
        return result == 0 && other.HasWritten() ? other.Flush() : result;
    });
}

namespace {

void copyName(const String& name, char16_t (&room)[1024]) {
    const U16String wide = ToWide(name);
    if (wide.size() < std::size(room))
        std::copy_n(wide.c_str(), wide.size() + 1, room);
}

template<class Call>
LSTATUS withStore(HKEY root, RegistryStoreState* state, Call call) {
    if (state == nullptr)
        return ERROR_INVALID_PARAMETER;
    *state = {};
    const DWORD number = predefinedKey(root);
    if (number != kCurrentUser && number != kLocalMachine)
        return ERROR_INVALID_HANDLE;
    const bool isUser = number == kCurrentUser;
    return locked([=]() -> LSTATUS {
        const String file = RegistryFile(isUser ? RegistryKind::User : RegistryKind::Machine);
        copyName(file, state->file);
        return file.empty() ? ERROR_FILE_NOT_FOUND : call(isUser ? registry.user : registry.machine, file);
    });
}

} // namespace

LSTATUS CheckRegistryStore(HKEY root, RegistryStoreState* state) {
    return withStore(root, state,
                     [=](RegistryStore& store, const String& file) { return store.Check(file, state); });
}

LSTATUS RepairRegistryStore(HKEY root, RegistryStoreState* state) {
    return withStore(root, state, [=](RegistryStore& store, const String& file) {
        String oldFile;
        const LSTATUS result = store.Repair(file, state, &oldFile);
        copyName(oldFile, state->oldFile);
        return result;
    });
}

void ReleaseRegistry() {
    for (RegistryStore* store : {&registry.user, &registry.machine})
        runLocked([store]() -> LSTATUS {
            store->Close();
            return 0;
        });
    runLocked([]() -> LSTATUS {
        registry.keys.Release();
        return 0;
    });
}

} // namespace Tarn::Platform

// The call that types.h declares for clients.
LSTATUS RegCloseKey(HKEY key) { return Tarn::Platform::RegCloseKey(key); }
