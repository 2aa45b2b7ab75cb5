// Reads arbitrary bytes as a PO file. Accepted entries must read the same after they are written out again.
#include "fuzz/support.h"

#include "tools/tarnmsg/po_writer.h"

#include <algorithm>
#include <vector>

namespace {

using namespace tarnmsg;

// A rule that is accepted has a form for every number.
void check(const PluralRule& rule) {
    for (const unsigned long long n : {0ULL, 1ULL, 2ULL, 1001ULL, ~0ULL})
        MUST(rule.FormOf(n) >= 0 && rule.FormOf(n) < rule.NumberOfForms());
    const std::string source = rule.Source();
    MUST(std::all_of(source.begin(), source.end(), [](char c) { return c >= ' ' && c < 127; }));
}

std::vector<PoEntry> read(const std::string& bytes, bool& isAccepted) {
    Diagnostics diagnostics;
    PoFile file = ReadPo(bytes, "input", diagnostics);
    isAccepted = !diagnostics.HasErrors();
    if (file.rule)
        check(*file.rule);
    return file.entries;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cerr.rdbuf(nullptr); // error messages are expected
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    bool isAccepted;
    const std::vector<PoEntry> entries = read(std::string(data, data + size), isAccepted);
    if (!isAccepted)
        return 0;
    std::string bytes;
    for (const PoEntry& entry : entries)
        bytes += WriteEntry(entry, {});
    const std::vector<PoEntry> again = read(bytes, isAccepted);
    MUST(isAccepted && again.size() == entries.size());
    for (std::size_t i = 0; i < entries.size(); i++)
        MUST(WriteEntry(again[i], {}) == WriteEntry(entries[i], {}) &&
             again[i].mayHaveOtherPlaceholders == entries[i].mayHaveOtherPlaceholders);
    return 0;
}
