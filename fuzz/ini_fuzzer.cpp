// Reads arbitrary bytes as an INI file, sets values in it and saves it. What is saved must read as what was
// there, and what was read from a saved file must be saved as the same bytes. (The first time, keys may lose
// white space before them.)
#include "fuzz/files.h"
#include "fuzz/support.h"

#include <tarnkit/ini_file.h>

#include <vector>

namespace {

using namespace Tarn;

struct Entry {
    CUnicodeString section, key, value;
};

bool isRefusal(const Stopped& stopped) {
    return stopped.check == &REFUSED_INI_KEY || stopped.check == &REFUSED_INI_TEXT;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const FuzzFolder folder;
    const std::filesystem::path path = folder.path / "file.ini";
    FuzzInput input(data, size);
    std::vector<Entry> entries(static_cast<std::size_t>(input.TakeIn(0, 5)));
    for (Entry& entry : entries) {
        entry.section = UnicodeTextOf(input.TakeString(8));
        entry.key = UnicodeTextOf(input.TakeString(8));
        entry.value = UnicodeTextOf(input.TakeString(16));
    }
    const std::string bytes = input.TakeRest();
    WriteBytes(path, bytes);
    CIniFile file(NameOf(path));
    const Stopped loading = StopOf([&] { file.Reload(); });
    if (loading) {
        MUST(loading.check == &ERR_BAD_INI_FILE || loading.check == &ERR_BAD_TEXT_FILE);
        return 0;
    }
    for (const Entry& entry : entries) {
        const bool had = file.HasKey(entry.section, entry.key);
        const CUnicodeString before = file.GetString(entry.section, entry.key, u"-");
        const Stopped refusal = StopOf([&] { file.SetString(entry.section, entry.key, entry.value); });
        MUST(refusal ? isRefusal(refusal) : file.HasKey(entry.section, entry.key));
        MUST(!refusal || (file.HasKey(entry.section, entry.key) == had &&
                          file.GetString(entry.section, entry.key, u"-") == before));
    }
    if (const Stopped saving = StopOf([&] { file.Save(); })) {
        MUST(saving.check == &ERR_BAD_TEXT_FILE && BytesOf(path) == bytes);
        StopOf([&] { file.Reload(); }); // drops the changes
        return 0;
    }
    std::string saved[2];
    for (std::string& bytesOfThis : saved) {
        CIniFile again(NameOf(path));
        for (const Entry& entry : entries)
            MUST(again.GetString(entry.section, entry.key, u"-") ==
                 file.GetString(entry.section, entry.key, u"-"));
        again.Save();
        bytesOfThis = BytesOf(path);
    }
    MUST(saved[0] == saved[1]);
    return 0;
}
