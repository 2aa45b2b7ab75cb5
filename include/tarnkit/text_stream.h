/// \file
/// CTextStream: writes numbers and strings as text for people to read.
///
/// The text goes to any CBaseFile, as 8-bit text in the system's code page or as little-endian UTF-16; a
/// UTF-16 stream at the start of its file begins with the byte order mark. Without a file the text goes to
/// the debugger output. Nothing is added between values. The stream uses the file and neither owns nor closes
/// it. It has no buffer of its own. Exceptions of the file pass through unchanged. Threads may use different
/// streams, with different files, at the same time, but each stream one thread at a time.
///
/// \code
/// CFile log(u"log.txt", CFile::ForWriting | CFile::Create);
/// CTextStream(&log, CTextStream::ANSI) << "loaded " << 17 << " of " << 20 << " notes\r\n";
/// \endcode
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

/// Writes text for people; see the top of this header.
class TARNKIT_API CTextStream {
public:
    /// `ANSI` is 8-bit text in the system's code page, `Unicode` little-endian UTF-16.
    enum TFormat { ANSI = 0, Unicode = 1 };

    /// Writes nothing yet. If `textFile` is null, the stream writes to the debugger output.
    CTextStream(CBaseFile* textFile, TFormat textFormat);

    /// Text up to its first zero; null asserts.
    CTextStream& operator<<(const char* text);
    CTextStream& operator<<(const char16_t* text);
    /// Integers are written in decimal.
    CTextStream& operator<<(short value);
    CTextStream& operator<<(unsigned short value);
    CTextStream& operator<<(int value);
    CTextStream& operator<<(unsigned int value);
    CTextStream& operator<<(long value);
    CTextStream& operator<<(unsigned long value);
    CTextStream& operator<<(Int64 value);
    CTextStream& operator<<(UInt64 value);
    /// Written as a number, not as a character.
    CTextStream& operator<<(unsigned char value);
    /// Written as `Str` writes a `double`.
    CTextStream& operator<<(float value);
    CTextStream& operator<<(double value);

    // Characters, truth values and addresses would silently be written as numbers.
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

/// The whole text, up to its first zero.
TARNKIT_API CTextStream& operator<<(CTextStream& stream, const CUnicodeString& text);
/// Always writes both terms with a `/` between them, unlike `Str`, which omits a denominator of 1.
TARNKIT_API CTextStream& operator<<(CTextStream& stream, rational value);

} // namespace Tarn
