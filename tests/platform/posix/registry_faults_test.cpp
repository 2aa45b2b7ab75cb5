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
constexpr auto kMissing = static_cast<LSTATUS>(ERROR_FILE_NOT_FOUND);
constexpr auto kDenied = static_cast<LSTATUS>(ERROR_ACCESS_DENIED);
constexpr auto kDeleted = static_cast<LSTATUS>(ERROR_KEY_DELETED);

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

    static HKEY create(const char16_t* name, HKEY root = HKEY_CURRENT_USER) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(root, name, kReadWrite, &key, nullptr), 0);
        return key;
    }
    static LSTATUS tryOpen(const char16_t* name, REGSAM access, HKEY root = HKEY_CURRENT_USER) {
        HKEY key;
        const LSTATUS result = RegOpenKeyExW(root, name, 0, access, &key);
        if (result == 0)
            RegCloseKey(key);
        return result;
    }
    static LSTATUS setNumber(HKEY key, const std::u16string& name, DWORD number) {
        return RegSetValueExW(key, name.c_str(), REG_DWORD, &number, sizeof(number));
    }
    static bool hasNumber(HKEY key, const std::u16string& name, DWORD number) {
        DWORD found;
        DWORD size = sizeof(found);
        return RegQueryValueExW(key, name.c_str(), nullptr, &found, &size) == 0 && found == number;
    }
    static std::u16string nameOf(DWORD number) {
        const std::string digits = std::to_string(number);
        return std::u16string(digits.begin(), digits.end());
    }

    // Runs `action` in a process of its own and returns that process.
    template<class Action>
    static pid_t start(Action action) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            const bool isGood = action();
            std::fflush(stdout);
            _exit(isGood ? 0 : 1);
        }
        return child;
    }
    static bool succeeds(pid_t child) {
        int status = -1;
        return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
};

void expectIntact(const fs::path& file) {
    sqlite3* database;
    sqlite3_stmt* check = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    sqlite3_prepare_v2(database, "PRAGMA integrity_check", -1, &check, nullptr);
    ASSERT_EQ(sqlite3_step(check), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(check, 0)), "ok");
    sqlite3_finalize(check);
    sqlite3_close(database);
}

} // namespace

TEST_F(RegistryFaults, WhatWasAcknowledgedSurvivesAKilledWriter) {
    std::minstd_rand random(20020913);
    DWORD acknowledged = 0;
    for (int round = 0; round < 25; round++) {
        int pipeEnds[2];
        ASSERT_EQ(pipe(pipeEnds), 0);
        const pid_t writer = start([&] {
            const HKEY key = create(u"Software\\Fault\\Values");
            for (DWORD i = acknowledged; setNumber(key, nameOf(i), i) == 0; i++) {
                create((u"Software\\Fault\\Keys\\" + nameOf(i)).c_str());
                if (write(pipeEnds[1], &i, sizeof(i)) != sizeof(i))
                    break;
            }
            return false;
        });
        close(pipeEnds[1]);
        usleep(static_cast<useconds_t>(random() % 60'000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        for (DWORD i; read(pipeEnds[0], &i, sizeof(i)) == sizeof(i);)
            acknowledged = i + 1;
        close(pipeEnds[0]);

        const HKEY values = create(u"Software\\Fault\\Values");
        for (DWORD i = 0; i < acknowledged; i++) {
            ASSERT_TRUE(hasNumber(values, nameOf(i), i)) << "round " << round;
            ASSERT_EQ(tryOpen((u"Software\\Fault\\Keys\\" + nameOf(i)).c_str(), KEY_READ), 0);
        }
        ASSERT_EQ(setNumber(values, u"after", acknowledged), 0);
        RegCloseKey(values);
    }
    EXPECT_GT(acknowledged, 0u);
    ReleaseRegistry();
    expectIntact(folder / "user.db");
}

TEST_F(RegistryFaults, ProcessesMakeAndWriteOneStoreTogether) {
    constexpr DWORD kWriters = 4;
    constexpr DWORD kValues = 50;
    pid_t writers[kWriters];
    for (DWORD writer = 0; writer < kWriters; writer++)
        writers[writer] = start([writer] {
            const HKEY key = create(u"Software\\Shared");
            bool isDone = true;
            for (DWORD i = 0; i < kValues; i++)
                isDone &= setNumber(key, nameOf(writer * kValues + i), i) == 0;
            return isDone;
        });
    for (const pid_t writer : writers)
        EXPECT_TRUE(succeeds(writer));
    DWORD values = 0;
    const HKEY key = create(u"Software\\Shared");
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &values, nullptr, nullptr), 0);
    EXPECT_EQ(values, kWriters * kValues);

    EXPECT_TRUE(succeeds(start([] { return RegDeleteKeyW(HKEY_CURRENT_USER, u"Software\\Shared") == 0; })));
    EXPECT_TRUE(succeeds(start([] { return create(u"Software\\Shared") != nullptr; })));
    EXPECT_EQ(setNumber(key, u"x", 1), kDeleted);
    EXPECT_EQ(RegCloseKey(key), 0);
}

