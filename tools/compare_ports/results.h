// What the families of results write, and what they make their inputs with.
//
// A line of results is the name of a case, which ends in a hexadecimal number, and after a tab the result of
// that case; further results on the same line are those of the cases of the next numbers. Results are text
// without tabs and line ends.
#pragma once

#include <tarnkit/types.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

namespace compare_ports {

class ResultFile {
public:
    explicit ResultFile(const std::string& name) : file(name, std::ios::binary) {}

    /// The result of the case `group`/`number`.
    void Add(const std::string& group, unsigned number, std::string_view result);

    /// Ends the file; false when it could not be written whole.
    bool Finish();

private:
    std::ofstream file;
    std::string lineGroup;
    unsigned nextNumber = 0;
};

/// As it stands in a file of results.
std::string CaseName(std::string_view group, unsigned number);

/// The same numbers on every system.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t Next();
    /// From 0 to below `end`.
    unsigned Below(unsigned end) { return static_cast<unsigned>(Next() % end); }
    bool OneIn(unsigned count) { return Below(count) == 0; }
    template<class Table>
    const auto& Pick(const Table& table) {
        return table[Below(static_cast<unsigned>(std::size(table)))];
    }

private:
    std::uint64_t state;
};

/// The units or bytes in hexadecimal digits, with a dot between units.
std::string Hex(std::u16string_view units);
std::string Hex(std::string_view bytes);
/// In quotes; what is not printable ASCII is in hexadecimal digits.
std::string Quoted(std::u16string_view text);
std::string Quoted(std::string_view text);
/// The code of a call that failed, as a result.
std::string Failure(DWORD code);

/// Texts and numbers with a blank between each two.
template<class... Parts>
std::string Words(const Parts&... parts) {
    std::string words;
    const auto add = [&words](const auto& part) {
        if (!words.empty())
            words += ' ';
        if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(part)>>)
            words += std::to_string(part);
        else
            words += part;
    };
    (add(parts), ...);
    return words;
}

// The families.
void PrintCodePages(ResultFile& results);
void PrintCases(ResultFile& results);
void PrintFormats(ResultFile& results);
void PrintIniFiles(ResultFile& results);
void PrintPaths(ResultFile& results);
void PrintRationals(ResultFile& results);
void PrintTimes(ResultFile& results);
void PrintRegistry(ResultFile& results);

} // namespace compare_ports
