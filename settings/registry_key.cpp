#include <tarnkit/registry_key.h>

#include "errors/requirement.h"
#include "platform/platform.h"
#include "settings/enumeration_buffer.h"
#include "settings/registry_text.h"

#include <algorithm>
#include <climits>
#include <string>

namespace Tarn {

namespace {

constexpr CRequirement require(u"RegistryKey");

// Stores the result of a registry call as the thread's last-error code. Returns whether the call succeeded.
bool setResult(LSTATUS result) {
    Platform::SetLastError(static_cast<DWORD>(result));
    return result == static_cast<LSTATUS>(ERROR_SUCCESS);
}

// The first failure of several calls, each of which leaves its result as the last error.
class CFirstFailure {
public:
    void Note() {
        const DWORD last = Platform::GetLastError();
        if (code == ERROR_SUCCESS && last != ERROR_NO_MORE_ITEMS) // how every list ends
            code = last;
    }
    /// Makes the first failure, if there was one, the last error.
    void Report() const {
        if (code != ERROR_SUCCESS)
            Platform::SetLastError(code);
    }

private:
    DWORD code = ERROR_SUCCESS;
};

bool isText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ; }

bool queryInfo(HKEY key, CRegistryKeyInfo& info) {
    return setResult(Platform::RegQueryInfoKeyW(key, &info.subKeyCount, &info.longestSubKeyName,
                                                &info.longestClassName, &info.valueCount,
                                                &info.longestValueName, &info.longestValueData));
}

// The text that `query` reads. One call gives type, size and data, because somebody else may set the value
// between two calls.
template<class Query>
CUnicodeString queryText(const char16_t* defaultValue, Query query) {
    constexpr DWORD kUnitSize = sizeof(char16_t);
    EnumerationBuffer<char16_t> units;
    DWORD type, size;
    LSTATUS result;
    for (;; units.Reserve(size / kUnitSize + 1)) {
        size = units.Size() * kUnitSize;
        result = query(&type, units.Ptr(), &size);
        if (result != static_cast<LSTATUS>(ERROR_MORE_DATA))
            break;
        if (!isText(type)) {
            result = 0;
            break;
        }
    }
    if (!setResult(result) || !isText(type) || size == 0 || size % kUnitSize != 0)
        return CUnicodeString(defaultValue);
    int length = static_cast<int>(size / kUnitSize);
    if (units.Ptr()[length - 1] == 0)
        length--;
    CUnicodeString text;
    std::copy_n(units.Ptr(), length, text.GetBufferSetLength(length));
    return text;
}

} // namespace

void CRegistryKey::Open(HKEY parent, const char16_t* name) {
    if (!require(key == nullptr, 39) || !require(name != nullptr, 40) || !require(parent != nullptr, 41))
        return;
    HKEY opened = nullptr;
    LSTATUS result;
    if (isReadOnly)
        result = Platform::RegOpenKeyExW(parent, name, 0, KEY_READ, &opened);
    else if (*name == 0)
        result = Platform::RegOpenKeyExW(parent, name, 0, KEY_READ | KEY_WRITE, &opened);
    else
        result = Platform::RegCreateKeyExW(parent, name, KEY_READ | KEY_WRITE, &opened, nullptr);
    if (setResult(result))
        key = opened;
}

void CRegistryKey::Open(const CRegistryKey& parent, const char16_t* name) { Open(parent.key, name); }

void CRegistryKey::Close() {
    if (key != nullptr)
        setResult(Platform::RegCloseKey(Detach()));
}

HKEY CRegistryKey::Detach() {
    const HKEY detached = key;
    key = nullptr;
    return detached;
}

