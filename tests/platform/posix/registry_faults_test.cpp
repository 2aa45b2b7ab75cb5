// What the POSIX port's registry does when processes die and when files are damaged or cannot be written.
#include "tests/platform/registry_calls.h"
#include "tests/support/fresh_folder.h"

#include <sqlite3.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

namespace fs = std::filesystem;

// Moves the registry to a separate folder for the test, which does not exist yet.
class RegistryFaults : public FreshFolder {
protected:
    RegistryFaults() { moveTo(folder); }
    ~RegistryFaults() override { moveTo(usualFolder); }

    static void moveTo(const fs::path& place) {
        ReleaseRegistry();
        setenv("TARNKIT_REGISTRY", place.c_str(), 1);
    }

    const fs::path folder = FreshFolder::folder / "registry";
    const fs::path userFile = folder / "user.db";
    const fs::path machineFile = folder / "machine.db";
    const std::string usualFolder = getenv("TARNKIT_REGISTRY");
};

Text nameOf(int number) { return fs::path(std::to_string(number)).u16string(); }

// Runs `action` in a process of its own.
pid_t start(auto action) {
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

// Runs SQL directly on a database and returns the last column of the first row.
std::string runSql(const fs::path& file, const char* sql) {
    sqlite3* database;
    char** cells;
    int rows, columns;
    EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_get_table(database, sql, &cells, &rows, &columns, nullptr), SQLITE_OK);
    const std::string result = rows == 0 ? "" : cells[2 * columns - 1]; // the first row has the names
    sqlite3_free_table(cells);
    sqlite3_close(database);
    return result;
}

std::string bytesOf(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Reads everything below a key by following the registry's answers.
struct Walk {
    static constexpr int kMostCalls = 5000; // an undamaged store takes an eighth of this
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
        isOK(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
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
    const std::string sound = bytesOf(userFile);
    const std::set<LSTATUS> allowed = {ERROR_SUCCESS,       ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA,
                                       ERROR_NO_MORE_ITEMS, ERROR_BADDB,          ERROR_KEY_DELETED};
    std::minstd_rand random(20260118);
    for (int round = 0; round < 200; round++) {
        std::string damaged = sound;
        for (auto bytes = 1 + random() % 3; bytes > 0;)
            if (char& byte = damaged[random() % damaged.size()]; byte != 0) { // zeros are mostly unused space
                byte = static_cast<char>(random());
                bytes--;
            }
        std::ofstream(userFile) << damaged;
        Walk walk;
        walk.Read(HKEY_CURRENT_USER);
        EXPECT_LT(walk.calls, Walk::kMostCalls) << "round " << round;
        EXPECT_TRUE(std::ranges::includes(allowed, walk.results))
            << "round " << round << ": " << testing::PrintToString(walk.results);
        ReleaseRegistry();
        EXPECT_TRUE(bytesOf(userFile) == damaged) << "round " << round;
    }
}

TEST_F(RegistryFaults, AcknowledgedWritesSurviveAKilledWriter) {
    std::minstd_rand random(20020913);
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    int written = 0; // and acknowledged through the pipe
    for (int round = 0; round < 25; round++) {
        const pid_t writer = start([&] {
            const Key key(HKEY_CURRENT_USER, u"Values");
            for (int i = written; set(key, nameOf(i), std::to_string(i)) == ERROR_SUCCESS; i++) {
                const Key made(HKEY_CURRENT_USER, u"Keys\\" + nameOf(i));
                EXPECT_EQ(write(pipeEnds[1], "", 1), 1);
            }
        });
        usleep(static_cast<useconds_t>(random() % 60'000));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        char received[10'000];
        EXPECT_EQ(write(pipeEnds[1], "", 1), 1); // so that there is something to read
        written += static_cast<int>(read(pipeEnds[0], received, sizeof(received))) - 1;

        const Key values(HKEY_CURRENT_USER, u"Values");
        for (int i = 0; i < written; i++) {
            ASSERT_EQ(get(values, nameOf(i).c_str()), "3:" + std::to_string(i)) << "round " << round;
            ASSERT_EQ(tryOpen(HKEY_CURRENT_USER, u"Keys\\" + nameOf(i)), ERROR_SUCCESS) << "round " << round;
        }
        ASSERT_EQ(set(values, u"after", "x"), ERROR_SUCCESS);
    }
    EXPECT_GT(written, 0);
    EXPECT_EQ(runSql(userFile, "PRAGMA integrity_check"), "ok");
}

TEST_F(RegistryFaults, ProcessesCreateAndWriteOneStoreTogether) {
    pid_t writers[4];
    for (int writer = 0; writer < 4; writer++)
        writers[writer] = start([writer] {
            const Key key(HKEY_CURRENT_USER, u"Shared");
            for (int i = 0; i < 50; i++)
                EXPECT_EQ(set(key, nameOf(writer * 50 + i), "x"), ERROR_SUCCESS);
        });
    for (const pid_t writer : writers)
        EXPECT_TRUE(succeeds(writer));
    const Key key(HKEY_CURRENT_USER, u"Shared");
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(get(key, nameOf(i).c_str()), "3:x");
    EXPECT_TRUE(succeeds(start([] {
        EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"Shared"), 0);
        const Key successor(HKEY_CURRENT_USER, u"Shared");
    })));
    EXPECT_EQ(set(key, u"x", "x"), ERROR_KEY_DELETED);
}

TEST_F(RegistryFaults, AMissingStoreReadsAsEmptyAndIsCreatedByAWrite) {
    expectEach(ERROR_FILE_NOT_FOUND,
               {tryOpen(HKEY_CURRENT_USER, u"Old"), RegDeleteKeyW(HKEY_CURRENT_USER, u"Old"),
                RegQueryValueExW(HKEY_CURRENT_USER, u"v", nullptr, nullptr, nullptr)});
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CLASSES_ROOT, HKEY_USERS}) {
        Walk walk;
        walk.Read(root);
        EXPECT_EQ(walk.results, (std::set<LSTATUS>{ERROR_SUCCESS, ERROR_NO_MORE_ITEMS}));
        EXPECT_EQ(walk.calls, 3); // no sub-keys, no values, the sizes
    }
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

