/// \file
/// Names of files from and to the standard library's paths. Not part of tarnkit.h.
///
/// \code
/// std::ofstream stream(ToStandardPath(TempFile::New(nullptr)));
/// CFile file(FromStandardPath(std::filesystem::temp_directory_path() / "book"), CFile::ForReading);
/// \endcode
#pragma once

#include <tarnkit/file_system.h>

#include <filesystem>
#include <string>
#include <type_traits>

namespace Tarn {

/// Throws as `FileSystem::ToNative` does.
inline std::filesystem::path ToStandardPath(const CUnicodeString& name) {
    if constexpr (std::is_same_v<std::filesystem::path::value_type, char>)
        return FileSystem::ToNative(name).Ptr();
    else
        return std::u16string(name.Ptr(), static_cast<std::size_t>(name.GetLength()));
}

/// Throws as `FileSystem::FromNative` does; nothing is lost.
inline CUnicodeString FromStandardPath(const std::filesystem::path& path) {
    if constexpr (std::is_same_v<std::filesystem::path::value_type, char>)
        return FileSystem::FromNative(path.string().c_str());
    else
        return path.u16string().c_str();
}

} // namespace Tarn
