#include "tests/files/support.h"

#include <tarnkit/buffered_file.h>
#include <tarnkit/memory_file.h>
#include <tarnkit/text_stream.h>

#include <random>

using namespace Tarn;

namespace {

constexpr unsigned kUtf8 = 65001;

class TextFile : public FolderTest {};

Bytes littleEndian(const CUnicodeString& text) {
    Bytes bytes;
    for (int i = 0; i < text.GetLength(); i++)
        bytes += {static_cast<char>(text[i]), static_cast<char>(text[i] >> 8)};
    return bytes;
}

TEST_F(TextFile, IsRefusedWhereItIsTooLarge) {
    CFile(u"large", CFile::ForWriting | CFile::Create).SetLength(Int64{3} << 30);
    CArray<CString> lines;
    EXPECT_EQ(FailureOf([] { CFile::ReadText(u"large", kUtf8); }), "TEXT_FILE_TOO_LARGE");
    EXPECT_EQ(FailureOf([&] { CFile::ReadANSIText(u"large", lines); }), "TEXT_FILE_TOO_LARGE");
}

TEST_F(TextFile, IsReadInTheEncodingThatItsFirstBytesIndicate) {
    const std::tuple<Bytes, unsigned, CUnicodeString> rows[] = {
        {"\xE6", 1251, u"ж"},
        {Bytes("a\0b", 3), 1252, u"a b"},
        {"\xEF\xBB\xBF\xD0\xB6", kUtf8, u"\uFEFFж"},
        {"\x83", 932, u""}, // half a character
        {"a\x83z", kUtf8, u"a\uFFFDz"},
        {"\xFF\xFE", 0, u""},
        {Bytes("\xFF\xFE\x36\x04\0\0\xFF\xFE", 8), 0, u"ж \uFEFF"},
        {Bytes("\xFE\xFF\0A\x04\x36", 6), 0, u"Aж"}};
    for (const auto& [bytes, codePage, text] : rows) {
        WriteBytes(folder / "text", bytes);
        EXPECT_EQ(CFile::ReadText(u"text", codePage), text) << testing::PrintToString(bytes);
    }
    WriteBytes(folder / "text", Bytes("\xFF\xFE\0", 3));
    EXPECT_EQ(CFile::ReadANSIText(u"text"), "\xFF\xFE ");
    EXPECT_EQ(FailureOf([] { CFile::ReadText(u"text", 0); }), "ERR_BAD_TEXT_FILE");
}

TEST_F(TextFile, IsSplitAtLineBreaks) {
    const std::pair<const char16_t*, CUnicodeString> rows[] = {
        // each line followed by a bar
        {u"", u""},          {u"a", u"a|"},
        {u"a\rb", u"a|b|"},  {u"a\r\n", u"a||"},
        {u"\n", u"||"},      {u"\r\r", u"|||"},
        {u"\n\rb", u"||b|"}, {u"a\vb\fc\u2028d\u2029e\u0085f", u"a|b|c|d|e\u0085f|"}};
    CArray<CUnicodeString> lines;
    for (const auto& [text, expected] : rows) {
        CFile::WriteText(u"text", CUnicodeString(text));
        CFile::ReadText(u"text", lines, 0);
        CUnicodeString joined;
        for (const CUnicodeString& line : lines)
            joined += line + u"|";
        EXPECT_EQ(joined, expected);
    }
    CArray<CString> bytes{"\x85\xE2\x80\xA8", ""};
    CFile::WriteANSIText(u"text", bytes);
    CFile::ReadANSIText(u"text", bytes);
    EXPECT_EQ(bytes, (CArray<CString>{"\x85\xE2\x80\xA8", ""}));
    lines[0] = u"missing";
    EXPECT_EQ(FailureOf([&] { CFile::ReadText(lines[0], lines, 0); }),
              FileFailure(ERROR_FILE_NOT_FOUND, "missing"));
    EXPECT_EQ(lines.Size(), 0);
}

TEST_F(TextFile, IsWrittenWithLineEndsBetweenItsLines) {
    const auto expectWritten = [&](const Bytes& bytes, auto write) {
        write();
        EXPECT_EQ(BytesOf(folder / "text"), bytes);
    };
    const CUnicodeString longLine(u'x', 3000); // beyond the buffer of an archive
    expectWritten(littleEndian(u"\uFEFF" + longLine + u"\r\n"), [&] {
        CFile::WriteText(u"text", CArray<CUnicodeString>{longLine, u""});
    });
    expectWritten(littleEndian(u"\uFEFF"), [] { CFile::WriteText(u"text", CArray<CUnicodeString>()); });
    expectWritten(littleEndian(u"\uFEFFж\n"), [] { CFile::WriteText(u"text", u"ж\n"); });
    expectWritten("\xE6?", [] { CFile::WriteANSIText(u"text", u"ж\u3042", 1251); });
    expectWritten("\xE6", [] { CFile::WriteANSIText(u"text", "\xE6"); });
    expectWritten("\xD0\xB6\r\n\r\na", [] {
        CFile::WriteANSIText(u"text", CArray<CUnicodeString>{u"ж", u"", u"a"}, kUtf8);
    });
}

TEST_F(TextFile, IsLeftUnchangedWhenItIsInUseOrTheCodePageDoesNotExist) {
    constexpr unsigned kNoCodePage = 12345;
    const CArray<CUnicodeString> lines{u"", u"a"};
    WriteBytes(folder / "text", "old");
    EXPECT_EQ(FailureOf([&] { CFile::WriteANSIText(u"text", lines, kNoCodePage); }), "ERR_BAD_TEXT_FILE");
    const std::string shared = FileFailure(ERROR_SHARING_VIOLATION, "text");
    CFile other(u"text", CFile::ForReading | CFile::DenyNone);
    EXPECT_EQ(CFile::ReadText(u"text", 0), u"old");
    EXPECT_EQ(FailureOf([] { CFile::WriteText(u"text", u"new"); }), shared);
    other.Close();
    other.Open(u"text", CFile::ForWriting | CFile::DenyNone);
    EXPECT_EQ(FailureOf([] { CFile::ReadText(u"text", 0); }), shared);
}

TEST_F(TextFile, ReportsAFullDisk) {
    TARNKIT_TEST_NEEDS(kFullDevice);
    const std::string full = FileFailure(ERROR_DISK_FULL, "full");
    EXPECT_EQ(FailureOf([] { CFile::WriteText(u"\\dev\\full", u""); }), full);
    EXPECT_EQ(FailureOf([] { CFile::WriteText(u"\\dev\\full", CArray<CUnicodeString>()); }), full);
}

TEST(TextStream, WritesValuesAsText) {
    const CUnicodeString text =
        u"abcd-165535-14294967295-23-922337203685477580818446744073709551615650.51e+10-6/1";
    for (const auto format : {CTextStream::ANSI, CTextStream::Unicode}) {
        CMemoryFile file;
        for (int i = 0; i < 2; i++) { // only the first stream is at the start of the file
            CTextStream stream(&file, format);
            stream << "a" << u"b" << CString("c") << CUnicodeString(u"d\0e", 3) << short{-1}
                   << static_cast<unsigned short>(65535) << -1 << ~0u << -2L << 3UL << INT64_MIN << ~UInt64{0}
                   << static_cast<unsigned char>('A') << 0.5f << 1e10 << rational(-6);
        }
        EXPECT_EQ(BytesOf(file), format == CTextStream::ANSI ? (text + text).CreateString().Ptr()
                                                             : littleEndian(u"\uFEFF" + text + text));
    }
}

TEST(TextStream, GoesToTheDebuggerOutputWithoutAFile) {
    TARNKIT_TEST_NEEDS(kTraceOutput);
    TARNKIT_TEST_NEEDS(kRestartsItself);
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process that has not traced yet
    SetEnvironment("TARNKIT_TRACE", "stderr");
    const auto write = [](CTextStream::TFormat format) {
        CTextStream(nullptr, format) << "%d" << 7 << u"ж\x1B";
    };
    EXPECT_EXIT((write(CTextStream::ANSI), write(CTextStream::Unicode), std::_Exit(0)),
                testing::ExitedWithCode(0), "^%d7ж\\\\x1B%d7ж\\\\x1B$");
    SetEnvironment("TARNKIT_TRACE", nullptr);
}

// A model: the same calls on a file and, through a buffer, on another, must give the same results.
TEST(BufferedFile, IsTheFileButForWhenItWrites) {
    std::mt19937 random(1);
    for (const int size : {1, 7, 64}) {
        CMemoryFile plain, used;
        CBufferedFile buffered(&used, size);
        for (int round = 0; round < 3000; round++) {
            std::string bytes(random() % 20, static_cast<char>('a' + round % 26)), back = bytes;
            const int count = static_cast<int>(bytes.size());
            const int place = static_cast<int>(random() % static_cast<unsigned>(plain.GetLength() + 1));
            const auto act = [&](CBaseFile& file, std::string& text) {
                switch (round % 7) {
                case 0:
                    return file.Seek(place, CBaseFile::Begin);
                case 1:
                    return file.Read(text.data(), count);
                case 2:
                    return file.SetLength(place), 0;
                case 3:
                    return file.Flush(), 0;
                default:
                    return file.Write(text.data(), count), 0;
                }
            };
            ASSERT_EQ(act(plain, bytes), act(buffered, back));
            ASSERT_EQ(bytes, back);
            ASSERT_EQ(plain.GetPosition(), buffered.GetPosition());
            ASSERT_EQ(plain.GetLength(), buffered.GetLength());
        }
        buffered.Flush();
        EXPECT_EQ(BytesOf(plain), BytesOf(used));
    }
}

TEST_F(TextFile, ThroughABufferIsWrittenOnceAndKeptUntilThen) {
    TARNKIT_TEST_NEEDS(kFullDevice);
    CFile file(u"gathered", CFile::ForWriting | CFile::Create | CFile::DenyNone);
    {
        CBufferedFile buffered(&file, 8);
        buffered.Write("1234567", 7);
        EXPECT_EQ(file.GetLength(), 0);
        EXPECT_EQ(buffered.GetLength(), 7);
        buffered.Write("89", 2);
        EXPECT_EQ(file.GetLength(), 7);
    }
    EXPECT_EQ(file.GetLength(), 9);
    CFile full(u"\\dev\\full", CFile::ForWriting);
    CBufferedFile buffered(&full);
    buffered.Write("x", 1);
    EXPECT_EQ(FailureOf([&] { buffered.Flush(); }), FileFailure(ERROR_DISK_FULL, "full"));
    EXPECT_EQ(FailureOf([&] { buffered.Close(); }), FileFailure(ERROR_DISK_FULL, "full"));
    EXPECT_FALSE(full.IsOpen());
}

} // namespace
