// Compiles arbitrary bytes, two PO files one after the other, as the catalogue of a module and its original.
// The sources must be plain ASCII and hold the texts that were read.
#include "fuzz/files.h"
#include "fuzz/support.h"

#include "tools/tarnmsg/writers.h"

#include <algorithm>
#include <iostream>

namespace {

using namespace tarnmsg;

// The wide literals of a resource script, with their escapes resolved.
std::u16string literalsOf(const std::string& script) {
    std::u16string units;
    for (std::size_t i = script.find("L\""); i != std::string::npos; i = script.find("L\"", i))
        for (i += 2; script.at(i) != '"'; i++)
            if (script[i] == '\\') {
                MUST(script.at(i + 1) == 'x');
                units.push_back(static_cast<char16_t>(std::stoi(script.substr(i + 2, 4), nullptr, 16)));
                i += 5;
            } else {
                units.push_back(static_cast<char16_t>(script[i]));
            }
    return units;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::cerr.rdbuf(nullptr); // error messages are expected
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const FuzzFolder folder;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(bytes.find('\f'), bytes.size());
    CatalogueOptions options;
    options.fileName = (folder.path / "texts.po").string();
    WriteBytes(options.fileName, bytes.substr(0, end));
    if (end < bytes.size()) {
        options.originalFileName = (folder.path / "original.po").string();
        WriteBytes(options.originalFileName, bytes.substr(end + 1));
    }
    Diagnostics diagnostics;
    options.isChecking = options.isFilling = size % 2 != 0;
    const Catalogue catalogue = ReadCatalogue(options, diagnostics);
    if (diagnostics.HasErrors())
        return 0;
    const std::string script = WriteResourceScript(catalogue, "texts.po", 1033);
    for (const std::string& source :
         {WritePosixSource(catalogue, "texts.po"), WriteWindowsSource(catalogue, "texts.po"), script})
        MUST(std::all_of(source.begin(), source.end(),
                         [](char c) { return c == '\n' || (c >= ' ' && c < 127); }));
    std::u16string texts;
    for (const auto& [id, text] : StringsOf(catalogue))
        texts += text;
    MUST(literalsOf(script) == texts);
    return 0;
}
