// What the POSIX port's registry does when processes die and when files are damaged or cannot be written.
#include "tests/platform/registry_calls.h"
#include "tests/support/fresh_folder.h"

#include <sqlite3.h>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tarn::Platform {

namespace {

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

// Runs SQL directly on a database and returns the last column of the first row, or "failed".
std::string runSql(const fs::path& file, const char* sql) {
    sqlite3* database;
    char** cells;
    int rows = 0, columns = 0;
    EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    const int code = sqlite3_get_table(database, sql, &cells, &rows, &columns, nullptr);
    const std::string result = code != SQLITE_OK ? "failed"
                               : rows == 0       ? ""
                                                 : cells[2 * columns - 1]; // the first row has the names
    sqlite3_free_table(cells);
    sqlite3_close(database);
    return result;
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

// Damages pages, single bytes, or the end of a file.
void damage(std::string& bytes, std::minstd_rand& random) {
    constexpr std::size_t kPage = 4096;
    const std::size_t pages = bytes.size() / kPage;
    const std::size_t page = random() % pages * kPage;
    switch (random() % 8) {
    case 0:
        bytes.resize(1 + random() % bytes.size());
        break;
    case 1:
        bytes.replace(page, kPage, kPage, static_cast<char>(random()));
        break;
    case 2:
        bytes.replace(page, kPage, bytes.substr(random() % pages * kPage, kPage));
        break;
    default:
        for (auto count = 1 + random() % 3; count > 0;)
            if (char& byte = bytes[random() % bytes.size()]; byte != 0) { // zeros are mostly unused space
                byte = static_cast<char>(random());
                count--;
            }
    }
}

// What each call that looks into the store returns.
std::vector<Int64> callEach(HKEY key) {
    char16_t name[300];
    HKEY opened = nullptr;
    DWORD length = 300, sameLength = 300;
    std::vector<Int64> results = {RegOpenKeyExW(key, u"1", 0, KEY_READ, &opened)};
    Platform::RegCloseKey(opened);
    results.push_back(RegCreateKeyExW(key, u"New", KEY_READ, &opened, nullptr));
    Platform::RegCloseKey(opened);
    results.insert(results.end(),
                   {RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                    RegQueryValueExW(key, u"0", nullptr, nullptr, nullptr),
                    RegEnumKeyExW(key, 0, name, &length),
                    RegEnumValueW(key, 0, name, &sameLength, nullptr, nullptr, nullptr),
                    RegSetValueExW(key, u"new", REG_BINARY, "x", 1), RegDeleteValueW(key, u"0"),
                    RegDeleteKeyW(key, u"2\\1\\16"), Platform::RegFlushKey(key)});
    return results;
}

TEST_F(RegistryFaults, EveryCallReportsADamagedStoreAndLeavesItAlone) {
    for (int i = 0; i < 30; i++) {
        const Key key(HKEY_CURRENT_USER, nameOf(i % 7) + u"\\" + nameOf(i % 3) + u"\\" + nameOf(i));
        for (int value = 0; value < i % 5; value++)
            ASSERT_EQ(set(key, nameOf(value), std::to_string(i)), ERROR_SUCCESS);
    }
    const Key handle(HKEY_CURRENT_USER, u"3");
    ReleaseRegistry();
    const std::string sound = BytesOf(userFile);
    const std::set<LSTATUS> allowed = {ERROR_SUCCESS,       ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA,
                                       ERROR_NO_MORE_ITEMS, ERROR_BADDB,          ERROR_KEY_DELETED};
    std::minstd_rand random(20260118);
    int damagedRounds = 0;
    for (int round = 0; round < 250; round++) {
        SCOPED_TRACE(round);
        std::string bytes = sound;
        damage(bytes, random);
        std::ofstream(userFile) << bytes;
        Walk walk;
        walk.Read(HKEY_CURRENT_USER);
        EXPECT_LT(walk.calls, Walk::kMostCalls);
        EXPECT_TRUE(std::ranges::includes(allowed, walk.results)) << testing::PrintToString(walk.results);
        ReleaseRegistry();
        EXPECT_TRUE(BytesOf(userFile) == bytes);

        const fs::path copy = FreshFolder::folder / "copy.db";
        std::ofstream(copy) << bytes;
        const bool isDamaged = bytes != sound && runSql(copy, "PRAGMA integrity_check(1)") != "ok";
        damagedRounds += isDamaged;
        for (const HKEY key : {HKEY_CURRENT_USER, HKEY(handle)}) {
            const std::vector<Int64> results = callEach(key);
            if (isDamaged) {
                expectEach(ERROR_BADDB, results);
            }
        }
        ReleaseRegistry();
        EXPECT_TRUE(BytesOf(userFile) == bytes || runSql(userFile, "PRAGMA integrity_check") == "ok");
        EXPECT_TRUE(BytesOf(userFile) == bytes || !isDamaged);
    }
    EXPECT_GT(damagedRounds, 100);
    std::ofstream(userFile) << sound;
}

TEST_F(RegistryFaults, FilesAndFoldersAreForTheirOwnerUnlessTheyWereOtherwise) {
    const auto modes = [this] {
        std::string all;
        for (const char* name :
             {"", "user.db", "user.db-wal", "user.db-shm", "machine.db", "machine.db-wal"}) {
            char octal[8];
            std::snprintf(octal, sizeof(octal), "%o ", unsigned(fs::status(folder / name).permissions()));
            all += octal;
        }
        return all;
    };
    const mode_t kept = umask(0);
    for (const char* expected : {"700 600 600 600 644 644 ", "755 640 640 640 660 660 "}) {
        for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
            EXPECT_EQ(set(root, u"v", "x"), ERROR_SUCCESS);
        EXPECT_EQ(modes(), expected);
        ReleaseRegistry();
        for (const auto& [name, mode] : {std::pair("", 0755), {"user.db", 0640}, {"machine.db", 0660}})
            fs::permissions(folder / name, fs::perms(mode));
        for (const fs::path& file : {userFile, machineFile})
            for (const char* log : {"-wal", "-shm"})
                fs::remove(file.string() + log);
    }
    umask(kept);
}

// The last column has the code for reading and the code for creating something.
TEST_F(RegistryFaults, TheFolderIsChosenByTheEnvironment) {
    using Codes = std::pair<DWORD, DWORD>;
    const std::string base = FreshFolder::folder;
    const Codes missing{ERROR_FILE_NOT_FOUND, ERROR_SUCCESS},
        blocked{ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED}, denied{ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED};
    std::ofstream(base + "/file") << "kept";
    for (const char* name : {"closed", "fixed", "directory", "pipe", "link", "unreadable"})
        fs::create_directory(base + "/" + name);
    fs::create_directory(base + "/directory/user.db");
    EXPECT_EQ(mkfifo((base + "/pipe/user.db").c_str(), 0666), 0);
    fs::create_symlink("user.db", base + "/link/user.db");
    std::ofstream(base + "/unreadable/user.db").close();
    for (const auto& [name, mode] :
         {std::pair("", 0777), {"/closed", 0}, {"/fixed", 0555}, {"/unreadable/user.db", 0}})
        fs::permissions(base + name, fs::perms(mode));
    fs::permissions(fs::current_path(), fs::perms(0755));
    const struct {
        std::string variable, home, settings;
        Codes codes;
        std::string created = "";
    } cases[] = {{"/new/below", "", "", missing, "/new/below/user.db"},
                 {"", "/home", "", missing, "/home/.config/tarnkit/user.db"},
                 {"", "/other", "relative", missing, "/other/.config/tarnkit/user.db"},
                 {"", "/home", "/settings", missing, "/settings/tarnkit/user.db"},
                 {"", "", "", blocked}, // the home of the user that runs this does not exist
                 {"", "relative", "", blocked},
                 {"/file", "", "", blocked},
                 {"/file/below", "", "", blocked},
                 {"", "/file", "", blocked},
                 {"/fixed/new", "", "", blocked},
                 {"/closed/new", "", "", denied},
                 {"/directory", "", "", denied},
                 {"/pipe", "", "", denied},
                 {"/link", "", "", denied},
                 {"/unreadable", "", "", denied},
                 {"/" + std::string(300, 'n'), "", "", denied}};
    ReleaseRegistry();
    EXPECT_TRUE(succeeds(start([&] {
        ASSERT_TRUE(getuid() != 0 || setuid(65534) == 0);
        for (const auto& [variable, home, settings, codes, created] : cases) {
            if (home.find('/') == home.npos && settings.empty() && variable.empty() && getuid() != 65534)
                continue;
            const auto choose = [&](const char* name, const std::string& value) {
                setenv(name, (value[0] == '/' ? base + value : value).c_str(), 1);
            };
            choose("TARNKIT_REGISTRY", variable);
            choose("HOME", home);
            choose("XDG_CONFIG_HOME", settings);
            HKEY key = nullptr;
            const DWORD read = tryOpen(HKEY_CURRENT_USER, u"Key");
            const LSTATUS creation = RegCreateKeyExW(HKEY_CURRENT_USER, u"Key", KEY_READ, &key, nullptr);
            EXPECT_EQ(Codes(read, creation), codes) << variable << " " << home << " " << settings;
            EXPECT_TRUE(created.empty() || fs::exists(base + created)) << created;
            Platform::RegCloseKey(key);
            ReleaseRegistry();
        }
    })));
    EXPECT_EQ(BytesOf(base + "/file"), "kept");
}

TEST_F(RegistryFaults, VariablesAreReadAtLoadAndOnlyWithoutOtherRights) {
    TARNKIT_TEST_NEEDS(kRestartsItself);
    ASSERT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
    ReleaseRegistry();
    const fs::path base = FreshFolder::folder, trace = base / "trace.txt", program = base / "raised";
    const std::string in = "cd '" + base.string() + "'; TARNKIT_TRACE=trace.txt TARNKIT_REGISTRY=";
    EXPECT_EQ(RunProgram("true; " + in + "registry '" TARNKIT_REGISTRY_READER "'").exitCode, 0);
    EXPECT_EQ(BytesOf(trace), "trace\n");

    fs::remove(trace);
    fs::copy_file(TARNKIT_REGISTRY_READER, program);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const bool isRaised = false; // the sanitizers refuse to run such programs
#else
    const bool isRaised = chown(program.c_str(), 65534, gid_t(-1)) == 0 && chmod(program.c_str(), 04755) == 0;
#endif
    for (const fs::path& place : {fs::current_path(), base, folder})
        fs::permissions(place, fs::perms(0777));
    fs::permissions(userFile, fs::perms(0666));
    constexpr int kNotRaised = 100;
    const int result =
        isRaised ? RunProgram("true; " + in + folder.string() + " ./raised raised").exitCode : kNotRaised;
    const CCapability kRaisedRights{result != kNotRaised ? nullptr : "no program gets other rights here"};
    TARNKIT_TEST_NEEDS(kRaisedRights);
    EXPECT_EQ(result, ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(fs::exists(trace));
}

TEST_F(RegistryFaults, TheDatabaseAloneHoldsWhatWasWritten) {
    const auto isInDatabase = [this](const Text& name) {
        const fs::path copy = FreshFolder::folder / "copy";
        fs::create_directory(copy);
        fs::copy_file(userFile, copy / "user.db", fs::copy_options::overwrite_existing);
        return succeeds(start([&] {
            moveTo(copy);
            EXPECT_EQ(get(HKEY_CURRENT_USER, name.c_str()), "3:x");
        }));
    };
    const auto write = [](const Text& name) { EXPECT_EQ(set(HKEY_CURRENT_USER, name, "x"), ERROR_SUCCESS); };
    write(u"by this");
    EXPECT_TRUE(succeeds(start([&] { // while this process uses the store
        write(u"by another");
        ReleaseRegistry();
    })));
    EXPECT_TRUE(isInDatabase(u"by another"));
    write(u"before a fork");
    EXPECT_TRUE(succeeds(start([] {})));
    ReleaseRegistry();
    EXPECT_TRUE(isInDatabase(u"before a fork"));
    EXPECT_TRUE(succeeds(start([&] { write(u"by one that is killed"); })));
    EXPECT_EQ(get(HKEY_CURRENT_USER, u"by this"), "3:x");
    ReleaseRegistry();
    EXPECT_TRUE(isInDatabase(u"by one that is killed"));
    EXPECT_EQ(fs::file_size(userFile.string() + "-wal"), 0u);
}

// A power cut takes the end of the log, or leaves something else in its place.
TEST_F(RegistryFaults, AnyPartOfTheLogHoldsTheFirstWrites) {
    ASSERT_EQ(set(HKEY_CURRENT_USER, u"first", "x"), ERROR_SUCCESS);
    ReleaseRegistry();
    EXPECT_TRUE(succeeds(start([] {
        for (int i = 0; i < 20; i++)
            EXPECT_EQ(set(HKEY_CURRENT_USER, nameOf(i), std::string(i * 100, 'x')), ERROR_SUCCESS);
    })));
    const std::string database = BytesOf(userFile), log = BytesOf(userFile.string() + "-wal");
    ASSERT_GT(log.size(), 100'000u);
    std::minstd_rand random(20020913);
    std::set<int> found;
    for (int round = 0; round < 60; round++) {
        ReleaseRegistry();
        fs::remove(userFile.string() + "-shm");
        const std::size_t size = random() % log.size();
        std::ofstream(userFile) << database;
        std::ofstream(userFile.string() + "-wal")
            << log.substr(0, size)
            << std::string(round % 2 * (log.size() - size), static_cast<char>(random()));
        int written = 0;
        while (get(HKEY_CURRENT_USER, nameOf(written).c_str()) == "3:" + std::string(written * 100, 'x'))
            written++;
        for (int i = written; i < 20; i++)
            EXPECT_EQ(get(HKEY_CURRENT_USER, nameOf(i).c_str()), "failed 2");
        EXPECT_EQ(get(HKEY_CURRENT_USER, u"first"), "3:x");
        found.insert(written);
    }
    EXPECT_GT(found.size(), 10u);
}

// Both of a young store, whose database is one page, and of one that was folded before.
TEST_F(RegistryFaults, ALogThatCannotBeReadIsReportedAndKept) {
    const fs::path log = userFile.string() + "-wal";
    for (const bool isYoung : {true, false}) {
        if (!isYoung) {
            EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "old"), ERROR_SUCCESS);
            ReleaseRegistry();
        }
        EXPECT_TRUE(succeeds(start([] { EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS); })));
        const std::string database = BytesOf(userFile), written = BytesOf(log);
        EXPECT_EQ(isYoung, database.size() == 4096);
        const auto leaves = [&](const std::string& bytes) {
            ReleaseRegistry();
            fs::remove(userFile.string() + "-shm");
            std::ofstream(userFile) << database;
            std::ofstream(log) << bytes;
        };
        for (const std::size_t place : {0, 5, 9, 20, 31, -1}) {
            std::string bytes = written;
            if (place < bytes.size())
                bytes[place] ^= 1;
            leaves(bytes);
            if (place > bytes.size())
                fs::rename(userFile, userFile.string() + ".away");
            expectEach(ERROR_BADDB, callEach(HKEY_CURRENT_USER));
            ReleaseRegistry();
            EXPECT_TRUE(BytesOf(log) == bytes) << place;
        }
        for (const std::size_t size : {0, 20, 32, 50, 3000}) {
            leaves(written.substr(0, size));
            EXPECT_EQ(get(HKEY_CURRENT_USER, u"v"), isYoung ? "failed 2" : "3:old") << size;
            EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "y"), ERROR_SUCCESS);
        }
        leaves(written);
        EXPECT_EQ(get(HKEY_CURRENT_USER, u"v"), "3:x");
    }
}

