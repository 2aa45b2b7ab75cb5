// Checks that the pages of docs/ show the programs that are built, and their output.
#include "tests/files/support.h"

namespace Tarn {
namespace {

std::string withoutReturns(std::string text) {
    std::erase(text, '\r');
    return text;
}

std::string readText(const std::string& name) { return withoutReturns(BytesOf(TARNKIT_SOURCES "/" + name)); }

class GuidePage : public testing::TestWithParam<const char*> {};

TEST_P(GuidePage, ShowsTheProgramThatIsBuiltAndWhatItPrints) {
    const std::string name = GetParam();
    const CProgramRun run = RunProgram("\"" TARNKIT_PROGRAMS "/guide_" + name + TARNKIT_SUFFIX "\"");
    EXPECT_EQ(run.exitCode, 0);
    const std::string page = readText("docs/" + name + ".md");
    const auto expectBlock = [&page](const std::string& kind, const std::string& text) {
        EXPECT_NE(page.find("\n```" + kind + "\n" + text + "```\n"), page.npos) << kind << ":\n" << text;
    };
    expectBlock("cpp", readText("examples/guide/" + name + ".cpp"));
    expectBlock("text", withoutReturns(run.output));
    if (name == "errors")
        expectBlock("po", readText("examples/guide/errors.po"));
}

std::string nameOf(const testing::TestParamInfo<const char*>& page) { return page.param; }

INSTANTIATE_TEST_SUITE_P(Docs, GuidePage,
                         testing::Values("memory", "strings", "errors", "files", "settings", "values",
                                         "containers", "runtime", "threads", "message_boxes"),
                         nameOf);

} // namespace
} // namespace Tarn
