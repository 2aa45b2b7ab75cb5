/// \file
/// The file of results that the families write, and the random numbers that their inputs are made from.
///
/// A line starts with the name of a case, which ends in a hexadecimal number, followed after a tab by its
/// result. Further results on the same line, each after a tab, belong to the cases with the next numbers.
/// Results are text without tabs and line ends.
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

    /// Closes the file; false if it could not be written completely.
    bool Finish();

private:
    std::ofstream file;
    std::string lineGroup;
    unsigned nextNumber = 0;
};

/// The name of a case in a file of results.
std::string CaseName(std::string_view group, unsigned number);

/// The same numbers on every system.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}

    std::uint64_t Next();
    /// At least 0 and less than `end`.
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
/// In quotes, with hexadecimal digits for whatever is not printable ASCII.
std::string Quoted(std::u16string_view text);
std::string Quoted(std::string_view text);
/// The result of a call that failed with this error code.
std::string Failure(DWORD code);

/// Texts and numbers, separated by blanks.
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
