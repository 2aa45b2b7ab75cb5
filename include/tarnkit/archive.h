/// \file
/// CArchive: a binary stream of values over any CBaseFile, in one direction for its whole life.
///
/// The format is the values in the order in which they are written and nothing else: numbers in little-endian
/// order, counts as small values (one byte up to 254, otherwise 0xFF and 4 bytes), text as its length and its
/// units. Reader and writer must agree on the sequence; `SerializeVersion` is there for layouts that change.
///
/// \code
/// CFile file(u"book.bin", CFile::ForReading | CFile::DenyWrite);
/// CArchive archive(&file, CArchive::Loading);
/// const int version = archive.SerializeVersion(2); // raises an error if the file is newer
/// CUnicodeString title;
/// archive >> title;
/// \endcode
///
/// An archive uses the file and neither owns nor closes it; the file must live until the archive is closed.
/// The archive has a buffer of its own, so a small value costs only a copy into memory. Exceptions of the
/// file pass through unchanged; if the file ends too early, the exception kind is `endOfFile`. The errors of
/// the archive carry its name. Transfers in the wrong direction, or after `Close` or `Abort`, assert. Threads
/// may use different archives at the same time, but each archive, with its file, one thread at a time.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/byte_order.h>
#include <tarnkit/export.h>
#include <tarnkit/failures.h>
#include <tarnkit/file.h>
#include <tarnkit/layout.h>
#include <tarnkit/string.h>
#include <tarnkit/time.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

#include <climits>
#include <cstring>
#include <type_traits>

namespace Tarn {

class rational;

/// The constants of CArchive. They belong to a class of their own that is not exported: clients on Windows
/// would look for those of an exported class in the library, where they are not.
struct CArchiveConstants {
    /// The smallest size of the buffer, in bytes; it holds any single value.
    static constexpr int kLeastBufferSize = 9;
    /// In bytes, if the constructor is given no other.
    static constexpr int kDefaultBufferSize = 4096;

protected:
    /// The first byte of a small value that does not fit one byte.
    static constexpr unsigned char kSmallValueMarker = 0xFF;
};

/// Writes values to a file, or reads them; see the top of this header.
class TARNKIT_API CArchive : public CArchiveConstants {
public:
    /// Whether it reads or writes; `<<` on a loading archive asserts, and so does `>>` on a storing one.
    enum TDirection { Loading = 0, Storing = 1 };

    /// The archive takes its name from `archiveFile`, which must not be null. Asserts if `size` is below
    /// `kLeastBufferSize`, which is then used instead.
    CArchive(CBaseFile* archiveFile, TDirection archiveDirection, int size = kDefaultBufferSize);
    /// Closes the archive; a failure is thrown, unless another exception is unwinding the stack.
    virtual ~CArchive() noexcept(false);

    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;
    /// Takes over the file and what waits in the buffer; `other` is left as after `Close`.
    CArchive(CArchive&& other) noexcept;
    /// Swaps the two archives, so that nothing waiting in this one is lost: `other` writes it when it is
    /// closed.
    CArchive& operator=(CArchive&& other) noexcept;

    ///@{
    /// What the constructor was told.
    bool IsLoading() const { return direction == Loading; }
    bool IsStoring() const { return direction == Storing; }
    ///@}
    /// Null after `Close` and `Abort`.
    CBaseFile* GetFile() const { return file; }
    ///@{
    /// The name of the file, for people, as it was when the archive was made.
    CUnicodeString Name() const { return name; }
    CUnicodeString UnicodeName() const { return name; }
    ///@}

    /// Storing: writes what waits in the buffer; bytes that could not be written stay there for the next
    /// attempt. Loading: moves the position of the file back to the first byte that was not consumed.
    void Flush();
    /// Flushes and detaches the file, even if flushing failed.
    void Close();
    /// Detaches the file without flushing: what has not been written yet is lost.
    void Abort();
    /// Loading only: whether every byte of the file has been consumed.
    bool IsEndOfArchive() const;

    /// Reads exactly `size` bytes or throws the exception kind `endOfFile`.
    void Read(void* bytes, int size);
    /// Writes `size` bytes.
    void Write(const void* bytes, int size);
    /// Skips `size` bytes without checking whether the file has them.
    void Skip(int size);

    ///@{
    /// Writes a value in its own size, little-endian; a truth value as one byte, 1 or 0.
    CArchive& operator<<(bool value) { return *this << static_cast<unsigned char>(value ? 1 : 0); }
    CArchive& operator<<(char value) { return store(value); }
    CArchive& operator<<(signed char value) { return store(value); }
    CArchive& operator<<(unsigned char value) { return store(value); }
    CArchive& operator<<(char16_t value) { return store(value); }
    CArchive& operator<<(short value) { return store(value); }
    CArchive& operator<<(unsigned short value) { return store(value); }
    CArchive& operator<<(int value) { return store(value); }
    CArchive& operator<<(unsigned int value) { return store(value); }
    ///@}
    /// 4 bytes on every target; asserts if the value does not fit. On 64-bit POSIX targets `std::int64_t` is
    /// `long`, so use `Int64` for values of 8 bytes.
    CArchive& operator<<(long value) { return store(narrow(value)); }
    CArchive& operator<<(unsigned long value) { return store(narrow(value)); }
    ///@{
    /// Writes 8 bytes, or 4 for a `float`, little-endian.
    CArchive& operator<<(Int64 value) { return store(value); }
    CArchive& operator<<(UInt64 value) { return store(value); }
    CArchive& operator<<(float value) { return store(value); }
    CArchive& operator<<(double value) { return store(value); }
    ///@}

