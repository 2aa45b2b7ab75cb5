#include "tests/files/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/lifecycle.h>

#include <climits>
#include <vector>

using namespace Tarn;

namespace {

constexpr int kSmallBuffer = CArchive::kLeastBufferSize;

// An application's file: bytes in memory that can be slow, full, broken, or without a length. It remembers
// the sizes that it was asked for.
class CApplicationFile : public CBaseFile {
public:
    Bytes bytes;
    int position = 0;
    std::vector<int> reads;
    std::vector<int> writes;
    int room = INT_MAX;       // takes no more bytes than this in all
    int mostAtOnce = INT_MAX; // of a read
    bool isBroken = false;    // reads, then throws
    bool hasLength = true;

    explicit CApplicationFile(const Bytes& contents = Bytes()) : bytes(contents) {}

    CUnicodeString GetFileName() override { return u"app"; }
    int Read(void* buffer, int size) override {
        reads.push_back(size);
        const int count = std::min({size, static_cast<int>(bytes.size()) - position, mostAtOnce});
        std::copy_n(bytes.begin() + position, count, static_cast<char*>(buffer));
        failIf(isBroken, ERROR_READ_FAULT);
        position += count;
        return count;
    }
    void Write(const void* buffer, int size) override {
        writes.push_back(size);
        const int count = std::min(size, room - static_cast<int>(bytes.size()));
        bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
        failIf(count < size, ERROR_DISK_FULL);
    }
    int GetPosition() const override { return position; }
    int Seek(int offset, TSeekPosition) override { return position += offset; }
    void SetLength(int) override {}
    int GetLength() const override {
        failIf(!hasLength, ERROR_SEEK);
        return static_cast<int>(bytes.size());
    }
    void Abort() override {}
    void Flush() override {}
    void Close() override {}

    static void failIf(bool isFailing, DWORD code) {
        if (isFailing)
            ThrowFileException(code, u"app");
    }
};

// What `store` writes through an archive.
template<class Store>
Bytes stored(Store store) {
    CApplicationFile file;
    CArchive archive(&file, CArchive::Storing, kSmallBuffer);
    store(archive);
    archive.Close();
    return file.bytes;
}

// What stops `load` on an archive over the bytes.
template<class Load>
CFailure failureOfLoading(const Bytes& bytes, Load load) {
    CApplicationFile file(bytes);
    return FailureOf([&] {
        CArchive archive(&file, CArchive::Loading, kSmallBuffer);
        load(archive);
    });
}

template<class T>
void expectFormat(const T& value, const Bytes& bytes) {
    EXPECT_EQ(stored([&](CArchive& archive) { archive << value; }), bytes);
    T loaded{};
    failureOfLoading(bytes, [&](CArchive& archive) { EXPECT_TRUE((archive >> loaded).IsEndOfArchive()); });
    EXPECT_EQ(loaded, value);
}

TEST(Archive, WritesValuesAsLittleEndianBytesAndReadsThemBack) {
    expectFormat(true, "\x01");
    expectFormat('\xE9', "\xE9");
    expectFormat(u'ж', "\x36\x04");
    expectFormat(-2L, "\xFE\xFF\xFF\xFF");
    expectFormat(0xFFFFFFFEul, "\xFE\xFF\xFF\xFF");
    expectFormat(UInt64{0x0123456789ABCDEF}, "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
    expectFormat(1.5f, Bytes("\0\0\xC0\x3F", 4));
    expectFormat(-2.0, Bytes("\0\0\0\0\0\0\0\xC0", 8));
    expectFormat(CString("To"), "\x02To");
    expectFormat(CUnicodeString(), Bytes(1, '\0'));
    expectFormat(CUnicodeString(u"Z"), Bytes("\x01Z\0", 3));
    if constexpr (sizeof(long) > 4) {
        EXPECT_EQ(KindOf([] { stored([](CArchive& archive) { archive << LONG_MIN; }); }), "assertion");
    }
}

template<class T>
concept Storable = requires(CArchive& archive, T value) {
    archive << value;
};
static_assert(Storable<CString> && Storable<bool> && Storable<signed char>);
static_assert(!Storable<const char*> && !Storable<void (*)()> && !Storable<std::nullptr_t>);
static_assert(!Storable<wchar_t> && !Storable<char32_t> && !Storable<char8_t> && !Storable<long double>);

TEST(Archive, WritesSmallValuesInOneByteUpTo254) {
    const std::pair<long, Bytes> rows[] = {
        {0, Bytes(1, '\0')}, {254, "\xFE"}, {255, Bytes("\xFF\xFF\0\0\0", 5)}, {-1, "\xFF\xFF\xFF\xFF\xFF"}};
    for (auto [number, bytes] : rows) {
        EXPECT_EQ(stored([n = number](CArchive& archive) mutable { archive.SerializeSmallValue(n); }), bytes);
        unsigned long word = 0;
        failureOfLoading(bytes, [&](CArchive& archive) { archive.SerializeSmallValue(word); });
        EXPECT_EQ(word, static_cast<unsigned>(number));
    }
}

TEST(Archive, RefusesCorruptValuesAndLaterVersions) {
    const auto kindOf = [](const Bytes& bytes, auto value) {
        return failureOfLoading(bytes, [&](CArchive& archive) { archive >> value; }).kind;
    };
    EXPECT_EQ(kindOf("\x02", false), "ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\xFF\xFF\xFF\xFF\xFF", CUnicodeString()), "ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\x05xy", CString()), kEndOfFile);
    const auto loadVersions = [](CArchive& archive) {
        EXPECT_EQ(archive.SerializeVersion(3), 3);
        EXPECT_EQ(archive.SerializeVersion(3), -1);
        archive.SerializeVersion(3);
    };
    EXPECT_EQ(failureOfLoading("\x03\xFF\xFF\xFF\xFF\xFF\x04", loadVersions).kind, "ERR_BAD_ARCHIVE_VERSION");
}

