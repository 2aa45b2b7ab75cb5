#include "platform/posix/registry/salvage.h"

#include "platform/posix/registry/log.h"

#include <algorithm>
#include <string_view>

namespace Tarn::Platform::Posix {

namespace {

using std::int64_t;
using std::size_t;
using std::string_view;
using std::uint32_t;
using std::uint64_t;

constexpr size_t kUsualPageSize = 4096;
constexpr size_t kDatabaseHeader = 100;
constexpr size_t kLogHeader = 32;
constexpr size_t kFrameHeader = 24;
constexpr uint32_t kMostPages = 1u << 24;
constexpr int kDeepestTree = 40;

// Where the tables begin in every database that the port has made and nobody has rearranged.
constexpr uint32_t kRootOfKeys = 2;
constexpr uint32_t kRootOfValues = 5;

constexpr size_t kColumnsOfKey = 5;
constexpr size_t kColumnsOfValue = 6;
constexpr size_t kColumnsOfSchema = 5;

constexpr size_t kLongestKeyName = 2 * 255;
constexpr size_t kLongestValueName = 2 * 16383;

enum PageType : unsigned char { InteriorOfTable = 5, LeafOfTable = 13 };

uint32_t numberAt(string_view bytes, size_t place, int size) {
    uint32_t number = 0;
    for (; size > 0; size--, place++)
        number = number << 8 | (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0u);
    return number;
}

// Reads a number of one to nine bytes and moves on. False at the end of the bytes.
bool takeVarint(string_view& bytes, uint64_t& number) {
    number = 0;
    for (int i = 0; i < 9; i++) {
        if (bytes.empty())
            return false;
        const auto byte = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        if (i == 8) {
            number = number << 8 | byte;
            return true;
        }
        number = number << 7 | (byte & 0x7Fu);
        if (byte < 0x80)
            return true;
    }
    return true;
}

// A column of a record: a number, or bytes.
struct Column {
    bool isNumber = false;
    bool isBytes = false;
    int64_t number = 0;
    string_view bytes;
};

using Record = Vector<Column>;

bool takeColumn(uint64_t serial, string_view& bytes, Column& column) {
    constexpr size_t kSizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
    if (serial == 10 || serial == 11)
        return false;
    const uint64_t size = serial < 10 ? kSizes[serial] : (serial - 12) / 2;
    if (size > bytes.size())
        return false;
    column.bytes = bytes.substr(0, static_cast<size_t>(size));
    bytes.remove_prefix(static_cast<size_t>(size));
    column.isBytes = serial >= 12;
    column.isNumber = serial > 0 && serial < 10 && serial != 7;
    if (serial == 9)
        column.number = 1;
    else if (column.isNumber && size > 0) {
        uint64_t number = (column.bytes.front() & 0x80) != 0 ? ~uint64_t{0} : 0;
        for (const char byte : column.bytes)
            number = number << 8 | static_cast<unsigned char>(byte);
        column.number = static_cast<int64_t>(number);
    }
    return true;
}

bool readRecord(string_view bytes, Record& record) {
    record.clear();
    string_view head = bytes;
    uint64_t size;
    if (!takeVarint(head, size) || size > bytes.size() || size < bytes.size() - head.size())
        return false;
    head = bytes.substr(bytes.size() - head.size(), static_cast<size_t>(size) - (bytes.size() - head.size()));
    bytes.remove_prefix(static_cast<size_t>(size));
    while (!head.empty()) {
        uint64_t serial;
        Column column;
        if (!takeVarint(head, serial) || !takeColumn(serial, bytes, column))
            return false;
        record.push_back(column);
    }
    return true;
}

// Whether the stored units can be a name: neither zeros nor, in that of a key, separators.
bool isName(string_view bytes, bool isKey) {
    if (bytes.size() % 2 != 0 || bytes.size() > (isKey ? kLongestKeyName : kLongestValueName))
        return false;
    for (size_t i = 0; i < bytes.size(); i += 2)
        if (bytes[i] == 0 && (bytes[i + 1] == 0 || (isKey && bytes[i + 1] == '\\')))
            return false;
    return !isKey || !bytes.empty();
}

class Reader {
public:
    Reader(const String& database, const String& log) : file(database) {
        const uint32_t inHeader = numberAt(file, 16, 2);
        const uint32_t inLog = numberAt(log, 8, 4);
        for (const size_t candidate : {size_t{inHeader == 1 ? 65536 : inHeader}, size_t{inLog}})
            if (pageSize == 0 && candidate >= 512 && candidate <= 65536 && (candidate & (candidate - 1)) == 0)
                pageSize = candidate;
        if (pageSize == 0)
            pageSize = kUsualPageSize;
        count = static_cast<uint32_t>(std::min<size_t>(file.size() / pageSize, kMostPages));
        readLog(log);
        visited.resize(count + 1);
    }

