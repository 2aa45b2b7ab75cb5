#include "text_files.h"
#include "messages.h"

#include <tarnkit/exceptions.h>
#include <tarnkit/file.h>
#include <tarnkit/file_system.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/text_stream.h>

using namespace Tarn;

namespace {

bool hasByteOrderMark(const CString& bytes) {
    return bytes.CompareSubstr(0, "\xFF\xFE", 2) == 0 || bytes.CompareSubstr(0, "\xFE\xFF", 2) == 0;
}

void checkCodePage(const CUnicodeString& fileName, const CUnicodeString& text, unsigned codePage) {
    const CString bytes(text, text.GetLength(), codePage);
    if (CUnicodeString(bytes.Ptr(), bytes.GetLength(), codePage) != text)
        GenCheck(ERR_NOTEBOOK_CANT_ENCODE, UnicodeStr(codePage, 10), FileSystem::ForDisplay(fileName));
}

} // namespace

CUnicodeString ImportText(const CUnicodeString& fileName, unsigned codePage) {
    const CUnicodeString text = CFile::ReadText(fileName, codePage);
    const CString bytes = CFile::ReadANSIText(fileName);
    if (hasByteOrderMark(bytes))
        return text;
    // A conversion that fails returns an empty text. A text is accepted only if it converts back to the same
    // bytes.
    const CString back(text, text.GetLength(), codePage);
    if (back.GetLength() != bytes.GetLength() || back.Compare(bytes) != 0)
        GenCheck(ERR_NOTEBOOK_CANT_DECODE, FileSystem::ForDisplay(fileName), UnicodeStr(codePage, 10));
    return text;
}

void ExportText(const CUnicodeString& fileName, const CUnicodeString& text, unsigned codePage) {
    if (codePage == kUtf16)
        return CFile::WriteText(fileName, text);
    checkCodePage(fileName, text, codePage);
    CFile::WriteANSIText(fileName, text, codePage);
}

int MeasureExport(const CUnicodeString& fileName, const CUnicodeString& text, unsigned codePage) {
    if (codePage != kUtf16) {
        checkCodePage(fileName, text, codePage);
        return CString(text, text.GetLength(), codePage).GetLength();
    }
    CMemoryFile file;
    CTextStream(&file, CTextStream::Unicode) << text.Ptr();
    return file.GetLength();
}
