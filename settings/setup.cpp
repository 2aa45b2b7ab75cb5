#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/setup.h>
#include <tarnkit/text_of_values.h>

#include "memory/process_mutex.h"
#include "platform/fork.h"
#include "platform/platform.h"
#include "settings/registry_text.h"
#include "settings/setup_cache.h"

#include <atomic>
#include <mutex>

namespace Tarn {

namespace {

constexpr char16_t kSourceName[] = u"SETUP";

CUnicodeString joinPath(const CUnicodeString& section, const CUnicodeString& path) {
    if (section.IsEmpty())
        return path;
    return path.IsEmpty() ? section : section + u"\\" + path;
}

// Replaces items that are null, for when the assertion about them returns.
constexpr CEnumItem kNoItems[] = {{0, nullptr}};

const CEnumItem* requireItems(const CEnumItem* items, long line) {
    if (items == nullptr)
        GenAssert(kSourceName, line);
    return items == nullptr ? kNoItems : items;
}

int enumFromString(const CEnumItem* items, const CUnicodeString& text, int defaultValue) {
    for (; items->name != nullptr; items++)
        if (text.CompareNoCase(items->name) == 0)
            return items->value;
    return defaultValue;
}

CUnicodeString enumToString(const CEnumItem* items, int value) {
    for (; items->name != nullptr; items++)
        if (items->value == value)
            return items->name;
    GenAssert(kSourceName, 180);
    return CUnicodeString();
}

} // namespace

constinit CCriticalSection cacheSetupSection;

namespace {

constinit CRecursiveProcessMutex setupCacheMutex;

// How often any setting was told to read again.
constinit std::atomic<unsigned> resets{0};

} // namespace

CRecursiveProcessMutex& GetSetupCacheMutex() { return setupCacheMutex; }

void AttachSetupCache() { Platform::KeepUsableAfterFork<setupCacheMutex>(); }

// The address of a setting. ------------------------------------------------------------------------------

CSetupBase::CSetupBase(const CUnicodeString& keyPath, const CUnicodeString& name, TSetupType setupType)
    : type(setupType), path(keyPath), valueName(name) {}

CSetupBase::~CSetupBase() = default;

CUnicodeString CSetupBase::GetString() const {
    bool isKnown;
    return CSetupAccess::Read(*this, isKnown);
}

void CSetupBase::SetString(const CUnicodeString& value) {
    CSetupAccess access(*this);
    access.Store(value);
    access.Report();
}

CUnicodeString CSetupBase::getBaseKeyName() const {
    switch (type) {
    case ST_MachineSection:
    case ST_LocalMachine:
        return u"HKEY_LOCAL_MACHINE";
    case ST_UserSection:
    case ST_CurrentUser:
        return u"HKEY_CURRENT_USER";
    case ST_Users:
        return u"HKEY_USERS";
    case ST_ClassesRoot:
        return u"HKEY_CLASSES_ROOT";
    }
    GenAssert(kSourceName, 73);
    return CUnicodeString();
}

HKEY CSetupBase::getBaseKey() const {
    switch (type) {
    case ST_MachineSection:
    case ST_LocalMachine:
        return HKEY_LOCAL_MACHINE;
    case ST_UserSection:
    case ST_CurrentUser:
        return HKEY_CURRENT_USER;
    case ST_Users:
        return HKEY_USERS;
    case ST_ClassesRoot:
        return HKEY_CLASSES_ROOT;
    }
    GenAssert(kSourceName, 96);
    return nullptr;
}

CUnicodeString CSetupBase::getAbsolutePath() const {
    switch (type) {
    case ST_MachineSection:
        return joinPath(GetMachineRegistrySection(), path);
    case ST_UserSection:
        return joinPath(GetUserRegistrySection(), path);
    case ST_LocalMachine:
    case ST_CurrentUser:
    case ST_Users:
    case ST_ClassesRoot:
        return path;
    }
    GenAssert(kSourceName, 118);
    return CUnicodeString();
}

CUnicodeString CSetupAccess::Read(const CSetupBase& setup, bool& isKnown) {
    const CSetupAccess access(setup);
    const CUnicodeString defaultText = setup.GetDefaultString();
    Platform::SetLastError(ERROR_SUCCESS);
    const CUnicodeString text = QueryRegistryText(access.rootKey, access.path, setup.valueName, defaultText);
    const DWORD code = Platform::GetLastError();
    isKnown = code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND || code == ERROR_KEY_DELETED;
    return text;
}

CSetupAccess::CSetupAccess(const CSetupBase& accessed)
    : setup(accessed), rootKey(setup.getBaseKey()), path(setup.getAbsolutePath()) {}

void CSetupAccess::Store(const CUnicodeString& text) {
    CRegistryKey key(false);
    if (rootKey != nullptr)
        key.Open(rootKey, path);
    isStored = key.SetStringValue(setup.valueName, text);
}

void CSetupAccess::Report() const {
    if (!isStored)
        GenCheck(ERR_CANT_WRITE_TO_REGISTRY, setup.getBaseKeyName(), path, u"");
}

// Integers. ----------------------------------------------------------------------------------------------

template<class T>
CSetup<T>::CSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault,
                  TSetupType setupType)
    : CSetupBase(keyPath, name, setupType), defaultValue(valueByDefault) {}

