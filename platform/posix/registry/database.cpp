#include "platform/posix/registry/database.h"

#include "platform/posix/support/error_codes.h"
#include "platform/posix/support/user_folders.h"

#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <sys/stat.h>

namespace Tarn::Platform::Posix {

namespace {

constexpr int kBusyTimeout = 10'000; // milliseconds
constexpr int kRetryDelay = 10;      // milliseconds
constexpr mode_t kAnyWriteBit = 0222;

#define TARNKIT_REGISTRY_FORMAT "1"
#define TARNKIT_REGISTRY_APPLICATION "1413567054" // "TARN"
constexpr sqlite3_int64 kFormat = 1;
constexpr sqlite3_int64 kApplication = 1413567054;

// The log is copied back into the database whenever it has this many pages. It grows beyond that only while
// somebody is reading.
#define TARNKIT_REGISTRY_LOG_PAGES "256"

constexpr char kConfigure[] = "PRAGMA synchronous=NORMAL;"
                              "PRAGMA wal_autocheckpoint=" TARNKIT_REGISTRY_LOG_PAGES ";"
                              "PRAGMA temp_store=MEMORY;";

// The root has no row; its sub-keys have the parent 0. The numbers of keys start at a random one, so that a
// handle to a key of a database that was removed does not match a key of its successor.
constexpr char kMakeTables[] =
    "PRAGMA journal_mode=WAL;"
    "BEGIN IMMEDIATE;"
    "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " folded BLOB NOT NULL, name BLOB NOT NULL, depth INTEGER NOT NULL, UNIQUE(parent, folded));"
    "CREATE TABLE key_values(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, folded BLOB NOT NULL,"
    " name BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
    "CREATE INDEX values_in_order ON key_values(key);"
    "INSERT INTO sqlite_sequence(name, seq) VALUES('keys', random() & 0x7FFFFFFF0000);"
    "PRAGMA application_id=" TARNKIT_REGISTRY_APPLICATION ";"
    "PRAGMA user_version=" TARNKIT_REGISTRY_FORMAT ";"
    "COMMIT;";

// Whether the depth of a key in `keys` follows from that of its parent ?1, as it does in a sound store. Since
// this is checked, descending from keys to sub-keys ends even in a damaged one.
#define TARNKIT_REGISTRY_HAS_RIGHT_DEPTH "depth=1+coalesce((SELECT depth FROM keys WHERE id=?1), 0)"

// In the order of RegistryQuery.
constexpr const char* kQueries[] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT depth FROM keys WHERE id=?1",
    "SELECT id, " TARNKIT_REGISTRY_HAS_RIGHT_DEPTH " FROM keys WHERE parent=?1 AND folded=?2",
    "INSERT INTO keys(parent, folded, name, depth) VALUES(?1, ?2, ?3, ?4)",
    "SELECT 1 FROM keys WHERE parent=?1 LIMIT 1",
    "DELETE FROM keys WHERE id=?1",
    "DELETE FROM key_values WHERE key=?1",
    "SELECT sub.n, sub.longest, val.n, val.longest, val.largest FROM"
    " (SELECT count(*) n, coalesce(max(length(name)), 0) longest FROM keys WHERE parent=?1) sub,"
    " (SELECT count(*) n, coalesce(max(length(name)), 0) longest, coalesce(max(length(data)), 0) largest"
    "  FROM key_values WHERE key=?1) val",
    // An item of a list: its place in the order, whether it may be there, and what it is. If a table and its
    // index disagree, an item does not come after the one before it.
    "SELECT folded, " TARNKIT_REGISTRY_HAS_RIGHT_DEPTH ", name FROM keys WHERE parent=?1"
    " ORDER BY folded LIMIT 1 OFFSET ?2",
    "SELECT folded, folded>?2 AND " TARNKIT_REGISTRY_HAS_RIGHT_DEPTH ", name FROM keys"
    " WHERE parent=?1 AND folded>?2 ORDER BY folded LIMIT 1",
    "SELECT type, data FROM key_values WHERE key=?1 AND folded=?2",
    "SELECT id, 1, name, type, data FROM key_values WHERE key=?1 ORDER BY id LIMIT 1 OFFSET ?2",
    "SELECT id, id>?2, name, type, data FROM key_values WHERE key=?1 AND id>?2 ORDER BY id LIMIT 1",
    "INSERT INTO key_values(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5"
    " WHERE ?1=0 OR EXISTS(SELECT 1 FROM keys WHERE id=?1)"
    " ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data",
    "DELETE FROM key_values WHERE key=?1 AND folded=?2",
    "PRAGMA data_version",
};
static_assert(std::size(kQueries) == static_cast<std::size_t>(RegistryQuery::Count));

