#include "platform/posix/registry/repair.h"

#include "platform/posix/registry/salvage.h"
#include "platform/posix/registry/store.h"
#include "platform/posix/support/descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr std::string_view kLostKeys = "Lost keys";
constexpr int kMostOldFiles = 1000;
constexpr int kDeepestKey = 512;

String unitsOf(std::string_view ascii) {
    String bytes;
    for (const char c : ascii) {
        bytes += '\0';
        bytes += c;
    }
    return bytes;
}

String numberText(std::int64_t number) {
    char text[24];
    return {text, static_cast<std::size_t>(
                      std::snprintf(text, sizeof text, "%lld", static_cast<long long>(number)))};
}

String foldedOf(const String& name) {
    U16String units;
    for (std::size_t i = 0; i + 1 < name.size(); i += 2)
        units += static_cast<char16_t>(static_cast<unsigned char>(name[i]) << 8 |
                                       static_cast<unsigned char>(name[i + 1]));
    return RegistryName(units.data(), units.size()).folded;
}

// A missing file is empty.
LSTATUS readFile(int descriptor, String* bytes) {
    if (descriptor < 0)
        return errno == ENOENT ? 0 : RegistryCodeOf(errno);
    const off_t size = lseek(descriptor, 0, SEEK_END);
    if (size < 0)
        return RegistryCodeOf(errno);
    bytes->resize(static_cast<std::size_t>(size));
    for (std::size_t done = 0; done < bytes->size();) {
        const ssize_t got =
            pread(descriptor, bytes->data() + done, bytes->size() - done, static_cast<off_t>(done));
        if (got < 0)
            return RegistryCodeOf(errno);
        if (got == 0)
            bytes->resize(done);
        done += static_cast<std::size_t>(got);
    }
    return 0;
}

// Keeps others from writing, as far as the database allows that, while its files are read and replaced. Files
// that are closed take SQLite's locks with them, so they stay open until the end.
class Hold {
public:
    explicit Hold(const String& file)
        : database(open(file.c_str(), O_RDONLY | O_CLOEXEC)),
          log(open((file + "-wal").c_str(), O_RDONLY | O_CLOEXEC)),
          connection(LockRegistryFile(file, &result)) {}
    ~Hold() { sqlite3_close(connection); }

    LSTATUS Read(Salvage* salvage) const {
        String bytes, logged;
        LSTATUS failure = result;
        if (failure == 0)
            failure = readFile(database, &bytes);
        if (failure == 0)
            failure = readFile(log, &logged);
        if (failure == 0)
            *salvage = SalvageRegistry(bytes, logged);
        return failure;
    }

private:
    const Descriptor database, log;
    LSTATUS result = 0;
    sqlite3* connection;
};

// Gives every key a place: those whose parent is unknown, and values whose key is, come below a key of their
// own. Returns how many keys had none.
std::uint64_t findPlaces(Salvage& salvage, Map<std::int64_t, int>& depths) {
    std::uint64_t lost = 0;
    Map<std::int64_t, SalvagedKey>& keys = salvage.keys;
    std::int64_t lostKeys = kRootKey; // a number that nothing has or refers to, chosen below
    const auto addLost = [&](std::int64_t id) {
        lost++;
        keys.try_emplace(lostKeys, SalvagedKey{kRootKey, unitsOf(kLostKeys)});
        keys[id] = {lostKeys, unitsOf(numberText(id))};
    };
    Vector<std::int64_t> missing;
    for (const auto& [id, key] : keys)
        if (key.parent != kRootKey && keys.count(key.parent) == 0)
            missing.push_back(key.parent);
    for (const auto& [place, value] : salvage.values)
        if (place.first != kRootKey && keys.count(place.first) == 0)
            missing.push_back(place.first);
    do
        lostKeys++;
    while (keys.count(lostKeys) != 0 || std::find(missing.begin(), missing.end(), lostKeys) != missing.end());
    for (const std::int64_t id : missing)
        if (keys.count(id) == 0)
            addLost(id);
    for (bool isDone = false; !isDone;) { // a key that is its own ancestor begins a tree of its own
        isDone = true;
        depths.clear();
        depths[kRootKey] = 0;
        for (auto& [id, key] : keys) {
            Vector<std::int64_t> way;
            std::int64_t place = id;
            while (depths.count(place) == 0 && way.size() <= kDeepestKey) {
                way.push_back(place);
                place = keys[place].parent;
            }
            if (depths.count(place) == 0 || depths[place] + static_cast<int>(way.size()) > kDeepestKey) {
                addLost(id);
                isDone = false;
                break;
            }
            for (int depth = depths[place] + 1; !way.empty(); way.pop_back())
                depths[way.back()] = depth++;
        }
    }
    return lost;
}

class Insertion {
public:
    Insertion(sqlite3* usedConnection, const char* text) {
        sqlite3_prepare_v2(usedConnection, text, -1, &statement, nullptr);
    }
    ~Insertion() { sqlite3_finalize(statement); }
    Insertion(const Insertion&) = delete;
    Insertion& operator=(const Insertion&) = delete;

    Insertion& Bind(std::int64_t number) {
        sqlite3_bind_int64(statement, ++bound, number);
        return *this;
    }
    Insertion& Bind(const String& bytes) {
        sqlite3_bind_blob64(statement, ++bound, bytes.empty() ? "" : bytes.data(), bytes.size(),
                            SQLITE_STATIC);
        return *this;
    }
    // SQLite's code; SQLITE_CONSTRAINT if there is such a row.
    int Run() {
        sqlite3_step(statement);
        bound = 0;
        return sqlite3_reset(statement) & 0xFF;
    }

private:
    sqlite3_stmt* statement = nullptr;
    int bound = 0;
};