TEST(Archive, TakesNoMemoryForALengthThatTheFileCannotFill) {
    const CUnicodeString large(u'y', 20000);
    const Bytes bytes = stored([&](CArchive& archive) {
        archive << large;
        archive.WriteSmallValue(INT_MAX);
        archive << large;
    });
    for (bool hasLength : {true, false}) {
        CApplicationFile file(bytes);
        file.hasLength = hasLength;
        CArchive archive(&file, CArchive::Loading);
        CUnicodeString text;
        archive >> text;
        EXPECT_EQ(text, large);
        EXPECT_EQ(KindOf([&] { archive >> text; }), kEndOfFile);
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_LE(*std::max_element(file.reads.begin(), file.reads.end()), 65536);
    }
}

TEST(Archive, MovesLargeBlocksPastTheBuffer) {
    Bytes block(3 * kSmallBuffer + 5, 'b');
    CApplicationFile file;
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    storing.Write(block.data(), static_cast<int>(block.size()));
    EXPECT_EQ(file.writes, std::vector<int>{3 * kSmallBuffer});
    storing.Close();
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    loading.Read(block.data(), 2 * kSmallBuffer + 2);
    EXPECT_EQ(file.reads, (std::vector<int>{2 * kSmallBuffer, kSmallBuffer}));
    EXPECT_EQ(KindOf([&] { loading.Read(block.data(), 100); }), kEndOfFile);
}

TEST(Archive, LeavesTheFileBehindTheLastByteConsumed) {
    CApplicationFile file(Bytes(2 * kSmallBuffer, 'x'));
    {
        CArchive archive(&file, CArchive::Loading, kSmallBuffer);
        archive.ReadSmallValue();
        archive.Flush();
        EXPECT_EQ(file.position, 1);
        archive.Skip(7);
        archive.ReadSmallValue();
    }
    EXPECT_EQ(file.position, kSmallBuffer);
    CArchive rest(&file, CArchive::Loading, kSmallBuffer);
    for (int i = 0; i < kSmallBuffer; i++) {
        EXPECT_FALSE(rest.IsEndOfArchive());
        rest.ReadSmallValue();
    }
    EXPECT_TRUE(rest.IsEndOfArchive());
    EXPECT_EQ(KindOf([&] { rest.ReadSmallValue(); }), kEndOfFile);
}

