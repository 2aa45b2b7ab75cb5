#include "tests/errors/reports.h"
#include "tests/support/fresh_folder.h"

#include <tarnkit/log_handler.h>

#include <regex>
#include <thread>

namespace Tarn {
namespace {

class LogHandler : public FreshFolder {
protected:
    CUnicodeString name{(folder / "a.log").u16string().c_str()};

    // The lines of all logs, the oldest first; each log but the current one must be there.
    std::vector<std::string> lines(int oldLogs) {
        std::vector<std::string> lines;
        for (int number = oldLogs; number >= 0; number--) {
            const std::string suffix = number > 0 ? "." + std::to_string(number) : "";
            EXPECT_TRUE(fs::exists(folder / ("a.log" + suffix)) || number == 0) << number;
            std::ifstream log(folder / ("a.log" + suffix), std::ios::binary);
            for (std::string line; std::getline(log, line);)
                lines.push_back(line);
        }
        return lines;
    }
};

TEST_F(LogHandler, PutsTimeProcessAndSeverityBeforeEachLine) {
    CLogMessageHandler handler(name);
    const auto began = std::chrono::system_clock::now();
    EXPECT_EQ(handler.ShowMessage(nullptr, u"Gr\u00FC\u00DFe\r\n\x1B[2J\n", u"", MB_YESNO | MB_ICONHAND), 6);
    handler.ShowMessage(nullptr, u"\u202Ex\r\n\r\ny", u"", MB_ICONEXCLAMATION);
    handler.ShowMessage(nullptr, u"", u"", MB_ICONQUESTION);
    handler.ShowMessage(nullptr, u"b", u"", 0);
    const char* const expected[] = {"error: Gr\u00FC\u00DFe",
                                    "error: \\x1B[2J",
                                    "warning: \\u202Ex",
                                    "warning: ",
                                    "warning: y",
                                    "question: ",
                                    "information: b"};
    const std::vector<std::string> found = lines(0);
    ASSERT_EQ(found.size(), std::size(expected));
    const std::regex form(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})Z \[(\d+)\] (.*))");
    for (std::size_t i = 0; i < found.size(); i++) {
        std::smatch parts;
        ASSERT_TRUE(std::regex_match(found[i], parts, form)) << found[i];
        EXPECT_EQ(parts[2], found[0].substr(26, parts[2].length())) << "the process";
        EXPECT_EQ(parts[3], expected[i]);
        std::tm time{};
        std::istringstream(parts[1]) >> std::get_time(&time, "%Y-%m-%d %H:%M:%S");
        const std::chrono::sys_days day(std::chrono::year(time.tm_year + 1900) / (time.tm_mon + 1) /
                                        time.tm_mday);
        const auto when = day + std::chrono::hours(time.tm_hour) + std::chrono::minutes(time.tm_min) +
                          std::chrono::seconds(time.tm_sec);
        EXPECT_LT(began - when, std::chrono::seconds(60)) << "UTC";
        EXPECT_LT(when - began, std::chrono::seconds(60));
    }
}

TEST_F(LogHandler, BeginsAnewBeforeItIsTooLargeAndKeepsSoManyOldLogs) {
    const auto log = [&](int oldLogs, int messages) {
        CLogMessageHandler handler(name, {.HasPrefix = false, .LargestSize = 10, .OldLogs = oldLogs});
        for (int i = 0; i < messages; i++)
            handler.ShowMessage(nullptr, UnicodeStr(100 + i), u"", 0);
    };
    log(2, 7);
    EXPECT_EQ(lines(2), (std::vector<std::string>{"102", "103", "104", "105", "106"}))
        << "two lines have 8 bytes each, and the oldest are gone";
    fs::remove(folder / "a.log.1");
    fs::create_directory(folder / "a.log.1"); // cannot become an old log
    log(2, 3);
    EXPECT_EQ(BytesOf(folder / "a.log"), "106\n100\n101\n102\n") << "nothing is lost";
    fs::remove(folder / "a.log.1");
    log(0, 1);
    EXPECT_EQ(BytesOf(folder / "a.log"), "100\n");
}

TEST_F(LogHandler, LosesNothingOfSeveralWriters) {
    const auto write = [this](int writer) {
        CLogMessageHandler handler(name, {.HasPrefix = false, .LargestSize = 200, .OldLogs = 50});
        for (int i = 0; i < 100; i++)
            handler.ShowMessage(nullptr, UnicodeStr(1000 * writer + i), u"", 0);
        return 0;
    };
    std::vector<std::thread> writers;
    for (int writer = 1; writer <= 4; writer++)
        writers.emplace_back([&, writer] {
            if (kFork && writer % 2 == 0)
                EXPECT_EQ(RunInChild([&] { return write(writer); }), 0);
            else
                write(writer);
        });
    for (std::thread& writer : writers)
        writer.join();
    std::multiset<std::string> expected;
    for (int i = 0; i < 400; i++)
        expected.insert(std::to_string(1000 * (i / 100 + 1) + i % 100));
    int oldLogs = 0;
    while (fs::exists(folder / ("a.log." + std::to_string(oldLogs + 1))))
        oldLogs++;
    const std::vector<std::string> found = lines(oldLogs);
    EXPECT_EQ(std::multiset(found.begin(), found.end()), expected);
}

} // namespace
} // namespace Tarn