// The folder of a database, and the mode for creating missing folders; empty if the user has no home.
String folderOf(RegistryDatabase::Kind kind, mode_t* mode) {
    *mode = 0777;
    if (const char* chosen = std::getenv("TARNKIT_REGISTRY"); chosen != nullptr && *chosen != 0)
        return chosen;
    if (kind == RegistryDatabase::Kind::Machine)
        return "/etc/tarnkit";
    *mode = 0700;
    const String settings = ConfigFolder();
    return settings.empty() ? settings : settings + "/tarnkit";
}

// A store that cannot be used for any reason except a full or broken disk counts as one that this user may
// not use.
LSTATUS storeCodeOf(int error) {
    switch (const DWORD code = CodeOf(error)) {
    case ERROR_DISK_FULL:
    case ERROR_TOO_MANY_OPEN_FILES:
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_IO_DEVICE:
        return static_cast<LSTATUS>(code);
    default:
        return ERROR_ACCESS_DENIED;
    }
}

// Creates a folder and those above it. A folder without any write bit is left alone, even if root asks.
LSTATUS makeFolder(const String& folder, mode_t mode) {
    struct stat status;
    if (stat(folder.c_str(), &status) == 0)
        return S_ISDIR(status.st_mode) && (status.st_mode & kAnyWriteBit) != 0 ? 0 : ERROR_ACCESS_DENIED;
    if (errno != ENOENT)
        return storeCodeOf(errno);
    const std::size_t separator = folder.find_last_not_of('/') == String::npos
                                      ? String::npos
                                      : folder.rfind('/', folder.find_last_not_of('/'));
    if (separator != String::npos && separator > 0)
        if (const LSTATUS failure = makeFolder(folder.substr(0, separator), mode); failure != 0)
            return failure;
    return mkdir(folder.c_str(), mode) == 0 || errno == EEXIST ? 0 : storeCodeOf(errno);
}

// The name by which SQLite opens a file that it may neither lock nor keep a log for.
String snapshotName(const String& file) {
    constexpr char kDigits[] = "0123456789abcdef";
    String name = "file:";
    for (const char c : file) {
        if (c == '?' || c == '#' || c == '%') {
            name += '%';
            name += kDigits[c >> 4];
            name += kDigits[c & 15];
        } else
            name += c;
    }
    return name + "?immutable=1";
}

bool hasLog(const String& file) {
    struct stat status;
    return stat((file + "-wal").c_str(), &status) == 0 && status.st_size > 0;
}

} // namespace

