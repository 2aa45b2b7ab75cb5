// A separate folder for a test, and whole files as bytes.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace Tarn {

namespace fs = std::filesystem;

inline constexpr bool kIsWindows = fs::path::preferred_separator == '\\';

/// Bytes, one per character.
using Bytes = std::string;

inline Bytes BytesOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

inline void WriteBytes(const fs::path& file, const Bytes& bytes, bool isReadOnly = false) {
    fs::remove(file); // truncating an existing file would wait for the disk
    std::ofstream(file, std::ios::binary) << bytes;
    if (isReadOnly)
        fs::permissions(file, fs::perms::owner_read);
}

/// Removes a folder with everything in it, including read-only files.
inline void RemoveFolder(const fs::path& folder) {
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
        : folder(fs::current_path() / name) {
        fs::create_directories(folder);
    }
    ~FreshFolder() override { RemoveFolder(folder); }

    const fs::path folder;
};

} // namespace Tarn
