// The SQLite database under one half of the POSIX port's registry: where it lies, how it is opened and made,
// and the statements that are run on it.
//
// The connection is opened at the first use and again when the file was replaced. The write-ahead log is what
// makes a process that dies in the middle of a write harmless: it blocks nobody, and readers who may not
// write to the folder can still read, since the log's files stay beside the database. Commits reach the
// system at once and the disk with the log's checkpoints, so that a killed process loses nothing and a power
// cut at most the latest writes, never the consistency.
//
// Results are the registry's codes. Not synchronised: registry.cpp has the lock.
#pragma once

#include "platform/posix/memory/allocator.h"

#include <tarnkit/types.h>

#include <sqlite3.h>

namespace Tarn::Platform::Posix {

enum class RegistryQuery {
    Begin,
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
    Count
};

class RegistryDatabase {
public:
    enum class Kind { User, Machine };
    enum class Use {
        Read,
        Write,
        Create ///< writes, and makes the database when it is not there
    };

    explicit constexpr RegistryDatabase(Kind databaseKind) : kind(databaseKind) {}

    /// Makes the connection ready; 2 when there is no database, 5 when it may not be used so.
    LSTATUS Open(Use use);

    /// Lets the database go until it is used again.
    void Close();

    /// Changes whenever the database does, whoever changes it.
    LSTATUS GetChangeMark(sqlite3_int64* mark);

private:
    friend class RegistryStatement;

    LSTATUS open(const String& file, Use use);
    LSTATUS connect(const char* file, int flags);
    LSTATUS checkFormat();
    LSTATUS makeTables();
    LSTATUS statementFor(RegistryQuery query, sqlite3_stmt** statement);
    static LSTATUS resultOf(int code);

    const Kind kind;
    sqlite3* connection = nullptr;
    sqlite3_stmt* statements[static_cast<int>(RegistryQuery::Count)] = {};
    sqlite3_int64 openings = 0;
    bool isReadOnly = false;
    bool isSnapshot = false; ///< opened without locks, from where no log can be: good for one call
};

/// One run of a query. At most one per query at a time.
class RegistryStatement {
public:
    RegistryStatement(RegistryDatabase& usedDatabase, RegistryQuery query);
    ~RegistryStatement();

    RegistryStatement(const RegistryStatement&) = delete;
    RegistryStatement& operator=(const RegistryStatement&) = delete;

    /// Sets the parameters in their order. Bytes must outlive the statement.
    RegistryStatement& Bind(sqlite3_int64 value);
    RegistryStatement& Bind(const void* bytes, std::size_t size);
    RegistryStatement& Bind(const sqlite3_value* value);
    RegistryStatement& Bind(const String& bytes) { return Bind(bytes.data(), bytes.size()); }

    /// 0 with a row to look at, 259 when there are no more.
    LSTATUS Step();

    /// Runs a statement that has no rows to show.
    LSTATUS Run();

    /// Rows that this statement changed.
    int Changes() const { return sqlite3_changes(database.connection); }
    sqlite3_int64 InsertedRow() const { return sqlite3_last_insert_rowid(database.connection); }

    sqlite3_int64 Integer(int column) const { return sqlite3_column_int64(statement, column); }
    /// The value of a column as it is; null when there is no memory. Freed by `sqlite3_value_free`.
    sqlite3_value* Copy(int column) const {
        return sqlite3_value_dup(sqlite3_column_value(statement, column));
    }
    const void* Bytes(int column) const { return sqlite3_column_blob(statement, column); }
    DWORD Size(int column) const { return static_cast<DWORD>(sqlite3_column_bytes(statement, column)); }

private:
    RegistryDatabase& database;
    sqlite3_stmt* statement = nullptr;
    int bound = 0;
    LSTATUS failure;
};

/// Several statements as one write; undone unless committed.
class RegistryTransaction {
public:
    explicit RegistryTransaction(RegistryDatabase& usedDatabase) : database(usedDatabase) {}
    ~RegistryTransaction();

    RegistryTransaction(const RegistryTransaction&) = delete;
    RegistryTransaction& operator=(const RegistryTransaction&) = delete;

    LSTATUS Begin();
    LSTATUS Commit();

private:
    RegistryDatabase& database;
    bool isOpen = false;
};

} // namespace Tarn::Platform::Posix
