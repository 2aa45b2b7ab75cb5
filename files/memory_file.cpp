#include <tarnkit/exceptions.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>

#include "errors/requirement.h"
#include "memory/in_destructor.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <utility>

namespace Tarn {

namespace {

constexpr CRequirement require(u"MemoryFile");

void copyBytes(void* to, const void* from, int size) {
    if (size > 0)
        std::memcpy(to, from, static_cast<std::size_t>(size));
}

// The room that a block has which was allocated for `size` bytes. Large blocks have more than the growth
// steps show, so that a file of any length copies its contents a few times only, however small its steps are.
int roomFor(int size) {
    constexpr int kExactUpTo = 0x1000;
    if (size <= kExactUpTo)
        return size;
    const Int64 grain = std::bit_floor(static_cast<unsigned>(size)) / 4;
    return static_cast<int>(std::min<Int64>((size + grain - 1) / grain * grain, INT_MAX));
}

int toIntOrFail(Int64 size) {
    if (size > INT_MAX)
        ThrowMemoryException();
    return static_cast<int>(size);
}

} // namespace

CMemoryFile::CMemoryFile(int step) : growthStep(step) { require(step >= 0, __LINE__); }

CMemoryFile::CMemoryFile(CMemoryFile&& other) noexcept : CMemoryFile(other) { other.Detach(); }

CMemoryFile& CMemoryFile::operator=(CMemoryFile&& other) noexcept {
    if (this != &other) {
        try {
            freeBlock();
        } catch (CException* e) {
            e->Delete();
        }
        *this = other;
        other.Detach();
    }
    return *this;
}

CMemoryFile::~CMemoryFile() noexcept(false) {
    RunInDestructor([this] { CMemoryFile::Close(); });
}

void CMemoryFile::Attach(unsigned char* block, int size, int step) {
    if (!require(block != nullptr && size >= 1 && step >= 0, __LINE__))
        return;
    freeBlock();
    buffer = block;
    bufferSize = size;
    hasHiddenRoom = false;
    growthStep = step;
}

unsigned char* CMemoryFile::Detach() {
    bufferSize = fileLength = position = 0;
    return std::exchange(buffer, nullptr);
}

CUnicodeString CMemoryFile::GetFileName() { return MSG_MEMORY_FILE.UnicodeStr(); }

int CMemoryFile::Read(void* data, int size) {
    if (size == 0 || !require(data != nullptr && size > 0, __LINE__))
        return 0;
    const int count = std::min(fileLength - position, size);
    copyBytes(data, buffer + position, count);
    position += count;
    return count;
}

void CMemoryFile::Write(const void* data, int size) {
    if (size == 0 || !require(data != nullptr && size > 0, __LINE__))
        return;
    const int end = toIntOrFail(Int64{position} + size);
    if (!makeRoom(end))
        return;
    copyBytes(buffer + position, data, size);
    position = end;
    fileLength = std::max(fileLength, end);
}

int CMemoryFile::GetPosition() const { return position; }

int CMemoryFile::Seek(int offset, TSeekPosition from) {
    if (!require(from == Begin || from == Current || from == End, __LINE__))
        return position;
    const Int64 origin = from == Begin ? 0 : from == Current ? position : GetLength();
    const Int64 reached = origin + offset;
    if (reached < 0 || reached > GetLength()) {
        position = 0;
        ThrowFileException(CFileException::badSeek, GetFileName());
    }
    position = static_cast<int>(reached);
    return position;
}

void CMemoryFile::SetLength(int length) {
    if (!require(length >= 0, __LINE__) || !makeRoom(length))
        return;
    fileLength = length;
    position = std::min(position, length);
}

int CMemoryFile::GetLength() const { return fileLength; }

void CMemoryFile::Abort() { CMemoryFile::Close(); }

void CMemoryFile::Flush() {}

void CMemoryFile::Close() {
    isOpen = false;
    freeBlock();
}

void CMemoryFile::FreeBuffer(unsigned char* block) { alloc_delete_array(block); }

unsigned char* CMemoryFile::GrowBuffer(unsigned char* block, int oldSize, int newSize) {
    if (!require(newSize > oldSize, __LINE__))
        return block;
    if (block != nullptr && block == buffer && hasHiddenRoom && newSize <= roomFor(oldSize))
        return block;
    const auto room = static_cast<unsigned>(roomFor(newSize));
    if (block != nullptr && static_cast<unsigned>(oldSize) > kLargestSmallAllocation)
        if (void* const grown = doGrow(block, room)) {
            hasHiddenRoom = true;
            return static_cast<unsigned char*>(grown);
        }
    auto* grown = static_cast<unsigned char*>(alloc_new_array(room));
    hasHiddenRoom = true;
    copyBytes(grown, block, oldSize);
    if (block != nullptr)
        FreeBuffer(block);
    return grown;
}

// False if the block cannot grow and the assertion returned.
bool CMemoryFile::makeRoom(int size) {
    if (size > bufferSize)
        setBufferSize(size);
    return size <= bufferSize;
}

// Gives the block room for `size` bytes, more than it has, rounded up to whole growth steps.
void CMemoryFile::setBufferSize(int size) {
    if (!require(growthStep >= 1, __LINE__))
        return;
    const Int64 steps = (Int64{size} + growthStep - 1) / growthStep;
    const int newSize = toIntOrFail(steps * growthStep);
    buffer = GrowBuffer(buffer, bufferSize, newSize);
    bufferSize = newSize;
}

void CMemoryFile::freeBlock() {
    if (unsigned char* block = Detach())
        FreeBuffer(block);
}

} // namespace Tarn
