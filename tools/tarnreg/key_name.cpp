#include "tools/tarnreg/key_name.h"

#include <algorithm>

namespace tarnreg {

namespace {

const struct {
    const char16_t* name;
    const char16_t* shortName;
    HKEY key;
} kRoots[] = {{u"HKEY_CURRENT_USER", u"HKCU", HKEY_CURRENT_USER},
              {u"HKEY_LOCAL_MACHINE", u"HKLM", HKEY_LOCAL_MACHINE},
              {u"HKEY_CLASSES_ROOT", u"HKCR", HKEY_CLASSES_ROOT},
              {u"HKEY_USERS", u"HKU", HKEY_USERS}};

std::u16string upper(std::u16string_view text) {
    std::u16string result(text);
    for (char16_t& unit : result)
        if (unit >= u'a' && unit <= u'z')
            unit = static_cast<char16_t>(unit - u'a' + u'A');
    return result;
}

// A path of names that are neither empty nor too long.
bool isPath(std::u16string_view path) {
    int depth = 1;
    for (std::size_t start = 0;; depth++) {
        const std::size_t end = std::min(path.find(u'\\', start), path.size());
        if (end == start || end - start > kLongestKeyName || depth > kDeepestKey)
            return false;
        if (end == path.size())
            return path.find(u'\0') == path.npos;
        start = end + 1;
    }
}

} // namespace

bool ParseKeyName(std::u16string_view text, KeyName& name) {
    const std::size_t end = std::min(text.find(u'\\'), text.size());
    const std::u16string root = upper(text.substr(0, end));
    for (const auto& known : kRoots)
        if (root == known.name || root == known.shortName) {
            name = {known.key, known.name, std::u16string(text.substr(std::min(end + 1, text.size())))};
            return end == text.size() || isPath(name.path);
        }
    return false;
}

} // namespace tarnreg
