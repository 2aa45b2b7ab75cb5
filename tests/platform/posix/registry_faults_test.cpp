// What the POSIX port's registry does when processes die, files are damaged or may not be written.
#include "platform/platform.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

namespace fs = std::filesystem;

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

DWORD code(LSTATUS result) { return static_cast<DWORD>(result); }

// Moves the registry to a folder of the test's own, which does not exist yet.
class RegistryFaults : public testing::Test {
protected:
    fs::path folder = fs::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();
    std::string usualFolder = getenv("TARNKIT_REGISTRY");

    void SetUp() override { moveTo(folder); }
    void TearDown() override { moveTo(usualFolder); }

    static void moveTo(const fs::path& place) {
        ReleaseRegistry();
        setenv("TARNKIT_REGISTRY", place.c_str(), 1);
    }
};

HKEY create(const std::u16string& name, HKEY root = HKEY_CURRENT_USER) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(root, name.c_str(), kReadWrite, &key, nullptr), 0);
    return key;
}

DWORD open(const std::u16string& name, REGSAM access = KEY_READ, HKEY root = HKEY_CURRENT_USER) {
    HKEY key;
    const LSTATUS result = RegOpenKeyExW(root, name.c_str(), 0, access, &key);
    return code(result != 0 ? result : RegCloseKey(key));
}

DWORD set(HKEY key, const std::u16string& name, const std::string& data) {
    return code(RegSetValueExW(key, name.c_str(), REG_BINARY, data.data(), static_cast<DWORD>(data.size())));
}

std::string get(HKEY key, const std::u16string& name) {
    std::string data(20'000, ' ');
    DWORD size = static_cast<DWORD>(data.size());
    const LSTATUS result = RegQueryValueExW(key, name.c_str(), nullptr, data.data(), &size);
    return result != 0 ? "failed " + std::to_string(result) : data.substr(0, size);
}

std::u16string nameOf(int number) {
    const std::string digits = std::to_string(number);
    return std::u16string(digits.begin(), digits.end());
}

// Runs `action` in a process of its own and returns that process.
template<class Action>
pid_t start(Action action) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        action();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    return child;
}

bool succeeds(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

// Runs SQL on a database by itself and returns the last column of the first row.
std::string runSql(const fs::path& file, const char* sql) {
    sqlite3* database;
    std::string result;
    EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    const auto keepFirst = [](void* text, int columns, char** values, char**) {
        *static_cast<std::string*>(text) = values[columns - 1];
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(database, sql, keepFirst, &result, nullptr), SQLITE_OK);
    sqlite3_close(database);
    return result;
}

} // namespace

