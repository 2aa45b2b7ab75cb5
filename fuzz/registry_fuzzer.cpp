// Takes arbitrary bytes for the user's store of the registry, in the folder that TARNKIT_REGISTRY names.
// Every call must end with a result; reading must leave the file as it is; what was written without a failure
// must be read.
#include "fuzz/files.h"
#include "fuzz/support.h"

#include <tarnkit/registry_key.h>
#include <tarnkit/types.h>

#include <cstdlib>

namespace {

using namespace Tarn;

constexpr int kMost = 200; // keys and values that are looked at

void readAll(HKEY parent, const CUnicodeString& name, int& left, int depth) {
    CRegistryKey key(true);
    key.Open(parent, name.Ptr());
    if (!key.IsValid() || depth > 40)
        return;
    CArray<CUnicodeString> names;
    key.GetStringValueNames(names);
    for (int i = 0; i < names.Size() && left-- > 0; i++)
        key.QueryStringValue(names[i].Ptr(), u"");
    key.GetSubKeys(names);
    for (int i = 0; i < names.Size() && left-- > 0; i++)
        readAll(key.GetKey(), names[i], left, depth + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const char* const folder = std::getenv("TARNKIT_REGISTRY");
    MUST(folder != nullptr); // never the user's own
    std::filesystem::create_directories(folder);
    const std::filesystem::path path = std::filesystem::path(folder) / "user.db";
    for (const char* rest : {"", "-wal", "-shm", "-journal"})
        std::filesystem::remove(path.string() + rest);
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    WriteBytes(path, bytes);
    int left = kMost;
    readAll(HKEY_CURRENT_USER, u"Software", left, 0);
    MUST(BytesOf(path) == bytes);

    CRegistryKey key(false);
    key.Open(HKEY_CURRENT_USER, u"Software\\Fuzz");
    if (key.IsValid() && key.SetStringValue(u"name", u"value"))
        MUST(key.QueryStringValue(u"name", u"") == u"value");
    return 0;
}