LSTATUS RegistryDatabase::Open(Use use) {
    if (connection != nullptr) {
        int isReplaced = 0;
        sqlite3_file_control(connection, "main", SQLITE_FCNTL_HAS_MOVED, &isReplaced);
        const bool isTooWeak = isSnapshot || (isReadOnly && use != Use::Read);
        if (isReplaced == 0 && !isTooWeak)
            return 0;
        Close();
    }
    mode_t mode;
    const String folder = folderOf(kind, &mode);
    if (folder.empty())
        return use == Use::Create ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
    const String file = folder + (kind == Kind::User ? "/user.db" : "/machine.db");
    LSTATUS failure = open(file, use);
    if (failure == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) && use == Use::Create) {
        failure = makeFolder(folder, mode);
        if (failure == 0)
            failure = connect(file.c_str(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        if (failure == 0)
            failure = makeTables();
    }
    if (failure != 0)
        Close();
    else if (isReadOnly && use != Use::Read)
        return ERROR_ACCESS_DENIED;
    return failure;
}

LSTATUS RegistryDatabase::open(const String& file, Use use) {
    struct stat status;
    if (stat(file.c_str(), &status) != 0) {
        const bool isAbsent = errno == ENOENT || (errno == ENOTDIR && use != Use::Create);
        return isAbsent ? ERROR_FILE_NOT_FOUND : storeCodeOf(errno);
    }
    const bool isWriteProtected = (status.st_mode & kAnyWriteBit) == 0;
    LSTATUS failure = connect(file.c_str(), isWriteProtected ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
    if (failure == 0)
        failure = checkFormat();
    if (failure == static_cast<LSTATUS>(ERROR_ACCESS_DENIED) && !hasLog(file)) {
        Close();
        failure = connect(snapshotName(file).c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        isSnapshot = true;
        if (failure == 0)
            failure = checkFormat();
    }
    return failure;
}

LSTATUS RegistryDatabase::connect(const char* file, int flags) {
    Close();
    openings++;
    int code =
        sqlite3_open_v2(file, &connection, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    if (connection == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    if (code != SQLITE_OK)
        errno = sqlite3_system_errno(connection);
    else {
        sqlite3_busy_timeout(connection, kBusyTimeout);
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        isReadOnly = sqlite3_db_readonly(connection, "main") == 1;
        code = sqlite3_exec(connection, kConfigure, nullptr, nullptr, nullptr);
    }
    return resultOf(code);
}

void RegistryDatabase::Close() {
    for (sqlite3_stmt*& statement : statements) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    sqlite3_close(connection);
    connection = nullptr;
    isReadOnly = isSnapshot = false;
}

// ERROR_SUCCESS for a database of this format, ERROR_FILE_NOT_FOUND for an empty one, ERROR_BADDB for any
// other.
LSTATUS RegistryDatabase::checkFormat() {
    sqlite3_stmt* query = nullptr;
    int code = sqlite3_prepare_v2(connection,
                                  "SELECT count(*), (SELECT application_id FROM pragma_application_id),"
                                  " (SELECT user_version FROM pragma_user_version) FROM sqlite_schema",
                                  -1, &query, nullptr);
    if (code == SQLITE_OK)
        code = sqlite3_step(query);
    LSTATUS result = resultOf(code);
    if (code == SQLITE_ROW) {
        const bool isEmpty = sqlite3_column_int64(query, 0) == 0;
        const bool isOurs =
            sqlite3_column_int64(query, 1) == kApplication && sqlite3_column_int64(query, 2) == kFormat;
        result = isEmpty ? ERROR_FILE_NOT_FOUND : isOurs ? ERROR_SUCCESS : ERROR_BADDB;
    }
    sqlite3_finalize(query);
    return result;
}

// Several processes may do this at the same time: the later ones find the tables created. Switching to the
// log fails immediately while another process does so, hence the loop.
LSTATUS RegistryDatabase::makeTables() {
    for (int waited = 0; waited < kBusyTimeout; waited += kRetryDelay) {
        const LSTATUS state = checkFormat();
        if (state != static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND))
            return state;
        const int code = sqlite3_exec(connection, kMakeTables, nullptr, nullptr, nullptr);
        if (code == SQLITE_OK)
            return 0;
        const LSTATUS failure = resultOf(code);
        sqlite3_exec(connection, "ROLLBACK", nullptr, nullptr, nullptr);
        const bool isRace = (code & 0xFF) == SQLITE_BUSY || (code & 0xFF) == SQLITE_ERROR;
        if (!isRace)
            return failure;
        sqlite3_sleep(kRetryDelay);
    }
    return ERROR_BUSY;
}

LSTATUS RegistryDatabase::GetChangeMark(sqlite3_int64* mark) {
    RegistryStatement statement(*this, RegistryQuery::DataVersion); // counts the changes made by others
    const LSTATUS result = statement.Step();
    if (result == 0)
        *mark = (openings << 40) + statement.Integer(0) + sqlite3_total_changes64(connection);
    return result;
}

LSTATUS RegistryDatabase::statementFor(RegistryQuery query, sqlite3_stmt** statement) {
    sqlite3_stmt*& cached = statements[static_cast<int>(query)];
    int code = SQLITE_OK;
    if (cached == nullptr)
        code = sqlite3_prepare_v3(connection, kQueries[static_cast<int>(query)], -1,
                                  SQLITE_PREPARE_PERSISTENT, &cached, nullptr);
    *statement = cached;
    return resultOf(code);
}

// Call this directly after SQLite returned `code`: for a failed system call it reads `errno`.
LSTATUS RegistryDatabase::resultOf(int code) {
    switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return ERROR_SUCCESS;
    case SQLITE_PERM:
    case SQLITE_AUTH:
    case SQLITE_READONLY:
        return ERROR_ACCESS_DENIED;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
        return ERROR_BUSY;
    case SQLITE_NOMEM:
    case SQLITE_TOOBIG:
        return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_FULL:
        return ERROR_DISK_FULL;
    case SQLITE_CANTOPEN:
        return storeCodeOf(errno);
    case SQLITE_IOERR: {
        const LSTATUS reason = storeCodeOf(errno);
        return reason == static_cast<LSTATUS>(ERROR_ACCESS_DENIED) ? ERROR_IO_DEVICE : reason;
    }
    case SQLITE_ERROR: // our own statements are right, so the tables are wrong
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_SCHEMA:
        return ERROR_BADDB;
    default:
        return ERROR_GEN_FAILURE;
    }
}

RegistryStatement::RegistryStatement(RegistryDatabase& usedDatabase, RegistryQuery query)
    : database(usedDatabase), failure(usedDatabase.statementFor(query, &statement)) {}

RegistryStatement::~RegistryStatement() {
    if (statement != nullptr) {
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
}

RegistryStatement& RegistryStatement::Bind(sqlite3_int64 value) {
    bound++;
    if (failure == 0)
        failure = database.resultOf(sqlite3_bind_int64(statement, bound, value));
    return *this;
}

RegistryStatement& RegistryStatement::Bind(const void* bytes, std::size_t size) {
    bound++;
    if (failure == 0) // a null pointer would mean NULL instead of no bytes
        failure = database.resultOf(
            sqlite3_bind_blob64(statement, bound, size == 0 ? "" : bytes, size, SQLITE_STATIC));
    return *this;
}

RegistryStatement& RegistryStatement::Bind(const sqlite3_value* value) {
    bound++;
    if (failure == 0)
        failure = database.resultOf(sqlite3_bind_value(statement, bound, value));
    return *this;
}

LSTATUS RegistryStatement::Step() {
    if (failure != 0)
        return failure;
    const int code = sqlite3_step(statement);
    return code == SQLITE_DONE ? static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) : database.resultOf(code);
}

LSTATUS RegistryStatement::Run() {
    const LSTATUS result = Step();
    return result == static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) ? 0 : result;
}

LSTATUS RegistryTransaction::Begin() {
    const LSTATUS result = RegistryStatement(database, RegistryQuery::Begin).Run();
    isOpen = result == 0;
    return result;
}

LSTATUS RegistryTransaction::Commit() {
    const LSTATUS result = RegistryStatement(database, RegistryQuery::Commit).Run();
    isOpen = result != 0;
    return result;
}

RegistryTransaction::~RegistryTransaction() {
    // Closing the connection makes sure of the rollback even if it failed: a transaction that stayed open
    // would block every other process.
    if (isOpen && RegistryStatement(database, RegistryQuery::Rollback).Run() != 0)
        database.Close();
}

} // namespace Tarn::Platform::Posix