    /// Raises `ERR_BAD_ARCHIVE` for a byte other than 0 and 1.
    CArchive& operator>>(bool& value) {
        unsigned char byte;
        load(byte);
        if (byte > 1) [[unlikely]]
            reportCorruption();
        value = byte != 0;
        return *this;
    }
    ///@{
    /// Reads what `<<` of the same type writes. At the end of the file throws the exception kind `endOfFile`.
    CArchive& operator>>(char& value) { return load(value); }
    CArchive& operator>>(signed char& value) { return load(value); }
    CArchive& operator>>(unsigned char& value) { return load(value); }
    CArchive& operator>>(char16_t& value) { return load(value); }
    CArchive& operator>>(short& value) { return load(value); }
    CArchive& operator>>(unsigned short& value) { return load(value); }
    CArchive& operator>>(int& value) { return load(value); }
    CArchive& operator>>(unsigned int& value) { return load(value); }
    CArchive& operator>>(long& value) { return loadThrough<int>(value); }
    CArchive& operator>>(unsigned long& value) { return loadThrough<unsigned int>(value); }
    CArchive& operator>>(Int64& value) { return load(value); }
    CArchive& operator>>(UInt64& value) { return load(value); }
    CArchive& operator>>(float& value) { return load(value); }
    CArchive& operator>>(double& value) { return load(value); }
    ///@}

    // These would silently be stored as another type: pointers as `bool`, character types as `int`.
    template<class T>
    requires std::is_pointer_v<T> || std::is_member_pointer_v<T> || std::is_null_pointer_v<T> CArchive&
    operator<<(T) = delete;
    CArchive& operator<<(wchar_t) = delete;
    CArchive& operator<<(char8_t) = delete;
    CArchive& operator<<(char32_t) = delete;
    CArchive& operator<<(long double) = delete;

    /// Writes 0 to 254 as one byte, any other value as 5 bytes.
    void WriteSmallValue(int value) {
        if (value >= 0 && value < kSmallValueMarker) [[likely]] {
            store(static_cast<unsigned char>(value));
        } else {
            store(kSmallValueMarker);
            store(value);
        }
    }
    /// Reads what `WriteSmallValue` writes.
    int ReadSmallValue() {
        unsigned char byte;
        load(byte);
        if (byte != kSmallValueMarker) [[likely]]
            return byte;
        int value;
        load(value);
        return value;
    }

    /// Stores the value or loads it, by the archive's direction. A `long` that does not fit 4 bytes asserts.
    void SerializeSmallValue(int& value) { serializeSmallValue<int>(value); }
    void SerializeSmallValue(unsigned int& value) { serializeSmallValue<unsigned int>(value); }
    void SerializeSmallValue(long& value) { serializeSmallValue<int>(value); }
    void SerializeSmallValue(unsigned long& value) { serializeSmallValue<unsigned int>(value); }

    /// Storing: writes `currentVersion` and returns it. Loading: returns the stored version; one above
    /// `currentVersion` raises `ERR_BAD_ARCHIVE_VERSION`.
    int SerializeVersion(int currentVersion);

    /// Writes text without its length, followed by CR LF if `addLineEnd` is set.
    void WriteString(const CString& text, bool addLineEnd);
    void WriteString(const char* text, bool addLineEnd);
    /// The same with 16-bit units.
    void WriteUnicodeString(const CUnicodeString& text, bool addLineEnd);
    void WriteUnicodeString(const char16_t* text, bool addLineEnd);

    /// Reads up to a line end (CR LF or LF), which is dropped, or to the end of the file. Returns false if
    /// the file was already at its end. A zero, or a CR without an LF, raises `ERR_BAD_TEXT_FILE`; a file
    /// that ends right after a CR throws the exception kind `endOfFile`.
    bool ReadString(CString& line);
    /// The same with 16-bit units.
    bool ReadUnicodeString(CUnicodeString& line);

private:
    friend TARNKIT_API CArchive& operator>>(CArchive& archive, CString& text);
    friend TARNKIT_API CArchive& operator>>(CArchive& archive, CUnicodeString& text);

    CBaseFile* file;
    CUnicodeString name;
    TDirection direction;
    /// Loading: the bytes read ahead. Storing: `bufferSize` bytes of room, none before the first write. Empty
    /// while no file is attached.
    CArray<unsigned char> buffer;
    int bufferSize;
    /// How many bytes of the buffer have been consumed (loading) or wait to be written (storing).
    int position = 0;

