// Shared by the tests of files: the codes of calls, access to whole files, and a fresh folder.
#pragma once

#include "tests/platform/codes.h"
#include "tests/support/fresh_folder.h"

namespace P = Tarn::Platform;
using P::expectEach;
using P::orWines;
using P::Text;
using Tarn::Int64;
using Tarn::kDocumentedCalls;
using Tarn::kReadOnlyFiles;
using Tarn::UInt64;

constexpr DWORD kRead = GENERIC_READ;
constexpr DWORD kWrite = GENERIC_WRITE;
constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD kUntouched = 0xABCD;

using Names = std::vector<Text>;

/// 0 if the call succeeds, otherwise the last error that it sets.
template<class Call>
DWORD codeOf(Call call) {
    P::SetLastError(kUntouched);
    return call() ? ERROR_SUCCESS : P::GetLastError();
}

class Opened {
public:
    Opened(const Text& name, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING,
           DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
        P::SetLastError(kUntouched);
        handle = P::CreateFileW(name.c_str(), access, share, disposition, attributes);
        code = P::GetLastError();
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() { Close(); }

    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    DWORD Failure() const { return IsOpen() ? ERROR_SUCCESS : code; }
    void Close() {
        if (IsOpen()) {
            EXPECT_TRUE(P::CloseHandle(handle));
        }
        handle = INVALID_HANDLE_VALUE;
    }
    operator HANDLE() const { return handle; }

    DWORD code;

private:
    HANDLE handle;
};

inline void put(const Text& name, const std::string& bytes) {
    const Opened file(name, kWrite, 0, CREATE_ALWAYS);
    DWORD written = 0;
    EXPECT_TRUE(P::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written));
    EXPECT_EQ(written, bytes.size());
}

inline std::string get(const Text& name) {
    const Opened file(name, kRead, kShareAll);
    EXPECT_TRUE(file.IsOpen());
    std::string bytes(1000, '\0');
    DWORD read = 0;
    EXPECT_TRUE(P::ReadFile(file, bytes.data(), 1000, &read));
    bytes.resize(read);
    return bytes;
}

inline bool exists(const Text& name) {
    return P::GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// The names that a search finds, including "." and "..", or its failure as text.
inline Names find(const Text& pattern) {
    WIN32_FIND_DATAW data;
    HANDLE search = nullptr;
    const DWORD code =
        codeOf([&] { return (search = P::FindFirstFileW(pattern.c_str(), &data)) != INVALID_HANDLE_VALUE; });
    if (code != ERROR_SUCCESS)
        return {u"failure", Text(1, static_cast<char16_t>(code))};
    Names names;
    do
        names.push_back(reinterpret_cast<const char16_t*>(data.cFileName));
    while (P::FindNextFileW(search, &data));
    EXPECT_EQ(P::GetLastError(), ERROR_NO_MORE_FILES);
    EXPECT_TRUE(P::FindClose(search));
    std::sort(names.begin(), names.end());
    return names;
}

// Creates the folder "files" with a file "file" that contains "old" and a folder "folder".
class Files : public Tarn::FreshFolder {
protected:
    Files() : FreshFolder("files") {
        put(base + u"file", "old");
        EXPECT_TRUE(P::CreateDirectoryW((base + u"folder").c_str()));
    }
    /// A function that passes names in the folder to `call` and returns the code.
    template<class Call>
    auto with(Call call) {
        return [=, this](auto... names) { return codeOf([&] { return call((base + names).c_str()...); }); };
    }
    static BOOL copyOver(const char16_t* from, const char16_t* to) { return P::CopyFileW(from, to, FALSE); }
    static BOOL replace(const char16_t* from, const char16_t* to) {
        return P::MoveFileExW(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    }
    static BOOL copyNew(const char16_t* from, const char16_t* to) { return P::CopyFileW(from, to, TRUE); }
    const Text base = folder.u16string() + u"\\";
};
