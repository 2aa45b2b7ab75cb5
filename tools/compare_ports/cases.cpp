// The case mappings and character classes of every 16-bit unit.
#include "platform/platform.h"
#include "tools/compare_ports/results.h"

#include <tarnkit/unicode_string.h>

namespace compare_ports {

namespace {

using namespace Tarn;

/// The result of `map` for every unit.
template<class Map>
void printUnits(ResultFile& results, const std::string& group, Map map) {
    for (unsigned value = 0; value <= 0xFFFF; value++)
        results.Add(group, value, map(static_cast<char16_t>(value)));
}

/// The result of a call for every unit and for every surrogate pair of the first supplementary plane.
template<class Call>
void printCase(ResultFile& results, const std::string& group, Call call) {
    printUnits(results, group, [=](char16_t unit) {
        call(&unit, 1);
        return Hex({&unit, 1});
    });
    printUnits(results, group + "-pair", [=](char16_t low) {
        char16_t pair[] = {static_cast<char16_t>(0xD800 + (low >> 10)),
                           static_cast<char16_t>(0xDC00 + (low & 0x3FF))};
        call(pair, 2);
        return Hex({pair, 2});
    });
}

bool isSpace(char16_t unit) {
    CUnicodeString text(unit, 1);
    text.Trim();
    return text.IsEmpty();
}

bool isParameterDigit(char16_t unit) {
    const CUnicodeString text = CUnicodeString(u'%', 1) + unit;
    return text.SubstParam(nullptr, 0) != text;
}

std::string numberOf(char16_t unit) {
    int number = -1;
    return CUnicodeString(unit, 1).Value(number, 36) ? std::to_string(number) : "-";
}

} // namespace

void PrintCases(ResultFile& results) {
    printCase(results, "case/upper", Platform::CharUpperBuffW);
    printCase(results, "case/lower", Platform::CharLowerBuffW);
    printUnits(results, "class/space", [](char16_t unit) { return isSpace(unit) ? "1" : "0"; });
    printUnits(results, "class/parameter", [](char16_t unit) { return isParameterDigit(unit) ? "1" : "0"; });
    printUnits(results, "class/number", numberOf);
}

} // namespace compare_ports
