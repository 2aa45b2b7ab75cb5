// The full name of a key, as users write it: HKCU\Software\Example.
#pragma once

#include <tarnkit/types.h>

#include <string>
#include <string_view>

namespace tarnreg {

inline constexpr std::size_t kLongestKeyName = 255;
inline constexpr std::size_t kLongestValueName = 16383;
inline constexpr int kDeepestKey = 512;

struct KeyName {
    HKEY root = nullptr;
    std::u16string rootName; // in full: HKEY_CURRENT_USER
    std::u16string path;     // below the root; empty for the root itself

    std::u16string Full() const { return path.empty() ? rootName : rootName + u"\\" + path; }
};

/// Takes the root keys' full and short names, whatever their case. False if it is no name that a key can
/// have.
bool ParseKeyName(std::u16string_view text, KeyName& name);

} // namespace tarnreg
