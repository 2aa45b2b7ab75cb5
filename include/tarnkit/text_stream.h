// CTextStream: a writer of numbers and strings as text, for people to read.
//
// The text goes to any CBaseFile, as 8-bit text in the system's code page or as UTF-16, little-endian; a
// UTF-16 stream that begins at the start of its file begins with the byte order mark. Without a file it goes
// to the debugger output. Nothing is added between values. The stream uses the file and neither owns nor
// closes it; it holds no text back. The failures of the file pass through unchanged. One thread at a time.
#pragma once

#include <tarnkit/file.h>
#include <tarnkit/layout.h>
#include <tarnkit/rational.h>
#include <tarnkit/string.h>
#include <tarnkit/text_of_values.h>
#include <tarnkit/unicode_string.h>

#include <concepts>
#include <type_traits>

namespace Tarn {

class TARNKIT_API CTextStream {
public:
    enum TFormat { ANSI = 0, Unicode = 1 };

    /// A null file stands for the debugger output. Nothing is written yet.
    CTextStream(CBaseFile* textFile, TFormat textFormat);

    /// Strings, up to their first zero.
    CTextStream& operator<<(const char* text);
    CTextStream& operator<<(const char16_t* text);
    /// Numbers, in decimal digits.
    CTextStream& operator<<(short value);
    CTextStream& operator<<(unsigned short value);
    CTextStream& operator<<(int value);
    CTextStream& operator<<(unsigned int value);
    CTextStream& operator<<(long value);
    CTextStream& operator<<(unsigned long value);
    CTextStream& operator<<(Int64 value);
    CTextStream& operator<<(UInt64 value);
    /// A number, not a character.
    CTextStream& operator<<(unsigned char value);
    /// As `Str` shows a `double`.
    CTextStream& operator<<(float value);
    CTextStream& operator<<(double value);

    // What would silently become a number: characters, truth values, addresses.
    template<class T>
    requires CharacterType<T> || std::same_as<T, bool> || std::is_null_pointer_v<T> CTextStream&
    operator<<(T) = delete;
    CTextStream& operator<<(const void*) = delete;

    /// Flushes the file, if there is one.
    void Flush();

private:
    void init();
    void writeString(const CString& text);
    void writeString(const CUnicodeString& text);
    template<class Number>
    CTextStream& write(Number value);

    CBaseFile* file;
    TFormat format;
    bool isStarted = false;

    friend struct CLayout<CTextStream>;
};
TARNKIT_LAYOUT(CTextStream, 12, file, format, isStarted);

TARNKIT_API CTextStream& operator<<(CTextStream& stream, const CUnicodeString& text);
/// Both terms, as they are, with a `/` between them; `Str` leaves a denominator of 1 out.
TARNKIT_API CTextStream& operator<<(CTextStream& stream, rational value);

} // namespace Tarn