bool CRegistryKey::IsValid() const {
    return key != nullptr &&
           setResult(Platform::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
}

void CRegistryKey::GetInfo(CRegistryKeyInfo& info) const {
    info = CRegistryKeyInfo();
    if (key != nullptr && !queryInfo(key, info))
        info = CRegistryKeyInfo();
}

DWORD CRegistryKey::GetValueType(const char16_t* valueName) const {
    if (!require(valueName != nullptr, 111) || key == nullptr)
        return 0;
    DWORD type = 0;
    const LSTATUS result = Platform::RegQueryValueExW(key, valueName, &type, nullptr, nullptr);
    return setResult(result) || result == static_cast<LSTATUS>(ERROR_MORE_DATA) ? type : 0;
}

int CRegistryKey::QueryValue(const char16_t* valueName, void* buffer, int bufferSize) const {
    if (key == nullptr)
        return 0;
    DWORD size = bufferSize < 0 ? 0 : static_cast<DWORD>(bufferSize);
    const LSTATUS result = Platform::RegQueryValueExW(key, valueName, nullptr, buffer, &size);
    const bool isSizeOnly = buffer == nullptr && result == static_cast<LSTATUS>(ERROR_MORE_DATA);
    if ((!setResult(result) && !isSizeOnly) || size > INT_MAX)
        return 0;
    return static_cast<int>(size);
}

CUnicodeString CRegistryKey::QueryStringValue(const char16_t* valueName, const char16_t* defaultValue) const {
    if (!require(valueName != nullptr && defaultValue != nullptr, 208))
        return defaultValue == nullptr ? CUnicodeString() : CUnicodeString(defaultValue);
    if (key == nullptr)
        return CUnicodeString(defaultValue);
    return queryText(defaultValue, [=, this](DWORD* type, void* data, DWORD* size) {
        return Platform::RegQueryValueExW(key, valueName, type, data, size);
    });
}

CUnicodeString QueryRegistryText(HKEY parent, const char16_t* path, const char16_t* valueName,
                                 const char16_t* defaultValue) {
    if (!require(parent != nullptr, 41))
        return CUnicodeString(defaultValue);
    return queryText(defaultValue, [=](DWORD* type, void* data, DWORD* size) {
        return Platform::QueryRegistryValue(parent, path, valueName, type, data, size);
    });
}

bool CRegistryKey::SetValue(const char16_t* valueName, DWORD type, const void* data, int dataSize) {
    if (!require(valueName != nullptr && data != nullptr, 245) || !require(!isReadOnly, 246))
        return false;
    if (key == nullptr)
        return false;
    if (dataSize < 0)
        return setResult(static_cast<LSTATUS>(ERROR_INVALID_PARAMETER));
    return setResult(Platform::RegSetValueExW(key, valueName, type, data, static_cast<DWORD>(dataSize)));
}

bool CRegistryKey::SetStringValue(const char16_t* valueName, const char16_t* value) {
    if (!require(valueName != nullptr && value != nullptr, 257))
        return false;
    const std::size_t size = (std::char_traits<char16_t>::length(value) + 1) * sizeof(char16_t);
    if (size > INT_MAX)
        return setResult(static_cast<LSTATUS>(ERROR_INVALID_PARAMETER));
    return SetValue(valueName, REG_SZ, value, static_cast<int>(size));
}

void CRegistryKey::DeleteValue(const char16_t* valueName) {
    if (require(!isReadOnly, 83) && require(key != nullptr, 84) && require(valueName != nullptr, 85))
        setResult(Platform::RegDeleteValueW(key, valueName));
}

void CRegistryKey::DeleteSubKey(const char16_t* subKeyName) {
    if (!require(!isReadOnly, 93) || !require(key != nullptr, 94) || !require(subKeyName != nullptr, 95))
        return;
    // The system takes an empty name for this key itself: a caller who forgot the name would lose everything.
    if (*subKeyName == 0) {
        setResult(static_cast<LSTATUS>(ERROR_INVALID_PARAMETER));
        return;
    }
    CFirstFailure whyNotEmpty;
    CRegistryKey subKey(false);
    subKey.Open(key, subKeyName);
    whyNotEmpty.Note();
    CArray<CUnicodeString, CurrentMemoryManager> names;
    subKey.GetSubKeys(names);
    whyNotEmpty.Note();
    for (const CUnicodeString& name : names) {
        subKey.DeleteSubKey(name.Ptr());
        whyNotEmpty.Note();
    }
    subKey.Close();
    if (!setResult(Platform::RegDeleteKeyW(key, subKeyName)))
        whyNotEmpty.Report();
}

bool CRegistryKey::Flush() { return key != nullptr && setResult(Platform::RegFlushKey(key)); }

void CRegistryKey::GetSubKeys(CArray<CUnicodeString, CurrentMemoryManager>& names) const {
    names.DeleteAll();
    if (key == nullptr)
        return;
    CRegistryKeyInfo info;
    GetInfo(info);
    EnumerationBuffer<char16_t> name;
    name.Reserve(info.longestSubKeyName + 1);
    for (DWORD index = 0;; index++) {
        DWORD length = name.Size();
        if (!setResult(Platform::RegEnumKeyExW(key, index, name.Ptr(), &length)))
            return;
        names.Add(CUnicodeString(name.Ptr(), static_cast<int>(length)));
    }
}

void CRegistryKey::GetStringValueNames(CArray<CUnicodeString, CurrentMemoryManager>& names) const {
    listValues(names, true);
}

void CRegistryKey::GetValueNames(CArray<CUnicodeString, CurrentMemoryManager>& names) const {
    listValues(names, false);
}

void CRegistryKey::listValues(CArray<CUnicodeString, CurrentMemoryManager>& names, bool isTextOnly) const {
    names.DeleteAll();
    if (key == nullptr)
        return;
    CRegistryKeyInfo info;
    GetInfo(info);
    names.Reserve(static_cast<int>(info.valueCount));
    EnumerationBuffer<char16_t> name;
    name.Reserve(info.longestValueName + 1);
    for (DWORD index = 0;; index++) {
        DWORD length = name.Size();
        DWORD type = 0;
        if (!setResult(Platform::RegEnumValueW(key, index, name.Ptr(), &length, &type, nullptr, nullptr)))
            return;
        if (type == REG_SZ || !isTextOnly)
            names.Add(CUnicodeString(name.Ptr(), static_cast<int>(length)));
    }
}

void CRegistryKey::CopyTo(HKEY destination) const {
    if (!require(destination != nullptr, 310) || key == nullptr || destination == key)
        return;
    CArray<CUnicodeString, CurrentMemoryManager> paths;
    CFirstFailure failure;
    listSubtree(paths);
    failure.Note();
    copyValuesTo(destination);
    failure.Note();
    for (const CUnicodeString& path : paths) {
        CRegistryKey from(true);
        CRegistryKey to(false);
        from.Open(key, path.Ptr());
        failure.Note();
        to.Open(destination, path.Ptr());
        failure.Note();
        if (to.key != nullptr)
            from.copyValuesTo(to.key);
        failure.Note();
    }
    setResult(0);
    failure.Report();
}

void CRegistryKey::CopyTo(const CRegistryKey& destination) const { CopyTo(destination.key); }

// The paths of all keys below this one, each parent before its sub-keys. The last error is that of the first
// list that failed, if one did.
void CRegistryKey::listSubtree(CArray<CUnicodeString, CurrentMemoryManager>& paths) const {
    CFirstFailure failure;
    GetSubKeys(paths);
    failure.Note();
    CArray<CUnicodeString, CurrentMemoryManager> names;
    for (int i = 0; i < paths.Size(); i++) {
        CRegistryKey subKey(true);
        subKey.Open(key, paths[i].Ptr());
        failure.Note();
        subKey.GetSubKeys(names);
        failure.Note();
        for (const CUnicodeString& name : names) {
            CUnicodeString path = paths[i];
            path += u'\\';
            path += name;
            paths.Add(path);
        }
    }
    setResult(0);
    failure.Report();
}

// The last error is that of the first value that could not be copied, if there was one.
void CRegistryKey::copyValuesTo(HKEY destination) const {
    if (key == nullptr)
        return;
    CRegistryKeyInfo info;
    GetInfo(info);
    EnumerationBuffer<char16_t> name;
    name.Reserve(info.longestValueName + 1);
    EnumerationBuffer<BYTE> data;
    data.Reserve(info.longestValueData);
    CFirstFailure failure;
    for (DWORD index = 0;;) {
        DWORD length = name.Size();
        DWORD size = data.Size();
        DWORD type = 0;
        const LSTATUS result =
            Platform::RegEnumValueW(key, index, name.Ptr(), &length, &type, data.Ptr(), &size);
        if (result == static_cast<LSTATUS>(ERROR_MORE_DATA)) { // somebody has set a longer value meanwhile
            const DWORD oldRoom = name.Size() + data.Size();
            GetInfo(info);
            name.Reserve(info.longestValueName + 1);
            data.Reserve(std::max<DWORD>(info.longestValueData, size));
            if (name.Size() + data.Size() > oldRoom)
                continue;
        }
        if (!setResult(result))
            break;
        setResult(Platform::RegSetValueExW(destination, name.Ptr(), type, data.Ptr(), size));
        failure.Note();
        index++;
    }
    failure.Note();
    setResult(0);
    failure.Report();
}

} // namespace Tarn
