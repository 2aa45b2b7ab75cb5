// A separate folder for a test.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>

namespace Tarn {

/// Removes a folder with everything in it, including read-only files.
inline void RemoveFolder(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (auto& entry : fs::recursive_directory_iterator(folder, ignored))
        if (!entry.is_symlink())
            fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(folder, ignored);
}

/// A fixture with an empty folder for the duration of the test, named after the test by default.
class FreshFolder : public testing::Test {
protected:
    explicit FreshFolder(const char* name = testing::UnitTest::GetInstance()->current_test_info()->name())
        : folder(std::filesystem::current_path() / name) {
        std::filesystem::create_directories(folder);
    }
    ~FreshFolder() override { RemoveFolder(folder); }

    const std::filesystem::path folder;
};

} // namespace Tarn
