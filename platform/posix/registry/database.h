// The SQLite database behind one half of the POSIX port's registry: how it is opened, created and closed, and
// the statements that are run on it.
//
// The connection is opened on first use, and again if the file was replaced. Because of the write-ahead log,
// a process that dies in the middle of a write blocks nobody. A commit reaches the operating system
// immediately and the disk with the next checkpoint of the log: a killed process loses nothing, a power cut
// at most the latest writes, and the database stays consistent either way.
//
// The log is folded into the database when it is large, when a process that has written leaves, and when the
// last user leaves. Its empty files stay beside the database, so that readers who may not write to the folder
// can still lock it.
//
// Whether anything has changed since the last call is seen without a system call, in the memory that all
// processes that use a log share.
//
// Before anything else is done with a database, all of it is checked: a damaged one is never written to.
//
// Results are the registry's codes. Not synchronised: registry.cpp holds the lock.
#pragma once

#include "platform/posix/registry/place.h"

#include <chrono>
#include <cstdint>
#include <sqlite3.h>
#include <sys/stat.h>

namespace Tarn::Platform::Posix {

enum class RegistryQuery {
    Begin,
    BeginReading,
    Commit,
    Rollback,
    KeyDepth,
    FindKey,
    AddKey,
    FindAnySubKey,
    DeleteKey,
    DeleteValuesOfKey,
    Sizes,
    SubKeyAt,
    SubKeyAfter,
    GetValue,
    ValueAt,
    ValueAfter,
    SetValue,
    DeleteValue,
    DataVersion,
    JournalMode,
    Count
};

using RegistryClock = std::chrono::steady_clock;

/// From `start` on, the calls below wait for other processes for a second altogether, and then return
/// ERROR_BUSY.
void LimitRegistryWaits(RegistryClock::time_point start);

/// Makes an empty database, whose log is removed when the connection is closed.
LSTATUS MakeRegistryDatabase(const String& file, sqlite3** connection);

/// Keeps others from writing to a database until the connection is closed. Null if there is no such database,
/// or it is too damaged for that or may not be written; then `*result` is still ERROR_SUCCESS. ERROR_BUSY
/// while another process writes.
sqlite3* LockRegistryFile(const String& file, LSTATUS* result);

class RegistryDatabase {
public:
    enum class Use {
        Read,
        Write,
        Create ///< for writing; creates the database if it does not exist
    };

    explicit constexpr RegistryDatabase(RegistryKind databaseKind) : kind(databaseKind) {}

    /// Makes the connection ready. ERROR_FILE_NOT_FOUND if there is no database, ERROR_ACCESS_DENIED if it
    /// may not be used that way.
    LSTATUS Open(Use use);

    /// Brings all writes that have succeeded to the disk.
    LSTATUS Flush();
    /// Whether this process has written something that it has not folded yet.
    bool HasWritten() const {
        return mustFold || (connection != nullptr && sqlite3_total_changes64(connection) > 0);
    }

    /// Closes the connection until it is used again, and folds the log.
    void Close();

    /// Closes the connection around a fork, which is not delayed by the log: a later `Close` folds it.
    void Suspend();

    bool IsOpen() const { return connection != nullptr; }

    /// What is read after `Open` is what the database holds for as long as later calls of `Open` leave this
    /// number alone. Never 0.
    std::uint64_t Version() const { return version; }
    /// As after `Open`, but without asking whether the file was replaced.
    bool HasVersion(std::uint64_t known);
    /// A number that changes whenever another connection has changed the database. Called after `Open`.
    LSTATUS GetChangeMark(sqlite3_int64* mark);

private:
    friend class RegistryStatement;
    friend class RegistryTransaction;

    static constexpr int kIndexWords = 12;

