// The main function of every test program. It runs the tests in a fresh folder, which is the current folder,
// the home folder and the folder of temporary files, with a separate registry; both are removed at the end.
#include "tests/support/fresh_folder.h"
#include "tests/support/system.h"

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
    Tarn::RemoveFolder(folder);
    return result;
}
