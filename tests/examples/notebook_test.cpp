// The notebook run as its user runs it: a command line, its output, its exit code, the files it leaves.
#include "tests/files/support.h"
#include "tests/support/capabilities.h"
#include "tests/support/system.h"

#include <future>
#include <vector>

using namespace Tarn;
namespace fs = std::filesystem;

namespace {

// With settings of its own, which on some systems outlive the tests' registry.
std::string commandLine(const std::string& arguments, const fs::path& program = TARNKIT_NOTEBOOK) {
    const std::string profile = fs::current_path().parent_path().filename().string();
    return "\"" + program.string() + "\" --profile " + profile + " " + arguments;
}

CProgramRun notebook(const std::string& arguments) {
    return RunProgram(commandLine("--language 0 " + arguments));
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A folder of its own for each test.
class Notebook : public testing::Test {
protected:
    const fs::path folder =
        fs::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();

    void SetUp() override {
        fs::create_directory(folder);
        fs::current_path(folder);
    }
    void TearDown() override {
        EXPECT_EQ(notebook("forget").output, "");
        fs::current_path(folder.parent_path());
    }

    std::size_t filesLeft() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
};

} // namespace

TEST_F(Notebook, StoresTheDocumentedBytesAndGivesThemBack) {
    WriteBytes("note.txt", "\r\n  A title \nAnd text\n");
    ASSERT_EQ(notebook("import b note.txt --time \"2026-05-02 14:30Z\"").exitCode, 0);
    const std::string title = "A title";
    const std::string text = BytesOf("note.txt");
    std::string note;
    for (const std::string& part : {title, text}) {
        note += static_cast<char>(part.size());
        for (char c : part)
            note += {c, '\0'};
    }
    EXPECT_EQ(BytesOf("b"), "\x02\x01" + note + std::string("\x00\xA4\x1C\x28\x40\xDA\xDC\x01", 8));
    EXPECT_EQ(notebook("show b 1").output, text);
    ASSERT_EQ(notebook("export b 1 \"no\xCC\x88te \xD0\x96.txt\"").exitCode, 0);
    EXPECT_EQ(BytesOf(u"no\u0308te \u0416.txt"), text);
    WriteBytes("blank", "\n");
    EXPECT_TRUE(contains(notebook("import b blank").output, "(blank, "));
    EXPECT_EQ(filesLeft(), 4u);

    WriteBytes("old", "\x01\x01" + note);
    EXPECT_EQ(notebook("list old").output, "  1  -                  A title\n");
    ASSERT_EQ(notebook("import old blank").exitCode, 0);
    EXPECT_EQ(BytesOf("old").substr(0, 2 + note.size() + 8), "\x02\x02" + note + std::string(8, '\0'));
}

TEST_F(Notebook, SortsAndFiltersNotesByWhatTheUserKnowsOfThem) {
    WriteBytes("note", "banana\nsee: 7");
    ASSERT_EQ(notebook("import b note --time \"2026-05-02 14:30\"").exitCode, 0);
    WriteBytes("note", "Cherry");
    ASSERT_EQ(notebook("import b note --time \"1999-12-31 09:05\"").exitCode, 0);
    WriteBytes("note", "apple\n\xD0\x96");
    ASSERT_EQ(notebook("import b note --time \"2004-02-29 00:00\"").exitCode, 0);
    const struct {
        const char* arguments;
        std::vector<const char*> notes; // the time without names, and the title
    } cases[] = {{"", {"2026 14:30  banana", "1999 09:05  Cherry", "2004 00:00  apple"}},
                 {"--sort number --with 0-9C", {"banana", "Cherry"}},
                 {"--sort title", {"apple", "banana", "Cherry"}},
                 {"--sort time", {"1999", "2004", "2026"}},
                 {"--sort time --with z-t", {"Cherry"}},
                 {"--with \xD0\x90-\xD0\xAF", {"apple"}},
                 {"--with :-", {"banana"}},
                 {"--with -x", {}}};
    for (auto& c : cases) {
        const std::string list = notebook(std::string("list b ") + c.arguments).output;
        EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), static_cast<long>(c.notes.size())) << list;
        std::size_t position = 0;
        for (const char* note : c.notes) {
            position = list.find(note, position);
            EXPECT_NE(position, std::string::npos) << c.arguments << ": " << note << "\n" << list;
        }
    }
}

