#include "tests/files/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/lifecycle.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

using namespace Tarn;

namespace {

constexpr int kSmallBuffer = CArchive::kLeastBufferSize;

// An application's file: bytes in memory that can be slow, full, broken, or without a length. It remembers
// what was asked of it.
class CApplicationFile : public CBaseFile {
public:
    Bytes bytes;
    int position = 0;
    std::vector<int> reads;
    std::vector<int> writes;
    int room = INT_MAX;        // takes no more bytes than this in all
    int mostAtOnce = INT_MAX;  // of a read
    bool isReadBroken = false; // reads, then throws
    bool hasLength = true;

    explicit CApplicationFile(const Bytes& contents = Bytes()) : bytes(contents) {}

    CUnicodeString GetFileName() override { return u"app"; }
    int Read(void* buffer, int size) override {
        reads.push_back(size);
        const int left = static_cast<int>(bytes.size()) - position;
        const int count = std::min({size, left, mostAtOnce});
        std::copy_n(bytes.begin() + position, count, static_cast<char*>(buffer));
        if (isReadBroken)
            ThrowFileException(ERROR_READ_FAULT, u"app");
        position += count;
        return count;
    }
    void Write(const void* buffer, int size) override {
        writes.push_back(size);
        const int count = std::min(size, room - static_cast<int>(bytes.size()));
        bytes.append(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
        if (count < size)
            ThrowFileException(ERROR_DISK_FULL, u"app");
    }
    int GetPosition() const override { return position; }
    int Seek(int offset, TSeekPosition from) override {
        EXPECT_EQ(from, Current);
        return position += offset;
    }
    void SetLength(int) override {}
    int GetLength() const override {
        if (!hasLength)
            ThrowFileException(ERROR_SEEK, u"app");
        return static_cast<int>(bytes.size());
    }
    void Abort() override {}
    void Flush() override {}
    void Close() override {}
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

// Runs `load` on an archive over the bytes and returns what stopped it.
template<class Load>
CFailure failureOfLoading(const Bytes& bytes, Load load) {
    CApplicationFile file(bytes);
    return FailureOf([&] {
        CArchive archive(&file, CArchive::Loading, kSmallBuffer);
        load(archive);
    });
}

template<class T>
T loaded(const Bytes& bytes) {
    T value{};
    EXPECT_EQ(failureOfLoading(bytes,
                               [&](CArchive& archive) {
                                   archive >> value;
                                   EXPECT_TRUE(archive.IsEndOfArchive());
                               })
                  .kind,
              u"");
    return value;
}

template<class T>
void expectFormat(const T& value, const Bytes& bytes) {
    EXPECT_EQ(stored([&](CArchive& archive) { archive << value; }), bytes);
    EXPECT_EQ(loaded<T>(bytes), value);
}

TEST(Archive, WritesValuesAsLittleEndianBytesAndReadsThemBack) {
    expectFormat(true, "\x01");
    expectFormat(false, Bytes(1, '\0'));
    expectFormat('\xE9', "\xE9");
    expectFormat(static_cast<unsigned char>(200), "\xC8");
    expectFormat(static_cast<short>(-2), "\xFE\xFF");
    expectFormat(static_cast<unsigned short>(0x1234), "\x34\x12");
    expectFormat(u'ж', "\x36\x04");
    expectFormat(-2, "\xFE\xFF\xFF\xFF");
    expectFormat(0xFFFFFFFEu, "\xFE\xFF\xFF\xFF");
    expectFormat(-2L, "\xFE\xFF\xFF\xFF");
    expectFormat(0xFFFFFFFEul, "\xFE\xFF\xFF\xFF");
    expectFormat(Int64{-2}, "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
    expectFormat(UInt64{0x0123456789ABCDEF}, "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
    expectFormat(1.5f, Bytes("\0\0\xC0\x3F", 4));
    expectFormat(-2.0, Bytes("\0\0\0\0\0\0\0\xC0", 8));
    expectFormat(CString(), Bytes(1, '\0'));
    expectFormat(CString("AB"), "\x02"
                                "AB");
    expectFormat(CUnicodeString(), Bytes(1, '\0'));
    expectFormat(CUnicodeString(u"A"), Bytes("\x01"
                                             "A\0",
                                             3));
    EXPECT_EQ(loaded<CString>(Bytes("\x03"
                                    "a\0b",
                                    4))
                  .GetLength(),
              3);
    if constexpr (sizeof(long) > 4) {
        CApplicationFile file;
        CArchive archive(&file, CArchive::Storing);
        unsigned long tooLarge = 1ul << 31 << 1;
        EXPECT_EQ(FailureOf([&] { archive << LONG_MIN; }).kind, u"assertion in Archive");
        EXPECT_EQ(FailureOf([&] { archive.SerializeSmallValue(tooLarge); }).kind, u"assertion in Archive");
    }
}

template<class T>
concept Storable = requires(CArchive& archive, T value) {
    archive << value;
};
static_assert(Storable<CString> && Storable<bool> && Storable<signed char>);
static_assert(!Storable<const char*> && !Storable<int*> && !Storable<void (*)()> &&
              !Storable<std::nullptr_t>);
static_assert(!Storable<wchar_t> && !Storable<char32_t> && !Storable<char8_t> && !Storable<long double>);

TEST(Archive, WritesSmallValuesInOneByteUpTo254) {
    const std::pair<int, Bytes> rows[] = {{0, Bytes(1, '\0')},
                                          {254, "\xFE"},
                                          {255, Bytes("\xFF\xFF\0\0\0", 5)},
                                          {-1, "\xFF\xFF\xFF\xFF\xFF"},
                                          {INT_MIN, Bytes("\xFF\0\0\0\x80", 5)}};
    for (const auto& [value, bytes] : rows) {
        int number = value;
        auto word = static_cast<unsigned long>(static_cast<unsigned>(value));
        EXPECT_EQ(stored([&](CArchive& archive) { archive.SerializeSmallValue(number); }), bytes);
        EXPECT_EQ(stored([&](CArchive& archive) { archive.SerializeSmallValue(word); }), bytes);
        long signedWord = 0;
        word = 0;
        failureOfLoading(bytes + bytes, [&](CArchive& archive) {
            archive.SerializeSmallValue(signedWord);
            archive.SerializeSmallValue(word);
        });
        EXPECT_EQ(signedWord, value);
        EXPECT_EQ(word, static_cast<unsigned>(value));
    }
}

TEST(Archive, RefusesCorruptValuesAndLaterVersions) {
    const auto kindOf = [](const Bytes& bytes, auto load) { return failureOfLoading(bytes, load).kind; };
    const auto loadBool = [](CArchive& archive) {
        bool value;
        archive >> value;
    };
    const auto loadText = [](CArchive& archive) {
        CUnicodeString text;
        archive >> text;
    };
    const auto loadVersion = [](CArchive& archive) { archive.SerializeVersion(3); };
    EXPECT_EQ(kindOf("\x02", loadBool), u"ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\xFF\xFF\xFF\xFF\xFF", loadText), u"ERR_BAD_ARCHIVE");
    EXPECT_EQ(kindOf("\x04", loadVersion), u"ERR_BAD_ARCHIVE_VERSION");
    EXPECT_EQ(kindOf("\x03", loadVersion), u"");
    EXPECT_EQ(kindOf("\xFF\xFF\xFF\xFF\xFF", loadVersion), u"");
    EXPECT_EQ(failureOfLoading("\x02", loadBool).name.substr(0, 3), u"app");
    const CFailure atEnd = failureOfLoading("\x05"
                                            "ab",
                                            loadText);
    EXPECT_EQ(atEnd.kind, kEndOfFile);
    EXPECT_EQ(atEnd.name, u"app");
}

TEST(Archive, TakesNoMemoryForALengthThatTheFileCannotFill) {
    const Bytes huge = "\xFF\xFF\xFF\xFF\x7F" + Bytes(20000, 'x');
    for (bool hasLength : {true, false}) {
        CApplicationFile file(huge);
        file.hasLength = hasLength;
        CArchive archive(&file, CArchive::Loading);
        CString text("old");
        EXPECT_EQ(FailureOf([&] { archive >> text; }).kind, kEndOfFile);
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_LE(*std::max_element(file.reads.begin(), file.reads.end()), 32768);
    }
    const CUnicodeString large(u'y', 100000);
    CApplicationFile file(stored([&](CArchive& archive) { archive << large; }));
    file.hasLength = false;
    CArchive archive(&file, CArchive::Loading);
    CUnicodeString text;
    archive >> text;
    EXPECT_EQ(text, large);
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
    file.reads.clear();
    loading.Read(block.data(), kSmallBuffer - 2 + 2 * kSmallBuffer);
    EXPECT_EQ(file.reads, std::vector<int>{2 * kSmallBuffer});
    EXPECT_EQ(FailureOf([&] { loading.Read(block.data(), 100); }).kind, kEndOfFile);
}

TEST(Archive, LeavesTheFileBehindTheLastByteConsumed) {
    CApplicationFile file("0123456789abcdefghij");
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    char byte;
    archive >> byte;
    archive.Flush();
    EXPECT_EQ(file.position, 1);
    archive.Skip(12); // more than the buffer
    archive >> byte;
    EXPECT_EQ(byte, 'd');
    archive.Skip(2);
    archive.Close();
    EXPECT_EQ(file.position, 16);

    CApplicationFile exact(Bytes(kSmallBuffer, 'x'));
    CArchive whole(&exact, CArchive::Loading, kSmallBuffer);
    for (int i = 0; i < kSmallBuffer; i++) {
        EXPECT_FALSE(whole.IsEndOfArchive());
        whole >> byte;
    }
    EXPECT_TRUE(whole.IsEndOfArchive());
    EXPECT_EQ(FailureOf([&] { whole >> byte; }).kind, kEndOfFile);
}

TEST(Archive, StaysConsistentWhenTheFileThrowsInTheMiddleOfAFill) {
    CApplicationFile file("0123456789abcdef");
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    short pair;
    int four;
    for (int i = 0; i < 3; i++)
        archive >> pair;
    archive >> pair; // one byte is left in the buffer
    file.isReadBroken = true;
    EXPECT_EQ(CodeOf([&] { archive >> four; }), ERROR_READ_FAULT);
    file.isReadBroken = false;
    file.mostAtOnce = 5; // enough, though less than was asked for
    archive >> four;
    EXPECT_EQ(four, 0x62613938); // "89ab"
    archive.Close();
    EXPECT_EQ(file.position, 12);
}

TEST(Archive, NeverOffersBytesTwiceToAFileThatRefusedThem) {
    CApplicationFile file;
    file.room = 5;
    {
        CArchive archive(&file, CArchive::Storing, kSmallBuffer);
        archive << Int64{1};
        EXPECT_EQ(FailureOf([&] { archive.Flush(); }).kind, kDiskFull);
        file.room = INT_MAX;
        archive << 'x';
    }
    EXPECT_EQ(file.bytes, Bytes("\x01\0\0\0\0x", 6));
}

TEST(Archive, ReportsAFullDiskWhenItCloses) {
    CFile full(u"/dev/full", CFile::ForWriting);
    CArchive archive(&full, CArchive::Storing);
    archive << 1;
    const CFailure failure = FailureOf([&] { archive.Close(); });
    EXPECT_EQ(failure.kind, kDiskFull);
    EXPECT_EQ(failure.name, u"/dev/full");
    EXPECT_EQ(archive.GetFile(), nullptr);
    archive.Close();
    const auto destroy = [&](bool isUnwinding) {
        return FailureOf([&] {
                   CArchive local(&full, CArchive::Storing);
                   local << 1;
                   if (isUnwinding)
                       GenAssert(u"unwinding", 1);
               })
            .kind;
    };
    EXPECT_EQ(destroy(false), kDiskFull);
    EXPECT_EQ(destroy(true), u"assertion in unwinding");
    CArchive aborted(&full, CArchive::Storing);
    aborted << 1;
    aborted.Abort();
    EXPECT_TRUE(aborted.Name().IsEmpty());
}

TEST(Archive, AssertsTheDirectionAndTheFileInEveryTransfer) {
    using Action = std::function<void(CArchive&)>;
    int number = 0;
    CString text;
    const Action loads[] = {[&](CArchive& a) { a >> number; }, [&](CArchive& a) { a.Read(&number, 1); },
                            [&](CArchive& a) { a.Skip(1); }, [&](CArchive& a) { a >> text; },
                            [&](CArchive& a) { a.ReadString(text); }};
    const Action stores[] = {[&](CArchive& a) { a << number; }, [&](CArchive& a) { a.Write(&number, 1); },
                             [&](CArchive& a) { a << text; }, [&](CArchive& a) { a.WriteString("", true); }};
    CApplicationFile file("\x01\x01\x01\x01\x01\x01\x01\x01\x01");
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    char byte;
    loading >> byte;
    storing << byte; // both buffers have room now
    const auto expectMisuse = [](CArchive& archive, const auto& actions) {
        for (const Action& action : actions)
            EXPECT_EQ(FailureOf([&] { action(archive); }).kind, u"assertion in Archive");
    };
    expectMisuse(loading, stores);
    expectMisuse(storing, loads);
    EXPECT_EQ(FailureOf([&] { storing.IsEndOfArchive(); }).kind, u"assertion in Archive");
    EXPECT_EQ(FailureOf([&] { loading.Read(&number, -1); }).kind, u"assertion in Archive");
    EXPECT_EQ(FailureOf([&] { storing.WriteString(nullptr, false); }).kind, u"assertion in Archive");
    loading.Close();
    storing.Close();
    expectMisuse(loading, loads);
    expectMisuse(storing, stores);
    EXPECT_EQ(FailureOf([&] { CArchive(nullptr, CArchive::Loading); }).kind, u"assertion in Archive");
    EXPECT_EQ(FailureOf([&] { CArchive(&file, CArchive::Loading, 8); }).kind, u"assertion in Archive");

    BeginStaticPart(); // assertions return: values are zero then, nothing is written
    number = 5;
    loading >> number;
    storing << number;
    EndStaticPart();
    EXPECT_EQ(number, 0);
    EXPECT_TRUE(GetErrorFlag());
    SetErrorFlag(false);
}

// Reads lines until there is none; each is followed by "|".
template<class Text>
Bytes linesOf(const Bytes& bytes, bool (CArchive::*read)(Text&)) {
    Bytes result;
    const CFailure failure = failureOfLoading(bytes, [&](CArchive& archive) {
        for (Text line; (archive.*read)(line);)
            result += Bytes(line.Ptr(), line.Ptr() + line.GetLength()) + "|";
    });
    return result + Bytes(failure.kind.begin(), failure.kind.end());
}

TEST(Archive, ReadsLinesThatEndInCrLfOrLfOrTheEndOfTheFile) {
    const std::pair<Bytes, Bytes> rows[] = {{"a\r\nb", "a|b|"},
                                            {"a\n\nb\n", "a||b|"},
                                            {"", ""},
                                            {"a\rb", "ERR_BAD_TEXT_FILE"},
                                            {Bytes("a\0b", 3), "ERR_BAD_TEXT_FILE"},
                                            {"a\r", "14"},
                                            {Bytes(600, 'x') + "\r\n", Bytes(600, 'x') + "|"}};
    for (const auto& [bytes, lines] : rows) {
        EXPECT_EQ(linesOf(bytes, &CArchive::ReadString), lines) << bytes;
        Bytes wide;
        for (char byte : bytes)
            wide += Bytes(1, byte) + '\0';
        EXPECT_EQ(linesOf(wide, &CArchive::ReadUnicodeString), lines) << bytes;
    }
    EXPECT_EQ(stored([](CArchive& archive) {
                  archive.WriteString("a", true);
                  archive.WriteString(CString("b"), false);
                  archive.WriteUnicodeString(u"c", true);
                  archive.WriteUnicodeString(CUnicodeString(u"d"), false);
              }),
              Bytes("a\r\nbc\0\r\0\n\0d\0", 12));
    CApplicationFile broken("a");
    CArchive archive(&broken, CArchive::Loading);
    broken.isReadBroken = true;
    CString line;
    EXPECT_EQ(CodeOf([&] { archive.ReadString(line); }), ERROR_READ_FAULT);
}

class ArchiveOnDisk : public FolderTest {};

struct CDocument {
    int count = 300;
    CString name = "name";
    CUnicodeString title = u"A title longer than the buffer";
    bool isDraft = true;
    double weight = 0.5;

    void Serialize(CArchive& archive) {
        archive.SerializeVersion(2);
        archive.SerializeSmallValue(count);
        if (archive.IsStoring())
            archive << name << title << isDraft << weight;
        else
            archive >> name >> title >> isDraft >> weight;
    }
};

TEST_F(ArchiveOnDisk, LoadsOrRefusesEveryTruncatedAndBitFlippedFile) {
    CDocument document;
    const Bytes good = stored([&](CArchive& archive) { document.Serialize(archive); });
    const auto load = [&](const Bytes& bytes) {
        WriteBytes(folder / "document", bytes);
        return FailureOf([] {
            CFile file(u"document", CFile::ForReading | CFile::DenyWrite);
            CArchive archive(&file, CArchive::Loading, kSmallBuffer);
            CDocument().Serialize(archive);
        });
    };
    EXPECT_EQ(load(good).kind, u"");
    for (std::size_t size = 0; size < good.size(); size++)
        EXPECT_EQ(load(good.substr(0, size)).kind, kEndOfFile) << size;
    for (std::size_t i = 0; i < good.size() * 8; i++) {
        Bytes bad = good;
        bad[i / 8] = static_cast<char>(bad[i / 8] ^ 1 << i % 8);
        const std::u16string kind = load(bad).kind;
        EXPECT_TRUE(kind == u"" || kind == kEndOfFile || kind == u"ERR_BAD_ARCHIVE" ||
                    kind == u"ERR_BAD_ARCHIVE_VERSION")
            << i;
    }
}

TEST_F(ArchiveOnDisk, WorksBeyond32BitPositions) {
    constexpr Int64 kFarOff = 0x140000000;
    const CUnicodeString text(u'z', 20000);
    CFile file(u"far", CFile::ForReadingAndWriting | CFile::Create);
    for (auto direction : {CArchive::Storing, CArchive::Loading}) {
        file.Seek(kFarOff, CBaseFile::Begin);
        CArchive archive(&file, direction);
        if (archive.IsStoring()) {
            archive << text;
            continue;
        }
        CUnicodeString read;
        archive >> read;
        EXPECT_EQ(read, text);
        EXPECT_TRUE(archive.IsEndOfArchive());
    }
    file.SetLength(0);
}

} // namespace
