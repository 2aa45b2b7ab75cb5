#include "tests/files/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/lifecycle.h>

#include <climits>
#include <functional>
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

private:
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
    expectFormat(static_cast<short>(-2), "\xFE\xFF");
    expectFormat(u'ж', "\x36\x04");
    expectFormat(-2, "\xFE\xFF\xFF\xFF");
    expectFormat(-2L, "\xFE\xFF\xFF\xFF");
    expectFormat(0xFFFFFFFEul, "\xFE\xFF\xFF\xFF");
    expectFormat(UInt64{0x0123456789ABCDEF}, "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
    expectFormat(1.5f, Bytes("\0\0\xC0\x3F", 4));
    expectFormat(-2.0, Bytes("\0\0\0\0\0\0\0\xC0", 8));
    expectFormat(CString("To"), "\x02To");
    expectFormat(CUnicodeString(), Bytes(1, '\0'));
    expectFormat(CUnicodeString(u"Z"), Bytes("\x01Z\0", 3));
    CString withZero;
    failureOfLoading(Bytes("\x03z\0z", 4), [&](CArchive& archive) { archive >> withZero; });
    EXPECT_EQ(withZero.GetLength(), 3);
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
    const std::pair<int, Bytes> rows[] = {
        {0, Bytes(1, '\0')}, {254, "\xFE"}, {255, Bytes("\xFF\xFF\0\0\0", 5)}, {-1, "\xFF\xFF\xFF\xFF\xFF"}};
    for (auto& [value, bytes] : rows) {
        long number = value;
        EXPECT_EQ(stored([&](CArchive& archive) { archive.SerializeSmallValue(number); }), bytes);
        unsigned long word = 0;
        failureOfLoading(bytes + bytes, [&](CArchive& archive) {
            archive.SerializeSmallValue(word);
            archive.SerializeSmallValue(number);
        });
        EXPECT_EQ(word, static_cast<unsigned>(value));
        EXPECT_EQ(number, value);
    }
}

TEST(Archive, RefusesCorruptValuesAndLaterVersions) {
    const auto kindOf = [](const Bytes& bytes, auto value) {
        return failureOfLoading(bytes, [&](CArchive& archive) { archive >> value; }).kind;
    };
    const auto kindOfVersion = [](const Bytes& bytes) {
        return failureOfLoading(bytes, [](CArchive& archive) { archive.SerializeVersion(3); }).kind;
    };
    EXPECT_EQ(kindOf("\x02", false), "ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\xFF\xFF\xFF\xFF\xFF", CUnicodeString()), "ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\x05xy", CString()), kEndOfFile);
    EXPECT_EQ(kindOfVersion("\x04"), "ERR_BAD_ARCHIVE_VERSION");
    EXPECT_EQ(kindOfVersion("\x03"), "");
    EXPECT_EQ(kindOfVersion("\xFF\xFF\xFF\xFF\xFF"), "");
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
    storing << 'a';
    storing.Write(block.data(), static_cast<int>(block.size()));
    EXPECT_EQ(file.writes, (std::vector<int>{1, 3 * kSmallBuffer}));
    storing.Close();
    EXPECT_EQ(file.bytes, 'a' + block);
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    loading.Read(block.data(), 2);
    loading.Read(block.data(), kSmallBuffer - 2 + 2 * kSmallBuffer);
    EXPECT_EQ(file.reads, (std::vector<int>{kSmallBuffer, 2 * kSmallBuffer}));
    EXPECT_EQ(KindOf([&] { loading.Read(block.data(), 100); }), kEndOfFile);
}

