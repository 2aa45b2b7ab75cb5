#include "tests/platform/files_fixture.h"
#include "tests/threads/threads.h"

TEST_F(Files, OpeningReportsWhatPreventsIt) {
    const std::tuple<const char16_t*, DWORD, DWORD, DWORD> cases[] = {
        {u"missing", kRead, OPEN_EXISTING, ERROR_FILE_NOT_FOUND},
        {u"missing", kWrite, TRUNCATE_EXISTING, ERROR_FILE_NOT_FOUND},
        {u"missing\\x", kRead, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
        {u"file\\x", kRead, OPEN_EXISTING, ERROR_PATH_NOT_FOUND},
        {u"folder", kRead, OPEN_EXISTING, ERROR_ACCESS_DENIED},
        {u"folder", kWrite, CREATE_NEW, ERROR_FILE_EXISTS},
        {u"file", kWrite, CREATE_NEW, ERROR_FILE_EXISTS},
        {u"file", kRead, 9, ERROR_INVALID_PARAMETER}};
    for (const auto& [name, access, disposition, code] : cases)
        EXPECT_EQ(Opened(base + name, access, kShareAll, disposition).Failure(), code)
            << std::filesystem::path(name) << " disposition " << disposition;
    for (const char16_t character : {u'*', u'?', u'<', u'>', u'|', u'"'})
        EXPECT_EQ(Opened(base + character, kWrite, 0, CREATE_NEW).Failure(), ERROR_INVALID_NAME);
    EXPECT_EQ(Opened(u"", kRead, 0).Failure(), ERROR_PATH_NOT_FOUND);
    EXPECT_FALSE(Opened(base + Text(300, u'x'), kWrite, 0, CREATE_ALWAYS).IsOpen());
    EXPECT_EQ(get(base + u"file"), "old");
    EXPECT_EQ(find(base + u"*"), (Names{u".", u"..", u"file", u"folder"}));
}

TEST_F(Files, DispositionsCreateKeepOrTruncateAndReportAnExistingFile) {
    const std::tuple<const char16_t*, DWORD, DWORD, DWORD, const char*> cases[] = {
        {u"new1", kWrite, CREATE_NEW, ERROR_SUCCESS, ""},
        {u"new2", kRead, OPEN_ALWAYS, ERROR_SUCCESS, ""},
        {u"new3", kBoth, CREATE_ALWAYS, ERROR_SUCCESS, ""},
        {u"kept", kWrite, OPEN_ALWAYS, ERROR_ALREADY_EXISTS, "old"},
        {u"emptied1", kWrite, CREATE_ALWAYS, ERROR_ALREADY_EXISTS, ""},
        {u"emptied2", kRead, CREATE_ALWAYS, ERROR_ALREADY_EXISTS, ""}};
    for (const auto& [name, access, disposition, code, contents] : cases) {
        if (code == ERROR_ALREADY_EXISTS)
            put(base + name, "old");
        Opened file(base + name, access, 0, disposition);
        EXPECT_TRUE(file.IsOpen());
        EXPECT_EQ(file.code, code) << std::filesystem::path(name);
        file.Close();
        EXPECT_EQ(get(base + name), contents) << std::filesystem::path(name);
    }
    Opened truncated(base + u"file", kWrite, 0, TRUNCATE_EXISTING);
    EXPECT_EQ(P::GetFileSize(truncated, nullptr), 0U);
}

TEST_F(Files, TransfersMoveThePositionAndObeyTheAccessRights) {
    const Text name = base + u"data";
    char buffer[16] = {};
    DWORD count = 77;
    Opened file(name, kBoth, kShareAll, CREATE_ALWAYS);
    EXPECT_TRUE(P::WriteFile(file, "0123456789", 10, &count));
    EXPECT_EQ(count, 10U);
    EXPECT_TRUE(P::ReadFile(file, buffer, 5, &count));
    EXPECT_EQ(count, 0U) << "at the end";
    EXPECT_EQ(P::SetFilePointer(file, -4, nullptr, FILE_END), 6U);
    EXPECT_TRUE(P::ReadFile(file, buffer, 16, &count));
    EXPECT_EQ(std::string(buffer, count), "6789");
    EXPECT_EQ(P::SetFilePointer(file, 2, nullptr, FILE_BEGIN), 2U);
    EXPECT_EQ(P::SetFilePointer(file, 1, nullptr, FILE_CURRENT), 3U);
    EXPECT_TRUE(P::WriteFile(file, "x", 1, &count) && P::WriteFile(file, "y", 0, &count));
    EXPECT_EQ(count, 0U);
    EXPECT_TRUE(P::SetEndOfFile(file));
    EXPECT_EQ(P::SetFilePointer(file, 7, nullptr, FILE_BEGIN), 7U);
    EXPECT_TRUE(P::SetEndOfFile(file) && P::FlushFileBuffers(file));
    EXPECT_EQ(get(name), std::string("012x\0\0\0", 7)) << "truncated after the x, then filled with zeros";

    const Opened reader(name, kRead, kShareAll);
    const Opened writer(name, kWrite, kShareAll);
    expectEach(ERROR_ACCESS_DENIED, {codeOf([&] { return P::WriteFile(reader, "z", 1, &count); }),
                                     orWines(ERROR_INVALID_PARAMETER, ERROR_ACCESS_DENIED,
                                             codeOf([&] { return P::SetEndOfFile(reader); })),
                                     codeOf([&] { return P::FlushFileBuffers(reader); }),
                                     codeOf([&] { return P::ReadFile(writer, buffer, 1, &count); })});
    EXPECT_EQ(P::GetFileSize(Opened(name, 0, 0), nullptr), 7U) << "no access is needed for the size";
}

TEST_F(Files, PositionsHave64BitsAndTheirFailuresAreReported) {
    const Opened file(base + u"file", kBoth, 0);
    const std::tuple<LONG, LONG, DWORD, DWORD, Int64> cases[] = {
        {-1, 0, FILE_BEGIN, ERROR_SUCCESS, 0xFFFFFFFF},
        {1, 1, FILE_CURRENT, ERROR_SUCCESS, 0x200000000},
        {-3, -1, FILE_END, ERROR_SUCCESS, 0},
        {-1, -1, FILE_CURRENT, ERROR_NEGATIVE_SEEK, 0},
        {0, 0, 3, ERROR_INVALID_PARAMETER, 0}};
    for (const auto& [distance, distanceHigh, from, code, position] : cases) {
        LONG high = distanceHigh;
        P::SetLastError(kUntouched);
        const DWORD low = P::SetFilePointer(file, distance, &high, from);
        const DWORD failure = low == INVALID_SET_FILE_POINTER ? P::GetLastError() : ERROR_SUCCESS;
        EXPECT_EQ(failure, code) << distance << " " << distanceHigh << " " << from;
        EXPECT_TRUE(failure != ERROR_SUCCESS || (Int64{high} << 32 | low) == position) << high << " " << low;
    }
    EXPECT_EQ(codeOf([&] { return P::SetFilePointer(file, -1, nullptr, FILE_BEGIN) != 0xFFFFFFFF; }),
              ERROR_NEGATIVE_SEEK);
    LONG high = 0;
    P::SetFilePointer(file, -1, &high, FILE_BEGIN);
    const DWORD code = codeOf([&] { return P::SetEndOfFile(file); });
    DWORD sizeHigh = 0;
    P::SetLastError(kUntouched);
    EXPECT_EQ(P::GetFileSize(file, &sizeHigh), code == ERROR_SUCCESS ? 0xFFFFFFFF : 3);
    EXPECT_EQ(P::GetLastError(), code == ERROR_SUCCESS ? ERROR_SUCCESS : kUntouched);
    EXPECT_TRUE(code == ERROR_SUCCESS || code == ERROR_DISK_FULL) << "depends on the free space of the disk";
}

TEST_F(Files, AHandleThatIsNotOpenIsRefusedByEveryCall) {
    Opened file(base + u"file", kBoth, 0);
    const HANDLE closed = file;
    file.Close();
    for (const HANDLE handle : {closed, HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        char letter = 0;
        DWORD count = 0;
        FILETIME time{};
        expectEach(ERROR_INVALID_HANDLE,
                   {codeOf([&] { return P::ReadFile(handle, &letter, 1, &count); }),
                    codeOf([&] { return P::WriteFile(handle, &letter, 1, &count); }), codeOf([&] {
                        return P::SetFilePointer(handle, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
                    }),
                    codeOf([&] { return P::GetFileSize(handle, nullptr) != INVALID_FILE_SIZE; }),
                    codeOf([&] { return P::SetEndOfFile(handle); }),
                    codeOf([&] { return P::FlushFileBuffers(handle); }),
                    codeOf([&] { return P::GetFileTime(handle, &time, &time, &time); }),
                    codeOf([&] { return P::SetFileTime(handle, &time, &time, &time); })});
    }
    WIN32_FIND_DATAW data;
    expectEach(ERROR_INVALID_HANDLE, {codeOf([&] { return P::CloseHandle(closed); }),
                                      codeOf([&] { return P::FindNextFileW(INVALID_HANDLE_VALUE, &data); }),
                                      codeOf([&] { return P::FindClose(INVALID_HANDLE_VALUE); })});
}

TEST_F(Files, ShareModesBindBothSides) {
    const Text name = base + u"file";
    const auto allows = [](DWORD share, DWORD access) {
        return ((access & kRead) == 0 || (share & FILE_SHARE_READ) != 0) &&
               ((access & kWrite) == 0 || (share & FILE_SHARE_WRITE) != 0);
    };
    // Every pair of ways to open a file: its access and what it shares.
    for (unsigned i = 0; i < 256; i++) {
        const DWORD accesses[] = {0, kRead, kWrite, kBoth},
                    shares[] = {0, FILE_SHARE_READ, FILE_SHARE_WRITE, kShareAll};
        const DWORD access1 = accesses[i & 3], share1 = shares[i >> 2 & 3];
        const DWORD access2 = accesses[i >> 4 & 3], share2 = shares[i >> 6];
        const bool isFree =
            access1 == 0 || access2 == 0 || (allows(share1, access2) && allows(share2, access1));
        const Opened first(name, access1, share1);
        EXPECT_TRUE(first.IsOpen());
        EXPECT_EQ(Opened(name, access2, share2).Failure(), isFree ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION)
            << std::hex << access1 << " " << share1 << " then " << access2 << " " << share2;
    }
    EXPECT_TRUE(Opened(name, kBoth, 0).IsOpen()) << "closed handles no longer count";
}

TEST_F(Files, AFileInUseIsNeitherTruncatedNorReplacedNorRemoved) {
    const Text name = base + u"file";
    put(base + u"other", "other");
    {
        const Opened reader(name, kRead, FILE_SHARE_READ);
        expectEach(ERROR_SHARING_VIOLATION,
                   {Opened(name, kWrite, kShareAll, CREATE_ALWAYS).Failure(), with(P::DeleteFileW)(u"file"),
                    with(P::MoveFileW)(u"file", u"away"), with(copyOver)(u"other", u"file"),
                    with(copyOver)(u"file", u"file")});
        EXPECT_EQ(with(copyOver)(u"file", u"other"), ERROR_SUCCESS) << "reading it is allowed";
        EXPECT_EQ(get(name), "old");
    }
    {
        const Opened generous(name, kRead, FILE_SHARE_READ | FILE_SHARE_DELETE);
        expectEach(ERROR_SUCCESS, {with(P::MoveFileW)(u"file", u"away"), with(P::DeleteFileW)(u"away")});
    }
    Opened fleeting(name, kWrite, 0, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE);
    EXPECT_TRUE(fleeting.IsOpen());
    fleeting.Close();
    EXPECT_EQ(find(base + u"*"), (Names{u".", u"..", u"folder", u"other"}));
}

TEST_F(Files, OneExclusiveOpenOfManyThreadsSucceedsAndSharedOnesNeverFail) {
    const Text name = base + u"file";
    const Text shared = base + u"shared";
    put(shared, "");
    std::atomic<int> successes = 0, otherFailures = 0, arrivals = 0;
    const auto meet = [&](int times) { // std::barrier hangs with the Windows compiler's runtime
        for (arrivals++; arrivals < 4 * times;)
            std::this_thread::yield();
    };
    Tarn::RunOnThreads(4, [&](int) {
        for (int k = 1; k <= 200; k++) {
            meet(2 * k - 1);
            const HANDLE file = P::CreateFileW(name.c_str(), kWrite, 0, OPEN_ALWAYS, 0);
            successes += file != INVALID_HANDLE_VALUE;
            otherFailures += file == INVALID_HANDLE_VALUE && P::GetLastError() != ERROR_SHARING_VIOLATION;
            meet(2 * k);
            otherFailures += successes != k;
            if (file != INVALID_HANDLE_VALUE)
                P::CloseHandle(file);
            otherFailures +=
                !P::CloseHandle(P::CreateFileW(shared.c_str(), kBoth, kShareAll, OPEN_EXISTING, 0));
        }
    });
    EXPECT_EQ(otherFailures, 0);
    EXPECT_EQ(successes, 200) << "one in each round";
}

TEST_F(Files, AnotherProcessSharesByTheSameRulesUntilItEnds) {
    const std::string command = "\"" TARNKIT_HOLD_FILE "\" \"" + (folder / "file").generic_string() + "\"";
    const Text name = base + u"file";
    std::thread process([&] { EXPECT_EQ(Tarn::RunProgram(command).exitCode, 0) << "it had the file open"; });
    for (int i = 0; i < 3000 && !exists(name + u".ready"); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    expectEach(ERROR_SHARING_VIOLATION,
               {Opened(name, kWrite, kShareAll).Failure(), Opened(name, kRead, FILE_SHARE_READ).Failure(),
                with(P::DeleteFileW)(u"file")});
    EXPECT_EQ(Opened(name, kRead, kShareAll).Failure(), ERROR_SUCCESS);
    put(name + u".leave", "");
    process.join();
    EXPECT_EQ(Opened(name, kBoth, 0).Failure(), ERROR_SUCCESS) << "its end released the file";
}

TEST_F(Files, ReadOnlyFilesAreKeptAndCarryTheirAttributeAlong) {
    TARNKIT_TEST_NEEDS(kReadOnlyFiles);
    const Text name = base + u"fixed";
    {
        const Opened made(name, kWrite, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY);
        DWORD written = 0;
        EXPECT_TRUE(P::WriteFile(made, "fixed", 5, &written));
    }
    expectEach(ERROR_ACCESS_DENIED,
               {Opened(name, kWrite, 0).Failure(), Opened(name, kWrite, 0, CREATE_ALWAYS).Failure(),
                with(P::DeleteFileW)(u"fixed"), with(copyOver)(u"file", u"fixed"),
                with(replace)(u"file", u"fixed")});
    expectEach(ERROR_SUCCESS, {with(copyNew)(u"fixed", u"copy"), with(copyOver)(u"fixed", u"file"),
                               with(P::MoveFileW)(u"fixed", u"moved")});
    for (const char16_t* copy : {u"copy", u"file", u"moved"}) {
        const DWORD kept = P::GetFileAttributesW((base + copy).c_str()) & FILE_ATTRIBUTE_READONLY;
        constexpr DWORD kReadOnly = FILE_ATTRIBUTE_READONLY;
        // Wine keeps the attributes of the file that was there.
        EXPECT_EQ(*copy == u'f' ? orWines(0, kReadOnly, kept) : kept, kReadOnly);
        EXPECT_EQ(get(base + copy), "fixed");
        EXPECT_TRUE(P::SetFileAttributesW((base + copy).c_str(), FILE_ATTRIBUTE_NORMAL));
        EXPECT_EQ(with(P::DeleteFileW)(copy), ERROR_SUCCESS);
    }
}

TEST_F(Files, TimesAreExactToTheTickAndKeptIfNotGiven) {
    const Opened file(base + u"file", kBoth, 0);
    // In 1953 and in 2024, each with an odd tick.
    const FILETIME old{0x12345679, 0x018B0000}, recent{0x89ABCDEF, 0x01DA6B00};
    FILETIME creation{}, access{}, write{};
    for (const auto& [first, second] : {std::pair(old, recent), std::pair(recent, old)}) {
        EXPECT_TRUE(P::SetFileTime(file, nullptr, &first, &second));
        EXPECT_TRUE(P::SetFileTime(file, nullptr, nullptr, nullptr));
        EXPECT_TRUE(P::GetFileTime(file, &creation, &access, &write));
        EXPECT_EQ(std::memcmp(&access, &first, sizeof(FILETIME)), 0);
        EXPECT_EQ(std::memcmp(&write, &second, sizeof(FILETIME)), 0);
    }
    // The file is new; Wine derives the time of creation from the other times.
    EXPECT_TRUE(creation.dwHighDateTime > recent.dwHighDateTime ||
                (!kDocumentedCalls && creation.dwHighDateTime == old.dwHighDateTime));
    WIN32_FIND_DATAW data;
    const HANDLE search = P::FindFirstFileW((base + u"FILE").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(P::FindClose(search));
    EXPECT_EQ(data.ftLastWriteTime.dwLowDateTime, old.dwLowDateTime);
    EXPECT_EQ(Int64{data.nFileSizeHigh} << 32 | data.nFileSizeLow, 3);
    EXPECT_EQ(data.cFileName[0], u'f') << "the name as it is on disk";
    const Opened reader(base + u"folder\\r", kRead, 0, CREATE_NEW);
    const DWORD code = codeOf([&] { return P::SetFileTime(reader, nullptr, &old, &old); });
    EXPECT_EQ(orWines(ERROR_SUCCESS, ERROR_ACCESS_DENIED, code), ERROR_ACCESS_DENIED);
}

TEST_F(Files, PatternsMatchNamesWithoutRegardToCase) {
    const Text in = base + u"folder\\";
    for (const char16_t* name : {u"a.txt", u"B.TXT", u"ab.txt", u"abc", u"x.tar.gz", u"\u0416\u0438.txt"})
        put(in + name, "1");
    const Names all{u".", u"..", u"B.TXT", u"a.txt", u"ab.txt", u"abc", u"x.tar.gz", u"\u0416\u0438.txt"};
    const std::pair<const char16_t*, Names> cases[] = {
        {u"*", all},
        {u"*.*", all},
        {u"*.TxT", {u"B.TXT", u"a.txt", u"ab.txt", u"\u0416\u0438.txt"}},
        {u"a?.txt", {u"ab.txt"}},
        {u"?.txt", {u"B.TXT", u"a.txt"}},
        {u"\u0436*", {u"\u0416\u0438.txt"}},
        {u"*.tar.*", {u"x.tar.gz"}},
        {u"ABC", {u"abc"}},
        {u"none", {u"failure", Text(1, ERROR_FILE_NOT_FOUND)}},
        {u"none\\*", {u"failure", Text(1, ERROR_PATH_NOT_FOUND)}}};
    for (const auto& [pattern, names] : cases) {
        Names found = find(in + pattern);
        if (Text(pattern) == u"a?.txt")
            std::erase(found, u"a.txt"); // A question mark before a dot may also stand for nothing.
        EXPECT_EQ(found, names) << std::filesystem::path(pattern);
    }
    expectEach(ERROR_DIRECTORY, {orWines(ERROR_INVALID_NAME, ERROR_DIRECTORY, find(in + u"abc\\*")[1][0])});
    // Removing the files that a search finds does not make it miss later ones.
    WIN32_FIND_DATAW data;
    const HANDLE search = P::FindFirstFileW((in + u"*").c_str(), &data);
    do
        if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            EXPECT_TRUE(P::DeleteFileW((in + reinterpret_cast<const char16_t*>(data.cFileName)).c_str()));
        }
    while (P::FindNextFileW(search, &data));
    EXPECT_TRUE(P::FindClose(search));
    EXPECT_TRUE(P::RemoveDirectoryW((base + u"folder").c_str()));
}

TEST_F(Files, NamesKeepTheirCaseAndMatchWithoutIt) {
    const Text stored = base + u"Folder2\\\u00C4rger \u0416.TXT";
    const Text spelled = base + u"FOLDER2/\u00E4RGER \u0436.txt";
    ASSERT_TRUE(P::CreateDirectoryW((base + u"Folder2").c_str()));
    put(stored, "first");
    put(spelled, "second");
    EXPECT_EQ(get(stored), "second");
    EXPECT_EQ(Opened(spelled, kWrite, 0, CREATE_NEW).Failure(), ERROR_FILE_EXISTS);
    EXPECT_EQ(with(P::CreateDirectoryW)(u"folder2\\"), ERROR_ALREADY_EXISTS);
    const Names before = find(base + u"folder2\\*");
    EXPECT_EQ(before, (Names{u".", u"..", u"\u00C4rger \u0416.TXT"}));
    EXPECT_TRUE(P::MoveFileW(stored.c_str(), spelled.c_str())) << "only the case changes";
    const Names renamed = find(base + u"Folder2\\*");
    EXPECT_TRUE(renamed == (Names{u".", u"..", u"\u00E4RGER \u0436.txt"}) ||
                (!kDocumentedCalls && renamed == before)); // Wine keeps the old name
    EXPECT_EQ(get(base + u"folder2\\none\\..\\.\\\\\u00C4RGER \u0416.txt"), "second");
    EXPECT_TRUE(P::DeleteFileW(stored.c_str()));
}

TEST_F(Files, DirectoriesAndMovesReportWhatPreventsThem) {
    put(base + u"folder\\inner", "inner");
    const auto make = with(P::CreateDirectoryW);
    const auto drop = with(P::RemoveDirectoryW);
    const auto erase = with(P::DeleteFileW);
    const auto look = with(exists);
    const auto move = with(P::MoveFileW);
    const auto copy = with(copyOver);
    EXPECT_EQ(make(u"a?b"), ERROR_INVALID_NAME);
    EXPECT_EQ(drop(u"folder"), ERROR_DIR_NOT_EMPTY);
    EXPECT_EQ(drop(u"file"), ERROR_DIRECTORY);
    EXPECT_EQ(with(copyNew)(u"file", u"folder\\inner"), ERROR_FILE_EXISTS);
    expectEach(ERROR_ALREADY_EXISTS,
               {make(u"folder"), make(u"file"), move(u"file", u"folder\\inner"), move(u"folder", u"file")});
    expectEach(ERROR_PATH_NOT_FOUND, {make(u"none\\x"), drop(u"none\\x"), erase(u"none\\x"), look(u"none\\x"),
                                      move(u"file", u"none\\x"), copy(u"file", u"none\\x")});
    expectEach(ERROR_FILE_NOT_FOUND,
               {drop(u"none"), erase(u"none"), look(u"none"), move(u"none", u"x"), copy(u"none", u"x")});
    expectEach(ERROR_ACCESS_DENIED, {erase(u"folder"), copy(u"file", u"folder"), copy(u"folder", u"x")});
    EXPECT_EQ(get(base + u"folder\\inner"), "inner");

    expectEach(ERROR_SUCCESS, {copy(u"file", u"folder\\inner"), move(u"folder", u"Moved")});
    EXPECT_EQ(get(base + u"Moved\\inner"), "old");
    expectEach(ERROR_SUCCESS, {erase(u"Moved\\inner"), drop(u"Moved\\")});
    EXPECT_EQ(find(base + u"*"), (Names{u".", u"..", u"file"}));
}

TEST_F(Files, AreReplacedByOthersOnlyOnRequestAndWhereThatIsAllowed) {
    put(base + u"new", "new");
    const auto move = with([](auto from, auto to) { return P::MoveFileExW(from, to, 0); });
    EXPECT_EQ(move(u"new", u"file"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(with(replace)(u"new", u"folder"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(with(replace)(u"none", u"file"), ERROR_FILE_NOT_FOUND);
    for (const DWORD share : {DWORD{FILE_SHARE_READ}, kShareAll}) {
        const Opened held(base + u"file", kRead, share);
        EXPECT_EQ(with(replace)(u"new", u"file"), ERROR_ACCESS_DENIED);
    }
    EXPECT_EQ(get(base + u"file") + get(base + u"new"), "oldnew");
    expectEach(ERROR_SUCCESS, {with(replace)(u"new", u"file"), with(replace)(u"file", u"FILE"),
                               with(replace)(u"file", u"free")});
    EXPECT_EQ(get(base + u"free"), "new");
    EXPECT_EQ(find(base + u"*"), (Names{u".", u"..", u"folder", u"free"}));
}

TEST_F(Files, FoldersOfTheSystemExistAndSmallBuffersGetTheSizeNeeded) {
    const auto check = [](auto call) {
        char16_t buffer[1000] = u"?";
        const UINT size = call(nullptr, 0);
        EXPECT_EQ(call(buffer, size - 1), size);
        EXPECT_EQ(call(buffer, size), size - 1);
        EXPECT_EQ(Text(buffer).size(), size - 1);
        EXPECT_NE(P::GetFileAttributesW(buffer) & FILE_ATTRIBUTE_DIRECTORY, 0U);
        return Text(buffer);
    };
    EXPECT_EQ(check([](char16_t* b, UINT s) { return P::GetTempPathW(s, b); }).back(), u'\\');
    check(P::GetSystemDirectoryW);
    check(P::GetWindowsDirectoryW);
    IMalloc* allocator = nullptr;
    ASSERT_EQ(P::SHGetMalloc(&allocator), S_OK);
    constexpr int kDesktop = 0, kPrograms = 2, kPersonal = 5, kFavorites = 6, kStartUp = 7, kStartMenu = 11;
    for (const int number : {kDesktop, kPrograms, kPersonal, kFavorites, kStartUp, kStartMenu}) {
        char16_t path[MAX_PATH] = u"";
        ITEMIDLIST* location = nullptr;
        EXPECT_EQ(P::SHGetSpecialFolderLocation(nullptr, number, &location), S_OK) << number;
        EXPECT_TRUE(P::SHGetPathFromIDListW(location, path));
        EXPECT_NE(P::GetFileAttributesW(path) & FILE_ATTRIBUTE_DIRECTORY, 0U) << number;
        allocator->Free(location);
    }
    UInt64 available = 0, total = 0, free = 0;
    EXPECT_TRUE(P::GetDiskFreeSpaceExW(base.c_str(), &available, &total, &free));
    EXPECT_TRUE(total > 0 && available <= total && free <= total);
    EXPECT_FALSE(P::GetDiskFreeSpaceExW((base + u"none").c_str(), &available, nullptr, nullptr));
}
