/// \file
/// CBaseFile, the abstract random-access byte file, and CFile, a file on disk.
///
/// Archives and text streams work on any CBaseFile and never own or close it. A CFile owns its system handle
/// from `Open` until `Close`, `Abort` or its destruction. A call that the system refuses throws a
/// `CFileException*` with the system's code and the file's full name; misuse (a file that is not open, null
/// buffers, negative sizes) is an assertion. Threads may use different objects at the same time, but each
/// object one thread at a time. Several objects may have the same file open as far as the share bits of their
/// flags allow.
///
/// \code
/// CFile file(u"scores.bin", CFile::ForWriting | CFile::Create); // nobody else can open it meanwhile
/// file.WriteDWord(4711);
/// file.Close(); // throws if the system could not store everything
/// \endcode
///
/// An open file has one owner, so that no handle is ever closed twice. Moving a CFile hands the open file
/// over, also when an array or a `std::vector` grows. A copy of a CFile is not open; assigning a CFile to
/// another closes the target and leaves it not open.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/string.h>
#include <tarnkit/time.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

/// A file of bytes with a position; see the top of this header.
class TARNKIT_API CBaseFile {
public:
    /// What an offset counts from; the values are those of the system's seek call.
    enum TSeekPosition { Begin = 0, Current = 1, End = 2 };

    CBaseFile() = default;
    CBaseFile(const CBaseFile&) = default;
    CBaseFile& operator=(const CBaseFile&) = default;

    virtual ~CBaseFile() noexcept(false);
    /// A name for people.
    virtual CUnicodeString GetFileName() = 0;
    /// Returns the number of bytes read: fewer than `size` at the end of the file.
    virtual int Read(void* buffer, int size) = 0;
    /// Writes all `size` bytes at the position, or throws.
    virtual void Write(const void* buffer, int size) = 0;
    /// The number of bytes before the position.
    virtual int GetPosition() const = 0;
    /// Returns the new position.
    virtual int Seek(int offset, TSeekPosition from) = 0;
    /// Cuts the file, or extends it.
    virtual void SetLength(int length) = 0;
    /// The number of bytes in the file.
    virtual int GetLength() const = 0;
    /// Closes without reporting a failure; what has not been written yet is lost.
    virtual void Abort() = 0;
    /// Hands to the system what was written.
    virtual void Flush() = 0;
    /// Ends the work with the file; what was written and cannot be stored is thrown.
    virtual void Close() = 0;

    ///@{
    /// Moves the position to an end of the file.
    void SeekToBegin() { Seek(0, Begin); }
    void SeekToEnd() { Seek(0, End); }
    ///@}
};
TARNKIT_LAYOUT(CBaseFile, 4);

/// What the system knows about a file or directory.
struct CFileStatus {
    ///@{
    /// Points in time; zero if they are not known.
    CTime CreationTime = CTime::CreateZeroTime();
    CTime ModificationTime = CTime::CreateZeroTime();
    CTime AccessTime = CTime::CreateZeroTime();
    ///@}
    Int64 Size = 0;          ///< bytes
    DWORD Attributes = 0;    ///< `FILE_ATTRIBUTE_...` bits, such as `FILE_ATTRIBUTE_READONLY`
    CUnicodeString FullName; ///< the full path
};
TARNKIT_LAYOUT(CFileStatus, 40, CreationTime, ModificationTime, AccessTime, Size, Attributes, FullName);

/// A file on disk; see the top of this header.
class TARNKIT_API CFile : public CBaseFile {
public:
    /// The flags of `Open`: one access mode, one sharing mode (`Exclusive` if none is given) and how to
    /// create the file. Without `Create` the file must exist. `Create` creates the file, or empties it if it
    /// exists; together with `KeepContents` an existing file keeps its contents.
    enum TOpenFlags : unsigned int {
        ForReading = 0x0000,
        ForWriting = 0x0001,
        ForReadingAndWriting = 0x0002,
        Exclusive = 0x0010,
        DenyWrite = 0x0020,
        DenyRead = 0x0030,
        DenyNone = 0x0040,
        Create = 0x1000,
        KeepContents = 0x2000
    };

