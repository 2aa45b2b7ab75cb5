// The main of every test program: a fresh folder, made current and named to everything that writes files,
// with a registry of its own; removed when the run ends.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::filesystem::path makeFreshFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tarnkit-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        std::abort();
    return name;
}

void removeFolder(const std::filesystem::path& folder) {
    std::error_code ignored;
    for (auto& entry : std::filesystem::recursive_directory_iterator(folder, ignored))
        if (entry.is_directory() && !entry.is_symlink())
            std::filesystem::permissions(entry, std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(folder, ignored);
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const std::filesystem::path folder = makeFreshFolder();
    setenv("TARNKIT_REGISTRY", (folder / "registry").c_str(), 1);
    for (const char* variable : {"TMPDIR", "HOME"})
        setenv(variable, folder.c_str(), 1);
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_DESKTOP_DIR", "XDG_DOCUMENTS_DIR"})
        unsetenv(variable);
    std::filesystem::current_path(folder);
    const int result = RUN_ALL_TESTS();
    std::filesystem::current_path("/");
    removeFolder(folder);
    return result;
}
