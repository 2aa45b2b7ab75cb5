// The registry and settings against those of Qt and GLib, which are in memory once they were read, and
// against SQLite alone: one prepared statement on a copy of the registry's own database, kept in the same
// way.
#include "scratch_folder.h"

#include <tarnkit/lifecycle.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/setup.h>
#include <tarnkit/text_of_values.h>

#include <QSettings>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

using namespace Tarn;

constexpr char16_t kPath[] = u"Software\\TarnkitBenchmark";
constexpr char16_t kSection[] = u"Software\\TarnkitBenchmark\\Section\\Window";
constexpr int kNames = 500;
constexpr int kWidth = 1024;

const std::string kFolder =
    std::getenv("TARNKIT_REGISTRY") == nullptr ? "." : std::getenv("TARNKIT_REGISTRY");

CUnicodeString nameOf(int number) { return CUnicodeString(u"Value ") + UnicodeStr(number); }

// A key with `count` texts, which is made once.
HKEY keyWith(int count) {
    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, CUnicodeString(kPath) + u"\\Copied\\" + UnicodeStr(count));
    CRegistryKeyInfo info;
    key.GetInfo(info);
    for (int i = static_cast<int>(info.valueCount); i < count; i++)
        must(key.SetStringValue(nameOf(i), u"Some text of usual length"), "writing");
    return key.Detach();
}

// The place of all settings, with the one that is read.
CRegistryKey& section() {
    static CRegistryKey key(false);
    if (key.GetKey() == nullptr) {
        must(Initialize(u"Software\\TarnkitBenchmark\\Section", u"Software\\TarnkitBenchmark\\Section"),
             "start");
        key.Open(HKEY_CURRENT_USER, kSection);
        must(key.SetStringValue(u"Width", UnicodeStr(kWidth)) && key.SetStringValue(u"Height", u"768"),
             "writing");
    }
    return key;
}

QSettings& qtSettings() {
    static QSettings settings(QString::fromStdString(kFolder + "/qt.ini"), QSettings::IniFormat);
    if (!settings.contains("Window/Width")) {
        settings.setValue("Window/Width", kWidth);
        for (int i = 0; i < kNames; i++)
            settings.setValue("List/" + QString::fromUtf16(nameOf(i).Ptr()), "Some text of usual length");
    }
    return settings;
}

// SQLite alone, on a copy of the registry's database.
class CBareDatabase {
public:
    static CBareDatabase& Get() {
        static CBareDatabase database;
        return database;
    }

    int Read(const char* folded, void* buffer, int room) {
        int size = 0;
        sqlite3_bind_int64(select, 1, key);
        bindName(select, 2, folded);
        if (sqlite3_step(select) == SQLITE_ROW && (size = sqlite3_column_bytes(select, 1)) <= room)
            std::memcpy(buffer, sqlite3_column_blob(select, 1), static_cast<std::size_t>(size));
        sqlite3_reset(select);
        return size;
    }

    void Write(const char* folded, const void* data, int size) {
        sqlite3_bind_int64(insert, 1, key);
        bindName(insert, 2, folded);
        bindName(insert, 3, folded);
        sqlite3_bind_blob(insert, 4, data, size, SQLITE_STATIC);
        must(sqlite3_step(insert) == SQLITE_DONE, "writing");
        sqlite3_reset(insert);
    }

private:
    CBareDatabase() {
        section();
        const std::string file = kFolder + "/bare.db";
        std::filesystem::remove(file);
        run(kFolder + "/user.db", "VACUUM INTO '" + file + "'");
        run(file, "PRAGMA journal_mode=WAL");
        must(sqlite3_open(file.c_str(), &connection) == SQLITE_OK, "opening");
        prepare("PRAGMA synchronous=NORMAL", &select);
        sqlite3_step(select);
        sqlite3_finalize(select);
        prepare("SELECT key FROM key_values WHERE folded=?1", &select);
        bindName(select, 1, "WIDTH");
        must(sqlite3_step(select) == SQLITE_ROW, "reading");
        key = sqlite3_column_int64(select, 0);
        sqlite3_finalize(select);
        prepare("SELECT type, data FROM key_values WHERE key=?1 AND folded=?2", &select);
        prepare("INSERT INTO key_values(key, folded, name, type, data) VALUES(?1, ?2, ?3, 1, ?4)"
                " ON CONFLICT(key, folded) DO UPDATE SET type=excluded.type, data=excluded.data",
                &insert);
    }