TEST_F(RegistryFaults, WritersCreateAndShareAStoreWithoutLongWaitsOrALongLog) {
    pid_t writers[16];
    for (int writer = 0; writer < 16; writer++)
        writers[writer] = start([writer] {
            const Key key(HKEY_CURRENT_USER, u"Shared");
            for (int i = 0; i < 400; i++) // those that wait for more than a second fail
                EXPECT_EQ(set(key, nameOf(writer * 50 + i % 50), std::to_string(i)), ERROR_SUCCESS);
        });
    for (const pid_t writer : writers)
        EXPECT_TRUE(succeeds(writer));
    EXPECT_LT(fs::file_size(userFile.string() + "-wal"), 5'000'000u); // unlimited, 20 MB and more
    const Key key(HKEY_CURRENT_USER, u"Shared");
    for (int i = 0; i < 16 * 50; i++)
        EXPECT_EQ(get(key, nameOf(i).c_str()), "3:" + std::to_string(350 + i % 50));
    EXPECT_TRUE(succeeds(start([] {
        EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"Shared"), 0);
        const Key successor(HKEY_CURRENT_USER, u"Shared");
    })));
    EXPECT_EQ(set(key, u"x", "x"), ERROR_KEY_DELETED);
}

// Another process holds the lock for writing, or all locks.
TEST_F(RegistryFaults, ALockThatIsNotReleasedIsWaitedForOnce) {
    ASSERT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
    for (const int first : {120, 0}) {
        int pipeEnds[2];
        char ready;
        ASSERT_EQ(pipe(pipeEnds), 0);
        const pid_t holder = start([&] {
            EXPECT_EQ(set(HKEY_CURRENT_USER, u"w", "x"), ERROR_SUCCESS);
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            lock.l_start = first;
            lock.l_len = first == 0 ? 128 : 1;
            EXPECT_EQ(fcntl(open((userFile.string() + "-shm").c_str(), O_RDWR), F_SETLK, &lock), 0);
            EXPECT_EQ(::write(pipeEnds[1], "", 1), 1);
            pause();
        });
        EXPECT_EQ(::read(pipeEnds[0], &ready, 1), 1);
        const auto start = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; i++)
            threads.emplace_back([] { EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "y"), ERROR_BUSY); });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
        EXPECT_EQ(get(HKEY_CURRENT_USER, u"v"), first == 0 ? "failed 170" : "3:x");
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(7));
        kill(holder, SIGKILL);
        waitpid(holder, nullptr, 0);
        EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
    }
}

