// A folder for the files of a fuzzer.
#pragma once

#include <tarnkit/unicode_string.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

/// A folder that exists until the process ends.
class FuzzFolder {
public:
    FuzzFolder() {
        std::random_device random;
        do
            path = std::filesystem::temp_directory_path() / ("tarnkit-fuzz-" + std::to_string(random()));
        while (!std::filesystem::create_directory(path));
    }
    ~FuzzFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    FuzzFolder(const FuzzFolder&) = delete;
    FuzzFolder& operator=(const FuzzFolder&) = delete;

    std::filesystem::path path;
};

inline Tarn::CUnicodeString NameOf(const std::filesystem::path& path) { return path.u16string().c_str(); }

inline void WriteBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string BytesOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}
