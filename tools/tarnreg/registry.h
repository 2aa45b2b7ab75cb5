// Keys and values as the commands see them, and the failures that end a command.
#pragma once

#include "tools/tarnreg/key_name.h"
#include "tools/tarnreg/reg_file.h"

#include <tarnkit/registry_key.h>

namespace tarnreg {

enum ExitCode {
    kExitDone = 0,
    kExitNotFound = 1, ///< also: the store is damaged, nothing has changed
    kExitUsage = 2,
    kExitFailed = 3
};

/// Ends the command with a text for the user.
struct Failure {
    ExitCode code;
    Tarn::CUnicodeString text;
};

/// Ends the command for what the registry refused; `name` is the key or value that it was about.
[[noreturn]] void FailFor(DWORD code, const Tarn::CUnicodeString& name);

/// Opens a key that must exist.
void OpenExisting(Tarn::CRegistryKey& key, const KeyName& name);
bool Exists(const KeyName& name);

/// Reads a value; false if it is missing.
bool ReadValue(const Tarn::CRegistryKey& key, const std::u16string& name, Value& value);

/// The key and what is below it, each key before its sub-keys. A key that is deleted meanwhile is left out.
std::vector<Key> ReadTree(const KeyName& name, bool isWithSubKeys);

void WriteValue(Tarn::CRegistryKey& key, const Value& value, const Tarn::CUnicodeString& keyName);
/// Does what the entries of a file say, one after the other.
void Apply(const std::vector<Key>& entries);

/// Deletes a key with everything below it. One that does not exist counts as deleted.
void DeleteTree(const KeyName& name);

} // namespace tarnreg
