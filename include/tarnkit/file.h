// CBaseFile, the abstract random-access byte file, and CFile, a file on disk.
//
// Archives and text streams work on any CBaseFile and never own or close it. A CFile owns its platform handle
// from `Open` to `Close`, `Abort` or its destruction. Failures of the platform are `CFileException*`s with
// the system's code and the file's full name; misuse (a closed file, null buffers, negative sizes) is an
// assertion. One thread at a time; objects on the same path share it by the share bits of their flags.
//
// An open file has one owner. Copying a CFile gives a file that is not open, assigning one closes the target
// and leaves it not open: so no handle is ever closed twice. Moving hands the open file over.
#pragma once

#include <tarnkit/array.h>
#include <tarnkit/export.h>
#include <tarnkit/layout.h>
#include <tarnkit/string.h>
#include <tarnkit/time.h>
#include <tarnkit/types.h>
#include <tarnkit/unicode_string.h>

namespace Tarn {

class TARNKIT_API CBaseFile {
public:
    /// The values of the platform's seek call.
    enum TSeekPosition { Begin = 0, Current = 1, End = 2 };

    CBaseFile() = default;
    CBaseFile(const CBaseFile&) = default;
    CBaseFile& operator=(const CBaseFile&) = default;

    virtual ~CBaseFile() noexcept(false);
    virtual CUnicodeString GetFileName() = 0;
    /// The bytes read, fewer than `size` at the end of the file.
    virtual int Read(void* buffer, int size) = 0;
    virtual void Write(const void* buffer, int size) = 0;
    virtual int GetPosition() const = 0;
    /// Returns the new position.
    virtual int Seek(int offset, TSeekPosition from) = 0;
    virtual void SetLength(int length) = 0;
    virtual int GetLength() const = 0;
    /// Closes without reporting a failure; what was not written yet is lost.
    virtual void Abort() = 0;
    virtual void Flush() = 0;
    virtual void Close() = 0;

