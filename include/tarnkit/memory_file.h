// CMemoryFile: a file whose contents are one block of memory.
//
// Archives and text streams write into it and read from it as they do with a file on disk. The file owns its
// block, which grows in fixed steps; a caller may hand over a block of his own (`Attach`) or take the block
// away (`Detach`). Blocks come from `alloc_new_array` and go back through `alloc_delete_array`; a derived
// class that overrides `GrowBuffer` and `FreeBuffer` keeps the contents elsewhere, and calls `Close` in its
// own destructor. Copies share the block, so that only one of them may free it: the others are to be
// detached. The name of every memory file is the text of MSG_MEMORY_FILE. One thread at a time.
#pragma once

#include <tarnkit/file.h>

namespace Tarn {

class TARNKIT_API CMemoryFile : public CBaseFile {
public:
    static constexpr int kDefaultGrowthStep = 1024;

    /// An empty, open file. The block grows by multiples of `step` bytes; with 0 it cannot grow.
    explicit CMemoryFile(int step = kDefaultGrowthStep);
    CMemoryFile(const CMemoryFile&) = default;
    CMemoryFile& operator=(const CMemoryFile&) = default;
    /// Frees the block; a failure is thrown, unless another exception is on its way.
    ~CMemoryFile() noexcept(false) override;

    bool IsOpen() const { return isOpen; }
    /// The block, null when there is none; valid until the next write, `SetLength`, `Attach` or `Close`.
    const unsigned char* GetBufferPtr() const { return buffer; }

    /// Makes `block` the file's own in place of the present one: room for `size` bytes (at least 1) to write
    /// into, from `alloc_new_array`. The file is empty then; `SetLength` exposes what the block holds.
    void Attach(unsigned char* block, int size, int step);
    /// Gives the block to the caller, who frees it with `alloc_delete_array`. The file is empty then and
    /// stays open: ask for the length before.
    unsigned char* Detach();

    CUnicodeString GetFileName() override;
    int Read(void* data, int size) override;
    /// `data` lies outside of the file's block.
    void Write(const void* data, int size) override;
    int GetPosition() const override;
    /// There is nothing beyond the end: a position outside of 0 to the length throws the bad-seek kind and
    /// leaves the file at 0.
    int Seek(int offset, TSeekPosition from) override;
    /// New bytes are whatever the block holds there. Keeps the position, unless it is behind the new end,
    /// and gives no memory back.
    void SetLength(int length) override;
    int GetLength() const override;
    /// The same as `Close`.
    void Abort() override;
    /// Does nothing.
    void Flush() override;
    /// Frees the block. Nothing opens the file again; what is written all the same begins a fresh block.
    void Close() override;

protected:
    virtual void FreeBuffer(unsigned char* block);
    /// A block of `newSize` bytes, more than `oldSize`, that begins with the `oldSize` bytes of `block`.
    /// Frees `block`, which may be null.
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

    friend struct CLayout<CMemoryFile>;
};
TARNKIT_LAYOUT(CMemoryFile, 28, buffer, bufferSize, fileLength, growthStep, position, isOpen);

} // namespace Tarn
