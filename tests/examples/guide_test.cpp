// The pages of docs/ and the programs that they show.
#include "tests/files/support.h"
#include "tests/support/system.h"

#include <vector>

namespace Tarn {
namespace {

std::string withoutReturns(std::string text) {
    std::erase(text, '\r');
    return text;
}

struct CBlock {
    std::string kind; // what stands behind the ticks
    std::string text;
};

std::vector<CBlock> blocksOf(const std::string& page) {
    static const std::string kTicks = "\n```";
    std::vector<CBlock> blocks;
    for (auto start = page.find(kTicks); start != page.npos; start = page.find(kTicks, start)) {
        start += kTicks.size();
        const auto firstLine = page.find('\n', start) + 1;
        const auto end = page.find(kTicks, firstLine - 1);
        if (end == page.npos)
            break;
        blocks.push_back(
            {page.substr(start, firstLine - 1 - start), page.substr(firstLine, end + 1 - firstLine)});
        start = end + kTicks.size();
    }
    return blocks;
}

class GuidePage : public testing::TestWithParam<const char*> {};

TEST_P(GuidePage, ShowsTheProgramThatIsBuiltAndWhatItPrints) {
    const std::string page = GetParam();
    const CProgramRun run = RunProgram("\"" TARNKIT_PROGRAMS "/guide_" + page + TARNKIT_SUFFIX "\"");
    EXPECT_EQ(run.exitCode, 0);
    std::string kinds;
    for (const auto& [kind, text] :
         blocksOf(withoutReturns(BytesOf(TARNKIT_SOURCES "/docs/" + page + ".md")))) {
        kinds += kind + " ";
        const Bytes source = BytesOf(TARNKIT_SOURCES "/examples/guide/" + page + "." + kind);
        EXPECT_EQ(text, withoutReturns(kind == "text" ? run.output : source));
    }
    EXPECT_TRUE(kinds.ends_with("cpp text ")) << kinds;
}

INSTANTIATE_TEST_SUITE_P(Docs, GuidePage,
                         testing::Values("memory", "strings", "errors", "files", "settings", "values",
                                         "containers", "runtime"),
                         [](const auto& page) { return std::string(page.param); });

} // namespace
} // namespace Tarn
