// check and repair.
#include "examples/notebook/console.h"
#include "tools/tarnreg/commands.h"
#include "tools/tarnreg/messages.h"
#include "tools/tarnreg/registry.h"

#include <tarnkit/file_system.h>
#include <tarnkit/registry_store.h>
#include <tarnkit/text_of_values.h>

namespace tarnreg {

using namespace Tarn;

namespace {

HKEY rootOf(const std::u16string& name) {
    if (name != u"user" && name != u"machine")
        throw Failure{kExitUsage, MSG_TARNREG_USAGE.UnicodeStr()};
    return name == u"user" ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

void print(const CUnicodeString& line) { Console::Print(line + u"\n"); }

// Tells what was found. False if something is damaged.
bool tell(DWORD result, const CRegistryStoreState& state, const std::u16string& name) {
    if (result == ERROR_CALL_NOT_IMPLEMENTED)
        throw Failure{kExitFailed, MSG_TARNREG_SYSTEM_KEEPS_IT.UnicodeStr()};
    const CUnicodeString keys = UnicodeStr(state.KeyCount), values = UnicodeStr(state.ValueCount);
    const CUnicodeString file = FileSystem::ForDisplay(state.FileName);
    if (result == ERROR_SUCCESS && state.OldFileName.IsEmpty())
        print(MSG_TARNREG_SOUND.SubstParam(file, keys, values));
    else if (result == ERROR_SUCCESS)
        print(MSG_TARNREG_REPAIRED.SubstParam(file, keys, values, FileSystem::ForDisplay(state.OldFileName)));
    else if (result == ERROR_FILE_NOT_FOUND)
        print(MSG_TARNREG_NO_STORE.SubstParam(file));
    else if (result == ERROR_BADDB)
        print(MSG_TARNREG_DAMAGED.SubstParam(file, keys, values));
    else
        FailFor(result, file);
    const CUnicodeString root = name == u"user" ? u"HKEY_CURRENT_USER" : u"HKEY_LOCAL_MACHINE";
    if (state.UnreadablePages > 0)
        print(MSG_TARNREG_UNREADABLE_PAGES.SubstParam(UnicodeStr(state.UnreadablePages)));
    if (state.LostKeys > 0)
        print(MSG_TARNREG_LOST_KEYS.SubstParam(UnicodeStr(state.LostKeys), root + u"\\Lost keys"));
    return result != ERROR_BADDB;
}

} // namespace

int Check(const Arguments& arguments) {
    const std::vector<std::u16string> both = {u"user", u"machine"};
    bool areSound = true;
    for (const std::u16string& name : arguments.words.empty() ? both : arguments.words) {
        CRegistryStoreState state;
        const DWORD result = CheckRegistryStore(rootOf(name), state);
        areSound = tell(result, state, name) && areSound;
    }
    return areSound ? kExitDone : kExitNotFound;
}

int Repair(const Arguments& arguments) {
    CRegistryStoreState state;
    if (arguments.words.size() != 1)
        throw Failure{kExitUsage, MSG_TARNREG_USAGE.UnicodeStr()};
    const DWORD result = RepairRegistryStore(rootOf(arguments.words[0]), state);
    tell(result, state, arguments.words[0]);
    return kExitDone;
}

} // namespace tarnreg
