// Shorthand for registry calls, for the tests of the ports.
#pragma once

#include "tests/platform/codes.h"

namespace Tarn::Platform {

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

/// A key that is open until the end of a scope.
class Key {
public:
    /// Creates the key.
    Key(HKEY parent, const Text& name) {
        EXPECT_EQ(RegCreateKeyExW(parent, name.c_str(), kReadWrite, &key, nullptr), 0);
    }
    /// Opens the key.
    Key(HKEY parent, const Text& name, REGSAM access) {
        EXPECT_EQ(RegOpenKeyExW(parent, name.c_str(), 0, access, &key), 0);
    }
    ~Key() { EXPECT_EQ(Platform::RegCloseKey(key), 0); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    operator HKEY() const { return key; }

private:
    HKEY key = nullptr;
};

/// The result of opening a key; closes the key again.
inline DWORD tryOpen(HKEY parent, const Text& name, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    const LSTATUS result = RegOpenKeyExW(parent, name.c_str(), 0, access, &key);
    EXPECT_EQ(result == 0, key != nullptr);
    return static_cast<DWORD>(result != 0 ? result : Platform::RegCloseKey(key));
}

inline DWORD set(HKEY key, const Text& name, const std::string& data, DWORD type = REG_BINARY) {
    const auto size = static_cast<DWORD>(data.size());
    return static_cast<DWORD>(RegSetValueExW(key, name.c_str(), type, data.data(), size));
}

/// The type of a value and then its bytes, or "failed" and the code.
inline std::string get(HKEY key, const char16_t* name) {
    std::string data(300'000, ' ');
    DWORD type = 0;
    DWORD size = static_cast<DWORD>(data.size());
    const LSTATUS result = RegQueryValueExW(key, name, &type, data.data(), &size);
    if (result != 0)
        return "failed " + std::to_string(result);
    return std::to_string(type) + ":" + data.substr(0, size);
}

} // namespace Tarn::Platform