TEST_F(Notebook, KeepsTextsOfEveryEncoding) {
    const struct {
        const char* option;
        std::string bytes;
    } cases[] = {{"", "\xD0\x96\xE2\x82\xAC"},
                 {"", "\xEF\xBB\xBF"
                      "A mark, and a line\n"},
                 {"--code-page 1251", "\xC6\x88\r\n"},
                 {"--code-page 932", "\x97\xB7"},
                 {"--code-page 1200", std::string("\xFF\xFE\x16\x04\xAC\x20", 6)},
                 {"--code-page 1200", "\xFF\xFE"}};
    for (auto& c : cases) {
        const std::string name = std::to_string(&c - cases);
        WriteBytes("in" + name, c.bytes);
        EXPECT_EQ(notebook("import b" + name + " in" + name + " " + c.option).exitCode, 0) << name;
        EXPECT_EQ(notebook("export b" + name + " 1 out" + name + " " + c.option).exitCode, 0) << name;
        EXPECT_EQ(BytesOf("out" + name), c.bytes) << name;
    }
    EXPECT_TRUE(contains(notebook("list b1").output, "  A mark, and a line\n"));
    // What is not written so is read all the same.
    WriteBytes("swapped", std::string("\xFE\xFF\x04\x16\0A", 6));
    ASSERT_EQ(notebook("import b swapped --code-page 1251").exitCode, 0);
    EXPECT_EQ(notebook("show b 1").output, "\xD0\x96"
                                           "A");
    WriteBytes("zero", std::string("a\0b", 3));
    ASSERT_EQ(notebook("import b zero").exitCode, 0);
    EXPECT_EQ(notebook("show b 2").output, "a b");
}

TEST_F(Notebook, TriesAloneWithoutATrace) {
    WriteBytes("note.txt", "text \xD0\x96");
    const std::string size = "b would have 36 bytes.\n";
    EXPECT_TRUE(contains(notebook("import b note.txt --dry-run").output, size));
    EXPECT_EQ(filesLeft(), 1u);
    ASSERT_EQ(notebook("import b note.txt").exitCode, 0);
    EXPECT_EQ(BytesOf("b").size(), 36u);
    const struct {
        const char* option;
        int size;
    } cases[] = {{"", 7}, {"--code-page 1251", 6}, {"--code-page 1200", 14}};
    for (auto& c : cases)
        EXPECT_TRUE(contains(notebook(std::string("export b 1 x --dry-run ") + c.option).output,
                             "x would have " + std::to_string(c.size) + " bytes.\n"))
            << c.option;
    EXPECT_EQ(notebook("export b 1 x --dry-run --code-page 437").exitCode, 1);
    EXPECT_EQ(filesLeft(), 2u);
}

TEST_F(Notebook, KnowsTheBooksItHadLast) {
    WriteBytes("note", "text");
    EXPECT_TRUE(contains(notebook("list").output, "used no book yet"));
    ASSERT_EQ(notebook("import tried note --dry-run").exitCode, 0);
    EXPECT_EQ(notebook("recent").output, "");
    for (const char* book : {"b0", "b1", "b2", "\"b3, b\"", "b4", "b5", "b1"})
        ASSERT_EQ(notebook(std::string("import ") + book + " note").exitCode, 0);
    const std::string recent = notebook("recent").output;
    std::size_t position = 0;
    for (const char* book : {"b1\n", "b5\n", "b4\n", "b3, b\n", "b2\n"}) {
        position = recent.find(book, position);
        EXPECT_NE(position, std::string::npos) << book << recent;
    }
    EXPECT_EQ(std::count(recent.begin(), recent.end(), '\n'), 5);
    EXPECT_EQ(notebook("show 2").output, "text");
    ASSERT_EQ(notebook("import note").exitCode, 0);
    ASSERT_EQ(notebook("export 3 out").exitCode, 0);
    EXPECT_EQ(BytesOf("out"), "text");
    ASSERT_EQ(notebook("forget").exitCode, 0);
    EXPECT_EQ(notebook("list").exitCode, 1);
}