// The machine's store belongs to an administrator: everyone else reads it, both with the log that its writers
// left and from a copy of the database file alone.
TEST_F(RegistryFaults, AStoreThatMayNotBeWrittenCanStillBeRead) {
    const auto protect = [this](bool isProtected) {
        for (const fs::path& path : {machineFile, folder})
            fs::permissions(path, fs::perms(isProtected ? 0555 : 0755));
    };
    const auto isOnlyReadable = [] {
        return succeeds(start([] {
            ASSERT_TRUE(getuid() != 0 || setuid(65534) == 0);
            EXPECT_EQ(get(Key(HKEY_LOCAL_MACHINE, u"Product", KEY_READ), u"v"), "3:5");
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
    EXPECT_TRUE(isOnlyReadable());
    EXPECT_EQ(set(key, u"v", "6"), ERROR_ACCESS_DENIED);

    ReleaseRegistry();
    protect(false);
    runSql(machineFile, "PRAGMA wal_checkpoint(TRUNCATE)");
    for (const char* log : {"-wal", "-shm"})
        fs::remove(machineFile.string() + log);
    protect(true);
    EXPECT_TRUE(isOnlyReadable());

    protect(false);
    EXPECT_EQ(set(key, u"v", "6"), ERROR_SUCCESS);
}

TEST_F(RegistryFaults, AFullDiskFailsTheWriteAndKeepsTheOldData) {
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

TEST_F(RegistryFaults, AForeignFileIsReportedAndLeftUnchanged) {
    fs::create_directory(folder);
    const std::string garbage(5000, 'g');
    std::ofstream(userFile) << garbage;
    runSql(machineFile, "CREATE TABLE notes(text)");
    HKEY key;
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
        expectEach(ERROR_BADDB,
                   {tryOpen(root, u"Any"), RegCreateKeyExW(root, u"Any", KEY_READ, &key, nullptr)});
    EXPECT_EQ(bytesOf(userFile), garbage);
    EXPECT_EQ(runSql(machineFile, "SELECT count(*) FROM sqlite_schema"), "1");

    fs::resize_file(userFile, 0);
    EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
}

} // namespace Tarn::Platform
