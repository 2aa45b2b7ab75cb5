// Reads arbitrary bytes as a PO file. Accepted entries must read the same after they are written out again.
#include "fuzz/support.h"

#include "tools/tarnmsg/po_file.h"
#include "tools/tarnmsg/unicode.h"

#include <vector>

namespace {

using namespace tarnmsg;

std::vector<PoEntry> read(const std::string& bytes, bool& isAccepted) {
    Diagnostics diagnostics;
    std::vector<PoEntry> entries = ReadPo(bytes, "input", diagnostics);
    isAccepted = !diagnostics.HasErrors();
    return entries;
}

void append(std::string& bytes, std::u16string_view text) {
    const auto addByte = [&bytes](unsigned value) {
        char escape[8];
        std::snprintf(escape, sizeof(escape), "\\%03o", value);
        bytes += escape;
    };
    for (std::size_t i = 0; i < text.size(); i++) {
        unsigned point = text[i];
        if (point >= 0xD800 && point < 0xDC00)
            point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00U);
        if (point < 0x80) {
            addByte(point);
            continue;
        }
        const int followers = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        addByte((0xFF00U >> (followers + 1) & 0xFF) | point >> (6 * followers));
        for (int rest = followers - 1; rest >= 0; rest--)
            addByte(0x80 | (point >> (6 * rest) & 0x3F));
    }
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
    for (const PoEntry& entry : entries) {
        bytes += entry.isFuzzy ? "#, fuzzy\nmsgid \"" : "msgid \"";
        append(bytes, *ToUtf16(entry.name));
        bytes += "\"\nmsgstr \"";
        append(bytes, entry.text);
        bytes += "\"\n";
    }
    const std::vector<PoEntry> again = read(bytes, isAccepted);
    MUST(isAccepted && again.size() == entries.size());
    for (std::size_t i = 0; i < entries.size(); i++)
        MUST(again[i].name == entries[i].name && again[i].text == entries[i].text &&
             again[i].isFuzzy == entries[i].isFuzzy);
    return 0;
}