TEST_F(Notebook, SpeaksAndPaintsAsItsUserLikes) {
    const auto run = [](const char* arguments) { return RunProgram(commandLine(arguments)); };
    for (const char* setting : {"language 2", "time-color \"b=3, R = 1\"", "title-color Sys=WindowText"})
        EXPECT_EQ(notebook(std::string("set ") + setting).output, "");
    EXPECT_EQ(run("settings").output,
              "language     2\ntime-color   b=3, R = 1\ntitle-color  Sys=WindowText\n");
    EXPECT_TRUE(contains(run("list missing").output, "missing wurde nicht gefunden"));
    EXPECT_TRUE(contains(run("list missing --language 1").output, "missing не найден"));
    WriteBytes("b", std::string("\x01\x01\1T\0\0", 6));
    EXPECT_TRUE(
        contains(run("list b --color").output, "  \x1B[38;2;1;0;3m-                \x1B[m  \x1B[38;2;"));
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
        return RunProgram(commandLine(std::string("--language 0 ") + arguments, copy));
    };
    WriteBytes("program/notebook.ini", "; for old texts\n[OPTIONS]\nCode-Page = 1251\nsort=title\n");
    WriteBytes("note", "\xC6");
    ASSERT_EQ(run("import b note").exitCode, 0);
    WriteBytes("note", "A");
    ASSERT_EQ(run("import b note --code-page 65001").exitCode, 0);
    EXPECT_EQ(run("show b 1").output, "\xD0\x96");
    EXPECT_EQ(run("list b").output.substr(0, 3), "  2");
    EXPECT_EQ(run("list b --sort number").output.substr(0, 3), "  1");
    const std::string book = BytesOf("b");
    WriteBytes("program/notebook.ini", "[Options]\ncode-page=x\n");
    EXPECT_EQ(run("list b").exitCode, 0);
    EXPECT_TRUE(contains(run("import b note").output, "\"x\""));
    WriteBytes("program/notebook.ini", "[Options]\nsort\n");
    EXPECT_EQ(run("list b").exitCode, 1);
    EXPECT_TRUE(contains(run("import b note").output, "notebook.ini is corrupted (line 1)"));
    EXPECT_EQ(BytesOf("b"), book);
}

