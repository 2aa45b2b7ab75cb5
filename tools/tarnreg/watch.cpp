// watch: prints what changes, as the lines of a .reg file that would repeat it.
#include "examples/notebook/console.h"
#include "tools/tarnreg/commands.h"
#include "tools/tarnreg/data.h"
#include "tools/tarnreg/messages.h"
#include "tools/tarnreg/registry.h"

#include <tarnkit/registry_watch.h>

#include <algorithm>
#include <cstdio>

namespace tarnreg {

using namespace Tarn;

namespace {

const Value* find(const std::vector<Value>& values, const std::u16string& name) {
    const auto found = std::find_if(values.begin(), values.end(),
                                    [&name](const Value& value) { return value.name == name; });
    return found == values.end() ? nullptr : &*found;
}

const Key* find(const std::vector<Key>& keys, const std::u16string& path) {
    const auto found =
        std::find_if(keys.begin(), keys.end(), [&path](const Key& key) { return key.path == path; });
    return found == keys.end() ? nullptr : &*found;
}

// What makes `after` of `before`. Of what is deleted, the uppermost key stands for those below it.
std::vector<Key> changes(const std::vector<Key>& before, const std::vector<Key>& after) {
    std::vector<Key> result;
    for (const Key& key : before) {
        const bool isCovered = !result.empty() && key.path.starts_with(result.back().path + u"\\");
        if (find(after, key.path) == nullptr && !isCovered) {
            result.emplace_back().path = key.path;
            result.back().isDeleted = true;
        }
    }
    for (const Key& key : after) {
        const Key* const old = find(before, key.path);
        Key change = key;
        if (old != nullptr) {
            std::erase_if(change.values, [old](const Value& value) {
                const Value* const known = find(old->values, value.name);
                return known != nullptr && *known == value;
            });
            for (const Value& value : old->values)
                if (find(key.values, value.name) == nullptr) {
                    change.values.emplace_back().name = value.name;
                    change.values.back().isDeleted = true;
                }
        }
        if (old == nullptr || !change.values.empty())
            result.push_back(change);
    }
    return result;
}

} // namespace

int Watch(const Arguments& arguments) {
    KeyName name;
    UInt64 seconds = 0;
    if (!ParseKeyName(arguments.words[0], name))
        throw Failure{kExitUsage, MSG_TARNREG_BAD_KEY.SubstParam(ToText(arguments.words[0]))};
    if (arguments.words.size() > 1)
        throw Failure{kExitUsage, MSG_TARNREG_USAGE.UnicodeStr()};
    constexpr UInt64 kMostSeconds = 4'000'000; // as milliseconds, they fit
    if (!arguments.timeout.empty() && (!ParseNumber(arguments.timeout, 4, seconds) || seconds > kMostSeconds))
        throw Failure{kExitUsage,
                      MSG_TARNREG_BAD_OPTION.SubstParam(u"--timeout " + ToText(arguments.timeout))};
    const DWORD time =
        arguments.timeout.empty() ? CRegistryWatch::Forever : static_cast<DWORD>(seconds * 1000);

    CRegistryKey key(true);
    OpenExisting(key, name);
    CRegistryWatch watch(key);
    if (!watch.IsValid())
        FailFor(GetLastError(), ToText(name.Full()));
    std::vector<Key> known = ReadTree(name, true);
    while (watch.Wait(time)) {
        std::vector<Key> now = ReadTree(name, true);
        const std::vector<Key> changed = changes(known, now);
        known = std::move(now);
        for (const Key& change : changed) {
            std::u16string lines = LinesOf(change) + u"\n";
            std::erase(lines, u'\r');
            Console::Print(ToText(lines));
        }
        if (!Console::IsAllPrinted())
            return kExitFailed;
        if (known.empty())
            return kExitDone; // the key was deleted
        if (arguments.isOnce && !changed.empty())
            return kExitDone;
    }
    if (const DWORD code = GetLastError(); code != ERROR_TIMEOUT && code != ERROR_KEY_DELETED)
        FailFor(code, ToText(name.Full()));
    return kExitNotFound;
}

} // namespace tarnreg
