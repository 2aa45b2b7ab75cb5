// Shared by the file tests: a fresh folder for each test, and reading and writing whole files as bytes.
#pragma once

#include "tests/support/failure.h"
#include "tests/support/fresh_folder.h"

#include <tarnkit/file_system.h>
#include <tarnkit/memory_file.h>

#include <fstream>
#include <iterator>

namespace Tarn {

/// Bytes, one per character.
using Bytes = std::string;

inline Bytes BytesOf(const Path& file) {
    std::ifstream stream(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

inline Bytes BytesOf(const CMemoryFile& file) {
    return {reinterpret_cast<const char*>(file.GetBufferPtr()), std::size_t(file.GetLength())};
}

inline void WriteBytes(const Path& file, const Bytes& bytes, bool isReadOnly = false) {
    std::filesystem::remove(file); // truncating an existing file would wait for the disk
    std::ofstream(file, std::ios::binary) << bytes;
    if (isReadOnly)
        std::filesystem::permissions(file, std::filesystem::perms::owner_read);
}

inline CUnicodeString NameOf(const Path& path) { return path.u16string().c_str(); }

/// A fresh folder that is the library's current directory for the duration of the test.
class FolderTest : public FreshFolder {
protected:
    FolderTest() { FileSystem::ChangeDir(Full("")); }
    ~FolderTest() override { FileSystem::ResetPaths(); }

    CUnicodeString Full(const char* name) const { return NameOf(folder / name); }
};

} // namespace Tarn
