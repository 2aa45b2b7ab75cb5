// The members of CFile that read and write whole files of text.
#include <tarnkit/archive.h>
#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/messages.h>

#include "files/file_replacement.h"
#include "strings/byte_order_mark.h"

#include <algorithm>

namespace Tarn {

namespace {

constexpr unsigned kForReading = CFile::ForReading | CFile::DenyWrite;
constexpr int kWriteBufferSize = 4096;

constexpr int kUnitSize = sizeof(char16_t);

template<class Unit, std::size_t count>
bool isOneOf(Unit unit, const Unit (&units)[count]) {
    return std::find(units, units + count, unit) != units + count;
}

bool isLineBreak(char unit) {
    static constexpr char kLineBreaks[] = {'\n', '\r', '\v', '\f'};
    return isOneOf(unit, kLineBreaks);
}

bool isLineBreak(char16_t unit) {
    static constexpr char16_t kLineBreaks[] = {u'\n', u'\r', u'\v', u'\f', u'\u2028', u'\u2029'};
    return isOneOf(unit, kLineBreaks);
}

// Appends the lines of `text` to `lines`.
template<class String>
void splitLines(const String& text, CArray<String>& lines) {
    const int length = text.GetLength();
    if (length == 0)
        return;
    for (int start = 0; start <= length;) {
        int end = start;
        while (end < length && !isLineBreak(text[end]))
            end++;
        lines.Add(text.Mid(start, end - start));
        start = end + 1;
        if (end < length && text[end] == '\r' && text[start] == '\n')
            start++;
    }
}

// The next `length` units of the file, with spaces instead of zeros.
template<class String, class Adjust>
String readUnits(CFile& file, int length, Adjust adjust) {
    String text;
    auto* units = text.GetBuffer(length);
    file.ReadRecord(units, length * static_cast<int>(sizeof *units));
    for (int i = 0; i < length; i++) {
        adjust(units[i]);
        if (units[i] == 0)
            units[i] = ' ';
    }
    text.ReleaseBuffer(length);
    return text;
}

CUnicodeString readUtf16(CFile& file, int length, bool isSwapped) {
    return readUnits<CUnicodeString>(file, length, [isSwapped](char16_t& unit) {
        if (isSwapped)
            unit = static_cast<char16_t>(unit << 8 | unit >> 8);
    });
}

CString readBytes(CFile& file, int length) {
    return readUnits<CString>(file, length, [](char) {});
}

// Converts the text to a code page; false if it cannot be converted and the check returned.
bool convert(const CUnicodeString& text, unsigned codePage, const CUnicodeString& fileName, CString& result) {
    result = text.CreateString(codePage);
    const bool isConverted = !result.IsEmpty() || *text.Ptr() == 0;
    if (!isConverted)
        GenCheck(ERR_BAD_TEXT_FILE, fileName);
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

CUnicodeString CFile::ReadText(const CUnicodeString& fileName, unsigned int codePage) {
    CFile file(fileName, kForReading);
    const int length = file.GetLength();
    if (length >= kUnitSize) {
        const char16_t mark = file.ReadWord();
        if (mark == kByteOrderMark || mark == kSwappedByteOrderMark) {
            if (length % kUnitSize == 0)
                return readUtf16(file, length / kUnitSize - 1, mark == kSwappedByteOrderMark);
            GenCheck(ERR_BAD_TEXT_FILE, fileName);
            return CUnicodeString();
        }
        file.SeekToBegin();
    }
    return readBytes(file, length).CreateUnicodeString(codePage);
}

void CFile::ReadText(const CUnicodeString& fileName, CArray<CUnicodeString>& lines, unsigned int codePage) {
    const CUnicodeString keptName = fileName; // it may be one of the old lines
    lines.DeleteAll();
    splitLines(ReadText(keptName, codePage), lines);
}

void CFile::WriteText(const CUnicodeString& fileName, const CUnicodeString& text) {
    writeFile(fileName, [&text](CFile& file) {
        file.WriteWord(kByteOrderMark);
        file.Write(text.Ptr(), text.GetLength() * kUnitSize);
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
    CFile file(fileName, kForReading);
    return readBytes(file, file.GetLength());
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
