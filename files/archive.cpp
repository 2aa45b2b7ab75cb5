#include <tarnkit/archive.h>
#include <tarnkit/byte_order.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/messages.h>
#include <tarnkit/rational.h>

#include "errors/requirement.h"
#include "memory/in_destructor.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <typeinfo>
#include <utility>

namespace Tarn {

namespace {

constexpr CRequirement require(u"Archive");

constexpr Int64 kUnknown = -1;

// The calls of CBaseFile cannot express the lengths and positions of a large file on disk.
const CFile* asDiskFile(const CBaseFile& file) {
    return typeid(file) == typeid(CFile) ? static_cast<const CFile*>(&file) : nullptr;
}

Int64 lengthOf(const CBaseFile& file) {
    const CFile* disk = asDiskFile(file);
    return disk != nullptr ? disk->GetLength64() : file.GetLength();
}

void moveBy(CBaseFile& file, int offset) {
    if (asDiskFile(file) != nullptr)
        static_cast<CFile&>(file).Seek(Int64{offset}, CBaseFile::Current);
    else
        file.Seek(offset, CBaseFile::Current);
}

Int64 positionOf(const CBaseFile& file) {
    const CFile* disk = asDiskFile(file);
    return disk != nullptr ? disk->GetPosition64() : file.GetPosition();
}

// The number of units before the first LF, CR or zero; `count` if there is none.
int lengthOfRun(const unsigned char* bytes, int count, char) {
    for (const char end : {'\n', '\r', '\0'})
        if (const void* place = std::memchr(bytes, end, static_cast<std::size_t>(count)))
            count = static_cast<int>(static_cast<const unsigned char*>(place) - bytes);
    return count;
}

int lengthOfRun(const unsigned char* bytes, int count, char16_t) {
    for (int i = 0; i < count; i++) {
        char16_t unit;
        std::memcpy(&unit, bytes + i * static_cast<int>(sizeof unit), sizeof unit);
        unit = LittleEndian(unit);
        if (unit == 0 || unit == u'\n' || unit == u'\r')
            return i;
    }
    return count;
}

// Makes a line of runs, in the memory that its text has already.
template<class Unit, class Text>
class CLineCollector {
public:
    explicit CLineCollector(Text& target) : line(target) {}
    /// What the text was before does not stay if there was no run.
    ~CLineCollector() {
        if (IsEmpty())
            line.Empty();
    }
    CLineCollector(const CLineCollector&) = delete;
    CLineCollector& operator=(const CLineCollector&) = delete;

