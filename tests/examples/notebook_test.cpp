// The notebook as a user runs it: command lines, their output and exit codes, and the files they leave.
#include "tests/files/support.h"

#include <tarnkit/file.h>

#include <future>
#include <sstream>

using namespace Tarn;

namespace {

// The profile keeps these settings apart from those of other runs; some systems keep them after the tests.
std::string commandLine(const std::string& arguments, const fs::path& program = TARNKIT_NOTEBOOK) {
    const std::string profile = fs::current_path().parent_path().filename().string();
    return "\"" + program.string() + "\" --profile " + profile + " " + arguments;
}

CProgramRun notebook(const std::string& arguments) {
    return RunProgram(commandLine("--language 0 " + arguments));
}

// The output of a command that succeeds.
std::string done(const std::string& arguments) {
    const CProgramRun run = notebook(arguments);
    EXPECT_EQ(run.exitCode, 0) << arguments << ":\n" << run.output;
    return run.output;
}

void expectFailure(const std::string& arguments, const std::string& message) {
    const CProgramRun run = notebook(arguments);
    EXPECT_EQ(run.exitCode, 1) << arguments;
    EXPECT_TRUE(Contains(run.output, message)) << arguments << ":\n" << run.output;
}

// Gives each test a folder of its own.
class Notebook : public FreshFolder {
protected:
    void SetUp() override { fs::current_path(folder); }
    void TearDown() override {
        EXPECT_EQ(done("forget"), "");
        fs::current_path(folder.parent_path());
    }

    // Creates a book "b" with one short note and returns its bytes.
    static std::string makeBook() {
        WriteBytes("wide.txt", "\xE2\x82\xAC");
        done("import b wide.txt");
        return BytesOf("b");
    }

    std::size_t filesLeft() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
};

} // namespace

TEST_F(Notebook, StoresTheDocumentedBytesAndReadsThemBack) {
    const std::string text = "\r\n T \nx\n";
    const std::string note("\1T\0\x08\r\0\n\0 \0T\0 \0\n\0x\0\n\0", 20); // its title and its text
    WriteBytes("note.txt", text);
    done("import b note.txt --time \"2026-05-02 14:30Z\"");
    EXPECT_EQ(BytesOf("b"), "\x02\x01" + note + std::string("\x00\xA4\x1C\x28\x40\xDA\xDC\x01", 8));
    EXPECT_EQ(done("show b 1"), text);
    done("export b 1 \"no\xCC\x88te \xD0\x96.txt\"");
    EXPECT_EQ(BytesOf(u"no\u0308te \u0416.txt"), text);
    WriteBytes("b.lock", "\n"); // a file of the user's
    EXPECT_TRUE(Contains(done("import b b.lock"), "(b, "));
    EXPECT_EQ(BytesOf("b.lock"), "\n");
    EXPECT_EQ(filesLeft(), 4u);

    WriteBytes("old", "\x01\x01" + note);
    EXPECT_EQ(done("list old"), "  1  -                  T\n");
    done("import old b.lock");
    EXPECT_EQ(BytesOf("old").substr(0, 2 + note.size() + 8), "\x02\x02" + note + std::string(8, '\0'));
}

TEST_F(Notebook, SortsAndFiltersNotes) {
    for (const auto& [text, time] : {std::pair("banana\nsee: 7", "2026-05-02 14:30"),
                                     {"Cherry", "1999-12-31 09:05"},
                                     {"apple\n\xD0\x96", "2004-02-29 00:00"}}) {
        WriteBytes("note", text);
        done(std::string("import b note --time \"") + time + "\"");
    }
    EXPECT_TRUE(Contains(done("list b"), "2026 14:30  banana\n"));
    // The options, and the numbers of the notes listed.
    const std::pair<const char*, const char*> cases[] = {{"", "123"},
                                                         {"--sort number --with 0-9C", "12"},
                                                         {"--sort title", "312"},
                                                         {"--sort time", "231"},
                                                         {"--sort time --with z-t", "2"},
                                                         {"--with \xD0\x90-\xD0\xAF", "3"},
                                                         {"--with :-", "1"},
                                                         {"--with -x", ""}};
    for (const auto& [arguments, expected] : cases) {
        std::istringstream list(done(std::string("list b ") + arguments));
        std::string notes;
        for (std::string line; std::getline(list, line);)
            notes += line.substr(2, 1);
        EXPECT_EQ(notes, expected) << arguments;
    }
}

