// Random sequences of registry calls on a small tree of keys, which is new for each sequence.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

#include <set>

namespace compare_ports {

namespace {

namespace Platform = Tarn::Platform;

constexpr unsigned kScripts = 400;
constexpr unsigned kSteps = 60;
constexpr unsigned kSlots = 5;

constexpr char16_t kScratch[] = u"Software\\TarnkitComparePorts";

// These buffers hold the longest name and the longest data of the scripts.
constexpr DWORD kLargestRoom = 64;
constexpr DWORD kRooms[] = {0, 1, 2, 5, kLargestRoom, kLargestRoom, kLargestRoom};

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;
constexpr REGSAM kRights[] = {kReadWrite,      KEY_READ,      KEY_WRITE,
                              KEY_QUERY_VALUE, KEY_SET_VALUE, KEY_ENUMERATE_SUB_KEYS};

/// The buffers that a call fills.
struct Answer {
    char16_t name[kLargestRoom] = {};
    DWORD nameSize = 0;
    DWORD type = 0;
    char data[kLargestRoom] = {};
    DWORD dataSize = 0;

    std::string Name(LSTATUS result) const { return result == 0 ? Quoted({name, nameSize}) : ""; }

    /// The type, the size and, if there are any, the bytes of a value.
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

std::string measured(HKEY key) {
    DWORD sizes[6] = {};
    const LSTATUS result =
        Platform::RegQueryInfoKeyW(key, &sizes[0], &sizes[1], &sizes[2], &sizes[3], &sizes[4], &sizes[5]);
    return Words(result, sizes[0], sizes[1], sizes[2], sizes[3], sizes[4], sizes[5]);
}

/// Calls that return no data, on a key opened with each of the access rights.
void printRights(ResultFile& results) {
    deleteTree(HKEY_CURRENT_USER, kScratch);
    for (unsigned number = 0; number < std::size(kRights); number++) {
        HKEY key = nullptr;
        Platform::RegCreateKeyExW(HKEY_CURRENT_USER, kScratch, kRights[number], &key, nullptr);
        results.Add("registry/measure", number, measured(key));
        HKEY same = nullptr;
        DWORD disposition = 0;
        const LSTATUS result = Platform::RegCreateKeyExW(key, u"", kRights[number], &same, &disposition);
        results.Add("registry/create-itself", number, Words(result, disposition));
        Platform::RegCloseKey(same);
        Platform::RegCloseKey(key);
    }
    deleteTree(HKEY_CURRENT_USER, kScratch);
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
            return listKeys();
        case 9:
            return listValues();
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

    /// A slot for a new key. The first slot keeps its key, from which all others are reached.
    unsigned freeSlot() {
        const unsigned freed = 1 + random.Below(kSlots - 1);
        Platform::RegCloseKey(keys[freed]);
        keys[freed] = nullptr;
        rights[freed] = random.OneIn(2) ? kReadWrite : random.Pick(kRights);
        return freed;
    }

    std::string create() {
        const unsigned target = freeSlot();
        const char16_t* name = keyName();
        if (*name == 0)
            name = u"b"; // see printRights
        DWORD disposition = 0;
        const LSTATUS result =
            Platform::RegCreateKeyExW(keys[slot], name, rights[target], &keys[target], &disposition);
        return Words("create", slot, Quoted(name), rights[target], "in", target, "=", result, disposition);
    }

    std::string open() {
        const unsigned target = freeSlot();
        const char16_t* name = keyName();
        const LSTATUS result = Platform::RegOpenKeyExW(keys[slot], name, 0, rights[target], &keys[target]);
        return Words("open", slot, Quoted(name), rights[target], "in", target, "=", result);
    }

    std::string set() {
        static constexpr DWORD kTypes[] = {REG_NONE,  REG_SZ,       REG_EXPAND_SZ, REG_BINARY,
                                           REG_DWORD, REG_MULTI_SZ, 0x12345};
        const char16_t* name = valueName();
        const DWORD type = random.Pick(kTypes);
        std::string data;
        for (unsigned size = random.Below(20); size > 0; size--)
            data += static_cast<char>(random.OneIn(4) ? 0 : random.Below(0x100));
        // A text may be stored with the terminator that happens to follow it.
        const std::string guarded = data + "not zero";
        const LSTATUS result =
            Platform::RegSetValueExW(keys[slot], name, type, guarded.data(), static_cast<DWORD>(data.size()));
        return Words("set", slot, Quoted(name), type, Hex(data), "=", result);
    }

    // A value of a key, or of one below it.
    std::string query() {
        const char16_t* path = random.OneIn(3) ? keyName() : nullptr;
        const char16_t* name = valueName();
        const DWORD room = random.Pick(kRooms);
        Answer answer;
        answer.dataSize = room;
        char* buffer = random.OneIn(4) ? nullptr : answer.data;
        const LSTATUS result =
            path == nullptr
                ? Platform::RegQueryValueExW(keys[slot], name, &answer.type, buffer, &answer.dataSize)
                : Platform::QueryRegistryValue(keys[slot], path, name, &answer.type, buffer,
                                               &answer.dataSize);
        return Words("query", slot, path == nullptr ? "" : Quoted(path), Quoted(name),
                     buffer == nullptr ? "null" : "room", room, "=", result, answer.Value(result, buffer));
    }

    // The order of enumeration is unspecified. So all names are listed and sorted, and only a name that is
    // the only one is also read into a smaller buffer.
    std::string listKeys() {
        std::set<std::string> names;
        LSTATUS result = 0;
        for (DWORD index = 0; result == 0; index++) {
            const Enumerated key = enumerateKey(index, kLargestRoom);
            result = key.result;
            names.insert(key.text);
        }
        const DWORD room = random.Pick(kRooms);
        return listed("keys", names) + (names.size() == 2 ? enumerateKey(0, room).text : "");
    }

    std::string listValues() {
        std::set<std::string> values;
        LSTATUS result = 0;
        for (DWORD index = 0; result == 0; index++) {
            const Enumerated value = enumerateValue(index, kLargestRoom, kLargestRoom, true);
            result = value.result;
            values.insert(value.text);
        }
        const DWORD nameRoom = random.Pick(kRooms);
        const DWORD room = random.Pick(kRooms);
        const bool hasBuffer = !random.OneIn(4);
        return listed("values", values) +
               (values.size() == 2 ? enumerateValue(0, nameRoom, room, hasBuffer).text : "");
    }

    struct Enumerated {
        LSTATUS result;
        std::string text;
    };

    Enumerated enumerateKey(DWORD index, DWORD room) {
        Answer answer;
        answer.nameSize = room;
        const LSTATUS result = Platform::RegEnumKeyExW(keys[slot], index, answer.name, &answer.nameSize);
        return {result, Words(result, answer.Name(result))};
    }

    Enumerated enumerateValue(DWORD index, DWORD nameRoom, DWORD room, bool hasBuffer) {
        Answer answer;
        answer.nameSize = nameRoom;
        answer.dataSize = room;
        char* buffer = hasBuffer ? answer.data : nullptr;
        const LSTATUS result = Platform::RegEnumValueW(keys[slot], index, answer.name, &answer.nameSize,
                                                       &answer.type, buffer, &answer.dataSize);
        return {result, Words(result, answer.Name(result), answer.Value(result, buffer))};
    }

    /// All results of an enumeration, including its end.
    std::string listed(const char* what, const std::set<std::string>& entries) {
        std::string text = Words(what, slot, "=");
        for (const std::string& result : entries)
            text += " [" + result + "]";
        return text;
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
        if ((rights[slot] & KEY_QUERY_VALUE) == 0)
            return "not measured"; // see printRights
        return Words("measure", slot, "=", measured(keys[slot]));
    }

    ResultFile& results;
    std::string group;
    Random random;
    unsigned slot = 0; // the slot of the key that a step uses
    HKEY keys[kSlots] = {};
    REGSAM rights[kSlots] = {kReadWrite};
};

} // namespace

void PrintRegistry(ResultFile& results) {
    printRights(results);
    for (unsigned script = 0; script < kScripts; script++)
        Script(results, script).Run();
}

} // namespace compare_ports
