#include "tools/tarnmsg/text_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace tarnmsg {

std::optional<std::string> ReadFile(const std::string& fileName, Diagnostics& diagnostics) {
    try {
        std::ifstream file(fileName, std::ios::binary);
        if (std::string bytes{std::istreambuf_iterator<char>(file), {}}; file.is_open())
            return bytes;
        diagnostics.Error({fileName, 1}, "the file cannot be opened");
    } catch (const std::ios_base::failure&) {
        diagnostics.Error({fileName, 1}, "the file cannot be read");
    }
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