TEST_F(Notebook, KeepsTextsOfEveryEncoding) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "\xD0\x96\xE2\x82\xAC"},
        {"", "\xEF\xBB\xBF"
             "A mark, and a line\n"},
        {"--code-page 1251", "\xC6\x88\r\n"},
        {"--code-page 932", "\x97\xB7"},
        {"--code-page 1200", std::string("\xFF\xFE\x16\x04\xAC\x20", 6)},
        {"--code-page 1200", "\xFF\xFE"}};
    int number = 0;
    for (const auto& [option, bytes] : cases) {
        WriteBytes("in", bytes);
        done("import b in " + option);
        done("export b " + std::to_string(++number) + " out " + option);
        EXPECT_EQ(BytesOf("out"), bytes) << option;
    }
    EXPECT_TRUE(Contains(done("list b"), "  A mark, and a line\n"));
    // Encodings that are never written can still be read.
    WriteBytes("in", std::string("\xFE\xFF\x04\x16\0A\0\0", 8));
    done("import b in --code-page 1251");
    EXPECT_EQ(done("show b 7"), "\xD0\x96"
                                "A ");
}

TEST_F(Notebook, WritesNothingInADryRun) {
    WriteBytes("note.txt", "text \xD0\x96");
    EXPECT_TRUE(Contains(done("import b note.txt --dry-run"), "b would have 36 bytes.\n"));
    EXPECT_EQ(filesLeft(), 1u);
    done("import b note.txt");
    EXPECT_EQ(BytesOf("b").size(), 36u);
    for (const auto& [option, size] :
         {std::pair("", "7"), {"--code-page 1251", "6"}, {"--code-page 1200", "14"}})
        EXPECT_TRUE(Contains(done(std::string("export b 1 x --dry-run ") + option),
                             std::string("x would have ") + size + " bytes.\n"));
    expectFailure("export b 1 x --dry-run --code-page 437", "437");
    EXPECT_EQ(filesLeft(), 2u);
    WriteBytes("one", "x");
    done("import c one");
    EXPECT_TRUE(Contains(done("export c 1 x --dry-run"), "x would have 1 byte.\n"));
}

TEST_F(Notebook, RemembersRecentBooks) {
    WriteBytes("note", "text");
    expectFailure("list", "used no book yet");
    done("import tried note --dry-run");
    EXPECT_EQ(done("recent"), "");
    for (const char* book : {"b0", "b1", "b2", "\"b3, b\"", "b4", "b5", "b1"})
        done(std::string("import ") + book + " note");
    std::istringstream recent(done("recent"));
    std::string books;
    for (std::string line; std::getline(recent, line);)
        books += fs::path(line.substr(0, line.find('\r'))).filename().string() + "; ";
    EXPECT_EQ(books, "b1; b5; b4; b3, b; b2; ");
    EXPECT_EQ(done("show 2"), "text");
    done("import note");
    done("export 3 out");
    EXPECT_EQ(BytesOf("out"), "text");
    done("forget");
    expectFailure("list", "used no book yet");
}

TEST_F(Notebook, KnowsFilesByTheirBytesAndShowsTheirNamesAsTheSystemDoes) {
    const bool anyBytes = sizeof(fs::path::value_type) == 1; // else names are not bytes
    const std::string name = anyBytes ? "\xFC" : "u", shown = anyBytes ? "\uFFFD" : "u";
    WriteBytes("text", "Milk");
    EXPECT_TRUE(Contains(done("import " + name + " text"), " is now in " + shown + "."));
    EXPECT_TRUE(fs::exists(name));
    const auto separator = static_cast<char>(fs::path::preferred_separator);
    expectFailure("show 2", separator + shown + " has no note 2.");
}

TEST_F(Notebook, UsesTheLanguageAndColorsOfItsUser) {
    const auto run = [](const char* arguments) { return RunProgram(commandLine(arguments)); };
    for (const char* setting : {"language 2", "time-color \"b=3, R = 1\"", "title-color Sys=WindowText"})
        EXPECT_EQ(done(std::string("set ") + setting), "");
    EXPECT_EQ(run("settings").output,
              "language     2\ntime-color   b=3, R = 1\ntitle-color  Sys=WindowText\n");
    EXPECT_TRUE(Contains(run("list missing").output, "missing wurde nicht gefunden"));
    EXPECT_TRUE(Contains(run("list missing --language 1").output, "missing не найден"));
    WriteBytes("b", std::string("\x01\x01\1T\0\0", 6));
    EXPECT_TRUE(
        Contains(run("list b --color").output, "  \x1B[38;2;1;0;3m-                \x1B[m  \x1B[38;2;"));
    EXPECT_EQ(run("--profile other list").exitCode, 1);
    EXPECT_EQ(run("list").exitCode, 0);
}

