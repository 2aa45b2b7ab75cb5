// The notebook run as its user runs it: a command line, its output, its exit code, the files it leaves.
#include "tests/files/support.h"
#include "tests/support/capabilities.h"
#include "tests/support/system.h"

#include <future>
#include <vector>

using namespace Tarn;
namespace fs = std::filesystem;

namespace {

constexpr char kNotebook[] = "\"" TARNKIT_NOTEBOOK "\" --language 0 ";

CProgramRun notebook(const std::string& arguments) { return RunProgram(kNotebook + arguments); }

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
    void TearDown() override { fs::current_path(folder.parent_path()); }

    std::size_t filesLeft() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
};

} // namespace

TEST_F(Notebook, StoresTheDocumentedBytesAndGivesThemBack) {
    WriteBytes("note.txt", "\r\n  A title \nAnd text\n");
    ASSERT_EQ(notebook("import b note.txt").exitCode, 0);
    const std::string title = "A title";
    const std::string text = BytesOf("note.txt");
    std::string expected = "\x01\x01";
    for (const std::string& part : {title, text}) {
        expected += static_cast<char>(part.size());
        for (char c : part)
            expected += {c, '\0'};
    }
    EXPECT_EQ(BytesOf("b"), expected);
    EXPECT_EQ(notebook("list b").output, "  1  A title\n");
    EXPECT_EQ(notebook("show b 1").output, text);
    ASSERT_EQ(notebook("export b 1 \"no\xCC\x88te \xD0\x96.txt\"").exitCode, 0);
    EXPECT_EQ(BytesOf(u"no\u0308te \u0416.txt"), text);
    WriteBytes("blank", "\n");
    EXPECT_TRUE(contains(notebook("import b blank").output, "(blank)"));
    EXPECT_EQ(filesLeft(), 4u);
}

TEST_F(Notebook, SaysWhatIsWrongAndFails) {
    WriteBytes("note.txt", "text");
    WriteBytes("latin.txt", "\xE9t\xE9");
    WriteBytes("zero.txt", std::string("a\0b", 3));
    WriteBytes("wide.txt", "\xE2\x82\xAC");
    ASSERT_EQ(notebook("import b wide.txt").exitCode, 0);
    WriteBytes("long", std::string("\x01\x01\xFF\xFF\xFF\xFF\x7F", 7));
    WriteBytes("trailing", BytesOf("b") + "x");
    WriteBytes("old", std::string("\0\0", 2));
    WriteBytes("later", "\x02");
    WriteBytes("empty", "");
    const struct {
        const char* arguments;
        const char* message;
    } cases[] = {{"", "Usage:"},
                 {"frobnicate b", "Usage:"},
                 {"list b --log", "Usage:"},
                 {"list b --language 9", "language 9"},
                 {"list b --language x", "language x"},
                 {"import b note.txt --code-page x", "\"x\""},
                 {"import b note.txt --code-page 65536", "\"65536\""},
                 {"import b note.txt --code-page 12345", "code page 12345"},
                 {"import b latin.txt", "code page 65001"},
                 {"import b zero.txt", "code page 65001"},
                 {"import b missing.txt", "missing.txt was not found"},
                 {"show b 0", "no note 0"},
                 {"show b 2", "no note 2. The number of its notes is 1"},
                 {"show b one", "\"one\""},
                 {"export b 1 out.txt --code-page 437", "code page 437"},
                 {"export b 1 no/such/out.txt", "invalid path"},
                 {"list long", "past its end"},
                 {"list trailing", "corrupted"},
                 {"list old", "invalid version"},
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
    const CProgramRun run = RunProgramWithLittleRoom(kNotebook + std::string("import b note.txt"), 128);
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
