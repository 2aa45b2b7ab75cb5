#include "tools/tarnmsg/text_files.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <system_error>

namespace tarnmsg {

std::optional<std::string> ReadFile(const std::string& fileName, Diagnostics& diagnostics) {
    // Streams of some standard libraries end quietly where the file cannot be read.
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(fileName.c_str(), "rb"),
                                                               &std::fclose);
    if (file == nullptr) {
        diagnostics.Error({fileName, 1}, "the file cannot be opened");
        return std::nullopt;
    }
    std::string bytes;
    char piece[4096];
    while (const std::size_t size = std::fread(piece, 1, sizeof piece, file.get()))
        bytes.append(piece, size);
    if (std::ferror(file.get()) == 0)
        return bytes;
    diagnostics.Error({fileName, 1}, "the file cannot be read");
    return std::nullopt;
}

bool WriteFile(const std::string& fileName, const std::string& text) {
    const std::string temporaryName = fileName + ".part";
    std::ofstream file(temporaryName, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    std::error_code error;
    if (file.good()) {
        std::filesystem::rename(temporaryName, fileName, error);
        if (!error)
            return true;
    }
    std::cerr << Visible(fileName) << ": the file cannot be written\n";
    std::filesystem::remove(temporaryName, error);
    return false;
}

} // namespace tarnmsg
