// Random sequences of registry calls over a small tree of keys, which each sequence starts anew.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

namespace compare_ports {

namespace {

namespace Platform = Tarn::Platform;

constexpr unsigned kScripts = 400;
constexpr unsigned kSteps = 60;
constexpr unsigned kSlots = 5;

constexpr char16_t kScratch[] = u"Software\\TarnkitComparePorts";

// The longest name and the longest data of the scripts have room in these buffers.
constexpr DWORD kLargestRoom = 64;
constexpr DWORD kRooms[] = {0, 1, 2, 5, kLargestRoom, kLargestRoom, kLargestRoom};

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

/// What a call fills in.
struct Answer {
    char16_t name[kLargestRoom] = {};
    DWORD nameSize = 0;
    DWORD type = 0;
    char data[kLargestRoom] = {};
    DWORD dataSize = 0;

    std::string Name(LSTATUS result) const { return result == 0 ? Quoted({name, nameSize}) : ""; }

    /// Type, size and, if they are there, the bytes of a value.
    std::string Value(LSTATUS result, const void* buffer) const {
        if (result != 0 && result != static_cast<LSTATUS>(ERROR_MORE_DATA))
            return "";
        const bool hasData = result == 0 && buffer != nullptr;
        return Words(type, dataSize, hasData ? Hex(std::string_view(data, dataSize)) : "");
    }
};

std::u16string firstSubKey(HKEY key) {
    Answer answer;
    answer.nameSize = kLargestRoom;
    Platform::RegEnumKeyExW(key, 0, answer.name, &answer.nameSize);
    return answer.name;
}

void deleteTree(HKEY parent, const std::u16string& name) {
    HKEY key = nullptr;
    if (Platform::RegOpenKeyExW(parent, name.c_str(), 0, KEY_READ, &key) != 0)
        return;
    for (std::u16string child = firstSubKey(key); !child.empty(); child = firstSubKey(key))
        deleteTree(key, child);
    Platform::RegCloseKey(key);
    Platform::RegDeleteKeyW(parent, name.c_str());
}

class Script {
public:
    Script(ResultFile& toResults, unsigned scriptNumber)
        : results(toResults), group("registry/" + std::to_string(scriptNumber)), random(scriptNumber) {}

    void Run() {
        deleteTree(HKEY_CURRENT_USER, kScratch);
        Platform::RegCreateKeyExW(HKEY_CURRENT_USER, kScratch, kReadWrite, &keys[0], nullptr);
        for (unsigned number = 0; number < kSteps; number++)
            results.Add(group, number, step());
        for (const HKEY key : keys)
            Platform::RegCloseKey(key);
        deleteTree(HKEY_CURRENT_USER, kScratch);
    }

private:
    std::string step() {
        slot = random.Below(kSlots);
        switch (random.Below(12)) {
        case 0:
        case 1:
        case 2:
            return create();
        case 3:
            return open();
        case 4:
        case 5:
        case 6:
            return set();
        case 7:
            return query();
        case 8:
            return enumerateKeys();
        case 9:
            return enumerateValues();
        case 10:
            return random.OneIn(2) ? removeValue() : removeKey();
        default:
            return measure();
        }
    }

    const char16_t* keyName() {
        static constexpr const char16_t* kNames[] = {u"a",
                                                     u"A",
                                                     u"b",
                                                     u"b\\c",
                                                     u"B\\C\\d",
                                                     u"a\\x",
                                                     u"_",
                                                     u"Z",
                                                     u"ä",
                                                     u"Ä",
                                                     u"ı",
                                                     u"I",
                                                     u"",
                                                     u"\\a",
                                                     u"a\\",
                                                     u"b\\\\c",
                                                     u"long name of a key"};
        return random.Pick(kNames);
    }

    const char16_t* valueName() {
        static constexpr const char16_t* kNames[] = {
            u"", u"v", u"V", u"w", u"W1", u"ж", u"Ж", u"a\\b", u"long name of a value"};
        return random.Pick(kNames);
    }

    REGSAM rights() {
        static constexpr REGSAM kRights[] = {
            kReadWrite, kReadWrite,      kReadWrite,    KEY_READ,
            KEY_WRITE,  KEY_QUERY_VALUE, KEY_SET_VALUE, KEY_ENUMERATE_SUB_KEYS};
        return random.Pick(kRights);
    }

