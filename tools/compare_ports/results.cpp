#include "tools/compare_ports/results.h"

namespace compare_ports {

namespace {

constexpr unsigned kResultsOfALine = 256;

std::string hex(std::uint64_t number, int digits) {
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[number >> shift & 0xF];
    return text;
}

template<class Unit>
std::string hexOf(Unit unit) {
    return hex(static_cast<std::make_unsigned_t<Unit>>(unit), 2 * sizeof(Unit));
}

template<class Unit>
std::string quoted(std::basic_string_view<Unit> text) {
    std::string result = "'";
    for (const Unit unit : text)
        if (unit >= 0x20 && unit < 0x7F)
            result += static_cast<char>(unit);
        else
            result += "{" + hexOf(unit) + "}";
    return result + "'";
}

} // namespace

std::string CaseName(std::string_view group, unsigned number) {
    return std::string(group) + "/" + hex(number, 4);
}

void ResultFile::Add(const std::string& group, unsigned number, std::string_view result) {
    if (number != nextNumber || number % kResultsOfALine == 0 || group != lineGroup) {
        if (!lineGroup.empty())
            file << '\n';
        file << CaseName(group, number);
        lineGroup = group;
    }
    file << '\t' << result;
    nextNumber = number + 1;
}

bool ResultFile::Finish() {
    file << '\n';
    file.close();
    return file.good();
}

// SplitMix64.
std::uint64_t Random::Next() {
    state += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = (state ^ state >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
}

std::string Hex(std::u16string_view units) {
    std::string text;
    for (const char16_t unit : units)
        text += (text.empty() ? "" : ".") + hexOf(static_cast<std::uint16_t>(unit));
    return text;
}

std::string Hex(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes)
        text += hexOf(byte);
    return text;
}

std::string Quoted(std::u16string_view text) { return quoted(text); }
std::string Quoted(std::string_view text) { return quoted(text); }
std::string Failure(DWORD code) { return Words("error", code); }

} // namespace compare_ports
