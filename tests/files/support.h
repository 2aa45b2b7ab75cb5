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

/// A fresh folder that is the library's current directory for the length of the test.
class FolderTest : public testing::Test {
protected:
    const Path folder =
        std::filesystem::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();

    void SetUp() override {
        std::filesystem::create_directory(folder);
        FileSystem::ChangeDir(Full(""));
    }
    void TearDown() override { FileSystem::ResetPaths(); }

    CUnicodeString Full(const char* name) const { return (folder / name).u16string().c_str(); }
};

/// What an action was stopped by: the error's name, the number of the kind of `CFileException`, or
/// "assertion";
/// "" when it was not stopped.
struct CFailure {
    std::string kind;
    DWORD code = 0;
    Path name; ///< of the file, or the source file that asserts
};

template<class Action>
CFailure FailureOf(Action action) {
    CFailure result;
    try {
        action();
    } catch (CException* e) {
        if (const auto* assertion = dynamic_cast<CInternalError*>(e))
            result = {"assertion", 0, assertion->SourceFile()};
        else if (const auto* check = dynamic_cast<CCheckException*>(e))
            result = {Path(check->Error().GetMessage().Name()).string(), 0, check->MessageText().Ptr()};
        else if (const auto* file = dynamic_cast<CFileException*>(e))
            result = {std::to_string(file->ErrorType()), file->ErrorCode(), PathOf(file->FileName())};
        e->Delete();
    }
    return result;
}

template<class Action>
std::string KindOf(Action action) {
    return FailureOf(action).kind;
}

template<class Action>
DWORD CodeOf(Action action) {
    return FailureOf(action).code;
}

inline const std::string kEndOfFile = "14";
inline const std::string kBadSeek = "9";
inline const std::string kDiskFull = "13";

} // namespace Tarn