TEST_F(Notebook, TakesOptionsFromTheIniFileBesideIt) {
    // A copy, since other tests run the program at the same time.
    const fs::path original = TARNKIT_NOTEBOOK;
    const fs::path copy = folder / "program" / original.filename();
    fs::create_directory("program");
    for (auto& file : fs::directory_iterator(original.parent_path()))
        if (file.path().filename() == original.filename() || file.path().extension() == ".dll")
            fs::copy_file(file.path(), "program" / file.path().filename());
    const auto run = [&](const char* arguments) {
        return RunProgram(commandLine(std::string("--language 0 ") + arguments, copy)).output;
    };
    WriteBytes("program/notebook.ini", "; for old texts\n[OPTIONS]\nCode-Page = 1251\nsort=title\n");
    WriteBytes("note", "\xC6");
    EXPECT_TRUE(Contains(run("import b note"), "(\xD0\x96, "));
    WriteBytes("note", "A");
    EXPECT_TRUE(Contains(run("import b note --code-page 65001"), "(A, "));
    EXPECT_EQ(run("list b").substr(0, 3), "  2");
    EXPECT_EQ(run("list b --sort number").substr(0, 3), "  1");
    WriteBytes("program/notebook.ini", "[Options]\ncode-page=x\n");
    EXPECT_EQ(run("list b").substr(0, 3), "  1");
    EXPECT_TRUE(Contains(run("import b note"), "\"x\""));
    WriteBytes("program/notebook.ini", "[Options]\nsort\n");
    EXPECT_TRUE(Contains(run("show b 1"), "notebook.ini is corrupted (line 1)"));
}

TEST_F(Notebook, ExplainsFailures) {
    WriteBytes("note.txt", "text");
    WriteBytes("latin.txt", "\xE9t\xE9");
    WriteBytes("odd.txt", "\xFF\xFE"
                          "A");
    const std::string book = makeBook();
    WriteBytes("long", std::string("\x01\x01\xFF\xFF\xFF\xFF\x7F", 7));
    WriteBytes("trailing", book + "x");
    WriteBytes("older", std::string("\0\0", 2));
    WriteBytes("later", "\x03");
    WriteBytes("timeless", std::string("\x02\x01\0\0", 4) + std::string(8, '\xFF'));
    const std::pair<const char*, const char*> cases[] = {
        {"", "Usage:"},
        {"list b --log", "Usage:"},
        {"export 1 --codepage", "Usage:"},
        {"set language 1 --dry-run", "Usage:"},
        {"list b --language 9", "language 9"},
        {"import b note.txt --code-page 65536", "\"65536\""},
        {"import b latin.txt", "code page 65001"},
        {"import b odd.txt", "odd.txt contains invalid characters"},
        {"import b note.txt --code-page 12345", "code page 12345"},
        {"import b note.txt --time 2026-02-30", "\"2026-02-30\" is not a time"},
        {"import b note.txt --time \"2026-02-30 00:00\"", "is not a time"},
        {"import b note.txt --time \"1601-05-02 00:00\"", "is not a time"},
        {"list b --sort size", "\"size\""},
        {"set language x", "language x"},
        {"set time-color red", "\"red\""},
        {"set size 3", "\"size\""},
        {"show b 0", "no note 0"},
        {"show b 2", "no note 2. The number of its notes is 1"},
        {"show b one", "\"one\""},
        {"export b 1 out.txt --code-page 437", "code page 437"},
        {"export b 1 no/such/out.txt", "invalid path"},
        {"export b 1 ./b", "sharing violation"},
        {"--log b list missing", "b is not a log"},
        {"--log no/such list missing", "invalid path"},
        {"--windows motif list missing", "no windows of \"motif\""},
        {"list long", "past its end"},
        {"list trailing", "corrupted"},
        {"list older", "invalid version"},
        {"list timeless", "corrupted"},
        {"list later", "invalid version"},
        {"list missing", "missing was not found"}};
    for (const auto& [arguments, message] : cases)
        expectFailure(arguments, message);
    EXPECT_EQ(BytesOf("b"), book);
    EXPECT_FALSE(fs::exists("out.txt"));
}

TEST_F(Notebook, LeavesAReadOnlyBookAsItWas) {
    const std::string book = makeBook();
    fs::permissions("b", fs::perms::owner_read);
    expectFailure("import b wide.txt", "denied");
    EXPECT_EQ(BytesOf("b"), book);
    EXPECT_EQ(filesLeft(), 2u);
}

TEST_F(Notebook, ReportsAFullDisk) {
    TARNKIT_TEST_NEEDS(kFullDevice);
    makeBook();
    expectFailure("export b 1 /dev/full", "Disk full");
    expectFailure("--log log list b >/dev/full", "");
    const CUnicodeString log = CFile::ReadText(NameOf(folder / "log"), 0);
    EXPECT_GE(log.Find(u"accessing stdout"), 0);
}

TEST_F(Notebook, LosesNoNoteWhenSeveralProgramsImportTogether) {
    WriteBytes("note.txt", "text");
    std::vector<std::future<CProgramRun>> runs;
    for (int i = 0; i < 8; i++)
        runs.push_back(std::async(std::launch::async, notebook, "import b note.txt"));
    long stored = 0;
    for (auto& run : runs)
        if (Contains(run.get().output, "is now in"))
            stored++;
    const std::string list = notebook("list b").output;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), stored);
    EXPECT_GE(stored, 1);
    EXPECT_EQ(filesLeft(), 2u);
}