    Salvage Read() {
        uint32_t keys = kRootOfKeys, values = kRootOfValues;
        readSchema(keys, values);
        walk(keys, kColumnsOfKey, 0);
        walk(values, kColumnsOfValue, 0);
        if (result.unreadablePages > 0)
            readStrays();
        return std::move(result);
    }

private:
    // Empty if there is no such page.
    string_view page(uint32_t number) const {
        if (const auto found = logged.find(number); found != logged.end())
            return found->second;
        if (number == 0 || number > count || uint64_t{number} * pageSize > file.size())
            return {};
        return string_view(file).substr((number - 1) * pageSize, pageSize);
    }

    // Takes the pages of all complete commits. If the head of the log is damaged, the sums cannot be checked.
    void readLog(string_view log) {
        if (log.size() < kLogHeader + kFrameHeader + pageSize)
            return;
        RegistryLogSum sum;
        result.isLogDamaged = !sum.Begin(log.substr(0, kLogHeader));
        const string_view salts = log.substr(result.isLogDamaged ? kLogHeader + 8 : 16, 8);
        Map<uint32_t, string_view> pending;
        for (size_t place = kLogHeader; place + kFrameHeader + pageSize <= log.size();
             place += kFrameHeader + pageSize) {
            const string_view frame = log.substr(place, kFrameHeader + pageSize);
            const uint32_t number = numberAt(frame, 0, 4), committed = numberAt(frame, 4, 4);
            if (number == 0 || number > kMostPages || frame.substr(8, 8) != salts ||
                (!result.isLogDamaged && !sum.Continue(frame)))
                break;
            pending[number] = frame.substr(kFrameHeader);
            if (committed == 0)
                continue;
            count = std::min(committed, kMostPages);
            for (const auto& [changed, bytes] : pending)
                logged[changed] = bytes;
            pending.clear();
        }
    }

    // Where the tables are, if the page that says so can be read.
    void readSchema(uint32_t& keys, uint32_t& values) {
        const string_view first = page(1);
        if (first.size() < pageSize || static_cast<unsigned char>(first[kDatabaseHeader]) != LeafOfTable)
            return;
        forEachRecord(first, kDatabaseHeader, [&](uint64_t, const Record& record) {
            if (record.size() != kColumnsOfSchema || !record[3].isNumber)
                return false;
            const auto root = static_cast<uint32_t>(record[3].number);
            if (record[1].bytes == "keys" && record[0].bytes == "table")
                keys = root;
            if (record[1].bytes == "key_values" && record[0].bytes == "table")
                values = root;
            return true;
        });
        visited[1] = true;
    }

    // Follows a table downwards.
    void walk(uint32_t number, size_t columns, int depth) {
        const string_view bytes = page(number);
        if (bytes.size() < pageSize || number >= visited.size() || visited[number] || depth > kDeepestTree) {
            result.unreadablePages++;
            return;
        }
        visited[number] = true;
        const auto type = static_cast<unsigned char>(bytes[0]);
        const size_t cells = numberAt(bytes, 3, 2);
        if (type == LeafOfTable && readLeaf(bytes, columns))
            return;
        if (type != InteriorOfTable || 12 + 2 * cells > pageSize) {
            result.unreadablePages++;
            return;
        }
        for (size_t i = 0; i < cells; i++)
            walk(numberAt(bytes, numberAt(bytes, 12 + 2 * i, 2), 4), columns, depth + 1);
        walk(numberAt(bytes, 8, 4), columns, depth + 1);
    }

