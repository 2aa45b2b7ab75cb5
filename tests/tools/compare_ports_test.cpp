#include "tests/files/support.h"
#include "tools/compare_ports/comparison.h"

#include <sstream>

namespace {

/// The report of a comparison, after "same: " or "different: ".
std::string compare(const Tarn::Bytes& a, const Tarn::Bytes& b, const Tarn::Bytes& explanations) {
    Tarn::WriteBytes("a", a);
    Tarn::WriteBytes("b", b);
    Tarn::WriteBytes("explanations", explanations);
    std::ostringstream report;
    const bool isSame = compare_ports::Compare("a", "b", "explanations", report);
    return (isSame ? "same: " : "different: ") + report.str();
}

TEST(PortComparison, ReportsEachDifferenceUnlessItIsExplained) {
    const std::string a = "one/x/00FE\t1\t2\ntwo/0010\t5\n";
    const std::string b = "one/x/00FE\t1\t3\ntwo/0010\t6\n";
    EXPECT_EQ(compare(a, a, "# nothing differs\n\n").substr(0, 5), "same:");

    const std::string told = compare(a, b, "one/*/00F0-00FF why\n");
    EXPECT_EQ(told.substr(0, told.find('\n')), "different: two/0010: 5 | 6");
    EXPECT_NE(told.find("in all: 3 results compared, 1 explained differences, 1 unexplained"), told.npos);
    EXPECT_EQ(compare(a, b, "one/x/00FF why\ntwo/0010 why\n").substr(0, 5), "same:");

    // A line explains only its own numbers and groups. A line that explains nothing is reported.
    for (const char* line : {"one/x/00FE why", "one/00FF why", "*/00FF why", "one/x/y/00FF why"}) {
        const std::string report = compare(a, b, "two/0010 why\n" + std::string(line) + "\n");
        EXPECT_NE(report.find("one/x/00FF: 2 | 3\n"), report.npos) << line;
        EXPECT_NE(report.find(std::string("This difference no longer exists: ") + line), report.npos);
    }
    EXPECT_EQ(compare(a, a, "two/0010 why\n").substr(0, 10), "different:");
}

TEST(PortComparison, RefusesWhatCannotBeCompared) {
    const std::string a = "one/0000\t1\n";
    EXPECT_EQ(compare(a, "one/0000\t1\t2\n", "").substr(0, 10), "different:");
    for (const char* b : {"", "one/0001\t1\n", "one/0000\t1\none/0001\t1\n"})
        EXPECT_THROW(compare(a, b, ""), std::runtime_error) << b;
    for (const char* explanation : {"one/0000", "one why", "one/00G0 why", "one/0-1-2 why"})
        EXPECT_THROW(compare(a, a, explanation), std::runtime_error) << explanation;
}

} // namespace