TEST(Archive, StaysConsistentWhenTheFileThrowsInTheMiddleOfAFill) {
    CApplicationFile file("0123456789abcdef");
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    char bytes[kSmallBuffer - 1];
    archive.Read(bytes, sizeof bytes);
    int value = 0;
    file.isBroken = true;
    EXPECT_EQ(CodeOf([&] { archive >> value; }), ERROR_READ_FAULT);
    file.isBroken = false;
    file.mostAtOnce = 3; // enough, though less than is asked for
    archive >> value;
    EXPECT_EQ(value, 0x62613938); // "89ab"
    archive.Close();
    EXPECT_EQ(file.position, 12);
}

TEST(Archive, NeverOffersBytesTwiceToAFileThatRefusedThem) {
    CApplicationFile file;
    file.room = 5;
    CArchive archive(&file, CArchive::Storing, kSmallBuffer);
    archive << Int64{1};
    EXPECT_EQ(KindOf([&] { archive.Flush(); }), kDiskFull);
    file.room = INT_MAX;
    archive << 'x';
    archive.Close();
    EXPECT_EQ(file.bytes, Bytes("\x01\0\0\0\0x", 6));
}

TEST(Archive, ReportsAFullDiskOnceUnlessItIsAbortedOrUnwinding) {
    CFile full(u"/dev/full", CFile::ForWriting);
    const auto failureAfter = [&](void (*action)(CArchive&)) {
        return FailureOf([&] {
            CArchive archive(&full, CArchive::Storing);
            archive << 1;
            action(archive);
        });
    };
    const auto close = [](CArchive& archive) {
        EXPECT_EQ(KindOf([&] { archive.Close(); }), kDiskFull);
        EXPECT_EQ(archive.GetFile(), nullptr);
    };
    EXPECT_EQ(failureAfter([](CArchive&) {}).kind, kDiskFull);
    EXPECT_EQ(failureAfter([](CArchive&) {}).name, "/dev/full");
    EXPECT_EQ(failureAfter(close).kind, "");
    EXPECT_EQ(failureAfter([](CArchive& archive) { archive.Abort(); }).kind, "");
    EXPECT_EQ(failureAfter([](CArchive&) { ThrowFileException(ERROR_CRC, u"other"); }).code, ERROR_CRC);
}

TEST(Archive, AssertsTheDirectionAndTheFileInEveryTransfer) {
    int number = 5;
    const auto countAssertions = [&](CArchive& archive) {
        int count = KindOf([&] { archive >> number; }) == "assertion" ? 1 : 0;
        count += KindOf([&] { archive.Read(&number, 1); }) == "assertion" ? 1 : 0;
        count += KindOf([&] { archive.Skip(1); }) == "assertion" ? 1 : 0;
        count += KindOf([&] { archive << number; }) == "assertion" ? 10 : 0;
        count += KindOf([&] { archive.Write(&number, 1); }) == "assertion" ? 10 : 0;
        return count;
    };
    CApplicationFile file("\x01\x01\x01\x01\x01\x01\x01\x01\x01");
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    loading.ReadSmallValue();
    storing.WriteSmallValue(1); // both buffers have room now
    EXPECT_EQ(countAssertions(loading), 20);
    EXPECT_EQ(countAssertions(storing), 3);
    loading.Close();
    storing.Close();
    EXPECT_EQ(countAssertions(loading), 23);
    EXPECT_EQ(countAssertions(storing), 23);
    EXPECT_EQ(KindOf([&] { CArchive(&file, CArchive::Loading, 8); }), "assertion");
    BeginStaticPart(); // assertions return
    loading >> number;
    EndStaticPart();
    EXPECT_EQ(number, 0);
    SetErrorFlag(false);
}