    static void run(const std::string& file, const std::string& sql) {
        sqlite3* database;
        must(sqlite3_open(file.c_str(), &database) == SQLITE_OK &&
                 sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
             sql.c_str());
        sqlite3_close(database);
    }

    void prepare(const char* sql, sqlite3_stmt** statement) {
        must(sqlite3_prepare_v2(connection, sql, -1, statement, nullptr) == SQLITE_OK, sql);
    }

    // Names are kept as 16-bit units, the high byte first.
    void bindName(sqlite3_stmt* statement, int place, const char* name) {
        char bytes[64];
        int size = 0;
        for (; *name != 0; name++) {
            bytes[size++] = 0;
            bytes[size++] = *name;
        }
        sqlite3_bind_blob(statement, place, bytes, size, SQLITE_TRANSIENT);
    }

    sqlite3* connection = nullptr;
    sqlite3_stmt* select = nullptr;
    sqlite3_stmt* insert = nullptr;
    sqlite3_int64 key = 0;
};

void readValue(benchmark::State& state) {
    const CRegistryKey& key = section();
    char16_t text[64], same[64];
    must(key.QueryValue(u"Width", text, sizeof(text)) == 10 &&
             CBareDatabase::Get().Read("WIDTH", same, sizeof(same)) == 10 && std::memcmp(text, same, 10) == 0,
         "reading");
    for (auto _ : state)
        benchmark::DoNotOptimize(key.QueryValue(u"Width", text, sizeof(text)));
}

void readValueBare(benchmark::State& state) {
    CBareDatabase& database = CBareDatabase::Get();
    char16_t text[64];
    for (auto _ : state)
        benchmark::DoNotOptimize(database.Read("WIDTH", text, sizeof(text)));
}

// SQLite writes nothing if a value is what it was, so each is another one.
const char16_t* nextHeight() {
    static bool isOdd = false;
    isOdd = !isOdd;
    return isOdd ? u"769" : u"768";
}

// Each read follows a write, so that nothing can be known from the one before.
void writeAndRead(benchmark::State& state, bool isRead) {
    CRegistryKey& key = section();
    char16_t text[64];
    for (auto _ : state) {
        must(key.SetValue(u"Height", REG_SZ, nextHeight(), 8), "writing");
        if (isRead)
            must(key.QueryValue(u"Width", text, sizeof(text)) == 10, "reading");
    }
}

void writeAndReadBare(benchmark::State& state, bool isRead) {
    CBareDatabase& database = CBareDatabase::Get();
    char16_t text[64];
    for (auto _ : state) {
        database.Write("HEIGHT", nextHeight(), 8);
        if (isRead)
            must(database.Read("WIDTH", text, sizeof(text)) == 10, "reading");
    }
}

template<class Setup>
void readSetting(benchmark::State& state) {
    section();
    Setup width(u"Window", u"Width", 0, ST_UserSection);
    must(width.Get() == kWidth, "reading");
    for (auto _ : state)
        benchmark::DoNotOptimize(width.Get());
}

void readSettingQt(benchmark::State& state) {
    const QSettings& settings = qtSettings();
    const QString name = "Window/Width";
    must(settings.value(name).toInt() == kWidth, "reading");
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.value(name).toInt());
}

void readSettingGlib(benchmark::State& state) {
    GKeyFile* const file = g_key_file_new();
    g_key_file_set_integer(file, "Window", "Width", kWidth);
    for (auto _ : state)
        must(g_key_file_get_integer(file, "Window", "Width", nullptr) == kWidth, "reading");
    g_key_file_free(file);
}

