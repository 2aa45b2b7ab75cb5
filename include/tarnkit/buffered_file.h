/// \file
/// CBufferedFile: gathers what is written to another file.
///
/// Files and text streams hand each value to the system when it is written. Through a buffered file, values
/// reach the file many at a time: when the buffer is full, by `Flush` and `Close`, before any other call that
/// the order of the bytes matters to, and when the object is destroyed. Until then they are lost if the
/// process is killed. Whoever must keep each line writes to the file itself.
///
/// The buffered file uses the other one, which must outlive it, and does not own it: only `Close` and `Abort`
/// close it. Whoever uses the other file directly calls `Flush` first. Exceptions of the file pass through
/// unchanged. Threads may use different objects, with different files, at the same time, but each object one
/// thread at a time.
///
/// \code
/// CFile file(u"table.txt", CFile::ForWriting | CFile::Create);
/// CBufferedFile buffered(&file);
/// CTextStream stream(&buffered, CTextStream::ANSI);
/// for (int i = 0; i < 1000; i++)
///     stream << i << "\r\n";
/// buffered.Close(); // throws if the system could not store everything
/// \endcode
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/file.h>

namespace Tarn {

/// Not exported, for the same reason as CArchiveConstants.
struct CBufferedFileConstants {
    /// In bytes, if the constructor is given no other.
    static constexpr int kDefaultBufferSize = 16384;
};

/// Gathers what is written to another file; see the top of this header.
class TARNKIT_API CBufferedFile : public CBaseFile, public CBufferedFileConstants {
public:
    /// `usedFile` must not be null. `size`, the bytes that the buffer has room for, is at least 1; otherwise
    /// it asserts, and there is no buffer.
    explicit CBufferedFile(CBaseFile* usedFile, int size = kDefaultBufferSize);
    /// Writes what waits in the buffer; a failure is thrown, unless another exception is unwinding the stack.
    ~CBufferedFile() noexcept(false) override;

    CBufferedFile(const CBufferedFile&) = delete;
    CBufferedFile& operator=(const CBufferedFile&) = delete;

    CUnicodeString GetFileName() override;
    int Read(void* data, int size) override;
    /// What could not be written stays in the buffer for the next attempt.
    void Write(const void* data, int size) override;
    /// The position that the file will have with what waits in the buffer.
    int GetPosition() const override;
    int Seek(int offset, TSeekPosition from) override;
    void SetLength(int length) override;
    /// The length that the file will have with what waits in the buffer.
    int GetLength() const override;
    /// Drops what waits in the buffer and aborts the file.
    void Abort() override;
    /// Writes what waits in the buffer and flushes the file.
    void Flush() override;
    /// Writes what waits in the buffer and closes the file; that also if writing failed.
    void Close() override;

private:
    void writeWaiting();

    CBaseFile* file;
    CArray<unsigned char> buffer;
    int waiting = 0; ///< that many bytes of the buffer

    friend struct CLayout<CBufferedFile>;
};
TARNKIT_LAYOUT(CBufferedFile, 24, file, buffer, waiting);

} // namespace Tarn
