// What the POSIX port's registry does when processes die, files are damaged or may not be written.
#include "tests/platform/registry_calls.h"

#include <sqlite3.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

namespace fs = std::filesystem;

// Moves the registry to a folder of the test's own, which does not exist yet.
class RegistryFaults : public testing::Test {
protected:
    RegistryFaults() { moveTo(folder); }
    ~RegistryFaults() override { moveTo(usualFolder); }

    static void moveTo(const fs::path& place) {
        ReleaseRegistry();
        setenv("TARNKIT_REGISTRY", place.c_str(), 1);
    }

    const fs::path folder =
        fs::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();
    const fs::path userFile = folder / "user.db";
    const fs::path machineFile = folder / "machine.db";
    const std::string usualFolder = getenv("TARNKIT_REGISTRY");
};

Text nameOf(int number) { return fs::path(std::to_string(number)).u16string(); }

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

std::string bytesOf(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Reads all that is found below a key by following the registry's answers.
struct Walk {
    static constexpr int kMostCalls = 10'000;
    int calls = 0;
    std::set<LSTATUS> results;

    void Read(HKEY key) {
        constexpr DWORD kRoom = 300;
        char16_t name[kRoom];
        HKEY subKey;
        for (DWORD i = 0, length = kRoom; isOK(RegEnumKeyExW(key, i, name, &length)); i++, length = kRoom)
            if (isOK(RegOpenKeyExW(key, name, 0, KEY_READ, &subKey))) {
                Read(subKey);
                Platform::RegCloseKey(subKey);
            }
        for (DWORD i = 0, length = kRoom;
             isOK(RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr)); i++, length = kRoom)
            isOK(RegQueryValueExW(key, name, nullptr, nullptr, nullptr));
        DWORD sizes[6];
        isOK(RegQueryInfoKeyW(key, &sizes[0], &sizes[1], &sizes[2], &sizes[3], &sizes[4], &sizes[5]));
    }

private:
    bool isOK(LSTATUS result) {
        results.insert(result);
        return ++calls < kMostCalls && result == 0;
    }
};

} // namespace

TEST_F(RegistryFaults, ReadingADamagedStoreEndsAndChangesNothing) {
    for (int i = 0; i < 30; i++) {
        const Key key(HKEY_CURRENT_USER, nameOf(i % 7) + u"\\" + nameOf(i % 3) + u"\\" + nameOf(i));
        for (int value = 0; value < i % 5; value++)
            ASSERT_EQ(set(key, nameOf(value), std::to_string(i)), ERROR_SUCCESS);
    }
    ReleaseRegistry();
    runSql(userFile, "PRAGMA wal_checkpoint(TRUNCATE)");
    const std::string whole = bytesOf(userFile);
    const std::set<LSTATUS> allowed = {ERROR_SUCCESS,       ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA,
                                       ERROR_NO_MORE_ITEMS, ERROR_BADDB,          ERROR_KEY_DELETED};
    std::minstd_rand random(20260118);
    for (int round = 0; round < 400; round++) {
        std::string damaged = whole;
        for (auto bytes = 1 + random() % 3; bytes > 0;) {
            char& byte = damaged[random() % damaged.size()];
            if (byte == 0) // most likely unused
                continue;
            byte = static_cast<char>(random());
            bytes--;
        }
        std::ofstream(userFile) << damaged;
        Walk walk;
        walk.Read(HKEY_CURRENT_USER);
        EXPECT_LT(walk.calls, Walk::kMostCalls) << "round " << round;
        for (const LSTATUS result : walk.results)
            EXPECT_TRUE(allowed.contains(result)) << result << " in round " << round;
        ReleaseRegistry();
        EXPECT_EQ(bytesOf(userFile) == damaged, true) << "round " << round;
    }
}

TEST_F(RegistryFaults, WhatWasAcknowledgedSurvivesAKilledWriter) {
    std::minstd_rand random(20020913);
    void* const shared =
        mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    std::atomic<int>& acknowledged = *new (shared) std::atomic<int>(0);
    for (int round = 0; round < 25; round++) {
        const pid_t writer = start([&] {
            const Key key(HKEY_CURRENT_USER, u"Values");
            for (int i = acknowledged; set(key, nameOf(i), std::to_string(i)) == ERROR_SUCCESS; i++) {
                const Key made(HKEY_CURRENT_USER, u"Keys\\" + nameOf(i));
                acknowledged = i + 1;
            }
        });
        usleep(static_cast<useconds_t>(random() % 60'000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);

        const Key values(HKEY_CURRENT_USER, u"Values");
        for (int i = 0; i < acknowledged; i++) {
            ASSERT_EQ(get(values, nameOf(i).c_str()), "3:" + std::to_string(i)) << "round " << round;
            ASSERT_EQ(tryOpen(HKEY_CURRENT_USER, u"Keys\\" + nameOf(i)), ERROR_SUCCESS) << "round " << round;
        }
        ASSERT_EQ(set(values, u"after", "x"), ERROR_SUCCESS);
    }
    EXPECT_GT(acknowledged, 0);
    EXPECT_EQ(runSql(userFile, "PRAGMA integrity_check"), "ok");
    munmap(shared, sizeof(int));
}

TEST_F(RegistryFaults, ProcessesMakeAndWriteOneStoreTogether) {
    pid_t writers[4];
    for (int writer = 0; writer < 4; writer++)
        writers[writer] = start([writer] {
            const Key key(HKEY_CURRENT_USER, u"Shared");
            for (int i = 0; i < 50; i++)
                EXPECT_EQ(set(key, nameOf(writer * 50 + i), "x"), ERROR_SUCCESS);
        });
    for (const pid_t writer : writers)
        EXPECT_TRUE(succeeds(writer));
    DWORD values = 0;
    const Key key(HKEY_CURRENT_USER, u"Shared");
    EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &values, nullptr, nullptr), 0);
    EXPECT_EQ(values, 200u);

    EXPECT_TRUE(succeeds(start([] {
        EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"Shared"), 0);
        const Key successor(HKEY_CURRENT_USER, u"Shared");
    })));
    EXPECT_EQ(set(key, u"x", "x"), ERROR_KEY_DELETED);
}

