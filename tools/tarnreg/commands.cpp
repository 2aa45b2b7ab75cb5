#include "tools/tarnreg/commands.h"

#include "examples/notebook/console.h"
#include "tools/tarnreg/data.h"
#include "tools/tarnreg/messages.h"
#include "tools/tarnreg/registry.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>

namespace tarnreg {

using namespace Tarn;

namespace {

KeyName keyNameOf(const std::u16string& text) {
    KeyName name;
    if (!ParseKeyName(text, name))
        throw Failure{kExitUsage, MSG_TARNREG_BAD_KEY.SubstParam(ToText(text))};
    return name;
}

// What is to be changed or removed as a whole must not be a root key.
KeyName keyBelowRoot(const std::u16string& text) {
    KeyName name = keyNameOf(text);
    if (name.path.empty())
        throw Failure{kExitUsage, MSG_TARNREG_ROOT.SubstParam(ToText(name.Full()))};
    return name;
}

// The words behind the key: whether they name a value, and the first of its data.
bool namesValue(const Arguments& arguments, std::u16string& name, std::size_t& next) {
    next = 1;
    if (arguments.isUnnamed)
        return true;
    if (arguments.words.size() < 2)
        return false;
    name = arguments.words[next++];
    return true;
}

void requireWords(const Arguments& arguments, std::size_t fewest, std::size_t most) {
    if (arguments.words.size() < fewest || arguments.words.size() > most)
        throw Failure{kExitUsage, MSG_TARNREG_USAGE.UnicodeStr()};
}

[[noreturn]] void failForMissing(const KeyName& key, const std::u16string& value) {
    throw Failure{kExitNotFound,
                  MSG_TARNREG_NO_VALUE.SubstParam(
                      ToText(key.Full()), value.empty() ? MSG_TARNREG_UNNAMED.UnicodeStr() : ToText(value))};
}

std::u16string lineOf(const Value& value) {
    const CUnicodeString unnamed = MSG_TARNREG_UNNAMED.UnicodeStr();
    const std::u16string name = value.name.empty() ? std::u16string(unnamed.Ptr()) : value.name;
    return u"    " + name + u"    " + TypeName(value.type) + u"    " + DataText(value) + u"\n";
}

std::string bytesOfFile(const CUnicodeString& name) {
    CFile file(name, CFile::ForReading | CFile::DenyWrite);
    std::string bytes(static_cast<std::size_t>(file.GetLength()), '\0');
    file.ReadRecord(bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

} // namespace

int Query(const Arguments& arguments) {
    const KeyName name = keyNameOf(arguments.words[0]);
    std::u16string valueName;
    std::size_t next;
    std::u16string text;
    if (namesValue(arguments, valueName, next)) {
        requireWords(arguments, next, next);
        CRegistryKey key(true);
        OpenExisting(key, name);
        Value value;
        if (!ReadValue(key, valueName, value))
            failForMissing(name, valueName);
        text = arguments.isDataOnly ? DataText(value) + u"\n" : name.Full() + u"\n" + lineOf(value);
        Console::Print(ToText(text));
        return kExitDone;
    }
    const std::vector<Key> keys = ReadTree(name, arguments.isRecursive);
    if (keys.empty())
        throw Failure{kExitNotFound, MSG_TARNREG_NO_KEY.SubstParam(ToText(name.Full()))};
    for (const Key& key : keys) {
        text += (text.empty() ? u"" : u"\n") + key.path + u"\n";
        for (const Value& value : key.values)
            text += lineOf(value);
    }
    if (!arguments.isRecursive) {
        CRegistryKey key(true);
        OpenExisting(key, name);
        CArray<CUnicodeString> subKeys;
        key.GetSubKeys(subKeys);
        for (const CUnicodeString& subKey : subKeys)
            text += name.Full() + u"\\" + subKey.Ptr() + u"\n";
    }
    Console::Print(ToText(text));
    return kExitDone;
}

int Set(const Arguments& arguments) {
    const KeyName name = keyNameOf(arguments.words[0]);
    Value value;
    std::size_t next;
    const bool hasValue = namesValue(arguments, value.name, next);
    value.type = REG_SZ;
    if (!arguments.type.empty() && !ParseType(arguments.type, value.type))
        throw Failure{kExitUsage, MSG_TARNREG_BAD_TYPE.SubstParam(ToText(arguments.type))};
    std::vector<std::u16string> words(arguments.words.begin() + static_cast<std::ptrdiff_t>(next),
                                      arguments.words.end());
    if (!ParseData(value.type, words, value.data) || value.name.size() > kLongestValueName)
        throw Failure{kExitUsage, MSG_TARNREG_BAD_NUMBER.SubstParam(ToText(TypeName(value.type)))};
    CRegistryKey key(false);
    key.Open(name.root, name.path.c_str());
    if (key.GetKey() == nullptr)
        FailFor(GetLastError(), ToText(name.Full()));
    if (hasValue)
        WriteValue(key, value, ToText(name.Full()));
    return kExitDone;
}

int Delete(const Arguments& arguments) {
    const KeyName name = keyNameOf(arguments.words[0]);
    std::u16string valueName;
    std::size_t next;
    const bool isValue = namesValue(arguments, valueName, next);
    requireWords(arguments, next, next);
    {
        CRegistryKey found(true);
        OpenExisting(found, name);
        Value value;
        CRegistryKeyInfo info;
        found.GetInfo(info);
        if (isValue && !ReadValue(found, valueName, value))
            failForMissing(name, valueName);
        if (!isValue && info.subKeyCount > 0 && !arguments.isRecursive)
            throw Failure{kExitFailed, MSG_TARNREG_HAS_SUB_KEYS.SubstParam(ToText(name.Full()))};
    }
    Key entry;
    entry.path = isValue ? name.Full() : keyBelowRoot(arguments.words[0]).Full();
    entry.isDeleted = !isValue;
    if (isValue) {
        entry.values.emplace_back().name = valueName;
        entry.values[0].isDeleted = true;
    }
    Apply({entry});
    return kExitDone;
}

int Copy(const Arguments& arguments) {
    requireWords(arguments, 2, 2);
    const KeyName from = keyNameOf(arguments.words[0]);
    const KeyName to = keyBelowRoot(arguments.words[1]);
    CRegistryKey source(true);
    OpenExisting(source, from);
    CRegistryKey target(false);
    target.Open(to.root, to.path.c_str());
    if (target.GetKey() == nullptr)
        FailFor(GetLastError(), ToText(to.Full()));
    source.CopyTo(target);
    if (const DWORD code = GetLastError(); code != ERROR_SUCCESS)
        FailFor(code, ToText(to.Full()));
    return kExitDone;
}

int Export(const Arguments& arguments) {
    requireWords(arguments, 2, 2);
    const KeyName name = keyNameOf(arguments.words[0]);
    const CUnicodeString file = ToText(arguments.words[1]);
    if (!arguments.format.empty() && arguments.format != u"4" && arguments.format != u"5")
        throw Failure{kExitUsage, MSG_TARNREG_BAD_OPTION.SubstParam(u"--format " + ToText(arguments.format))};
    CUnicodeString fullName = file;
    FileSystem::MakeFullPath(fullName);
    if (!arguments.isForced && FileSystem::AccessFile(fullName, 0))
        throw Failure{kExitFailed, MSG_TARNREG_EXISTS.SubstParam(FileSystem::ForDisplay(file))};
    const std::vector<Key> keys = ReadTree(name, true);
    if (keys.empty())
        throw Failure{kExitNotFound, MSG_TARNREG_NO_KEY.SubstParam(ToText(name.Full()))};
    const std::string bytes = WriteRegFile(keys, arguments.format == u"4" ? Version::Four : Version::Five);
    CString contents;
    std::copy(bytes.begin(), bytes.end(), contents.GetBufferSetLength(static_cast<int>(bytes.size())));
    CFile::WriteANSIText(file, contents); // as it is, and in one step
    return kExitDone;
}

// Nothing is written before the whole file has been read and understood.
int Import(const Arguments& arguments) {
    requireWords(arguments, 1, 1);
    const CUnicodeString file = ToText(arguments.words[0]);
    Apply(ParseRegFile(bytesOfFile(file), FileSystem::ForDisplay(file)));
    return kExitDone;
}

} // namespace tarnreg
