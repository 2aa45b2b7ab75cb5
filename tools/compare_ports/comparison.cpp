#include "tools/compare_ports/comparison.h"

#include "tools/compare_ports/results.h"

#include <charconv>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace compare_ports {

namespace {

/// Cuts the part before the next `separator` off the front of `text`.
std::string_view takePart(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return part;
}

/// Cuts the part after the last `separator` off the end of `text`.
std::string_view takeLastPart(std::string_view& text, char separator) {
    const std::size_t begin = text.rfind(separator) + 1;
    const std::string_view part = text.substr(begin);
    text = text.substr(0, begin == 0 ? 0 : begin - 1);
    return part;
}

unsigned parseNumber(std::string_view digits) {
    constexpr int kHexadecimal = 16;
    unsigned number = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, kHexadecimal);
    if (error != std::errc() || stop != end)
        throw std::runtime_error("'" + std::string(digits) + "' is not the number of a case");
    return number;
}

std::ifstream openFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw std::runtime_error(name + ": the file cannot be read");
    return file;
}

/// A line of the list of explanations: the cases from one number to another in the groups that match a
/// pattern.
struct Explanation {
    std::string line;
    std::string pattern;
    unsigned first = 0;
    unsigned last = 0;
    bool isUsed = false;

    explicit Explanation(const std::string& text) : line(text) {
        std::string_view rest = line;
        std::string_view name = takePart(rest, ' ');
        std::string_view numbers = takeLastPart(name, '/');
        if (rest.empty())
            throw std::runtime_error("'" + line + "' gives no reason");
        pattern = name;
        first = parseNumber(takePart(numbers, '-'));
        last = numbers.empty() ? first : parseNumber(numbers);
    }

    bool Covers(std::string_view group, unsigned number) const {
        if (number < first || number > last)
            return false;
        for (std::string_view wanted = pattern; !wanted.empty() || !group.empty();) {
            const std::string_view part = takePart(wanted, '/');
            if (takePart(group, '/') != part && part != "*")
                return false;
        }
        return true;
    }
};

struct Count {
    long compared = 0;
    long explained = 0;
    long unexplained = 0;
};

class Comparison {
public:
    Comparison(const std::string& explanationsName, std::ostream& toReport) : report(toReport) {
        std::ifstream file = openFile(explanationsName);
        for (std::string line; std::getline(file, line);)
            if (!line.empty() && line[0] != '#')
                explanations.emplace_back(line);
    }

    /// Compares a line of one file with that of the other.
    void CompareLines(std::string_view a, std::string_view b) {
        std::string_view name = takePart(a, '\t');
        if (name != takePart(b, '\t'))
            throw std::runtime_error("the results at " + std::string(name) +
                                     " are not those of the same program");
        unsigned number = parseNumber(takeLastPart(name, '/'));
        Count& count = counts[std::string(name.substr(0, name.find('/')))];
        for (; !a.empty() || !b.empty(); number++) {
            const std::string_view resultA = takePart(a, '\t');
            const std::string_view resultB = takePart(b, '\t');
            count.compared++;
            if (resultA == resultB)
                continue;
            if (isExplained(name, number)) {
                count.explained++;
                continue;
            }
            count.unexplained++;
            report << CaseName(name, number) << ": " << resultA << " | " << resultB << '\n';
        }
    }

    /// Reports the totals; true when every difference is explained and every explanation is used.
    bool Finish() {
        Count all;
        for (const auto& [family, count] : counts) {
            reportCount(family, count);
            all.compared += count.compared;
            all.explained += count.explained;
            all.unexplained += count.unexplained;
        }
        reportCount("in all", all);
        bool areAllUsed = true;
        for (const Explanation& explanation : explanations) {
            if (explanation.isUsed)
                continue;
            areAllUsed = false;
            report << "This difference no longer exists: " << explanation.line << '\n';
        }
        return areAllUsed && all.unexplained == 0;
    }

private:
    bool isExplained(std::string_view group, unsigned number) {
        for (Explanation& explanation : explanations)
            if (explanation.Covers(group, number))
                return explanation.isUsed = true;
        return false;
    }

    void reportCount(const std::string& what, const Count& count) {
        report << what << ": " << count.compared << " results compared, " << count.explained
               << " explained differences, " << count.unexplained << " unexplained\n";
    }

    std::ostream& report;
    std::vector<Explanation> explanations;
    std::map<std::string, Count> counts;
};

} // namespace

bool Compare(const std::string& resultsA, const std::string& resultsB, const std::string& explanations,
             std::ostream& report) {
    std::ifstream a = openFile(resultsA);
    std::ifstream b = openFile(resultsB);
    Comparison comparison(explanations, report);
    std::string lineA;
    std::string lineB;
    for (;;) {
        const bool hasA = static_cast<bool>(std::getline(a, lineA));
        const bool hasB = static_cast<bool>(std::getline(b, lineB));
        if (hasA != hasB)
            throw std::runtime_error("one of the files ends before the other");
        if (!hasA)
            return comparison.Finish();
        comparison.CompareLines(lineA, lineB);
    }
}

} // namespace compare_ports
