// Shared by the file tests: a fresh folder for each test, and names of files.
#pragma once

#include "tests/support/failure.h"
#include "tests/support/fresh_folder.h"

#include <tarnkit/file_system.h>
#include <tarnkit/memory_file.h>

namespace Tarn {

inline Bytes BytesOf(const CMemoryFile& file) {
    return {reinterpret_cast<const char*>(file.GetBufferPtr()), std::size_t(file.GetLength())};
}

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
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