template<class T>
CSetup<T>::~CSetup() = default;

template<class T>
CUnicodeString CSetup<T>::GetDefaultString() const {
    return ConvertToString(defaultValue);
}

template<class T>
T CSetup<T>::Get() {
    return ConvertFromString(GetString());
}

template<class T>
void CSetup<T>::Set(T value) {
    SetString(ConvertToString(value));
}

template<class T>
T CSetup<T>::ConvertFromString(CUnicodeString text) const {
    T value;
    return text.Value(value, 10) ? value : defaultValue;
}

template<class T>
CUnicodeString CSetup<T>::ConvertToString(T value) const {
    return UnicodeStr(value, 10);
}

template<class T>
CCacheSetup<T>::CCacheSetup(const CUnicodeString& keyPath, const CUnicodeString& name, T valueByDefault,
                            TSetupType setupType)
    : CSetup<T>(keyPath, name, valueByDefault, setupType) {}

template<class T>
CCacheSetup<T>::~CCacheSetup() = default;

// A setting that is cached is read without the lock.
template<class T>
T CCacheSetup<T>::Get() {
    if (!std::atomic_ref(isCached).load(std::memory_order_acquire)) {
        bool isKnown;
        const unsigned resetsBefore = resets;
        const T value = this->ConvertFromString(CSetupAccess::Read(*this, isKnown));
        const std::lock_guard guard(GetSetupCacheMutex());
        if (!isCached && (!isKnown || resets != resetsBefore)) // what was read may be out of date
            return value;
        if (!isCached)
            cache(value);
    }
    return std::atomic_ref(cachedValue).load(std::memory_order_relaxed);
}

// A value is kept even if it cannot be converted, which is reported.
template<class T>
void CCacheSetup<T>::Set(T value) {
    CMemoryManagerSwitcher toDefault(nullptr);
    {
        const std::lock_guard guard(GetSetupCacheMutex());
        cache(value);
    }
    setAs(value, this->ConvertToString(value));
}

// The lock is held until the registry has the value, so that what is cached last is also stored last.
template<class T>
void CCacheSetup<T>::setAs(T value, const CUnicodeString& text) {
    CMemoryManagerSwitcher toDefault(nullptr);
    CSetupAccess access(*this);
    {
        const std::lock_guard guard(GetSetupCacheMutex());
        cache(value);
        access.Store(text);
    }
    access.Report();
}

template<class T>
void CCacheSetup<T>::Reset() {
    const std::lock_guard guard(GetSetupCacheMutex());
    ++resets;
    std::atomic_ref(isCached).store(false, std::memory_order_release);
}

template<class T>
void CCacheSetup<T>::cache(T value) {
    std::atomic_ref(cachedValue).store(value, std::memory_order_relaxed);
    std::atomic_ref(isCached).store(true, std::memory_order_release);
}

template class CSetup<int>;
template class CCacheSetup<int>;

// Enumerations. ------------------------------------------------------------------------------------------

CSetupEnum::CSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name, int valueByDefault,
                       const CEnumItem* enumItems, TSetupType setupType)
    : CSetup(keyPath, name, valueByDefault, setupType), items(requireItems(enumItems, 165)) {}

CSetupEnum::~CSetupEnum() = default;

int CSetupEnum::ConvertFromString(CUnicodeString text) const {
    return enumFromString(items, text, GetDefault());
}

CUnicodeString CSetupEnum::ConvertToString(int value) const { return enumToString(items, value); }

CCacheSetupEnum::CCacheSetupEnum(const CUnicodeString& keyPath, const CUnicodeString& name,
                                 int valueByDefault, const CEnumItem* enumItems, TSetupType setupType)
    : CCacheSetup(keyPath, name, valueByDefault, setupType), items(requireItems(enumItems, 190)) {}

CCacheSetupEnum::~CCacheSetupEnum() = default;

int CCacheSetupEnum::ConvertFromString(CUnicodeString text) const {
    return enumFromString(items, text, GetDefault());
}

CUnicodeString CCacheSetupEnum::ConvertToString(int value) const { return enumToString(items, value); }

} // namespace Tarn
