// compare_ports: shows where the two ports, and the library's results on them, differ. A build for each port
// writes its results for the same generated inputs to a file; then the files are compared. See `kUsage`.
#include "tools/compare_ports/comparison.h"
#include "tools/compare_ports/results.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <vector>

namespace {

using namespace compare_ports;

constexpr int kExitDifferent = 1;
constexpr int kExitUsage = 2;

constexpr char kUsage[] = R"(Usage: compare_ports print RESULTS [FAMILY...]
           write the results of this port (of all families by default)
       compare_ports compare RESULTS RESULTS EXPLANATIONS
           show the differences that EXPLANATIONS does not list
Families: code-pages cases formats ini paths rationals times registry
)";

constexpr struct {
    std::string_view name;
    void (*print)(ResultFile& results);
} kFamilies[] = {
    {"code-pages", PrintCodePages}, {"cases", PrintCases},       {"formats", PrintFormats},
    {"ini", PrintIniFiles},         {"paths", PrintPaths},       {"rationals", PrintRationals},
    {"times", PrintTimes},          {"registry", PrintRegistry},
};

bool print(const std::string& name, const std::vector<std::string>& families) {
    ResultFile results(name);
    for (const auto& family : kFamilies)
        if (families.empty() || std::find(families.begin(), families.end(), family.name) != families.end())
            family.print(results);
    if (results.Finish())
        return true;
    std::cerr << name << ": the file cannot be written\n";
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        if (words.size() >= 2 && words[0] == "print")
            return print(words[1], {words.begin() + 2, words.end()}) ? 0 : kExitDifferent;
        if (words.size() == 4 && words[0] == "compare")
            return Compare(words[1], words[2], words[3], std::cout) ? 0 : kExitDifferent;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return kExitDifferent;
    }
    std::cerr << kUsage;
    return kExitUsage;
}
