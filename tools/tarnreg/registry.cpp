#include "tools/tarnreg/registry.h"

#include "tools/tarnreg/messages.h"

#include <tarnkit/byte_order.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>

namespace tarnreg {

using namespace Tarn;

namespace {

bool isGone(DWORD code) { return code == ERROR_FILE_NOT_FOUND || code == ERROR_KEY_DELETED; }

CUnicodeString fullName(const CUnicodeString& key, const std::u16string& value) {
    return key + u"\\" + (value.empty() ? MSG_TARNREG_UNNAMED.UnicodeStr() : ToText(value));
}

// Reads one key. False if it is gone.
bool readKey(const KeyName& name, Key& key, CArray<CUnicodeString>& subKeys) {
    CRegistryKey opened(true);
    opened.Open(name.root, name.path.c_str());
    DWORD code = GetLastError();
    CArray<CUnicodeString> names;
    if (code == ERROR_SUCCESS)
        do { // somebody may add a longer name meanwhile
            opened.GetValueNames(names);
            code = GetLastError();
        } while (code == ERROR_MORE_DATA);
    if (code == ERROR_NO_MORE_ITEMS) {
        key.path = name.Full();
        for (const CUnicodeString& valueName : names)
            if (Value value; ReadValue(opened, valueName.Ptr(), value))
                key.values.push_back(std::move(value));
        do {
            opened.GetSubKeys(subKeys);
            code = GetLastError();
        } while (code == ERROR_MORE_DATA);
    }
    if (code == ERROR_NO_MORE_ITEMS)
        return true;
    if (isGone(code))
        return false;
    FailFor(code, ToText(name.Full()));
}

void readTree(const KeyName& name, bool isWithSubKeys, std::vector<Key>& keys) {
    CArray<CUnicodeString> subKeys;
    Key key;
    if (!readKey(name, key, subKeys))
        return;
    keys.push_back(std::move(key));
    if (!isWithSubKeys)
        return;
    for (const CUnicodeString& subKey : subKeys) {
        KeyName below = name;
        below.path += (name.path.empty() ? u"" : u"\\");
        below.path += subKey.Ptr();
        readTree(below, true, keys);
    }
}

} // namespace

void FailFor(DWORD code, const CUnicodeString& name) {
    CUnicodeString reason = CLastErrorException::GetErrorText(code);
    reason.TrimRight();
    throw Failure{kExitFailed, MSG_TARNREG_FAILED.SubstParam(name, reason)};
}

void OpenExisting(CRegistryKey& key, const KeyName& name) {
    if (!Exists(name))
        throw Failure{kExitNotFound, MSG_TARNREG_NO_KEY.SubstParam(ToText(name.Full()))};
    key.Open(name.root, name.path.c_str());
    if (key.GetKey() == nullptr)
        FailFor(GetLastError(), ToText(name.Full()));
}

bool Exists(const KeyName& name) {
    CRegistryKey key(true);
    key.Open(name.root, name.path.c_str());
    const DWORD code = GetLastError();
    if (code != ERROR_SUCCESS && !isGone(code))
        FailFor(code, ToText(name.Full()));
    return code == ERROR_SUCCESS;
}

bool ReadValue(const CRegistryKey& key, const std::u16string& name, Value& value) {
    value.name = name;
    for (;;) { // until nobody has changed the value between the calls
        value.type = key.GetValueType(name.c_str());
        if (isGone(GetLastError()))
            return false;
        value.data.resize(static_cast<std::size_t>(key.QueryValue(name.c_str(), nullptr, 0)) + 1);
        const int size = key.QueryValue(name.c_str(), value.data.data(), static_cast<int>(value.data.size()));
        const DWORD code = GetLastError();
        if (isGone(code))
            return false;
        if (code == ERROR_MORE_DATA)
            continue;
        if (code != ERROR_SUCCESS)
            FailFor(code, ToText(name));
        value.data.resize(static_cast<std::size_t>(size));
        TurnLittleEndian(value.type, value.data.data(), value.data.size());
        if (key.GetValueType(name.c_str()) == value.type)
            return true;
    }
}

std::vector<Key> ReadTree(const KeyName& name, bool isWithSubKeys) {
    std::vector<Key> keys;
    readTree(name, isWithSubKeys, keys);
    return keys;
}

void WriteValue(CRegistryKey& key, const Value& value, const CUnicodeString& keyName) {
    const int size = static_cast<int>(value.data.size());
    std::string data = value.data + "xx"; // Windows would add to a text the terminator that stands behind it
    TurnLittleEndian(value.type, data.data(), value.data.size());
    if (!key.SetValue(value.name.c_str(), value.type, data.data(), size))
        FailFor(GetLastError(), fullName(keyName, value.name));
}

void Apply(const std::vector<Key>& entries) {
    for (const Key& entry : entries) {
        KeyName name;
        ParseKeyName(entry.path, name);
        if (entry.isDeleted) {
            DeleteTree(name);
            continue;
        }
        CRegistryKey key(false);
        key.Open(name.root, name.path.c_str());
        if (key.GetKey() == nullptr)
            FailFor(GetLastError(), ToText(entry.path));
        for (const Value& value : entry.values) {
            if (!value.isDeleted) {
                WriteValue(key, value, ToText(entry.path));
                continue;
            }
            key.DeleteValue(value.name.c_str());
            if (const DWORD code = GetLastError(); code != ERROR_SUCCESS && !isGone(code))
                FailFor(code, fullName(ToText(entry.path), value.name));
        }
    }
}

void DeleteTree(const KeyName& name) {
    if (!Exists(name))
        return;
    const std::size_t end = name.path.rfind(u'\\');
    CRegistryKey parent(false);
    parent.Open(name.root, end == name.path.npos ? u"" : name.path.substr(0, end).c_str());
    if (parent.GetKey() != nullptr)
        parent.DeleteSubKey(name.path.substr(end == name.path.npos ? 0 : end + 1).c_str());
    if (const DWORD code = GetLastError(); code != ERROR_SUCCESS)
        FailFor(code, ToText(name.Full()));
}

} // namespace tarnreg
