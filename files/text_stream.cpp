#include <tarnkit/text_stream.h>

#include <tarnkit/byte_order.h>
#include <tarnkit/message_handlers.h>

#include "errors/requirement.h"
#include "strings/byte_order_mark.h"

namespace Tarn {

namespace {

constexpr CRequirement require(u"TextStream");

constexpr unsigned kSystemCodePage = 0;

} // namespace

CTextStream::CTextStream(CBaseFile* textFile, TFormat textFormat) : file(textFile), format(textFormat) {}

CTextStream& CTextStream::operator<<(const char* text) {
    if (require(text != nullptr, __LINE__))
        writeString(CString(text));
    return *this;
}

CTextStream& CTextStream::operator<<(const char16_t* text) {
    if (require(text != nullptr, __LINE__))
        writeString(CUnicodeString(text));
    return *this;
}

CTextStream& CTextStream::operator<<(short value) { return write(int{value}); }
CTextStream& CTextStream::operator<<(unsigned short value) { return write(int{value}); }
CTextStream& CTextStream::operator<<(int value) { return write(value); }
CTextStream& CTextStream::operator<<(unsigned int value) { return write(value); }
CTextStream& CTextStream::operator<<(long value) { return write(value); }
CTextStream& CTextStream::operator<<(unsigned long value) { return write(value); }
CTextStream& CTextStream::operator<<(Int64 value) { return write(value); }
CTextStream& CTextStream::operator<<(UInt64 value) { return write(value); }
CTextStream& CTextStream::operator<<(unsigned char value) { return write(int{value}); }
CTextStream& CTextStream::operator<<(float value) { return write(double{value}); }
CTextStream& CTextStream::operator<<(double value) { return write(value); }

CTextStream& operator<<(CTextStream& stream, const CUnicodeString& text) { return stream << text.Ptr(); }
CTextStream& operator<<(CTextStream& stream, rational value) {
    return stream << UnicodeStr(value.Numerator()) + u"/" + UnicodeStr(value.Denominator());
}

void CTextStream::Flush() {
    if (file != nullptr)
        file->Flush();
}

template<class Number>
CTextStream& CTextStream::write(Number value) {
    if (format == Unicode)
        writeString(UnicodeStr(value));
    else
        writeString(Str(value));
    return *this;
}

// Called before the first output: a UTF-16 file begins with the byte order mark.
void CTextStream::init() {
    const char16_t mark = LittleEndian(kByteOrderMark);
    if (format == Unicode && file != nullptr && file->GetPosition() == 0)
        file->Write(&mark, sizeof mark);
    isStarted = true;
}

void CTextStream::writeString(const CString& text) {
    if (file == nullptr || format == Unicode) {
        writeString(text.CreateUnicodeString(kSystemCodePage));
        return;
    }
    if (!isStarted)
        init();
    file->Write(text.Ptr(), text.GetLength());
}

void CTextStream::writeString(const CUnicodeString& text) {
    if (file != nullptr && format == ANSI) {
        writeString(text.CreateString(kSystemCodePage));
        return;
    }
    if (!isStarted)
        init();
    if (file == nullptr)
        Trace(u"%s", text.Ptr());
    else
        WriteLittleEndian(text.Ptr(), static_cast<std::size_t>(text.GetLength()),
                          [this](const void* bytes, int size) { file->Write(bytes, size); });
}

} // namespace Tarn
