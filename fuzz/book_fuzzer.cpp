// Loads arbitrary bytes as a book of the notebook. A book that loads must be stored as bytes that load as the
// same book.
#include "fuzz/support.h"

#include "examples/notebook/book.h"

#include <tarnkit/memory_file.h>

namespace {

using namespace Tarn;

Stopped load(CBook& book, const void* bytes, int size) {
    CMemoryFile file;
    if (size > 0)
        file.Write(bytes, size);
    file.SeekToBegin();
    return StopOf([&] { book.Load(file); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    CBook book;
    if (const Stopped stopped = load(book, data, static_cast<int>(size))) {
        MUST(book.Size() == 0);
        MUST(stopped.check == &ERR_BAD_ARCHIVE || stopped.check == &ERR_BAD_ARCHIVE_VERSION ||
             stopped.fileError == CFileException::endOfFile);
        return 0;
    }
    CMemoryFile stored;
    book.Save(stored);
    CBook again;
    MUST(!load(again, stored.GetBufferPtr(), stored.GetLength()));
    MUST(again.Size() == book.Size());
    for (int i = 0; i < book.Size(); i++)
        MUST(again.Note(i).Title == book.Note(i).Title && again.Note(i).Text == book.Note(i).Text &&
             again.Note(i).Time == book.Note(i).Time);
    return 0;
}
