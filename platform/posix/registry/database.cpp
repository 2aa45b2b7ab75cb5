#include "platform/posix/registry/database.h"

#include "platform/posix/registry/log.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <thread>

namespace Tarn::Platform::Posix {

namespace {

using namespace std::chrono_literals;
constexpr auto kLongestWait = 1s;              // of one call of the registry
constexpr auto kLongestWaitForFolding = 100ms; // after a write
constexpr auto kLongestSleep = 10ms;
// Each process that waits looks again this soon, however long it has been waiting: so they all get their
// turn.
constexpr auto kTimeBetweenLooks = 500us;
constexpr int kLooksAtLog = 3;
constexpr mode_t kAnyWriteBit = 0222;

#define TARNKIT_REGISTRY_FORMAT "1"
#define TARNKIT_REGISTRY_APPLICATION "1413567054" // "TARN"
constexpr sqlite3_int64 kFormat = 1;
constexpr sqlite3_int64 kApplication = 1413567054;

// The log is folded when it has this many pages, and is cut to about their size after it had to hold more.
constexpr int kLogPages = 256;
#define TARNKIT_REGISTRY_LOG_SIZE "1048576"

// In WAL mode, NORMAL keeps the order of what reaches the disk: a power cut takes only the latest writes.
constexpr char kConfigure[] = "PRAGMA synchronous=NORMAL;"
                              "PRAGMA journal_size_limit=" TARNKIT_REGISTRY_LOG_SIZE ";"
                              "PRAGMA cell_size_check=ON;"
                              "PRAGMA trusted_schema=OFF;"
                              "PRAGMA temp_store=MEMORY;";

// The root has no row; its sub-keys have the parent 0. Part of the format, letter by letter: a file that has
// other tables, or more than these, may do anything when it is written to.
#define TARNKIT_REGISTRY_TABLES                                                                              \
    "CREATE TABLE keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"                       \
    " folded BLOB NOT NULL, name BLOB NOT NULL, depth INTEGER NOT NULL, UNIQUE(parent, folded));"            \
    "CREATE TABLE key_values(id INTEGER PRIMARY KEY, key INTEGER NOT NULL, folded BLOB NOT NULL,"            \
    " name BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"                  \
    "CREATE INDEX values_in_order ON key_values(key)"

// The numbers of keys start at a random one, so that a handle to a key of a database that was removed does
// not match a key of its successor.
constexpr char kMakeTables[] =
    "PRAGMA journal_mode=WAL;"
    "BEGIN IMMEDIATE;" TARNKIT_REGISTRY_TABLES ";"
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
    "BEGIN",
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
    " ORDER BY folded LIMIT ?3 OFFSET ?2",
    "SELECT folded, folded>?2 AND " TARNKIT_REGISTRY_HAS_RIGHT_DEPTH ", name FROM keys"
    " WHERE parent=?1 AND folded>?2 ORDER BY folded LIMIT ?3",
    "SELECT type, data FROM key_values WHERE key=?1 AND folded=?2",
    "SELECT id, 1, name, type, data FROM key_values WHERE key=?1 ORDER BY id LIMIT ?3 OFFSET ?2",
    "SELECT id, id>?2, name, type, data FROM key_values WHERE key=?1 AND id>?2 ORDER BY id LIMIT ?3",
    "INSERT INTO key_values(key, folded, name, type, data) SELECT ?1, ?2, ?3, ?4, ?5"
    " WHERE ?1=0 OR EXISTS(SELECT 1 FROM keys WHERE id=?1)"
    " ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data",
    "DELETE FROM key_values WHERE key=?1 AND folded=?2",
    "PRAGMA data_version",
    "PRAGMA journal_mode",
};
static_assert(std::size(kQueries) == static_cast<std::size_t>(RegistryQuery::Count));

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

bool isFilled(const char* file) {
    struct stat status;
    return stat(file, &status) == 0 && status.st_size > 0;
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

// Waiting for other processes. ----------------------------------------------------------------------------

constinit RegistryClock::time_point endOfWaits; // under the lock that registry.cpp holds

bool maySleep(RegistryClock::duration time) {
    if (RegistryClock::now() >= endOfWaits)
        return false;
    std::this_thread::sleep_for(time);
    return true;
}

int waitForLock(void*, int) { return maySleep(kTimeBetweenLooks) ? 1 : 0; }

// Between attempts to begin reading, SQLite sleeps on its own account, for ten seconds altogether.
int sleepInSQLite(sqlite3_vfs*, int microseconds) {
    maySleep(std::min<RegistryClock::duration>(std::chrono::microseconds(microseconds), kLongestSleep));
    return microseconds;
}

// Opens a connection that sleeps in this way. The connection needs SQLite's table of system calls as long as
// it exists, but its entry in the list of the process only now: this library may be unloaded.
int openConnection(const char* file, int flags, sqlite3** connection) {
    static constinit sqlite3_vfs system = {};
    const sqlite3_vfs* const usual = sqlite3_vfs_find("unix");
    if (usual == nullptr)
        return SQLITE_NOMEM;
    system = *usual;
    system.pNext = nullptr;
    system.zName = "tarnkit";
    system.xSleep = sleepInSQLite;
    if (const int code = sqlite3_vfs_register(&system, 0); code != SQLITE_OK)
        return code;
    const int code =
        sqlite3_open_v2(file, connection, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, system.zName);
    sqlite3_vfs_unregister(&system);
    return code;
}

// Called after each write, which has succeeded whatever happens here. Unlike SQLite's own way, this holds
// writers up until the log begins anew: others that write all the time would make it grow for ever. If that
// fails, since some process has stopped while reading, the next attempt is made after as many pages again.
int foldLargeLog(void* limit, sqlite3* connection, const char* name, int pages) {
    int& pagesToFold = *static_cast<int*>(limit);
    if (pages < kLogPages)
        pagesToFold = kLogPages;
    else if (pages >= pagesToFold) {
        pagesToFold = pages + kLogPages;
        const RegistryClock::time_point kept = endOfWaits;
        endOfWaits = std::min(kept, RegistryClock::now() + kLongestWaitForFolding);
        sqlite3_wal_checkpoint_v2(connection, name, SQLITE_CHECKPOINT_RESTART, nullptr, nullptr);
        endOfWaits = kept;
    }
    return SQLITE_OK;
}

// Another process may be writing the header at this moment, so one that seems damaged is read again.
RegistryLog logBeside(const String& file) {
    const String name = file + "-wal";
    RegistryLog log = CheckRegistryLog(name.c_str());
    for (int looks = 1; log == RegistryLog::Damaged && looks < kLooksAtLog && maySleep(kTimeBetweenLooks);
         looks++)
        log = CheckRegistryLog(name.c_str());
    return log;
}

} // namespace

void LimitRegistryWaits(RegistryClock::time_point start) { endOfWaits = start + kLongestWait; }

LSTATUS MakeRegistryDatabase(const String& file, sqlite3** connection) {
    int code = openConnection(file.c_str(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, connection);
    for (const char* commands : {kConfigure, kMakeTables})
        if (code == SQLITE_OK)
            code = sqlite3_exec(*connection, commands, nullptr, nullptr, nullptr);
    return code == SQLITE_OK
               ? 0
               : RegistryCodeOf(*connection == nullptr ? ENOMEM : sqlite3_system_errno(*connection));
}

sqlite3* LockRegistryFile(const String& file, LSTATUS* result) {
    sqlite3* connection = nullptr;
    int code = openConnection(file.c_str(), SQLITE_OPEN_READWRITE, &connection);
    if (code == SQLITE_OK) {
        int isLogKept = 1;
        sqlite3_busy_handler(connection, waitForLock, nullptr);
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sqlite3_file_control(connection, "main", SQLITE_FCNTL_PERSIST_WAL, &isLogKept);
        code = sqlite3_exec(connection, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    }
    *result = (code & 0xFF) == SQLITE_BUSY ? static_cast<LSTATUS>(ERROR_BUSY) : ERROR_SUCCESS;
    if (code != SQLITE_OK) {
        sqlite3_close(connection);
        connection = nullptr;
    }
    return connection;
}

LSTATUS RegistryDatabase::Open(Use use) {
    if (connection != nullptr) {
        int isReplaced = 0;
        sqlite3_file_control(connection, "main", SQLITE_FCNTL_HAS_MOVED, &isReplaced);
        const bool isTooWeak = isSnapshot || (isReadOnly && use != Use::Read);
        if (isReplaced != 0 || isTooWeak)
            disconnect();
    }
    if (connection == nullptr) {
        const String file = RegistryFile(kind);
        if (file.empty())
            return use == Use::Create ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
        LSTATUS failure = open(file, use);
        if (failure == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) && use == Use::Create) {
            failure = MakeRegistryFile(kind, file);
            if (failure == 0)
                failure = connect(file.c_str(), SQLITE_OPEN_READWRITE);
            if (failure == 0)
                failure = makeTables();
        }
        if (failure != 0) {
            disconnect();
            return failure;
        }
    }
    if (const LSTATUS failure = isSound ? 0 : checkAll(); failure != 0)
        return failure;
    lookForChanges();
    return isReadOnly && use != Use::Read ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

LSTATUS RegistryDatabase::open(const String& file, Use use) {
    // Asked before the file's size: it is only when the file is complete that a log is begun.
    const RegistryLog log = logBeside(file);
    if (log == RegistryLog::Damaged)
        return ERROR_BADDB;
    // SQLite would delete a log without a database, although it may hold everything.
    const bool hasLog = log != RegistryLog::Empty;
    const LSTATUS codeWhenEmpty = hasLog ? ERROR_BADDB : ERROR_FILE_NOT_FOUND;
    struct stat status;
    if (stat(file.c_str(), &status) != 0) {
        const bool isAbsent = errno == ENOENT || (errno == ENOTDIR && use != Use::Create);
        return isAbsent ? codeWhenEmpty : RegistryCodeOf(errno);
    }
    if (!S_ISREG(status.st_mode))
        return ERROR_ACCESS_DENIED;
    if (status.st_size == 0 && hasLog)
        return codeWhenEmpty;
    const bool isWriteProtected = (status.st_mode & kAnyWriteBit) == 0;
    LSTATUS failure = connect(file.c_str(), isWriteProtected ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE);
    if (failure == 0)
        failure = checkFormat();
    if (failure == static_cast<LSTATUS>(ERROR_ACCESS_DENIED) && !hasLog) {
        failure = connect(snapshotName(file).c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        isSnapshot = true;
        if (failure == 0)
            failure = checkFormat();
    }
    isSound = isSame(status, checkedFile);
    return failure;
}

LSTATUS RegistryDatabase::connect(const char* file, int flags) {
    disconnect();
    openings++;
    version++;
    int code = openConnection(file, flags, &connection);
    if (connection == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    if (code != SQLITE_OK)
        errno = sqlite3_system_errno(connection);
    else {
        int isLogKept = 1;
        sqlite3_busy_handler(connection, waitForLock, nullptr);
        sqlite3_wal_hook(connection, foldLargeLog, &pagesToFold);
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sqlite3_file_control(connection, "main", SQLITE_FCNTL_PERSIST_WAL, &isLogKept);
        isReadOnly = sqlite3_db_readonly(connection, "main") == 1;
        code = sqlite3_exec(connection, kConfigure, nullptr, nullptr, nullptr);
    }
    return resultOf(code);
}

void RegistryDatabase::disconnect() {
    if (HasWritten())
        mustFold = true;
    for (sqlite3_stmt*& statement : statements) {
        sqlite3_finalize(statement);
        statement = nullptr;
    }
    sqlite3_close(connection);
    connection = nullptr;
    index = nullptr;
    isReadOnly = isSnapshot = isSound = isIndexKnown = false;
}

// A process that has written folds the log even while others use the store: if two leave at the same time,
// neither is the last one. The last one folds what others left who were killed.
void RegistryDatabase::Close() {
    if (mustFold)
        Open(Use::Write);
    if (connection != nullptr && !isReadOnly && isSound && isFilled(logName())) {
        if (HasWritten())
            sqlite3_wal_checkpoint_v2(connection, "main", SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    }
    disconnect();
    mustFold = false;
    checkedFile = {};
}

void RegistryDatabase::Suspend() {
    if (connection != nullptr && isSound)
        rememberChecked();
    disconnect();
}

void RegistryDatabase::rememberChecked() {
    if (stat(sqlite3_db_filename(connection, "main"), &checkedFile) != 0)
        checkedFile = {};
}

// A log that another process folds meanwhile is on the disk, too: in the database.
LSTATUS RegistryDatabase::Flush() {
    const LSTATUS failure = Open(Use::Read);
    if (failure != 0)
        return failure == static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND) ? 0 : failure;
    const String log = logName();
    const LSTATUS result = SyncRegistryFile(log.c_str());
    return result != 0 ? result : SyncRegistryFile(log.substr(0, log.rfind('/') + 1).c_str());
}

// What tells a database of this format; tables of SQLite's own do not count.
constexpr char kAskFormat[] =
    "SELECT count(*), (SELECT application_id FROM pragma_application_id),"
    " (SELECT user_version FROM pragma_user_version), (SELECT page_count FROM pragma_page_count),"
    " group_concat(sql, ';') FILTER (WHERE NOT (type='table' AND name GLOB 'sqlite_*'))"
    " IS '" TARNKIT_REGISTRY_TABLES "' FROM sqlite_schema";

// ERROR_SUCCESS for a database of this format, ERROR_FILE_NOT_FOUND for one that nothing was written to yet,
// ERROR_BADDB for any other. A database that can be written is one whose header says so, too.
LSTATUS RegistryDatabase::checkFormat() {
    sqlite3_stmt* query = nullptr;
    int code = sqlite3_prepare_v2(connection, kAskFormat, -1, &query, nullptr);
    if (code == SQLITE_OK)
        code = sqlite3_step(query);
    LSTATUS result = resultOf(code);
    if (code == SQLITE_ROW) {
        const auto number = [query](int column) { return sqlite3_column_int64(query, column); };
        const bool isEmpty = number(0) == 0 && number(1) == 0 && number(2) == 0 && number(3) <= 1;
        const bool isOurs = number(1) == kApplication && number(2) == kFormat && number(4) != 0 &&
                            (isReadOnly || sqlite3_db_readonly(connection, "main") == 0);
        result = isEmpty ? ERROR_FILE_NOT_FOUND : isOurs ? ERROR_SUCCESS : ERROR_BADDB;
    }
    sqlite3_finalize(query);
    return result;
}

// Reads the whole database. ERROR_BADDB if any of it is damaged.
LSTATUS RegistryDatabase::checkAll() {
    sqlite3_stmt* query = nullptr;
    int code = sqlite3_prepare_v2(connection, "PRAGMA integrity_check(1)", -1, &query, nullptr);
    if (code == SQLITE_OK)
        code = sqlite3_step(query);
    LSTATUS result = resultOf(code);
    if (code == SQLITE_ROW) {
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(query, 0));
        const std::string_view answer = text == nullptr ? "error code=7" : text; // no memory
        isSound = answer == "ok";
        const std::size_t reason = answer.find("error code="); // of a page that could not be read
        result = isSound                            ? ERROR_SUCCESS
                 : reason == std::string_view::npos ? ERROR_BADDB
                                                    : resultOf(std::atoi(&answer[reason + 11]));
    }
    sqlite3_finalize(query);
    if (isSound)
        rememberChecked();
    return result;
}

// Several processes may do this at the same time: the later ones find the tables created. Switching to the
// log fails immediately while another process does so, hence the loop.
LSTATUS RegistryDatabase::makeTables() {
    do {
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
    } while (maySleep(kLongestSleep));
    return ERROR_BUSY;
}

// The index of the log is mapped as long as the connection has a log. Without one, asking for it would make a
// file.
void RegistryDatabase::findIndex() {
    constexpr int kRegion = 32768;
    RegistryStatement mode(*this, RegistryQuery::JournalMode);
    if (isSnapshot || mode.Step() != 0 || std::string_view(mode.Bytes(0), mode.Size(0)) != "wal")
        return;
    sqlite3_file* file = nullptr;
    void volatile* region = nullptr;
    sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    const int code = file->pMethods->xShmMap(file, 0, kRegion, 0, &region);
    if (code == SQLITE_OK || code == SQLITE_READONLY)
        index = static_cast<const volatile std::uint32_t*>(region);
}

// The index begins with a header that each commit changes, whoever makes it: it counts them and has the sums
// of what they wrote. A commit is seen by others when the first copy of the header, which is written last,
// is.
bool RegistryDatabase::isAsSeen() {
    constexpr std::uint32_t kIndexVersion = 3007000;
    if (index == nullptr)
        return false;
    std::uint32_t difference = index[0] ^ kIndexVersion;
    for (int i = 0; i < kIndexWords; i++) {
        const std::uint32_t word = __atomic_load_n(index + i, __ATOMIC_ACQUIRE);
        difference |= word ^ seen[i];
        seen[i] = word;
    }
    return difference == 0;
}

void RegistryDatabase::lookForChanges() {
    if (!isIndexKnown) {
        isIndexKnown = true;
        findIndex();
    }
    if (!isAsSeen())
        version++;
}

bool RegistryDatabase::HasVersion(std::uint64_t known) {
    if (connection == nullptr || !isSound)
        return false;
    lookForChanges();
    return version == known;
}

LSTATUS RegistryDatabase::GetChangeMark(sqlite3_int64* result) {
    LSTATUS failure = 0;
    if (markedVersion != version) {
        RegistryStatement statement(*this, RegistryQuery::DataVersion); // counts the changes made by others
        failure = statement.Step();
        if (failure == 0) {
            mark = (openings << 40) + statement.Integer(0);
            markedVersion = version;
        }
    }
    *result = mark;
    return failure;
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
        return RegistryCodeOf(errno);
    case SQLITE_IOERR: {
        if (code == SQLITE_IOERR_SHORT_READ)
            return ERROR_BADDB;
        const LSTATUS reason = RegistryCodeOf(errno);
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
    const LSTATUS result = database.resultOf(code);
    if (result == static_cast<LSTATUS>(ERROR_BADDB))
        database.isSound = false;
    return code == SQLITE_DONE ? static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) : result;
}

LSTATUS RegistryStatement::Run() {
    const LSTATUS result = Step();
    return result == static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS) ? 0 : result;
}

LSTATUS RegistryTransaction::Begin(RegistryQuery how) {
    const LSTATUS result = RegistryStatement(database, how).Run();
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
        database.disconnect();
}

} // namespace Tarn::Platform::Posix