    friend struct CLayout<CArchive>;

    int unusedBufferSize() const { return buffer.Size() - position; }

    // Return the next `size` bytes to read or to fill and move the position past them; null if the archive
    // cannot be used and the assertion returned. Without a file the buffer is empty, so one comparison covers
    // that as well.
    const void* getReadPtr(int size) {
        if (direction != Loading || size > unusedBufferSize()) [[unlikely]]
            if (!prepareRead(size))
                return nullptr;
        return takeBytes(size);
    }
    void* getWritePtr(int size) {
        if (direction != Storing || size > unusedBufferSize()) [[unlikely]]
            if (!prepareWrite())
                return nullptr;
        return takeBytes(size);
    }
    unsigned char* takeBytes(int size) {
        unsigned char* bytes = buffer.Ptr() + position;
        position += size;
        return bytes;
    }

    template<class T>
    CArchive& store(const T& value) {
        const T stored = LittleEndian(value);
        if (void* bytes = getWritePtr(sizeof(T))) [[likely]]
            std::memcpy(bytes, &stored, sizeof(T));
        return *this;
    }
    template<class T>
    CArchive& load(T& value) {
        if (const void* bytes = getReadPtr(sizeof(T))) [[likely]]
            std::memcpy(&value, bytes, sizeof(T));
        else
            value = T();
        if constexpr (!kIsLittleEndian) // in some registers of coprocessors, not all numbers keep their bits
            value = LittleEndian(value);
        return *this;
    }
    template<class Narrow, class T>
    CArchive& loadThrough(T& value) {
        Narrow stored;
        load(stored);
        value = stored;
        return *this;
    }

    // The 4 bytes that a `long` has in the format.
    template<class Narrow, class T>
    static Narrow narrowTo(T value) {
        if (static_cast<T>(static_cast<Narrow>(value)) != value) [[unlikely]]
            GenAssert(u"Archive", __LINE__);
        return static_cast<Narrow>(value);
    }
    static int narrow(long value) { return narrowTo<int>(value); }
    static unsigned int narrow(unsigned long value) { return narrowTo<unsigned int>(value); }

    template<class Narrow, class T>
    void serializeSmallValue(T& value) {
        if (IsStoring())
            WriteSmallValue(static_cast<int>(narrowTo<Narrow>(value)));
        else
            value = static_cast<Narrow>(ReadSmallValue());
    }

    bool assertUsable(TDirection wanted) const;
    bool assertTransfer(TDirection wanted, int size) const;
    bool prepareRead(int size);
    bool prepareWrite();
    void fillBuffer(int size);
    void detach();
    Int64 bytesLeftInFile() const;
    void reportCorruption() const;
    [[noreturn]] void throwEndOfFile() const;
    template<class Unit>
    void writeText(const Unit* text, std::size_t length, bool addLineEnd);
    template<class Unit>
    void writeZeroTerminated(const Unit* text, bool addLineEnd);
    template<class Unit, class Text>
    bool readLine(Text& line);
    template<class Unit, class Text>
    void loadText(Text& text);
};
TARNKIT_LAYOUT(CArchive, 36, file, name, direction, buffer, bufferSize, position);

static_assert(sizeof(short) == 2 && sizeof(int) == 4 && sizeof(Int64) == 8);
static_assert(sizeof(float) == 4 && sizeof(double) == 8 && sizeof(bool) == 1);

///@{
/// A small value with the length in bytes or units, then the text. Loading raises `ERR_BAD_ARCHIVE` for a
/// negative length and allocates no more memory than the file can fill.
TARNKIT_API CArchive& operator<<(CArchive& archive, const CString& text);
TARNKIT_API CArchive& operator>>(CArchive& archive, CString& text);
TARNKIT_API CArchive& operator<<(CArchive& archive, const CUnicodeString& text);
TARNKIT_API CArchive& operator>>(CArchive& archive, CUnicodeString& text);
///@}

///@{
/// Numerator and denominator, 4 bytes each. Loading raises `ERR_BAD_ARCHIVE` for terms that no `rational` can
/// have.
TARNKIT_API CArchive& operator<<(CArchive& archive, const rational& value);
TARNKIT_API CArchive& operator>>(CArchive& archive, rational& value);
///@}

///@{
/// Times and time spans are stored as their 64-bit counts, which are not checked on loading.
inline CArchive& operator<<(CArchive& archive, CTimeSpan span) { return archive << span.GetTotalTimeUnits(); }
inline CArchive& operator>>(CArchive& archive, CTimeSpan& span) {
    Int64 units;
    archive >> units;
    span = CTimeSpan::CreateFromTimeUnits(units);
    return archive;
}
inline CArchive& operator<<(CArchive& archive, CTime time) { return archive << time.units; }
inline CArchive& operator>>(CArchive& archive, CTime& time) { return archive >> time.units; }
///@}

} // namespace Tarn
