// Writing a whole file so that its name never stands for half of it.
#pragma once

#include <tarnkit/file.h>

#include "files/temp_files.h"

namespace Tarn {

/// A file that is being written anew. What is written goes to a temporary file beside it; `Commit` stores
/// that and gives it the name in one step. Whatever happens before, the old file stays as it is. What cannot
/// be replaced is overwritten in place instead: a device, and a file that this user may write but not
/// replace, because he may not create files or take this name in its folder, or because it is mounted on its
/// own.
class CFileReplacement {
public:
    /// Throws as opening the file for writing does.
    explicit CFileReplacement(const CUnicodeString& fileName);
    ~CFileReplacement();

    CFileReplacement(const CFileReplacement&) = delete;
    CFileReplacement& operator=(const CFileReplacement&) = delete;

    /// Lets `write(file)` write. Its failures with the temporary file become failures with the file itself.
    template<class Write>
    void Fill(Write write) {
        TempFile::RunOnBehalfOf(name, file.UnicodeName(), [&] { write(file); });
    }
    void Commit();

private:
    CUnicodeString name;
    CUnicodeString temp; // empty when the file is overwritten in place, and when all is done
    CFile file;

    void openTemp();
    void takeName();
};

} // namespace Tarn