// With `isChanged`, another key is written to before each list, so that all of it is read.
void list(benchmark::State& state, bool isChanged) {
    CRegistryKey key(true);
    key.Open(keyWith(kNames), u"");
    CArray<CUnicodeString, CurrentMemoryManager> names;
    key.GetStringValueNames(names);
    must(names.Size() == kNames, "listing");
    for (auto _ : state) {
        if (isChanged)
            section().SetStringValue(u"Height", nextHeight());
        key.GetStringValueNames(names);
    }
    state.SetItemsProcessed(state.iterations() * kNames);
}

void listQt(benchmark::State& state) {
    QSettings& settings = qtSettings();
    settings.beginGroup("List");
    must(settings.childKeys().size() == kNames, "listing");
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.childKeys());
    settings.endGroup();
    state.SetItemsProcessed(state.iterations() * kNames);
}

void isValid(benchmark::State& state) {
    CRegistryKey key(true);
    key.Open(keyWith(static_cast<int>(state.range(0))), u"");
    for (auto _ : state)
        must(key.IsValid(), "asking");
}

// With `isChanged`, another key is written to between the questions.
void getInfo(benchmark::State& state, bool isChanged) {
    const auto count = static_cast<DWORD>(state.range(0));
    CRegistryKey key(false), other(false);
    key.Open(keyWith(static_cast<int>(count)), u"");
    other.Open(HKEY_CURRENT_USER, kSection);
    CRegistryKeyInfo info;
    for (auto _ : state) {
        if (isChanged)
            other.SetStringValue(u"Height", nextHeight());
        key.GetInfo(info);
        must(info.valueCount == count, "counting");
    }
}

void copy(benchmark::State& state) {
    const auto count = static_cast<DWORD>(state.range(0));
    CRegistryKey from(true), parent(false);
    from.Open(keyWith(static_cast<int>(count)), u"");
    parent.Open(HKEY_CURRENT_USER, kPath);
    CRegistryKeyInfo info;
    for (auto _ : state) {
        CRegistryKey to(false);
        to.Open(parent, u"Copy");
        from.CopyTo(to);
        to.GetInfo(info);
        must(info.valueCount == count, "copying");
        state.PauseTiming();
        to.Close();
        parent.DeleteSubKey(u"Copy");
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
}

} // namespace

BENCHMARK(readValue)->Name("settings/value/CRegistryKey");
BENCHMARK(readValueBare)->Name("settings/value/SQLite");
BENCHMARK_CAPTURE(writeAndRead, write, false)->Name("settings/write/CRegistryKey");
BENCHMARK_CAPTURE(writeAndReadBare, write, false)->Name("settings/write/SQLite");
BENCHMARK_CAPTURE(writeAndRead, read, true)->Name("settings/write-read/CRegistryKey");
BENCHMARK_CAPTURE(writeAndReadBare, read, true)->Name("settings/write-read/SQLite");
BENCHMARK(readSetting<CSetup<int>>)->Name("settings/setting/CSetup");
BENCHMARK(readSetting<CCacheSetup<int>>)->Name("settings/setting/CCacheSetup");
BENCHMARK(readSettingQt)->Name("settings/setting/QSettings");
BENCHMARK(readSettingGlib)->Name("settings/setting/GKeyFile");
BENCHMARK_CAPTURE(list, same, false)->Name("settings/list/CRegistryKey");
BENCHMARK_CAPTURE(list, changed, true)->Name("settings/write-list/CRegistryKey");
BENCHMARK(listQt)->Name("settings/list/QSettings");
BENCHMARK(isValid)->Name("settings/IsValid")->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK_CAPTURE(getInfo, same, false)->Name("settings/GetInfo")->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK_CAPTURE(getInfo, changed, true)->Name("settings/write-GetInfo")->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(copy)->Name("settings/copy")->Arg(100)->Arg(1000)->Arg(10000);