TEST_F(Notebook, SaysWhatIsWrongAndFails) {
    WriteBytes("note.txt", "text");
    WriteBytes("latin.txt", "\xE9t\xE9");
    WriteBytes("odd.txt", "\xFF\xFE"
                          "A");
    WriteBytes("wide.txt", "\xE2\x82\xAC");
    ASSERT_EQ(notebook("import b wide.txt").exitCode, 0);
    WriteBytes("long", std::string("\x01\x01\xFF\xFF\xFF\xFF\x7F", 7));
    WriteBytes("trailing", BytesOf("b") + "x");
    WriteBytes("older", std::string("\0\0", 2));
    WriteBytes("later", "\x03");
    WriteBytes("timeless", std::string("\x02\x01\0\0", 4) + std::string(8, '\xFF'));
    WriteBytes("empty", "");
    const struct {
        const char* arguments;
        const char* message;
    } cases[] = {{"", "Usage:"},
                 {"frobnicate b", "Usage:"},
                 {"list b --log", "Usage:"},
                 {"export 1 --codepage", "Usage:"},
                 {"list b --language 9", "language 9"},
                 {"list b --language x", "language x"},
                 {"import b note.txt --code-page x", "\"x\""},
                 {"import b note.txt --code-page 65536", "\"65536\""},
                 {"import b latin.txt", "code page 65001"},
                 {"import b odd.txt", "odd.txt contains invalid characters"},
                 {"import b note.txt --code-page 12345", "code page 12345"},
                 {"import b note.txt --time 2026-02-30", "\"2026-02-30\" is not a time"},
                 {"import b note.txt --time \"2026-02-30 00:00\"", "is not a time"},
                 {"import b note.txt --time \"2026-05-02 24:00Z\"", "is not a time"},
                 {"import b note.txt --time \"1601-05-02 00:00\"", "is not a time"},
                 {"list b --sort size", "\"size\""},
                 {"set language 9", "language 9"},
                 {"set time-color red", "\"red\""},
                 {"set size 3", "\"size\""},
                 {"import b missing.txt", "missing.txt was not found"},
                 {"show b 0", "no note 0"},
                 {"show b 2", "no note 2. The number of its notes is 1"},
                 {"show b one", "\"one\""},
                 {"export b 1 out.txt --code-page 437", "code page 437"},
                 {"export b 1 no/such/out.txt", "invalid path"},
                 {"list long", "past its end"},
                 {"list trailing", "corrupted"},
                 {"list older", "invalid version"},
                 {"list timeless", "corrupted"},
                 {"list later", "invalid version"},
                 {"list empty", "past its end"},
                 {"list missing", "missing was not found"}};
    const std::string book = BytesOf("b");
    for (auto& c : cases) {
        const CProgramRun run = notebook(c.arguments);
        EXPECT_EQ(run.exitCode, 1) << c.arguments;
        EXPECT_TRUE(contains(run.output, c.message)) << c.arguments << ":\n" << run.output;
    }
    EXPECT_EQ(BytesOf("b"), book);
    EXPECT_FALSE(fs::exists("out.txt"));
}

TEST_F(Notebook, LeavesAReadOnlyBookAsItWas) {
    WriteBytes("small.txt", "small");
    ASSERT_EQ(notebook("import b small.txt").exitCode, 0);
    const std::string book = BytesOf("b");
    fs::permissions("b", fs::perms::owner_read);
    const CProgramRun run = notebook("import b small.txt");
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(contains(run.output, "denied")) << run.output;
    EXPECT_EQ(BytesOf("b"), book);
    EXPECT_EQ(filesLeft(), 2u);
}

TEST_F(Notebook, LeavesABookThatOutgrowsTheDiskAsItWas) {
    TARNKIT_TEST_NEEDS(kFileSizeLimit);
    WriteBytes("small.txt", "small");
    WriteBytes("note.txt", std::string(100000, 'x'));
    ASSERT_EQ(notebook("import b small.txt").exitCode, 0);
    const std::string book = BytesOf("b");
    const CProgramRun run = RunProgramWithLittleRoom(commandLine("--language 0 import b note.txt"), 128);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(contains(run.output, "accessing")) << run.output;
    EXPECT_EQ(BytesOf("b"), book);
    EXPECT_EQ(filesLeft(), 3u);
}

TEST_F(Notebook, LosesNoNoteWhenSeveralProgramsImportAtOnce) {
    WriteBytes("note.txt", "text");
    std::vector<std::future<CProgramRun>> runs;
    for (int i = 0; i < 8; i++)
        runs.push_back(std::async(std::launch::async, notebook, "import b note.txt"));
    long stored = 0;
    for (auto& run : runs)
        stored += contains(run.get().output, "is now in");
    const std::string list = notebook("list b").output;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), stored);
    EXPECT_GE(stored, 1);
    EXPECT_EQ(filesLeft(), 2u);
}