// This process and others change values and sub-keys while they are read and listed. A store that somebody
// has taken the log from cannot tell that it is unchanged.
TEST_F(RegistryFaults, EachReadFindsWhatTheLastWriteLeftWhoeverMadeIt) {
    for (const std::string mode : {"wal", "delete"}) {
        const Key key(HKEY_CURRENT_USER, Text(mode.begin(), mode.end()));
        ReleaseRegistry();
        EXPECT_EQ(runSql(userFile, ("PRAGMA journal_mode=" + mode).c_str()), mode);
        const std::string row = runSql(userFile, "SELECT max(id) FROM keys");
        std::vector<std::pair<Text, std::string>> values; // in the order of their creation
        std::set<Text> subKeys;
        std::minstd_rand random(20260711);
        DWORD next = 0, nextKey = 0;
        for (int step = 0; step < 1500; step++) {
            const Text name(1, static_cast<char16_t>(u'A' + random() % 20));
            const std::string letter(1, static_cast<char>(name[0])), data = std::to_string(step);
            const auto place = std::ranges::find(values, name, &std::pair<Text, std::string>::first);
            const std::string where =
                " WHERE key=" + row + " AND name=CAST(char(0) || '" + letter + "' AS BLOB)";
            const auto action = random() % 40;
            const bool isNew = place == values.end();
            if (action < 2) {
                EXPECT_EQ(set(key, name, data), ERROR_SUCCESS);
                (isNew ? values.emplace_back(name, data) : *place).second = data;
            } else if (action == 2 && !isNew) {
                runSql(userFile, ("UPDATE key_values SET data=CAST('" + data + "' AS BLOB)" + where).c_str());
                place->second = data;
            } else if (action < 5 && !isNew) {
                if (action == 3)
                    runSql(userFile, ("DELETE FROM key_values" + where).c_str());
                else
                    EXPECT_EQ(RegDeleteValueW(key, name.c_str()), 0);
                values.erase(place);
            } else if (action == 5 && subKeys.insert(name).second) {
                const Key created(key, name);
            } else if (action == 6 && subKeys.erase(name) != 0) {
                EXPECT_EQ(RegDeleteKeyW(key, name.c_str()), 0);
            }

            const Text asked(1, static_cast<char16_t>(u'a' + random() % 20)), upper(1, asked[0] - 0x20);
            const auto found = std::ranges::find(values, upper, &std::pair<Text, std::string>::first);
            EXPECT_EQ(get(key, asked.c_str()), found == values.end() ? "failed 2" : "3:" + found->second);
            EXPECT_EQ(tryOpen(key, asked), subKeys.contains(upper) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
            DWORD keyCount, count, length = 10, room = 20;
            EXPECT_EQ(RegQueryInfoKeyW(key, &keyCount, nullptr, nullptr, &count, nullptr, nullptr), 0);
            EXPECT_TRUE(keyCount == subKeys.size() && count == values.size());
            char16_t listed[10];
            char bytes[20];
            const LSTATUS result = RegEnumValueW(key, next, listed, &length, nullptr, bytes, &room);
            ASSERT_EQ(result, next < values.size() ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS) << mode << step;
            if (next < values.size()) {
                EXPECT_TRUE(values[next] == std::pair(Text(listed, length), std::string(bytes, room)));
            }
            next = result == 0 ? next + 1 : 0;
            length = 10;
            const LSTATUS keyResult = RegEnumKeyExW(key, nextKey, listed, &length);
            ASSERT_EQ(keyResult, nextKey < subKeys.size() ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS);
            if (keyResult == 0) {
                EXPECT_EQ(*std::next(subKeys.begin(), nextKey), Text(listed, length));
            }
            nextKey = keyResult == 0 ? nextKey + 1 : 0;
        }
    }
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
    EXPECT_EQ(BytesOf(userFile), garbage);
    EXPECT_EQ(runSql(machineFile, "SELECT count(*) FROM sqlite_schema"), "1");

    // Neither is a store that does more than it should when it is written to.
    fs::remove(machineFile);
    EXPECT_EQ(set(HKEY_LOCAL_MACHINE, u"v", "x"), ERROR_SUCCESS);
    ReleaseRegistry();
    runSql(machineFile, "CREATE TRIGGER more AFTER INSERT ON keys BEGIN DELETE FROM key_values; END");
    expectEach(ERROR_BADDB, callEach(HKEY_LOCAL_MACHINE));

    // An empty file holds nothing, unless there is a log that belongs to it.
    const fs::path log = userFile.string() + "-wal";
    fs::resize_file(userFile, 0);
    std::ofstream(log) << garbage;
    expectEach(ERROR_BADDB, {tryOpen(HKEY_CURRENT_USER, u"Any"), set(HKEY_CURRENT_USER, u"v", "x")});
    EXPECT_TRUE(fs::file_size(userFile) == 0 && BytesOf(log) == garbage);
    fs::remove(log);
    EXPECT_EQ(set(HKEY_CURRENT_USER, u"v", "x"), ERROR_SUCCESS);
}

} // namespace Tarn::Platform
