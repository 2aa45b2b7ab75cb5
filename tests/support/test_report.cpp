#include "tests/support/test_report.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace Tarn {

namespace {

class CTestReport : public testing::EmptyTestEventListener {
public:
    explicit CTestReport(const char* name) : file(std::filesystem::absolute(name)) {}

    void OnTestEnd(const testing::TestInfo& test) override {
        const testing::TestResult& result = *test.result();
        std::string line = result.Skipped() ? "skipped" : "run";
        line = line + '\t' + test.test_suite_name() + '.' + test.name() + '\t';
        for (int i = 0; i < result.total_part_count(); i++)
            if (result.GetTestPartResult(i).skipped())
                line += result.GetTestPartResult(i).message();
        std::ofstream(file, std::ios::app | std::ios::binary) << line + '\n';
    }

private:
    std::filesystem::path file;
};

} // namespace

void ReportTests() {
    if (const char* name = std::getenv("TARNKIT_TEST_REPORT"))
        testing::UnitTest::GetInstance()->listeners().Append(new CTestReport(name));
}

} // namespace Tarn