TEST(Archive, LeavesTheFileBehindTheLastByteConsumed) {
    CApplicationFile file("0123456789abcdefgh"); // two buffers
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    char byte;
    archive >> byte;
    archive.Flush();
    EXPECT_EQ(file.position, 1);
    archive.Skip(12); // more than the buffer
    archive >> byte;
    EXPECT_EQ(byte, 'd');
    archive.Close();
    EXPECT_EQ(file.position, 14);
    file.position = kSmallBuffer;
    CArchive rest(&file, CArchive::Loading, kSmallBuffer);
    for (int i = 0; i < kSmallBuffer; i++) {
        EXPECT_FALSE(rest.IsEndOfArchive());
        rest >> byte;
    }
    EXPECT_TRUE(rest.IsEndOfArchive());
    EXPECT_EQ(KindOf([&] { rest >> byte; }), kEndOfFile);
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
    {
        CArchive archive(&file, CArchive::Storing, kSmallBuffer);
        archive << Int64{1};
        EXPECT_EQ(KindOf([&] { archive.Flush(); }), kDiskFull);
        file.room = INT_MAX;
        archive << 'x';
    }
    EXPECT_EQ(file.bytes, Bytes("\x01\0\0\0\0x", 6));
}

TEST(Archive, ReportsAFullDiskUnlessItIsAbortedOrUnwinding) {
    CFile full(u"/dev/full", CFile::ForWriting);
    const auto failureAfter = [&](std::function<void(CArchive&)> action) {
        return FailureOf([&] {
            CArchive archive(&full, CArchive::Storing);
            archive << 1;
            action(archive);
        });
    };
    EXPECT_EQ(failureAfter([](CArchive&) {}).kind, kDiskFull);
    EXPECT_EQ(failureAfter([](CArchive&) {}).name, "/dev/full");
    EXPECT_EQ(failureAfter([](CArchive& archive) { archive.Abort(); }).kind, "");
    EXPECT_EQ(failureAfter([](CArchive&) { ThrowFileException(ERROR_CRC, u"other"); }).code, ERROR_CRC);
    const auto closeTwice = [](CArchive& archive) {
        EXPECT_EQ(KindOf([&] { archive.Close(); }), kDiskFull);
        EXPECT_EQ(archive.GetFile(), nullptr);
        archive.Close();
    };
    EXPECT_EQ(failureAfter(closeTwice).kind, "");
}

TEST(Archive, AssertsTheDirectionAndTheFileInEveryTransfer) {
    int number = 5;
    CString text;
    const std::vector<std::function<void(CArchive&)>> loads = {
        [&](CArchive& archive) { archive >> number; }, [&](CArchive& archive) { archive.Read(&number, 1); },
        [&](CArchive& archive) { archive.Skip(1); }, [&](CArchive& archive) { archive.ReadString(text); }};
    const std::vector<std::function<void(CArchive&)>> stores = {
        [&](CArchive& archive) { archive << number; }, [&](CArchive& archive) { archive.Write(&number, 1); },
        [&](CArchive& archive) { archive.WriteString("", true); }};
    CApplicationFile file("\x01\x01\x01\x01\x01\x01\x01\x01\x01");
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    loading.ReadSmallValue();
    storing.WriteSmallValue(1); // both buffers have room now
    const auto expectMisuse = [](CArchive& archive, const auto& actions) {
        for (const auto& action : actions)
            EXPECT_EQ(KindOf([&] { action(archive); }), "assertion");
    };
    expectMisuse(loading, stores);
    expectMisuse(storing, loads);
    EXPECT_EQ(KindOf([&] { loading.Read(&number, -1); }), "assertion");
    loading.Close();
    storing.Close();
    expectMisuse(loading, loads);
    expectMisuse(storing, stores);
    EXPECT_EQ(KindOf([&] { CArchive(nullptr, CArchive::Loading); }), "assertion");
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
    const auto store = [](CArchive& archive) {
        archive.WriteString("a", true);
        archive.WriteUnicodeString(u"c", true);
        archive.WriteUnicodeString(CUnicodeString(u"d"), false);
    };
    EXPECT_EQ(stored(store), Bytes("a\r\nc\0\r\0\n\0d\0", 11));
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
            archive << text;
        else
            EXPECT_TRUE((archive >> text).IsEndOfArchive());
        EXPECT_EQ(text.GetLength(), 20000);
    }
}

} // namespace
