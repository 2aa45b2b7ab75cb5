// The members of CFile that read and write whole files of text.
#include <tarnkit/archive.h>
#include <tarnkit/byte_order.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/messages.h>

#include "files/file_replacement.h"
#include "files/patience.h"
#include "files/whole_text.h"
#include "strings/byte_order_mark.h"
#include "strings/text_units.h"

#include <climits>
#include <optional>

namespace Tarn {

namespace {

constexpr unsigned kForReading = CFile::ForReading | CFile::DenyWrite;
constexpr int kWriteBufferSize = 16384;

constexpr int kUnitSize = sizeof(char16_t);
constexpr unsigned kUtf8 = 65001;
constexpr char kUtf8Mark[] = "\xEF\xBB\xBF";
constexpr char16_t kReplacement = 0xFFFD; // stands for bytes that are not UTF-8

// LF, VT, FF and CR follow each other.
bool isLineBreak(char unit) { return unit >= '\n' && unit <= '\r'; }

bool isLineBreak(char16_t unit) {
    return (unit >= u'\n' && unit <= u'\r') || unit == u'\u2028' || unit == u'\u2029';
}

// Appends the lines of `text` to `lines`.
template<class String>
void splitLines(const String& text, CArray<String>& lines) {
    const int length = text.GetLength();
    if (length == 0)
        return;
    const auto* const units = text.Ptr();
    for (int start = 0; start <= length;) {
        int end = start;
        while (end < length && !isLineBreak(units[end]))
            end++;
        lines.Add(text.Mid(start, end - start));
        start = end + 1;
        if (end < length && units[end] == '\r' && units[start] == '\n')
            start++;
    }
}

// The next `length` units of the file, with spaces instead of zeros. Sets `hasZeros` if there were some.
template<class String>
String readUnits(CFile& file, int length, bool* hasZeros, bool isBigEndian = false) {
    String text;
    auto* units = text.GetBuffer(length);
    file.ReadRecord(units, length * static_cast<int>(sizeof *units));
    if constexpr (sizeof *units == sizeof(char16_t))
        if (isBigEndian == kIsLittleEndian)
            SwapUnits(units, static_cast<std::size_t>(length));
    int zero = TextUnits::LengthUpTo(units, length);
    if (hasZeros != nullptr && zero < length)
        *hasZeros = true;
    for (; zero < length; zero += 1 + TextUnits::LengthUpTo(units + zero + 1, length - zero - 1))
        units[zero] = ' ';
    text.ReleaseBuffer(length);
    return text;
}

CUnicodeString readUtf16(CFile& file, int length, bool isBigEndian, bool* hasZeros) {
    return readUnits<CUnicodeString>(file, length, hasZeros, isBigEndian);
}

CString readBytes(CFile& file, int length, bool* hasZeros = nullptr) {
    return readUnits<CString>(file, length, hasZeros);
}

// A check, because the call on the length is for files that fit and would report misuse.
bool fitsIntoText(CFile& file) {
    const bool fits = file.GetLength64() <= INT_MAX;
    if (!fits)
        GenCheck(TEXT_FILE_TOO_LARGE, file.GetFileName());
    return fits;
}

// The text of a file that begins with a mark of UTF-16, without the mark; otherwise nothing, and the position
// is still at the beginning.
std::optional<CUnicodeString> readIfUtf16(CFile& file, const CUnicodeString& fileName,
                                          bool* hasZeros = nullptr) {
    const int length = file.GetLength();
    const char16_t mark = length >= kUnitSize ? file.ReadWord() : u'\0';
    if (mark != kByteOrderMark && mark != kSwappedByteOrderMark) {
        file.SeekToBegin();
        return std::nullopt;
    }
    if (length % kUnitSize == 0)
        return readUtf16(file, length / kUnitSize - 1, mark == kSwappedByteOrderMark, hasZeros);
    GenCheck(ERR_BAD_TEXT_FILE, FileSystem::ForDisplay(fileName));
    return CUnicodeString();
}

// Whether `text`, made of these bytes, is all that they say.
bool isExactText(const CString& bytes, const CUnicodeString& text, unsigned codePage) {
    if (text.IsEmpty())
        return bytes.IsEmpty();
    return text.Find(kReplacement) < 0 || text.CreateString(codePage) == bytes;
}

// Converts the text to a code page; false if it cannot be converted and the check returned.
bool convert(const CUnicodeString& text, unsigned codePage, const CUnicodeString& fileName, CString& result) {
    result = text.CreateString(codePage);
    const bool isConverted = !result.IsEmpty() || *text.Ptr() == 0;
    if (!isConverted)
        GenCheck(ERR_BAD_TEXT_FILE, FileSystem::ForDisplay(fileName));
    return isConverted;
}

// Replaces or creates a file that `write` fills.
template<class Write>
void writeFile(const CUnicodeString& fileName, Write write) {
    CFileReplacement replacement(fileName);
    replacement.Fill(write);
    replacement.Commit();
}

// The same through an archive.
template<class Write>
void writeLines(const CUnicodeString& fileName, Write write) {
    writeFile(fileName, [&write](CFile& file) {
        CArchive archive(&file, CArchive::Storing, kWriteBufferSize);
        write(archive);
        archive.Close();
    });
}

} // namespace

CUnicodeString ReadMarkedText(const CUnicodeString& fileName, unsigned codePage, bool& isExact) {
    isExact = false;
    CFile file;
    OpenPatiently(file, fileName, kForReading);
    if (!fitsIntoText(file))
        return CUnicodeString();
    bool hasZeros = false;
    if (const std::optional<CUnicodeString> text = readIfUtf16(file, fileName, &hasZeros)) {
        isExact = !hasZeros && (!text->IsEmpty() || file.GetLength() == kUnitSize);
        return *text;
    }
    CString bytes = readBytes(file, file.GetLength(), &hasZeros);
    if (bytes.Left(3) == kUtf8Mark) {
        bytes = bytes.Mid(3);
        codePage = kUtf8;
    }
    CUnicodeString text = bytes.CreateUnicodeString(codePage);
    isExact = !hasZeros && isExactText(bytes, text, codePage);
    return text;
}

void SplitLines(const CUnicodeString& text, CArray<CUnicodeString>& lines) { splitLines(text, lines); }

CUnicodeString CFile::ReadText(const CUnicodeString& fileName, unsigned int codePage) {
    CFile file;
    OpenPatiently(file, fileName, kForReading);
    if (!fitsIntoText(file))
        return CUnicodeString();
    if (const std::optional<CUnicodeString> text = readIfUtf16(file, fileName))
        return *text;
    return readBytes(file, file.GetLength()).CreateUnicodeString(codePage);
}

void CFile::ReadText(const CUnicodeString& fileName, CArray<CUnicodeString>& lines, unsigned int codePage) {
    const CUnicodeString keptName = fileName; // it may be one of the old lines
    lines.DeleteAll();
    splitLines(ReadText(keptName, codePage), lines);
}

void CFile::WriteText(const CUnicodeString& fileName, const CUnicodeString& text) {
    writeFile(fileName, [&text](CFile& file) {
        file.WriteWord(kByteOrderMark);
        WriteLittleEndian(text.Ptr(), static_cast<std::size_t>(text.GetLength()),
                          [&file](const void* bytes, int size) { file.Write(bytes, size); });
    });
}

void CFile::WriteText(const CUnicodeString& fileName, const CArray<CUnicodeString>& lines) {
    writeLines(fileName, [&lines](CArchive& archive) {
        archive << kByteOrderMark;
        for (int i = 0; i < lines.Size(); i++)
            archive.WriteUnicodeString(lines[i], i + 1 < lines.Size());
    });
}

CString CFile::ReadANSIText(const CUnicodeString& fileName) {
    CFile file;
    OpenPatiently(file, fileName, kForReading);
    return fitsIntoText(file) ? readBytes(file, file.GetLength()) : CString();
}

void CFile::ReadANSIText(const CUnicodeString& fileName, CArray<CString>& lines) {
    lines.DeleteAll();
    splitLines(ReadANSIText(fileName), lines);
}

void CFile::WriteANSIText(const CUnicodeString& fileName, const CString& text) {
    writeFile(fileName, [&text](CFile& file) { file.Write(text.Ptr(), text.GetLength()); });
}

void CFile::WriteANSIText(const CUnicodeString& fileName, const CArray<CString>& lines) {
    writeLines(fileName, [&lines](CArchive& archive) {
        for (int i = 0; i < lines.Size(); i++)
            archive.WriteString(lines[i], i + 1 < lines.Size());
    });
}

void CFile::WriteANSIText(const CUnicodeString& fileName, const CUnicodeString& text, unsigned int codePage) {
    CString bytes;
    if (convert(text, codePage, fileName, bytes))
        WriteANSIText(fileName, bytes);
}

void CFile::WriteANSIText(const CUnicodeString& fileName, const CArray<CUnicodeString>& lines,
                          unsigned int codePage) {
    CArray<CString> converted;
    for (const CUnicodeString& line : lines) {
        CString bytes;
        if (!convert(line, codePage, fileName, bytes))
            return;
        converted.Add(std::move(bytes));
    }
    WriteANSIText(fileName, converted);
}

} // namespace Tarn