    // Pages of the tables that no page leads to any more.
    void readStrays() {
        for (uint32_t trunk = numberAt(page(1), 32, 4), steps = 0; steps < count; steps++) {
            const string_view bytes = page(trunk);
            if (bytes.size() < pageSize || trunk >= visited.size() || visited[trunk])
                break;
            visited[trunk] = true;
            const size_t leaves = std::min<size_t>(numberAt(bytes, 4, 4), pageSize / 4 - 2);
            for (size_t i = 0; i < leaves; i++)
                if (const uint32_t leaf = numberAt(bytes, 8 + 4 * i, 4); leaf < visited.size())
                    visited[leaf] = true;
            trunk = numberAt(bytes, 0, 4);
        }
        for (uint32_t number = 2; number <= count; number++)
            if (const string_view bytes = page(number); !visited[number] && bytes.size() == pageSize &&
                                                        static_cast<unsigned char>(bytes[0]) == LeafOfTable)
                readLeaf(bytes, 0);
    }

    // Reads a page of rows, of any table if `columns` is 0. False if some of it is damaged.
    bool readLeaf(string_view bytes, size_t columns) {
        return forEachRecord(bytes, 0, [&](uint64_t id, const Record& record) {
            return (columns == 0 || record.size() == columns) && take(static_cast<int64_t>(id), record);
        });
    }

    bool take(int64_t id, const Record& record) {
        if (record.size() == kColumnsOfKey && record[1].isNumber && record[3].isBytes && id > 0) {
            if (!isName(record[3].bytes, true))
                return false;
            result.keys.try_emplace(id, SalvagedKey{record[1].number, String(record[3].bytes)});
            return true;
        }
        if (record.size() != kColumnsOfValue || !record[1].isNumber || !record[3].isBytes ||
            !record[4].isNumber || !record[5].isBytes || !isName(record[3].bytes, false))
            return false;
        result.values.try_emplace(
            {record[1].number, id},
            SalvagedValue{String(record[3].bytes), record[4].number, String(record[5].bytes)});
        return true;
    }

    template<class Action>
    bool forEachRecord(string_view bytes, size_t header, Action action) {
        const size_t cells = numberAt(bytes, header + 3, 2);
        bool isSound = header + 8 + 2 * cells <= bytes.size();
        for (size_t i = 0; i < cells && header + 10 + 2 * i <= bytes.size(); i++) {
            String payload;
            uint64_t id;
            Record record;
            if (!readCell(bytes, numberAt(bytes, header + 8 + 2 * i, 2), payload, id) ||
                !readRecord(payload, record) || !action(id, record))
                isSound = false;
        }
        return isSound;
    }

    // Collects the bytes of a row, which go on in other pages if they are many.
    bool readCell(string_view bytes, size_t place, String& payload, uint64_t& id) const {
        uint64_t size;
        string_view cell = bytes.substr(std::min(place, bytes.size()));
        if (place < 8 || !takeVarint(cell, size) || !takeVarint(cell, id) ||
            size > pageSize * uint64_t{count})
            return false;
        const size_t most = pageSize - 35;
        const size_t least = (pageSize - 12) * 32 / 255 - 23;
        size_t local = static_cast<size_t>(size);
        if (size > most) {
            const size_t rest = least + (static_cast<size_t>(size) - least) % (pageSize - 4);
            local = rest <= most ? rest : least;
        }
        if (local + (local < size ? 4 : 0) > cell.size())
            return false;
        payload = cell.substr(0, local);
        uint32_t next = numberAt(cell, local, 4);
        while (payload.size() < size) {
            const string_view more = page(next);
            if (more.size() < pageSize)
                return false;
            payload +=
                more.substr(4, static_cast<size_t>(std::min<uint64_t>(size - payload.size(), pageSize - 4)));
            next = numberAt(more, 0, 4);
        }
        return true;
    }

    const string_view file;
    size_t pageSize = 0;
    uint32_t count = 0;
    Map<uint32_t, string_view> logged; // the newest state of pages that the log has
    Vector<bool> visited;
    Salvage result;
};

} // namespace

Salvage SalvageRegistry(const String& database, const String& log) { return Reader(database, log).Read(); }

} // namespace Tarn::Platform::Posix