    LSTATUS open(const String& file, Use use);
    LSTATUS connect(const char* file, int flags);
    void disconnect();
    LSTATUS checkFormat();
    LSTATUS checkAll();
    void rememberChecked();
    LSTATUS makeTables();
    void lookForChanges();
    void findIndex();
    bool isAsSeen();
    const char* logName() const { return sqlite3_filename_wal(sqlite3_db_filename(connection, "main")); }
    LSTATUS statementFor(RegistryQuery query, sqlite3_stmt** statement);
    static LSTATUS resultOf(int code);

    const RegistryKind kind;
    sqlite3* connection = nullptr;
    sqlite3_stmt* statements[static_cast<int>(RegistryQuery::Count)] = {};
    sqlite3_int64 openings = 0;
    std::uint64_t version = 0;
    std::uint64_t markedVersion = 0; ///< the version that `mark` was asked for
    sqlite3_int64 mark = 0;
    /// The header of the index of the log, in memory shared with other processes; null if there is none.
    const volatile std::uint32_t* index = nullptr;
    bool isIndexKnown = false;
    std::uint32_t seen[kIndexWords] = {}; ///< what the header was in this version
    int pagesToFold = 0;                  ///< the length of the log at which it is folded next
    bool isReadOnly = false;
    bool isSnapshot = false;      ///< opened without locks, because no log can be kept; valid for one call
    bool isSound = false;         ///< all of it was checked, and nothing was wrong since then
    bool mustFold = false;        ///< something was written before the connection was suspended
    struct stat checkedFile = {}; ///< what the sound file was like when it was checked or suspended
};

/// One run of a query. At most one per query at a time.
class RegistryStatement {
public:
    RegistryStatement(RegistryDatabase& usedDatabase, RegistryQuery query);
    ~RegistryStatement();

    RegistryStatement(const RegistryStatement&) = delete;
    RegistryStatement& operator=(const RegistryStatement&) = delete;

    /// Sets the next parameter. Bytes must outlive the statement.
    RegistryStatement& Bind(sqlite3_int64 value);
    RegistryStatement& Bind(const void* bytes, std::size_t size);
    RegistryStatement& Bind(const sqlite3_value* value);
    RegistryStatement& Bind(const String& bytes) { return Bind(bytes.data(), bytes.size()); }

    /// ERROR_SUCCESS if there is a row to read, ERROR_NO_MORE_ITEMS after the last one.
    LSTATUS Step();

    /// Runs a statement that returns no rows.
    LSTATUS Run();

    /// The number of rows that this statement changed.
    int Changes() const { return sqlite3_changes(database.connection); }
    sqlite3_int64 InsertedRow() const { return sqlite3_last_insert_rowid(database.connection); }

    sqlite3_int64 Integer(int column) const { return sqlite3_column_int64(statement, column); }
    /// The value of a column as it is; null when there is no memory. Freed by `sqlite3_value_free`.
    sqlite3_value* Copy(int column) const {
        return sqlite3_value_dup(sqlite3_column_value(statement, column));
    }
    const char* Bytes(int column) const {
        return static_cast<const char*>(sqlite3_column_blob(statement, column));
    }
    DWORD Size(int column) const { return static_cast<DWORD>(sqlite3_column_bytes(statement, column)); }

private:
    RegistryDatabase& database;
    sqlite3_stmt* statement = nullptr;
    int bound = 0;
    LSTATUS failure;
};

/// Makes several statements one write, which is undone unless committed; or one read, which ends with this
/// object.
class RegistryTransaction {
public:
    explicit RegistryTransaction(RegistryDatabase& usedDatabase) : database(usedDatabase) {}
    ~RegistryTransaction();

    RegistryTransaction(const RegistryTransaction&) = delete;
    RegistryTransaction& operator=(const RegistryTransaction&) = delete;

    LSTATUS Begin(RegistryQuery how = RegistryQuery::Begin);
    LSTATUS Commit();

private:
    RegistryDatabase& database;
    bool isOpen = false;
};

} // namespace Tarn::Platform::Posix
