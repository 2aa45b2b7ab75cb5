#include <tarnkit/buffered_file.h>

#include "errors/requirement.h"
#include "memory/in_destructor.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace Tarn {

namespace {

constexpr CRequirement require(u"BufferedFile");

} // namespace

CBufferedFile::CBufferedFile(CBaseFile* usedFile, int size) : file(usedFile) {
    if (require(usedFile != nullptr && size >= 1, __LINE__))
        buffer.SetSize(size);
}

CBufferedFile::~CBufferedFile() noexcept(false) {
    RunInDestructor([this] { writeWaiting(); });
}

CUnicodeString CBufferedFile::GetFileName() { return file->GetFileName(); }

int CBufferedFile::Read(void* data, int size) {
    writeWaiting();
    return file->Read(data, size);
}

void CBufferedFile::Write(const void* data, int size) {
    if (size == 0 || !require(data != nullptr && size > 0, __LINE__))
        return;
    if (size > buffer.Size() - waiting)
        writeWaiting();
    if (size >= buffer.Size()) {
        file->Write(data, size);
        return;
    }
    std::copy_n(static_cast<const unsigned char*>(data), size, buffer.Ptr() + waiting);
    waiting += size;
}

int CBufferedFile::GetPosition() const {
    const int position = file->GetPosition();
    return require(waiting <= INT_MAX - position, __LINE__) ? position + waiting : position;
}

int CBufferedFile::Seek(int offset, TSeekPosition from) {
    writeWaiting();
    return file->Seek(offset, from);
}

void CBufferedFile::SetLength(int length) {
    writeWaiting();
    file->SetLength(length);
}

int CBufferedFile::GetLength() const {
    const int length = file->GetLength();
    return waiting > 0 ? std::max(length, GetPosition()) : length;
}

void CBufferedFile::Abort() {
    waiting = 0;
    file->Abort();
}

void CBufferedFile::Flush() {
    writeWaiting();
    file->Flush();
}

void CBufferedFile::Close() {
    try {
        writeWaiting();
    } catch (...) {
        Abort();
        throw;
    }
    file->Close();
}

void CBufferedFile::writeWaiting() {
    if (waiting == 0)
        return;
    file->Write(buffer.Ptr(), waiting);
    waiting = 0;
}

} // namespace Tarn