TEST_F(RegistryFaults, AStoreThatIsNotThereReadsAsEmptyAndIsMadeByAWrite) {
    DWORD subKeys = 7;
    char16_t name[10];
    DWORD size = 10;
    expectEach(ERROR_FILE_NOT_FOUND,
               {tryOpen(HKEY_CURRENT_USER, u"Old"), RegDeleteKeyW(HKEY_CURRENT_USER, u"Old"),
                RegQueryValueExW(HKEY_CURRENT_USER, u"v", nullptr, nullptr, nullptr)});
    expectEach(ERROR_NO_MORE_ITEMS, {RegEnumKeyExW(HKEY_CLASSES_ROOT, 0, name, &size)});
    EXPECT_EQ(RegQueryInfoKeyW(HKEY_LOCAL_MACHINE, &subKeys, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(subKeys, 0u);
    EXPECT_FALSE(fs::exists(folder));

    EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
    EXPECT_TRUE(fs::exists(userFile));
    const Key type(HKEY_CLASSES_ROOT, u".txt");
    EXPECT_EQ(tryOpen(HKEY_LOCAL_MACHINE, u"software\\classes\\.TXT", kReadWrite), ERROR_SUCCESS);

    const Key old(HKEY_CURRENT_USER, u"Old");
    fs::remove_all(folder);
    const Key fresh(HKEY_CURRENT_USER, u"New");
    EXPECT_EQ(set(old, u"v", "x"), ERROR_KEY_DELETED);
    EXPECT_EQ(set(fresh, u"v", "x"), ERROR_SUCCESS);
}

// The machine's store belongs to an administrator: everyone else reads it, with the log that writers left and
// from a copy of the database alone.
TEST_F(RegistryFaults, AStoreThatMayNotBeWrittenCanStillBeRead) {
    const auto protect = [this](bool isProtected) {
        fs::permissions(machineFile, fs::perms(isProtected ? 0444 : 0644));
        fs::permissions(folder, fs::perms(isProtected ? 0555 : 0755));
    };
    const auto isReadableOnly = [] {
        return succeeds(start([] {
            ASSERT_TRUE(getuid() != 0 || setuid(65534) == 0);
            const Key product(HKEY_LOCAL_MACHINE, u"Product", KEY_READ);
            EXPECT_EQ(get(product, u"v"), "3:5");
            HKEY key;
            expectEach(ERROR_ACCESS_DENIED,
                       {tryOpen(HKEY_LOCAL_MACHINE, u"Product", kReadWrite),
                        RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"New", KEY_READ, &key, nullptr),
                        RegCreateKeyExW(HKEY_CURRENT_USER, u"New", KEY_READ, &key, nullptr),
                        RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Product")});
        }));
    };
    const Key key(HKEY_LOCAL_MACHINE, u"Product");
    ASSERT_EQ(set(key, u"v", "5"), ERROR_SUCCESS);
    fs::permissions(fs::current_path(), fs::perms(0755));
    protect(true);
    EXPECT_TRUE(isReadableOnly());
    EXPECT_EQ(set(key, u"v", "6"), ERROR_ACCESS_DENIED);

    ReleaseRegistry();
    protect(false);
    runSql(machineFile, "PRAGMA wal_checkpoint(TRUNCATE)");
    fs::remove(machineFile.string() + "-wal");
    fs::remove(machineFile.string() + "-shm");
    protect(true);
    EXPECT_TRUE(isReadableOnly());

    protect(false);
    EXPECT_EQ(set(key, u"v", "6"), ERROR_SUCCESS);
}

TEST_F(RegistryFaults, AFullDiskFailsTheWriteAndKeepsWhatWasThere) {
    const Key key(HKEY_CURRENT_USER, u"Full");
    const std::string kept(10'000, '1');
    EXPECT_TRUE(succeeds(start([&] {
        const rlimit limit = {300'000, 300'000};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(set(key, u"v", kept), ERROR_SUCCESS);
        for (const char digit : {'2', '3'})
            EXPECT_EQ(set(key, u"v", std::string(1'000'000, digit)), ERROR_DISK_FULL);
    })));
    EXPECT_EQ(get(key, u"v"), "3:" + kept);
    EXPECT_EQ(set(key, u"after", "x"), ERROR_SUCCESS);
}

TEST_F(RegistryFaults, ADamagedOrForeignDatabaseIsReportedAndLeftAsItIs) {
    fs::create_directory(folder);
    std::ofstream(userFile) << std::string(5000, 'g');
    runSql(machineFile, "CREATE TABLE notes(text)");
    HKEY key;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        expectEach(ERROR_BADDB,
                   {tryOpen(root, u"Any"), RegCreateKeyExW(root, u"Any", KEY_READ, &key, nullptr)});
    EXPECT_EQ(fs::file_size(userFile), 5000u);

    fs::resize_file(userFile, 0);
    const Key made(HKEY_CURRENT_USER, u"Any");
    EXPECT_EQ(tryOpen(HKEY_CURRENT_USER, u"Any"), ERROR_SUCCESS);
}

} // namespace Tarn::Platform
