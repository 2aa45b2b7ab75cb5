// What the file tests share: a fresh folder for each test, whole files as bytes, and what an action failed
// with.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/messages.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Tarn {

/// Bytes, one to a character.
using Bytes = std::string;
using Path = std::filesystem::path;

inline Bytes BytesOf(const Path& file) {
    std::ifstream stream(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

inline void WriteBytes(const Path& file, const Bytes& bytes, bool isReadOnly = false) {
    std::filesystem::remove(file); // emptying a file that exists waits for the disk
    std::ofstream(file, std::ios::binary) << bytes;
    if (isReadOnly)
        std::filesystem::permissions(file, std::filesystem::perms::owner_read);
}

inline Path PathOf(const CUnicodeString& name) {
    std::u16string text = name.Ptr();
    std::replace(text.begin(), text.end(), u'\\', u'/');
    return text;
}

inline CUnicodeString NameOf(const Path& path) { return path.u16string().c_str(); }

/// A fresh folder that is the library's current directory for the length of the test.
class FolderTest : public testing::Test {
protected:
    const Path folder =
        std::filesystem::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();

    FolderTest() {
        std::filesystem::create_directory(folder);
        FileSystem::ChangeDir(Full(""));
    }
    ~FolderTest() override { FileSystem::ResetPaths(); }

    CUnicodeString Full(const char* name) const { return NameOf(folder / name); }
};

/// A failure with a file, as `FailureOf` tells it: by its code or, if no system call failed, by its kind.
inline std::string FileFailure(DWORD codeOrKind, const Path& file) {
    return std::to_string(codeOrKind) + " " + file.filename().string();
}

/// What stopped the action: "assertion", the name of an error, a `FileFailure`, or "" for nothing.
std::string FailureOf(auto action) {
    std::string result;
    try {
        action();
    } catch (CException* e) {
        if (const auto* failure = dynamic_cast<CFileException*>(e))
            result =
                FileFailure(failure->ErrorCode() != 0 ? failure->ErrorCode() : DWORD(failure->ErrorType()),
                            PathOf(failure->FileName()));
        else if (const auto* check = dynamic_cast<CCheckException*>(e))
            result = Path(check->Error().GetMessage().Name()).string();
        else
            result = dynamic_cast<CInternalError*>(e) != nullptr ? "assertion" : "other";
        e->Delete();
    }
    return result;
}

} // namespace Tarn