TEST_F(RegistryFaults, AStoreThatIsNotThereReadsAsEmptyAndIsMadeByAWrite) {
    DWORD subKeys = 7;
    char16_t name[10];
    DWORD size = 10;
    EXPECT_EQ(tryOpen(u"Software", KEY_READ), kMissing);
    EXPECT_EQ(RegQueryValueExW(HKEY_CURRENT_USER, u"v", nullptr, nullptr, nullptr), kMissing);
    EXPECT_EQ(RegEnumKeyExW(HKEY_CLASSES_ROOT, 0, name, &size), static_cast<LSTATUS>(ERROR_NO_MORE_ITEMS));
    EXPECT_EQ(RegQueryInfoKeyW(HKEY_LOCAL_MACHINE, &subKeys, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(subKeys, 0u);
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"Software"), kMissing);
    EXPECT_FALSE(fs::exists(folder));

    EXPECT_EQ(setNumber(HKEY_CURRENT_USER, u"v", 1), 0);
    RegCloseKey(create(u".txt", HKEY_CLASSES_ROOT));
    EXPECT_EQ(tryOpen(u"software\\classes\\.TXT", KEY_READ, HKEY_LOCAL_MACHINE), 0);
    EXPECT_EQ(tryOpen(u".txt", kReadWrite, HKEY_CLASSES_ROOT), 0);
    EXPECT_TRUE(fs::exists(folder / "user.db"));
}

TEST_F(RegistryFaults, AReplacedDatabaseDoesNotAnswerForTheOldOnesHandles) {
    const HKEY old = create(u"Old");
    fs::remove_all(folder);
    EXPECT_EQ(setNumber(old, u"v", 1), kDeleted);
    const HKEY fresh = create(u"New");
    EXPECT_EQ(setNumber(old, u"v", 1), kDeleted);
    EXPECT_EQ(setNumber(fresh, u"v", 1), 0);
    EXPECT_EQ(tryOpen(u"Old", KEY_READ), kMissing);
    RegCloseKey(old);
    RegCloseKey(fresh);
}

