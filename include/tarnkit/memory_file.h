/// \file
/// CMemoryFile: a file whose contents are one block of memory.
///
/// Archives and text streams use it as they use a file on disk. The file owns its block, which grows in fixed
/// steps (a large one is allocated with some room ahead, so that small steps do not copy it over and over); a
/// caller may hand over a block (`Attach`) or take the block away (`Detach`). Blocks are allocated with
/// `alloc_new_array` and freed with `alloc_delete_array`; a derived class that keeps its contents elsewhere
/// overrides `GrowBuffer` and `FreeBuffer`, calls `Close` in its own destructor and defines what copying and
/// moving mean. The name of every memory file is the text of `MSG_MEMORY_FILE`. Threads may use different
/// files at the same time, but each file one thread at a time.
///
/// \code
/// CMemoryFile file;
/// CArchive archive(&file, CArchive::Storing);
/// archive << CString("text");
/// archive.Close();
/// const int length = file.GetLength();  // ask first: a detached file is empty
/// unsigned char* bytes = file.Detach(); // now the caller's, to be freed with alloc_delete_array
/// \endcode
#pragma once

#include <tarnkit/file.h>

namespace Tarn {

/// Not exported, for the same reason as CArchiveConstants.
struct CMemoryFileConstants {
    /// In bytes, if the constructor is given no other.
    static constexpr int kDefaultGrowthStep = 1024;
};

/// A file in memory; see the top of this header.
class TARNKIT_API CMemoryFile : public CBaseFile, public CMemoryFileConstants {
public:
    /// An empty, open file. The block grows by multiples of `step` bytes; with a step of 0 it cannot grow.
    explicit CMemoryFile(int step = kDefaultGrowthStep);
    /// A copy shares the block, and only one of the two may free it: call `Detach` on the other. Assigning
    /// does not free the target's own block. `other` is not const for the same reason as in `CFile`.
    CMemoryFile(CMemoryFile& other) = default;
    CMemoryFile& operator=(const CMemoryFile&) = default;
    /// Moving takes the block over, after freeing that of the target, and leaves `other` as `Detach` does. A
    /// failure to free is not reported.
    CMemoryFile(CMemoryFile&& other) noexcept;
    CMemoryFile& operator=(CMemoryFile&& other) noexcept;
    /// Frees the block; a failure is thrown, unless another exception is unwinding the stack.
    ~CMemoryFile() noexcept(false) override;

    /// Whether the file has not been closed.
    bool IsOpen() const { return isOpen; }
    /// The block, or null if there is none; valid until the next write, `SetLength`, `Attach` or `Close`.
    const unsigned char* GetBufferPtr() const { return buffer; }

    /// Frees the present block and takes over `block`, which has room for `size` bytes (at least 1) and was
    /// allocated with `alloc_new_array`. The file is empty then; `SetLength` exposes what the block holds.
    void Attach(unsigned char* block, int size, int step);
    /// Gives the block to the caller, who frees it with `alloc_delete_array`. The file is empty then and
    /// stays open, so ask for the length first.
    unsigned char* Detach();

    CUnicodeString GetFileName() override;
    int Read(void* data, int size) override;
    /// `data` must not lie in the file's own block.
    void Write(const void* data, int size) override;
    int GetPosition() const override;
    /// A position below 0 or beyond the end throws the exception kind `badSeek` and leaves the file at 0.
    int Seek(int offset, TSeekPosition from) override;
    /// New bytes are whatever the block holds there. A position beyond the new end moves to it. Never frees
    /// memory.
    void SetLength(int length) override;
    int GetLength() const override;
    /// Does the same as `Close`.
    void Abort() override;
    /// Does nothing.
    void Flush() override;
    /// Frees the block. No call opens the file again, but writing to it still works and allocates a new
    /// block.
    void Close() override;

protected:
    /// Frees a block that `GrowBuffer` or `Attach` gave to the file.
    virtual void FreeBuffer(unsigned char* block);
    /// Returns a block of `newSize` bytes, more than `oldSize`, that begins with the `oldSize` bytes of
    /// `block`, and frees `block`, which may be null.
    virtual unsigned char* GrowBuffer(unsigned char* block, int oldSize, int newSize);

private:
    bool makeRoom(int size);
    void setBufferSize(int size);
    void freeBlock();

    unsigned char* buffer = nullptr;
    int bufferSize = 0;
    int fileLength = 0;
    int growthStep;
    int position = 0;
    bool isOpen = true;
    bool hasHiddenRoom = false; // the block is one of `GrowBuffer`'s own

    friend struct CLayout<CMemoryFile>;
};
TARNKIT_LAYOUT(CMemoryFile, 28, buffer, bufferSize, fileLength, growthStep, position, isOpen, hasHiddenRoom);

} // namespace Tarn