    /// A slot for a new key. The first one keeps its key, from which all others are reached.
    HKEY* freeSlot() {
        HKEY* freed = &keys[1 + random.Below(kSlots - 1)];
        Platform::RegCloseKey(*freed);
        *freed = nullptr;
        return freed;
    }

    std::string create() {
        HKEY* target = freeSlot();
        const char16_t* name = keyName();
        const REGSAM access = rights();
        DWORD disposition = 0;
        const LSTATUS result = Platform::RegCreateKeyExW(keys[slot], name, access, target, &disposition);
        return Words("create", slot, Quoted(name), access, "in", target - keys, "=", result, disposition);
    }

    std::string open() {
        HKEY* target = freeSlot();
        const char16_t* name = keyName();
        const REGSAM access = rights();
        const LSTATUS result = Platform::RegOpenKeyExW(keys[slot], name, 0, access, target);
        return Words("open", slot, Quoted(name), access, "in", target - keys, "=", result);
    }

    std::string set() {
        static constexpr DWORD kTypes[] = {REG_NONE,  REG_SZ,       REG_EXPAND_SZ, REG_BINARY,
                                           REG_DWORD, REG_MULTI_SZ, 0x12345};
        const char16_t* name = valueName();
        const DWORD type = random.Pick(kTypes);
        std::string data;
        for (unsigned size = random.Below(20); size > 0; size--)
            data += static_cast<char>(random.OneIn(4) ? 0 : random.Below(0x100));
        const LSTATUS result =
            Platform::RegSetValueExW(keys[slot], name, type, data.c_str(), static_cast<DWORD>(data.size()));
        return Words("set", slot, Quoted(name), type, Hex(data), "=", result);
    }

    std::string query() {
        const char16_t* name = valueName();
        const DWORD room = random.Pick(kRooms);
        Answer answer;
        answer.dataSize = room;
        char* buffer = random.OneIn(4) ? nullptr : answer.data;
        const LSTATUS result =
            Platform::RegQueryValueExW(keys[slot], name, &answer.type, buffer, &answer.dataSize);
        return Words("query", slot, Quoted(name), buffer == nullptr ? "null" : "room", room, "=", result,
                     answer.Value(result, buffer));
    }

    std::string enumerateKeys() {
        const DWORD index = random.Below(4);
        const DWORD room = random.Pick(kRooms);
        Answer answer;
        answer.nameSize = room;
        const LSTATUS result = Platform::RegEnumKeyExW(keys[slot], index, answer.name, &answer.nameSize);
        return Words("key", slot, index, "room", room, "=", result, answer.Name(result));
    }

    std::string enumerateValues() {
        const DWORD index = random.Below(4);
        const DWORD nameRoom = random.Pick(kRooms);
        const DWORD room = random.Pick(kRooms);
        Answer answer;
        answer.nameSize = nameRoom;
        answer.dataSize = room;
        char* buffer = random.OneIn(4) ? nullptr : answer.data;
        const LSTATUS result = Platform::RegEnumValueW(keys[slot], index, answer.name, &answer.nameSize,
                                                       &answer.type, buffer, &answer.dataSize);
        return Words("value", slot, index, "room", nameRoom, buffer == nullptr ? "null" : "room", room, "=",
                     result, answer.Name(result), answer.Value(result, buffer));
    }

    std::string removeValue() {
        const char16_t* name = valueName();
        return Words("remove value", slot, Quoted(name), "=", Platform::RegDeleteValueW(keys[slot], name));
    }

    std::string removeKey() {
        const char16_t* name = keyName();
        if (*name == 0 && slot == 0)
            name = u"a";
        return Words("remove key", slot, Quoted(name), "=", Platform::RegDeleteKeyW(keys[slot], name));
    }

    std::string measure() {
        DWORD sizes[6] = {};
        const LSTATUS result = Platform::RegQueryInfoKeyW(keys[slot], &sizes[0], &sizes[1], &sizes[2],
                                                          &sizes[3], &sizes[4], &sizes[5]);
        return Words("measure", slot, "=", result, sizes[0], sizes[1], sizes[2], sizes[3], sizes[4],
                     sizes[5]);
    }

    ResultFile& results;
    std::string group;
    Random random;
    unsigned slot = 0; // whose key a step uses
    HKEY keys[kSlots] = {};
};

} // namespace

void PrintRegistry(ResultFile& results) {
    for (unsigned script = 0; script < kScripts; script++)
        Script(results, script).Run();
}

} // namespace compare_ports