TEST_F(RegistryFaults, WhatWasAcknowledgedSurvivesAKilledWriter) {
    std::minstd_rand random(20020913);
    int acknowledged = 0;
    for (int round = 0; round < 25; round++) {
        int pipeEnds[2];
        ASSERT_EQ(pipe(pipeEnds), 0);
        const pid_t writer = start([&] {
            const HKEY key = create(u"Software\\Values");
            for (int i = acknowledged; set(key, nameOf(i), std::to_string(i)) == 0; i++) {
                RegCloseKey(create(u"Software\\Keys\\" + nameOf(i)));
                if (write(pipeEnds[1], &i, sizeof(i)) != sizeof(i))
                    break;
            }
        });
        close(pipeEnds[1]);
        usleep(static_cast<useconds_t>(random() % 60'000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        for (int i; read(pipeEnds[0], &i, sizeof(i)) == sizeof(i);)
            acknowledged = i + 1;
        close(pipeEnds[0]);

        const HKEY values = create(u"Software\\Values");
        for (int i = 0; i < acknowledged; i++) {
            ASSERT_EQ(get(values, nameOf(i)), std::to_string(i)) << "round " << round;
            ASSERT_EQ(open(u"Software\\Keys\\" + nameOf(i)), 0u) << "round " << round;
        }
        ASSERT_EQ(set(values, u"after", "x"), 0u);
        RegCloseKey(values);
    }
    EXPECT_GT(acknowledged, 0);
    EXPECT_EQ(runSql(folder / "user.db", "PRAGMA integrity_check"), "ok");
}

TEST_F(RegistryFaults, ProcessesMakeAndWriteOneStoreTogether) {
    pid_t writers[4];
    for (int writer = 0; writer < 4; writer++)
        writers[writer] = start([writer] {
            const HKEY key = create(u"Software\\Shared");
            for (int i = 0; i < 50; i++)
                EXPECT_EQ(set(key, nameOf(writer * 50 + i), "x"), 0u);
        });
    for (const pid_t writer : writers)
        EXPECT_TRUE(succeeds(writer));
    DWORD values = 0;
    const HKEY key = create(u"Software\\Shared");
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &values, nullptr, nullptr), 0);
    EXPECT_EQ(values, 200u);

    EXPECT_TRUE(succeeds(start([] {
        EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"Software\\Shared"), 0);
        create(u"Software\\Shared");
    })));
    EXPECT_EQ(set(key, u"x", "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(key), 0);
}

TEST_F(RegistryFaults, AStoreThatIsNotThereReadsAsEmptyAndIsMadeByAWrite) {
    DWORD subKeys = 7;
    char16_t name[10];
    DWORD size = 10;
    EXPECT_EQ(open(u"Software"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(get(HKEY_CURRENT_USER, u"v"), "failed 2");
    EXPECT_EQ(code(RegEnumKeyExW(HKEY_CLASSES_ROOT, 0, name, &size)), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(RegQueryInfoKeyW(HKEY_LOCAL_MACHINE, &subKeys, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(subKeys, 0u);
    EXPECT_EQ(code(RegDeleteKeyW(HKEY_CURRENT_USER, u"Software")), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(folder));

    EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), 0u);
    EXPECT_TRUE(fs::exists(folder / "user.db"));
    RegCloseKey(create(u".txt", HKEY_CLASSES_ROOT));
    EXPECT_EQ(open(u"software\\classes\\.TXT", kReadWrite, HKEY_LOCAL_MACHINE), 0u);

    const HKEY old = create(u"Old");
    fs::remove_all(folder);
    const HKEY fresh = create(u"New");
    EXPECT_EQ(set(old, u"v", "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(set(fresh, u"v", "x"), 0u);
    RegCloseKey(old);
    RegCloseKey(fresh);
}

// The machine's store belongs to an administrator: everyone else reads it, with the log that writers left and
// from a copy of the database alone.
TEST_F(RegistryFaults, AStoreThatMayNotBeWrittenCanStillBeRead) {
    const fs::path file = folder / "machine.db";
    const auto expectReadableOnly = [] {
        ASSERT_TRUE(getuid() != 0 || setuid(65534) == 0);
        HKEY key;
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Product", 0, KEY_READ, &key), 0);
        EXPECT_EQ(get(key, u"v"), "5");
        EXPECT_EQ(open(u"Software\\Product", kReadWrite, HKEY_LOCAL_MACHINE), ERROR_ACCESS_DENIED);
        for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
            EXPECT_EQ(code(RegCreateKeyExW(root, u"New", KEY_READ, &key, nullptr)), ERROR_ACCESS_DENIED);
        EXPECT_EQ(code(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\Product")), ERROR_ACCESS_DENIED);
    };
    const HKEY key = create(u"Software\\Product", HKEY_LOCAL_MACHINE);
    ASSERT_EQ(set(key, u"v", "5"), 0u);
    fs::permissions(fs::current_path(), fs::perms(0755));
    fs::permissions(file, fs::perms(0444));
    fs::permissions(folder, fs::perms(0555));
    EXPECT_TRUE(succeeds(start(expectReadableOnly)));
    EXPECT_EQ(set(key, u"v", "6"), ERROR_ACCESS_DENIED);

    ReleaseRegistry();
    fs::permissions(folder, fs::perms(0755));
    fs::permissions(file, fs::perms(0644));
    runSql(file, "PRAGMA wal_checkpoint(TRUNCATE)");
    fs::remove(file.string() + "-wal");
    fs::remove(file.string() + "-shm");
    fs::permissions(file, fs::perms(0444));
    fs::permissions(folder, fs::perms(0555));
    EXPECT_TRUE(succeeds(start(expectReadableOnly)));

    fs::permissions(folder, fs::perms(0755));
    fs::permissions(file, fs::perms(0644));
    EXPECT_EQ(set(key, u"v", "6"), 0u);
    RegCloseKey(key);
}

TEST_F(RegistryFaults, AFullDiskFailsTheWriteAndKeepsWhatWasThere) {
    const HKEY key = create(u"Software\\Full");
    const std::string kept(10'000, '1');
    EXPECT_TRUE(succeeds(start([&] {
        const rlimit limit = {300'000, 300'000};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(set(key, u"v", kept), 0u);
        EXPECT_EQ(set(key, u"v", std::string(1'000'000, '2')), ERROR_DISK_FULL);
        EXPECT_EQ(set(key, u"v", std::string(1'000'000, '3')), ERROR_DISK_FULL);
    })));
    EXPECT_EQ(get(key, u"v"), kept);
    EXPECT_EQ(set(key, u"after", "x"), 0u);
    RegCloseKey(key);
}

TEST_F(RegistryFaults, ADamagedOrForeignDatabaseIsReportedAndLeftAsItIs) {
    fs::create_directory(folder);
    std::ofstream(folder / "user.db") << std::string(5000, 'g');
    runSql(folder / "machine.db", "CREATE TABLE notes(text)");
    HKEY key;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        EXPECT_EQ(open(u"Software", KEY_READ, root), ERROR_BADDB);
        EXPECT_EQ(code(RegCreateKeyExW(root, u"Software", KEY_READ, &key, nullptr)), ERROR_BADDB);
    }
    EXPECT_EQ(fs::file_size(folder / "user.db"), 5000u);

    std::ofstream(folder / "user.db", std::ios::trunc).close();
    EXPECT_EQ(open(u"Software"), ERROR_FILE_NOT_FOUND);
    RegCloseKey(create(u"Software"));
    EXPECT_EQ(open(u"Software"), 0u);
}

} // namespace Tarn::Platform