// Two of the same name, of which a damaged index can have let in one too many, are told apart by their
// numbers.
int writeAll(sqlite3* connection, const Salvage& salvage, const Map<std::int64_t, int>& depths) {
    int code = sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    Insertion addKey(connection,
                     "INSERT INTO keys(id, parent, folded, name, depth) VALUES(?1, ?2, ?3, ?4, ?5)");
    Insertion addValue(connection,
                       "INSERT INTO key_values(key, folded, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5)");
    const auto write = [](const String& given, std::int64_t id, auto run) {
        const int first = run(given, foldedOf(given));
        const String other = given.substr(0, 400) + unitsOf("~" + numberText(id));
        return first == SQLITE_CONSTRAINT ? run(other, foldedOf(other)) : first;
    };
    for (auto key = salvage.keys.begin(); key != salvage.keys.end() && code == SQLITE_OK; ++key)
        code = write(key->second.name, key->first, [&](const String& name, const String& folded) {
            return addKey.Bind(key->first)
                .Bind(key->second.parent)
                .Bind(folded)
                .Bind(name)
                .Bind(depths.at(key->first))
                .Run();
        });
    for (auto value = salvage.values.begin(); value != salvage.values.end() && code == SQLITE_OK; ++value)
        code = write(value->second.name, value->first.second, [&](const String& name, const String& folded) {
            return addValue.Bind(value->first.first)
                .Bind(folded)
                .Bind(name)
                .Bind(value->second.type)
                .Bind(value->second.data)
                .Run();
        });
    return code == SQLITE_OK ? sqlite3_exec(connection, "COMMIT", nullptr, nullptr, nullptr) : code;
}

LSTATUS writeDatabase(const String& file, const Salvage& salvage, const Map<std::int64_t, int>& depths) {
    for (const char* end : {"", "-wal", "-shm"})
        unlink((file + end).c_str());
    sqlite3* connection = nullptr;
    LSTATUS result = MakeRegistryDatabase(file, &connection);
    if (result == 0)
        result = writeAll(connection, salvage, depths) == SQLITE_OK
                     ? 0
                     : RegistryCodeOf(sqlite3_system_errno(connection));
    const bool isClosed = sqlite3_close(connection) == SQLITE_OK; // folds the log and removes it
    if (result == 0)
        result = isClosed ? SyncRegistryFile(file.c_str()) : LSTATUS{ERROR_IO_DEVICE};
    return result;
}

// The name for the damaged file: that of the database with an ending that no file has yet.
String nameForOld(const String& file) {
    String name = file + ".damaged";
    for (int i = 2;
         i < kMostOldFiles && (access(name.c_str(), F_OK) == 0 || access((name + "-wal").c_str(), F_OK) == 0);
         i++)
        name = file + ".damaged" + numberText(i);
    return name;
}

// The log goes first: the new database must never stand beside it. The index of the log, which processes
// share, belongs to the old one, too.
LSTATUS exchange(const String& file, const String& newFile, const String& oldFile) {
    const auto isDone = [](int code) { return code == 0 || errno == ENOENT; };
    if (link(file.c_str(), oldFile.c_str()) != 0 && errno != ENOENT)
        return RegistryCodeOf(errno);
    if (!isDone(std::rename((file + "-wal").c_str(), (oldFile + "-wal").c_str())) ||
        !isDone(unlink((file + "-shm").c_str())) || std::rename(newFile.c_str(), file.c_str()) != 0)
        return RegistryCodeOf(errno);
    return SyncRegistryFile(file.substr(0, file.rfind('/') + 1).c_str());
}

// Reads a database as it is. The result is what its users find, unless that is nothing worse than a key out
// of place.
LSTATUS examine(RegistryDatabase& database, RegistryStoreState* state, Salvage* salvage,
                Map<std::int64_t, int>* depths, const Hold& hold) {
    LSTATUS result = hold.Read(salvage);
    if (result != 0)
        return result;
    state->lostKeys = findPlaces(*salvage, *depths);
    state->keys = salvage->keys.size();
    state->values = salvage->values.size();
    state->unreadablePages = salvage->unreadablePages;
    result = database.Open(RegistryDatabase::Use::Read);
    const bool isDamaged = state->lostKeys > 0 || state->unreadablePages > 0;
    return result == 0 && isDamaged ? static_cast<LSTATUS>(ERROR_BADDB) : result;
}

} // namespace

LSTATUS CheckRegistryFile(RegistryDatabase& database, const String& file, RegistryStoreState* state) {
    Salvage salvage;
    Map<std::int64_t, int> depths;
    const Hold hold(file);
    return examine(database, state, &salvage, &depths, hold);
}

LSTATUS RepairRegistryFile(RegistryDatabase& database, const String& file, RegistryStoreState* state,
                           String* oldFile) {
    Salvage salvage;
    Map<std::int64_t, int> depths;
    const Hold hold(file);
    LSTATUS result = examine(database, state, &salvage, &depths, hold);
    database.Close();
    if (result != static_cast<LSTATUS>(ERROR_BADDB))
        return result;
    const String newFile = file + ".repaired";
    *oldFile = nameForOld(file);
    struct stat status;
    result = writeDatabase(newFile, salvage, depths);
    if (result == 0 && stat(file.c_str(), &status) == 0) {
        const bool isOwned = chown(newFile.c_str(), status.st_uid, status.st_gid) == 0 || errno == EPERM;
        if (!isOwned || chmod(newFile.c_str(), status.st_mode & 07777) != 0)
            result = RegistryCodeOf(errno);
    }
    if (result == 0)
        result = exchange(file, newFile, *oldFile);
    if (result != 0)
        unlink(newFile.c_str());
    return result;
}

} // namespace Tarn::Platform::Posix