    void SeekToBegin() { Seek(0, Begin); }
    void SeekToEnd() { Seek(0, End); }
};
TARNKIT_LAYOUT(CBaseFile, 4);

/// What the system knows of a file.
struct CFileStatus {
    CTime CreationTime = CTime::CreateZeroTime();
    CTime ModificationTime = CTime::CreateZeroTime();
    CTime AccessTime = CTime::CreateZeroTime();
    Int64 Size = 0;       ///< bytes
    DWORD Attributes = 0; ///< the platform's bits; the first one is read-only
    CUnicodeString FullName;
};
TARNKIT_LAYOUT(CFileStatus, 40, CreationTime, ModificationTime, AccessTime, Size, Attributes, FullName);

class TARNKIT_API CFile : public CBaseFile {
public:
    /// Bits of the `flags` of `Open`: one access, one way of sharing (`Exclusive` when none is given), and
    /// how to create. Without `Create` an existing file is opened; with it alone the file is created anew,
    /// emptied when it exists; together with `KeepContents` it is created only when missing.
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
    CFile(const CUnicodeString& fileName, unsigned int flags);
    CFile(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    CFile(const CFile& other);
    CFile(CFile&& other) noexcept;
    CFile& operator=(const CFile& other);
    CFile& operator=(CFile&& other);
    /// Closes an open file; a failure is thrown, unless another exception is on its way.
    ~CFile() noexcept(false) override;

    /// Opens the file, which must not be open, under its full path. Bad flags assert before anything is
    /// changed; when opening fails the object stays not open. `attributes` are those of a file created.
    void Open(const CUnicodeString& fileName, unsigned int flags);
    void Open(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    /// As `Open`, for a file that is going to be mapped into memory.
    void OpenForMapping(const CUnicodeString& fileName, unsigned int flags);
    void OpenForMapping(const CUnicodeString& fileName, unsigned int flags, unsigned long attributes);
    /// Closes a file of `OpenForMapping` without reporting a failure.
    void CloseMapped();

    bool IsOpen() const { return handle != INVALID_HANDLE_VALUE; }
    HANDLE Handle() const { return handle; }
    /// The full name; empty while not open, unless closing failed.
    CUnicodeString GetFileName() override;
    CUnicodeString UnicodeName() const { return name; }

    /// 0 for a `size` of 0, even on a closed file.
    int Read(void* buffer, int size) override;
    void Write(const void* buffer, int size) override;
    /// Asserts above 2^31 - 1, as `GetLength` does.
    int GetPosition() const override;
    /// Throws the bad-seek kind when the new position is above 2^31 - 1.
    int Seek(int offset, TSeekPosition from) override;
    /// Leaves the position at the new end.
    void SetLength(int length) override;
    int GetLength() const override;
    void Abort() override;
    void Flush() override;
    void Close() override;

    Int64 GetPosition64() const;
    Int64 GetLength64() const;
    Int64 Seek(Int64 offset, TSeekPosition from);
    Int64 Seek(long offset, TSeekPosition from) { return Seek(Int64{offset}, from); }
    void SetLength(Int64 length);
    void SetLength(long length) { SetLength(Int64{length}); }

    /// Exactly `size` bytes, or the end-of-file exception.
    void ReadRecord(void* buffer, int size);
    unsigned char ReadByte();
    /// 2 bytes, little-endian.
    unsigned short ReadWord();
    /// 4 bytes, little-endian.
    unsigned long ReadDWord();
    void WriteByte(unsigned char value);
    void WriteWord(unsigned short value);
    /// 4 bytes; asserts when the value does not fit.
    void WriteDWord(unsigned long value);

    /// Of the open file. When something fails, `status` stays as it was.
    void GetStatus(CFileStatus& status) const;
    /// Of a file or directory by name.
    static void GetStatus(const CUnicodeString& fileName, CFileStatus& status);
    /// Gives a file, which nobody else may be writing, the times of `status` that are not zero, and then its
    /// attributes, also when it is read-only before. Size and name are not looked at. Where all times are
    /// zero, only a file that is read-only gets the attributes. POSIX has no way to set the time of creation.
    static void SetStatus(const CUnicodeString& fileName, const CFileStatus& status);

    /// What the flags mean to the platform's create call; bad bits assert.
    static unsigned long AccessMode(unsigned int flags);
    static unsigned long ShareMode(unsigned int flags);
    static unsigned long CreateMode(unsigned int flags);

    // Whole files of text. Each call opens the file, sharing it for reading at most, and closes it. Zeros
    // that are read become spaces. Lines end at LF, CR, CR LF, VT and FF, in 16-bit text also at U+2028 and
    // U+2029; a line break at the end is followed by an empty line, and an empty text has no lines. Lines
    // are written with CR LF between them. Code pages as in `CUnicodeString`.

    /// A file that begins with a byte order mark is UTF-16, which may be big-endian; any other is text in the
    /// code page, empty when it is not valid there. UTF-16 of an odd length raises `ERR_BAD_TEXT_FILE`.
    static CUnicodeString ReadText(const CUnicodeString& fileName, unsigned int codePage);
    static void ReadText(const CUnicodeString& fileName, CArray<CUnicodeString>& lines,
                         unsigned int codePage);
    /// UTF-16, little-endian, with a byte order mark.
    static void WriteText(const CUnicodeString& fileName, const CUnicodeString& text);
    static void WriteText(const CUnicodeString& fileName, const CArray<CUnicodeString>& lines);

    /// The bytes as they are.
    static CString ReadANSIText(const CUnicodeString& fileName);
    static void ReadANSIText(const CUnicodeString& fileName, CArray<CString>& lines);
    static void WriteANSIText(const CUnicodeString& fileName, const CString& text);
    static void WriteANSIText(const CUnicodeString& fileName, const CArray<CString>& lines);
    /// Text that cannot be converted, for want of the code page, raises `ERR_BAD_TEXT_FILE` before the file
    /// is touched; single characters that the code page lacks become its default character.
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
