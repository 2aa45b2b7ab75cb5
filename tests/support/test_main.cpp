// The main of every test program: a fresh folder, made current and named to everything that writes files,
// with a registry of its own; removed when the run ends.
#include "tests/support/system.h"

#include <gtest/gtest.h>

#include <random>

namespace {

namespace fs = std::filesystem;

fs::path makeFreshFolder() {
    std::random_device random;
    fs::path folder;
    do
        folder = fs::temp_directory_path() / ("tarnkit-test-" + std::to_string(random()));
    while (!fs::create_directory(folder));
    return folder;
}

void removeFolder(const fs::path& folder) {
    std::error_code ignored;
    for (auto& entry : fs::recursive_directory_iterator(folder, ignored))
        if (!entry.is_symlink())
            fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(folder, ignored);
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    Tarn::ReplaceDebugger();
    const fs::path folder = makeFreshFolder();
    Tarn::EnterOwnRegistry(folder);
    for (const char* variable : {"TMPDIR", "TMP", "TEMP", "HOME"})
        Tarn::SetEnvironment(variable, folder.string().c_str());
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_DESKTOP_DIR", "XDG_DOCUMENTS_DIR"})
        Tarn::SetEnvironment(variable, nullptr);
    fs::current_path(folder);
    const int result = RUN_ALL_TESTS();
    fs::current_path(folder.parent_path());
    Tarn::LeaveOwnRegistry();
    removeFolder(folder);
    return result;
}