// The lines that can be read, each followed by "|", then what stopped it.
template<class Text>
std::string linesOf(const Bytes& bytes, bool (CArchive::*read)(Text&)) {
    std::string result;
    const CFailure failure = failureOfLoading(bytes, [&](CArchive& archive) {
        for (Text line; (archive.*read)(line);)
            result += Bytes(line.Ptr(), line.Ptr() + line.GetLength()) + "|";
    });
    return result + failure.kind;
}

TEST(Archive, ReadsLinesThatEndInCrLfOrLfOrTheEndOfTheFile) {
    const Bytes longLine(600, 'x');
    const std::pair<Bytes, std::string> rows[] = {{"a\r\nb", "a|b|"},
                                                  {"a\n\nb\n", "a||b|"},
                                                  {"a\rb", "ERR_BAD_TEXT_FILE"},
                                                  {Bytes("a\0b", 3), "ERR_BAD_TEXT_FILE"},
                                                  {"a\r", kEndOfFile},
                                                  {longLine, longLine + "|"}};
    for (const auto& [bytes, lines] : rows) {
        EXPECT_EQ(linesOf(bytes, &CArchive::ReadString), lines);
        Bytes wide;
        for (char byte : bytes)
            wide += Bytes(1, byte) + '\0';
        EXPECT_EQ(linesOf(wide, &CArchive::ReadUnicodeString), lines);
    }
    EXPECT_EQ(stored([](CArchive& archive) { archive.WriteUnicodeString(u"c", true); }),
              Bytes("c\0\r\0\n\0", 6));
}

class ArchiveOnDisk : public FolderTest {};

struct CDocument {
    int count = 300;
    CString name = "name";
    CUnicodeString title = u"A title longer than the buffer";
    bool isDraft = true;

    void Serialize(CArchive& archive) {
        archive.SerializeVersion(2);
        archive.SerializeSmallValue(count);
        if (archive.IsStoring())
            archive << name << title << isDraft;
        else
            archive >> name >> title >> isDraft;
    }
};

TEST_F(ArchiveOnDisk, LoadsOrRefusesEveryTruncatedAndBitFlippedFile) {
    const Bytes good = stored([](CArchive& archive) { CDocument().Serialize(archive); });
    const auto kindOfLoading = [&](const Bytes& bytes) {
        WriteBytes(folder / "document", bytes);
        CFile file(u"document", CFile::ForReading | CFile::DenyWrite);
        CArchive archive(&file, CArchive::Loading, kSmallBuffer);
        return KindOf([&] { CDocument().Serialize(archive); });
    };
    for (std::size_t size = 0; size < good.size(); size++)
        EXPECT_EQ(kindOfLoading(good.substr(0, size)), kEndOfFile) << size;
    const std::vector<std::string> expected = {"", kEndOfFile, "ERR_BAD_ARCHIVE", "ERR_BAD_ARCHIVE_VERSION"};
    for (std::size_t bit = 0; bit < good.size() * 8; bit++) {
        Bytes bad = good;
        bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << bit % 8);
        EXPECT_EQ(std::count(expected.begin(), expected.end(), kindOfLoading(bad)), 1) << bit;
    }
}

TEST_F(ArchiveOnDisk, WorksBeyond32BitPositions) {
    CUnicodeString text(u'z', 20000);
    CFile file(u"far", CFile::ForReadingAndWriting | CFile::Create);
    for (auto direction : {CArchive::Storing, CArchive::Loading}) {
        file.Seek(0x140000000, CBaseFile::Begin);
        CArchive archive(&file, direction);
        if (archive.IsStoring())
            archive << text << 1;
        else
            EXPECT_FALSE((archive >> text).IsEndOfArchive());
        EXPECT_EQ(text.GetLength(), 20000);
    }
    EXPECT_EQ(file.GetLength64() - file.GetPosition64(), 4);
}

} // namespace
