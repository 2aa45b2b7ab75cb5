// What the file tests share: a fresh folder for each test, whole files as bytes, and what an action failed
// with.
#pragma once

#include <tarnkit/exceptions.h>
#include <tarnkit/file_system.h>
#include <tarnkit/messages.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Tarn {

/// Bytes, one to a character.
using Bytes = std::string;

inline Bytes BytesOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

inline void WriteBytes(const std::filesystem::path& file, const Bytes& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

inline std::u16string TextOf(const CUnicodeString& text) { return std::u16string(text.Ptr()); }

/// A fresh folder that is the library's current directory for the length of the test.
class FolderTest : public testing::Test {
protected:
    const std::filesystem::path folder =
        std::filesystem::current_path() / testing::UnitTest::GetInstance()->current_test_info()->name();

    void SetUp() override {
        std::filesystem::create_directory(folder);
        FileSystem::ChangeDir(Full(""));
    }
    void TearDown() override { FileSystem::ResetPaths(); }

    CUnicodeString Full(const char* name) const {
        return CUnicodeString((folder / name).u16string().c_str());
    }
    static void SetReadOnly(const std::filesystem::path& file) {
        std::filesystem::permissions(file, std::filesystem::perms::owner_read);
    }
};

/// What an action was stopped by. `kind` is "" when it was not, else one of the classes below, a kind of
/// `CFileException` as a number, or the name of an error.
struct CFailure {
    std::u16string kind;
    DWORD code = 0;
    std::u16string name;
};

template<class Action>
CFailure FailureOf(Action action) {
    try {
        action();
    } catch (CInternalError* e) {
        const CFailure result{std::u16string(u"assertion in ") + e->SourceFile(), 0, u""};
        e->Delete();
        return result;
    } catch (CCheckException* e) {
        const CFailure result{e->Error().GetMessage().Name(), 0, TextOf(e->MessageText())};
        e->Delete();
        return result;
    } catch (CFileException* e) {
        const std::string type = std::to_string(e->ErrorType());
        const CFailure result{std::u16string(type.begin(), type.end()), e->ErrorCode(),
                              TextOf(e->FileName())};
        e->Delete();
        return result;
    } catch (CMemoryException* e) {
        e->Delete();
        return {u"memory", 0, u""};
    }
    return {};
}

/// The system code that a file operation failed with.
template<class Action>
DWORD CodeOf(Action action) {
    return FailureOf(action).code;
}

inline const std::u16string kEndOfFile = u"14";
inline const std::u16string kBadSeek = u"9";
inline const std::u16string kDiskFull = u"13";

} // namespace Tarn