    void Add(const unsigned char* bytes, int count) {
        Unit* const run = line.GetBuffer(length + count) + length;
        std::memcpy(run, bytes, static_cast<std::size_t>(count) * sizeof(Unit));
        TurnLittleEndian(run, static_cast<std::size_t>(count));
        length += count;
        line.ReleaseBuffer(length);
    }
    bool IsEmpty() const { return length == 0; }

private:
    Text& line;
    int length = 0;
};

} // namespace

CArchive::CArchive(CBaseFile* archiveFile, TDirection archiveDirection, int size)
    : file(archiveFile), direction(archiveDirection), bufferSize(std::max(size, kLeastBufferSize)) {
    if (file != nullptr)
        name = file->GetFileName();
    require(file != nullptr && size >= kLeastBufferSize, __LINE__);
}

CArchive::CArchive(CArchive&& other) noexcept
    : file(std::exchange(other.file, nullptr)), name(std::move(other.name)), direction(other.direction),
      buffer(std::move(other.buffer)), bufferSize(other.bufferSize),
      position(std::exchange(other.position, 0)) {}

CArchive& CArchive::operator=(CArchive&& other) noexcept {
    std::swap(file, other.file);
    std::swap(name, other.name);
    std::swap(direction, other.direction);
    buffer.Swap(other.buffer);
    std::swap(bufferSize, other.bufferSize);
    std::swap(position, other.position);
    return *this;
}

CArchive::~CArchive() noexcept(false) {
    RunInDestructor([this] { Close(); });
}

void CArchive::Flush() {
    if (!assertUsable(direction))
        return;
    if (IsLoading()) {
        if (unusedBufferSize() > 0)
            moveBy(*file, -unusedBufferSize());
        buffer.DeleteAll();
        position = 0;
    } else {
        if (position > 0)
            file->Write(buffer.Ptr(), position);
        buffer.SetSize(bufferSize);
        position = 0;
    }
}

void CArchive::Close() {
    if (file == nullptr)
        return;
    try {
        Flush();
    } catch (...) {
        detach();
        throw;
    }
    detach();
}

void CArchive::Abort() {
    detach();
    buffer.FreeBuffer();
    name.Empty();
}

bool CArchive::IsEndOfArchive() const {
    if (!assertUsable(Loading))
        return true;
    return unusedBufferSize() == 0 && lengthOf(*file) == positionOf(*file);
}

void CArchive::Read(void* bytes, int size) {
    if (!assertTransfer(Loading, size) || size == 0)
        return;
    const int buffered = std::min(size, unusedBufferSize());
    auto* target = static_cast<unsigned char*>(bytes);
    target = std::copy_n(takeBytes(buffered), buffered, target);
    const int missing = size - buffered;
    const int last = missing % bufferSize;
    const int direct = missing - last;
    if (direct > 0 && file->Read(target, direct) < direct)
        throwEndOfFile();
    if (last > 0)
        std::memcpy(target + direct, getReadPtr(last), static_cast<std::size_t>(last));
}

void CArchive::Write(const void* bytes, int size) {
    if (!assertTransfer(Storing, size) || size == 0)
        return;
    const auto* source = static_cast<const unsigned char*>(bytes);
    int last = size;
    if (size > unusedBufferSize()) {
        Flush();
        last = size % bufferSize;
        if (size > last)
            file->Write(source, size - last);
    }
    std::copy_n(source + (size - last), last, takeBytes(last));
}

void CArchive::Skip(int size) {
    if (!assertTransfer(Loading, size))
        return;
    const int buffered = std::min(size, unusedBufferSize());
    takeBytes(buffered);
    if (size == buffered)
        return;
    require(unusedBufferSize() == 0, __LINE__);
    moveBy(*file, size - buffered);
}

int CArchive::SerializeVersion(int currentVersion) {
    if (IsStoring()) {
        WriteSmallValue(currentVersion);
        return currentVersion;
    }
    const int stored = ReadSmallValue();
    if (stored > currentVersion)
        GenCheck(ERR_BAD_ARCHIVE_VERSION, name);
    return std::min(stored, currentVersion);
}

template<class Unit>
void CArchive::writeText(const Unit* text, std::size_t length, bool addLineEnd) {
    constexpr Unit kLineEnd[] = {'\r', '\n'};
    if (!require(length <= INT_MAX / sizeof(Unit), __LINE__))
        return;
    const auto write = [this](const void* bytes, int size) { Write(bytes, size); };
    WriteLittleEndian(text, length, write);
    if (addLineEnd)
        WriteLittleEndian(kLineEnd, std::size(kLineEnd), write);
}

template<class Unit>
void CArchive::writeZeroTerminated(const Unit* text, bool addLineEnd) {
    if (require(text != nullptr, __LINE__))
        writeText(text, std::char_traits<Unit>::length(text), addLineEnd);
}

void CArchive::WriteString(const CString& text, bool addLineEnd) {
    writeText(text.Ptr(), static_cast<std::size_t>(text.GetLength()), addLineEnd);
}

void CArchive::WriteString(const char* text, bool addLineEnd) { writeZeroTerminated(text, addLineEnd); }

void CArchive::WriteUnicodeString(const CUnicodeString& text, bool addLineEnd) {
    writeText(text.Ptr(), static_cast<std::size_t>(text.GetLength()), addLineEnd);
}

void CArchive::WriteUnicodeString(const char16_t* text, bool addLineEnd) {
    writeZeroTerminated(text, addLineEnd);
}

template<class Unit, class Text>
bool CArchive::readLine(Text& line) {
    constexpr int kUnitSize = sizeof(Unit);
    CLineCollector<Unit, Text> collector(line);
    if (!assertUsable(Loading))
        return false;
    Unit unit = 0;
    try {
        for (bool isWhole = false; !isWhole;) {
            if (unusedBufferSize() < kUnitSize)
                fillBuffer(kUnitSize);
            const int units = unusedBufferSize() / kUnitSize;
            const int run = lengthOfRun(buffer.Ptr() + position, units, Unit());
            if (run > 0)
                collector.Add(takeBytes(run * kUnitSize), run);
            isWhole = run < units;
        }
        load(unit);
    } catch (CFileException* e) {
        if (e->ErrorType() != CFileException::endOfFile)
            throw;
        e->Delete();
        return !collector.IsEmpty();
    }
    if (unit == '\r')
        load(unit);
    if (unit != '\n')
        GenCheck(ERR_BAD_TEXT_FILE, name);
    return true;
}

bool CArchive::ReadString(CString& line) { return readLine<char>(line); }

bool CArchive::ReadUnicodeString(CUnicodeString& line) { return readLine<char16_t>(line); }

bool CArchive::assertUsable(TDirection wanted) const {
    return require(file != nullptr && direction == wanted, __LINE__);
}

bool CArchive::assertTransfer(TDirection wanted, int size) const {
    return assertUsable(wanted) && require(size >= 0, __LINE__);
}

bool CArchive::prepareRead(int size) {
    if (!assertUsable(Loading))
        return false;
    fillBuffer(size);
    return true;
}

bool CArchive::prepareWrite() {
    if (!assertUsable(Storing))
        return false;
    Flush();
    return true;
}

// Reads ahead until the buffer is full; throws if it then holds less than `size` unread bytes.
void CArchive::fillBuffer(int size) {
    const int unread = unusedBufferSize();
    if (unread > 0)
        std::memmove(buffer.Ptr(), buffer.Ptr() + position, static_cast<std::size_t>(unread));
    position = 0;
    int added = 0;
    try {
        buffer.SetSize(bufferSize);
        added = file->Read(buffer.Ptr() + unread, bufferSize - unread);
    } catch (...) {
        buffer.SetSize(unread);
        throw;
    }
    buffer.SetSize(unread + std::clamp(added, 0, bufferSize - unread));
    if (buffer.Size() < size)
        throwEndOfFile();
}

void CArchive::detach() {
    file = nullptr;
    buffer.DeleteAll();
    position = 0;
}

// The number of bytes from the file's position to its end; `kUnknown` for a file without a length, such as a
// pipe or a device.
Int64 CArchive::bytesLeftInFile() const {
    try {
        const Int64 length = lengthOf(*file);
        if (length > 0)
            return std::max(length - positionOf(*file), Int64{0});
    } catch (CException* e) {
        e->Delete();
    }
    return kUnknown;
}

void CArchive::reportCorruption() const { GenCheck(ERR_BAD_ARCHIVE, name); }

void CArchive::throwEndOfFile() const { ThrowFileException(CFileException::endOfFile, name); }

// A damaged length must not make the program allocate what the file cannot fill. So a short text is first
// read ahead into the buffer; for a long one the file is asked how much is left, and if it cannot tell,
// memory is allocated in steps as the text arrives.
template<class Unit, class Text>
void CArchive::loadText(Text& text) {
    constexpr int kFirstStep = 4096;
    text.Empty();
    const int length = ReadSmallValue();
    if (length < 0)
        reportCorruption();
    if (length <= 0)
        return;
    const Int64 size = Int64{length} * static_cast<int>(sizeof(Unit));
    Text loaded;
    if (size <= bufferSize) {
        const void* bytes = getReadPtr(static_cast<int>(size));
        std::memcpy(loaded.GetBuffer(length), bytes, static_cast<std::size_t>(size));
        TurnLittleEndian(loaded.GetBuffer(length), static_cast<std::size_t>(length));
        loaded.ReleaseBuffer(length);
    } else {
        const Int64 left = bytesLeftInFile();
        if (left != kUnknown && unusedBufferSize() + left < size)
            throwEndOfFile();
        const int firstStep = left != kUnknown ? length : kFirstStep;
        for (int done = 0; done < length; loaded.ReleaseBuffer(done)) {
            const int step = std::min(length - done, std::max(done, firstStep));
            Unit* target = loaded.GetBuffer(done + step) + done; // throws if the bytes exceed an `int`
            Read(target, step * static_cast<int>(sizeof(Unit)));
            TurnLittleEndian(target, static_cast<std::size_t>(step));
            done += step;
        }
    }
    text = std::move(loaded);
}

CArchive& operator<<(CArchive& archive, const CString& text) {
    archive.WriteSmallValue(text.GetLength());
    archive.WriteString(text, false);
    return archive;
}

CArchive& operator>>(CArchive& archive, CString& text) {
    archive.loadText<char>(text);
    return archive;
}

CArchive& operator<<(CArchive& archive, const CUnicodeString& text) {
    archive.WriteSmallValue(text.GetLength());
    archive.WriteUnicodeString(text, false);
    return archive;
}

CArchive& operator>>(CArchive& archive, CUnicodeString& text) {
    archive.loadText<char16_t>(text);
    return archive;
}

CArchive& operator<<(CArchive& archive, const rational& value) {
    return archive << value.Numerator() << value.Denominator();
}

CArchive& operator>>(CArchive& archive, rational& value) {
    int numerator;
    int denominator;
    archive >> numerator >> denominator;
    value = 0;
    if (denominator < 1 || numerator == INT_MIN)
        GenCheck(ERR_BAD_ARCHIVE, archive.Name());
    else
        value = rational(numerator, denominator);
    return archive;
}

} // namespace Tarn