// The store of the machine belongs to an administrator: everyone else reads it, whether or not writers live,
// and also from a copy of the database alone.
TEST_F(RegistryFaults, AStoreThatMayNotBeWrittenCanStillBeRead) {
    const auto expectReadable = [] {
        HKEY key;
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Product", 0, KEY_READ, &key), 0);
        EXPECT_TRUE(hasNumber(key, u"v", 5));
        EXPECT_EQ(tryOpen(u"Software\\Product", kReadWrite, HKEY_LOCAL_MACHINE), kDenied);
        EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"New", KEY_READ, &key, nullptr), kDenied);
        EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\Product"), kDenied);
        EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, u"New", KEY_READ, &key, nullptr), kDenied);
        return !testing::Test::HasFailure();
    };
    const auto expectReadableByOthers = [&] {
        return succeeds(start([&] { return (getuid() != 0 || setuid(65534) == 0) && expectReadable(); }));
    };
    const HKEY key = create(u"Software\\Product", HKEY_LOCAL_MACHINE);
    ASSERT_EQ(setNumber(key, u"v", 5), 0);
    fs::permissions(fs::current_path(), fs::perms(0755));
    fs::permissions(folder, fs::perms(0555));
    EXPECT_TRUE(getuid() != 0 || expectReadableByOthers());
    fs::permissions(folder / "machine.db", fs::perms(0444));
    ReleaseRegistry();
    EXPECT_TRUE(expectReadable());
    EXPECT_TRUE(expectReadableByOthers());

    ReleaseRegistry();
    sqlite3* database;
    ASSERT_EQ(sqlite3_open((folder / "machine.db").c_str(), &database), SQLITE_OK);
    sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    fs::permissions(folder, fs::perms(0755));
    fs::remove(folder / "machine.db-wal");
    fs::remove(folder / "machine.db-shm");
    fs::permissions(folder, fs::perms(0555));
    EXPECT_TRUE(expectReadableByOthers());

    fs::permissions(folder / "machine.db", fs::perms(0644));
    EXPECT_EQ(setNumber(key, u"v", 6), 0);
    RegCloseKey(key);
}

TEST_F(RegistryFaults, AFullDiskFailsTheWriteAndKeepsWhatWasThere) {
    const HKEY key = create(u"Software\\Full");
    const std::string first(10'000, '1');
    const pid_t writer = start([&] {
        const rlimit limit = {300'000, 300'000};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(RegSetValueExW(key, u"v", REG_BINARY, first.data(), static_cast<DWORD>(first.size())), 0);
        const std::string second(1'000'000, '2');
        for (int attempt = 0; attempt < 2; attempt++) {
            EXPECT_EQ(RegSetValueExW(key, u"v", REG_BINARY, second.data(), static_cast<DWORD>(second.size())),
                      static_cast<LSTATUS>(ERROR_DISK_FULL));
        }
        return !HasFailure();
    });
    EXPECT_TRUE(succeeds(writer));
    std::string found(first.size(), ' ');
    DWORD size = static_cast<DWORD>(found.size());
    EXPECT_EQ(RegQueryValueExW(key, u"v", nullptr, found.data(), &size), 0);
    EXPECT_EQ(found, first);
    EXPECT_EQ(setNumber(key, u"after", 1), 0);
    RegCloseKey(key);
}

TEST_F(RegistryFaults, ADamagedDatabaseIsReportedAndLeftAsItIs) {
    fs::create_directory(folder);
    const std::string garbage(5000, 'g');
    std::ofstream(folder / "user.db") << garbage;
    constexpr auto kBad = static_cast<LSTATUS>(ERROR_BADDB);
    HKEY key;
    EXPECT_EQ(tryOpen(u"Software", KEY_READ), kBad);
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, u"Software", KEY_READ, &key, nullptr), kBad);
    EXPECT_EQ(fs::file_size(folder / "user.db"), garbage.size());

    sqlite3* foreign;
    sqlite3_open((folder / "machine.db").c_str(), &foreign);
    sqlite3_exec(foreign, "CREATE TABLE notes(text)", nullptr, nullptr, nullptr);
    sqlite3_close(foreign);
    EXPECT_EQ(tryOpen(u"Software", KEY_READ, HKEY_LOCAL_MACHINE), kBad);
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software", KEY_READ, &key, nullptr), kBad);

    std::ofstream(folder / "user.db", std::ios::trunc).close();
    EXPECT_EQ(tryOpen(u"Software", KEY_READ), kMissing);
    RegCloseKey(create(u"Software"));
    EXPECT_EQ(tryOpen(u"Software", KEY_READ), 0);
}

} // namespace Tarn::Platform