    CFile() = default;
    /// Opens the file as `Open` does.
    CFile(const CUnicodeString& fileName, unsigned int flags);
    CFile(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    /// The copy is not open. `other` is not const, so that a `std::vector` has to move its files when it
    /// grows: it prefers to copy elements whose destructor may throw, and that would close every one of them.
    CFile(CFile& other);
    /// Takes over the open file; `other` is not open then.
    CFile(CFile&& other) noexcept;
    /// Closes the file of this object as `Close` does. What `other` has open stays with `other`.
    CFile& operator=(const CFile& other);
    /// Takes over the open file of `other`. The file that this object has open is closed without reporting a
    /// failure; where that matters, call `Close` first.
    CFile& operator=(CFile&& other) noexcept;
    /// Closes an open file; a failure is thrown, unless another exception is unwinding the stack.
    ~CFile() noexcept(false) override;

    /// Opens the file by its full path (`FileSystem::MakeFullPath`). Asserts if this object is open already
    /// or if the flags are invalid, and changes nothing then. After a failure the object is not open.
    /// `attributes` are the attributes of a new file (`FILE_ATTRIBUTE_NORMAL` by default) and the
    /// `FILE_FLAG_...` bits of the system's call.
    void Open(const CUnicodeString& fileName, unsigned int flags);
    void Open(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    /// Like `Open`, for a file whose handle is going to be mapped into memory.
    void OpenForMapping(const CUnicodeString& fileName, unsigned int flags);
    void OpenForMapping(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    /// Closes a file that `OpenForMapping` opened, without reporting a failure.
    void CloseMapped();

    /// Whether this object has a file open.
    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    /// The system's handle, which stays this object's; INVALID_HANDLE_VALUE while no file is open.
    HANDLE Handle() const { return handle; }
    /// The full name, for people (`FileSystem::ForDisplay`); empty while the file is not open, unless `Close`
    /// failed.
    CUnicodeString GetFileName() override;
    /// The same for the calls of this library.
    CUnicodeString UnicodeName() const { return name; }

    /// Returns 0 for a `size` of 0, even if the file is not open.
    int Read(void* buffer, int size) override;
    /// Writes all `size` bytes or throws; the kind is `diskFull`, too, if the system took only a part.
    void Write(const void* buffer, int size) override;
    /// Asserts if the position is above 2^31 - 1; so does `GetLength` for the length.
    int GetPosition() const override;
    /// Throws the exception kind `badSeek` if the new position is above 2^31 - 1.
    int Seek(int offset, TSeekPosition from) override;
    /// Moves the position to the new end.
    void SetLength(int length) override;
    int GetLength() const override;
    void Abort() override;
    /// Returns when what was written is on the disk.
    void Flush() override;
    /// Does nothing if no file is open. After a failure the file is closed, too.
    void Close() override;

    ///@{
    /// The same for files of any length.
    Int64 GetPosition64() const;
    Int64 GetLength64() const;
    Int64 Seek(Int64 offset, TSeekPosition from);
    Int64 Seek(long offset, TSeekPosition from) { return Seek(Int64{offset}, from); }
    void SetLength(Int64 length);
    void SetLength(long length) { SetLength(Int64{length}); }
    ///@}

    /// Reads exactly `size` bytes or throws the exception kind `endOfFile`.
    void ReadRecord(void* buffer, int size);
    /// Throws the exception kind `endOfFile` at the end of the file.
    unsigned char ReadByte();
    /// 2 bytes, little-endian.
    unsigned short ReadWord();
    /// 4 bytes, little-endian.
    unsigned long ReadDWord();
    ///@{
    /// 1 or 2 bytes, little-endian.
    void WriteByte(unsigned char value);
    void WriteWord(unsigned short value);
    ///@}
    /// 4 bytes; asserts if the value does not fit.
    void WriteDWord(unsigned long value);

    /// Fills in the status of the open file. After a failure `status` is unchanged.
    void GetStatus(CFileStatus& status) const;
    /// Fills in the status of a file or directory by name.
    static void GetStatus(const CUnicodeString& fileName, CFileStatus& status);
    /// Sets the times of `status` that are not zero and the attributes; its size and name are ignored. A
    /// read-only file gets its attributes first, and its times cannot be set if it stays read-only; any other
    /// file gets its attributes last, but only if some time was set. Nobody else may have the file open for
    /// writing. POSIX systems cannot set the time of creation.
    static void SetStatus(const CUnicodeString& fileName, const CFileStatus& status);

    /// The flags as the arguments of the system's create call; invalid bits assert.
    static unsigned long AccessMode(unsigned int flags);
    ///@{
    /// The same for the sharing mode and for how the file is created.
    static unsigned long ShareMode(unsigned int flags);
    static unsigned long CreateMode(unsigned int flags);
    ///@}

    // Whole files of text. Each call opens and closes the file; meanwhile others may read a file that is
    // being read, but nobody can open one that is being written. Zeros are read as spaces. Lines end at LF,
    // CR, CR LF, VT and FF, in 16-bit text also at U+2028 and U+2029; a line break at the very end is
    // followed by an empty line, and an empty text has no lines. Lines are written with CR LF between them.
    // Code pages are those of `CUnicodeString`. A file of more than 2^31 - 1 bytes raises
    // `TEXT_FILE_TOO_LARGE`.

    /// Reads UTF-16 of either byte order if the file begins with a byte order mark, otherwise text in the
    /// code page. Bytes that are invalid in UTF-8 read as U+FFFD; if bytes are invalid in any other code
    /// page, or there is no such code page, the whole text is empty. A UTF-16 file of an odd length raises
    /// `ERR_BAD_TEXT_FILE`.
    static CUnicodeString ReadText(const CUnicodeString& fileName, unsigned int codePage);
    static void ReadText(const CUnicodeString& fileName, CArray<CUnicodeString>& lines,
                         unsigned int codePage);
    /// Writes little-endian UTF-16 with a byte order mark.
    static void WriteText(const CUnicodeString& fileName, const CUnicodeString& text);
    static void WriteText(const CUnicodeString& fileName, const CArray<CUnicodeString>& lines);

    /// Reads and writes 8-bit text without conversion and without a mark.
    static CString ReadANSIText(const CUnicodeString& fileName);
    static void ReadANSIText(const CUnicodeString& fileName, CArray<CString>& lines);
    /// The same for writing.
    static void WriteANSIText(const CUnicodeString& fileName, const CString& text);
    static void WriteANSIText(const CUnicodeString& fileName, const CArray<CString>& lines);
    /// Raises `ERR_BAD_TEXT_FILE`, before the file is touched, if there is no such code page; characters that
    /// the code page lacks become its default character.
    static void WriteANSIText(const CUnicodeString& fileName, const CUnicodeString& text,
                              unsigned int codePage);
    static void WriteANSIText(const CUnicodeString& fileName, const CArray<CUnicodeString>& lines,
                              unsigned int codePage);

private:
    using TCreateCall = HANDLE(const char16_t*, DWORD, DWORD, DWORD, DWORD);

    void openThrough(TCreateCall& create, const CUnicodeString& fileName, unsigned int flags,
                     unsigned long attributes);
    Int64 seekTo(Int64 offset, TSeekPosition from) const;
    bool assertOpen() const;
    bool assertTransfer(const void* buffer, int size) const;
    [[noreturn]] void throwLastError() const;
    [[noreturn]] void throwLastErrorAndDie();

    HANDLE handle = INVALID_HANDLE_VALUE;
    CUnicodeString name;

    friend struct CLayout<CFile>;
};
TARNKIT_LAYOUT(CFile, 12, handle, name);

} // namespace Tarn
