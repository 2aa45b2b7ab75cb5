// Keeps a second program from changing the same book at the same time: the later one is told that the book is
// in use.
#pragma once

#include <tarnkit/file.h>
#include <tarnkit/file_system.h>

class CBookLock {
public:
    explicit CBookLock(const Tarn::CUnicodeString& bookName)
        : name(bookName + u".lock"),
          file(name, Tarn::CFile::ForWriting | Tarn::CFile::Create | Tarn::CFile::KeepContents),
          isEmpty(file.GetLength() == 0) {}
    ~CBookLock() {
        file.Abort();
        if (isEmpty) // otherwise it is a file of the user's that happens to have this name
            Tarn::FileSystem::RemoveIgnoreErrors(name);
    }
    CBookLock(const CBookLock&) = delete;
    CBookLock& operator=(const CBookLock&) = delete;

private:
    Tarn::CUnicodeString name;
    Tarn::CFile file;
    bool isEmpty;
};
