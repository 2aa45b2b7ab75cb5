#include "tests/files/support.h"
#include "tests/support/refusing_manager.h"

#include <tarnkit/tarnkit.h>

using namespace Tarn;
using namespace std::string_literals;

namespace {

constexpr int kSmallBuffer = CArchive::kLeastBufferSize;
const std::string kEndOfFile = FileFailure(CFileException::endOfFile, "app");
const std::string kDiskFull = FileFailure(ERROR_DISK_FULL, "full");

// A file "app" of a class that an application derives. It records the sizes of its transfers, can make them
// fail and can report no length.
class CApplicationFile : public CFile {
public:
    std::vector<int> transfers;
    DWORD fault = ERROR_SUCCESS;
    bool hasLength = true;

    explicit CApplicationFile(const Bytes& contents = Bytes()) {
        WriteBytes("app", contents);
        Open(NameOf(std::filesystem::absolute("app")), ForReadingAndWriting | DenyNone);
    }
    int Read(void* buffer, int size) override {
        noteTransfer(size);
        return CFile::Read(buffer, size);
    }
    void Write(const void* buffer, int size) override {
        noteTransfer(size);
        CFile::Write(buffer, size);
    }
    int GetLength() const override { return hasLength ? CFile::GetLength() : 0; }

private:
    void noteTransfer(int size) {
        transfers.push_back(size);
        if (fault != ERROR_SUCCESS)
            ThrowFileException(fault, GetFileName());
    }
};

// The bytes that `store` writes through an archive.
Bytes stored(auto store) {
    CApplicationFile file;
    CArchive archive(&file, CArchive::Storing, kSmallBuffer);
    store(archive);
    archive.Close();
    return BytesOf("app");
}

// The failure that ends `load` on an archive over the bytes, or "".
std::string failureOfLoading(const Bytes& bytes, auto load) {
    CApplicationFile file(bytes);
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    return FailureOf([&] { load(archive); });
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
    expectFormat(UInt64{0x0123456789ABCDEF}, "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
    expectFormat(1.5f, Bytes("\0\0\xC0\x3F", 4));
    expectFormat(-2.0, Bytes("\0\0\0\0\0\0\0\xC0", 8));
    expectFormat(rational(-3, 4), Bytes("\xFD\xFF\xFF\xFF\4\0\0\0", 8));
    expectFormat(CString("To"), "\x02To");
    expectFormat(CUnicodeString(u"Z"), Bytes("\x01Z\0", 3));
    expectFormat(CTimeSpan::CreateFromTimeUnits(0x0123456789ABCDEF), "\xEF\xCD\xAB\x89\x67\x45\x23\x01");
    expectFormat(CTime::CreateZeroTime() - CTimeSpan::CreateFromTimeUnits(2), "\xFE" + Bytes(7, '\xFF'));
    EXPECT_EQ(FailureOf([] { stored([](CArchive& archive) { archive << LONG_MAX; }); }),
              sizeof(long) > 4 ? "assertion" : "");
}

TEST(Archive, WritesSmallValuesInOneByteUpTo254) {
    const auto serialize = [](CArchive& archive) {
        for (unsigned value : {0u, 254u, 255u, ~0u}) {
            unsigned long number = archive.IsStoring() ? value : 1;
            archive.SerializeSmallValue(number);
            EXPECT_EQ(number, value);
        }
    };
    const Bytes bytes("\0\xFE\xFF\xFF\0\0\0\xFF\xFF\xFF\xFF\xFF", 12);
    EXPECT_EQ(stored(serialize), bytes);
    EXPECT_EQ(failureOfLoading(bytes, serialize), "");
}

TEST(Archive, RefusesImpossibleValuesAndLaterVersions) {
    const auto expectRefused = [](const Bytes& bytes, auto value) {
        EXPECT_EQ(failureOfLoading(bytes, [&](CArchive& archive) { archive >> value; }), "ERR_BAD_ARCHIVE");
    };
    expectRefused("\xFF\xFF\xFF\xFF\xFF", CUnicodeString());
    expectRefused(Bytes("\1\0\0\0\0\0\0\0", 8), rational());
    expectRefused("\1\1\1\1\xFF\xFF\xFF\xFF", rational());
    expectRefused(Bytes("\0\0\0\x80\1\0\0\0", 8), rational());
    const auto loadVersions = [](CArchive& archive) {
        EXPECT_EQ(archive.SerializeVersion(3), 3);
        EXPECT_EQ(archive.SerializeVersion(3), -1);
        archive.SerializeVersion(3);
    };
    EXPECT_EQ(failureOfLoading("\x03\xFF\xFF\xFF\xFF\xFF\x04", loadVersions), "ERR_BAD_ARCHIVE_VERSION");
}

TEST(Archive, AllocatesNothingForALengthThatTheFileCannotFill) {
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
        EXPECT_EQ(FailureOf([&] { archive >> text; }), kEndOfFile);
        EXPECT_LE(*std::max_element(file.transfers.begin(), file.transfers.end()), 65536);
    }
}

TEST(Archive, MovesLargeBlocksPastTheBuffer) {
    Bytes block(3 * kSmallBuffer + 5, 'b');
    CApplicationFile file;
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    storing.Write(block.data(), static_cast<int>(block.size()));
    storing.Close();
    file.SeekToBegin();
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    loading.Read(block.data(), 2 * kSmallBuffer + 2);
    EXPECT_EQ(file.transfers, (std::vector<int>{3 * kSmallBuffer, 5, 2 * kSmallBuffer, kSmallBuffer}));
    loading.Skip(kSmallBuffer - 3);
    loading.Flush();
    EXPECT_EQ(file.GetPosition(), 3 * kSmallBuffer - 1) << "one byte of the buffer is left";
    EXPECT_EQ(FailureOf([&] { loading.Read(block.data(), 3 * kSmallBuffer); }), kEndOfFile);
}

TEST(Archive, LeavesTheFilePositionAfterTheLastByteConsumed) {
    CApplicationFile file(Bytes(12 + kSmallBuffer, 'x'));
    CArchive archive(&file, CArchive::Loading, kSmallBuffer);
    archive.ReadSmallValue();
    archive.Flush();
    EXPECT_EQ(file.GetPosition(), 1);
    archive.ReadSmallValue();
    archive.Skip(kSmallBuffer + 1); // more than the buffer holds
    archive.Close();
    EXPECT_EQ(file.GetPosition(), 12);
    CArchive rest(&file, CArchive::Loading, kSmallBuffer);
    for (int i = 0; i < kSmallBuffer; i++)
        EXPECT_EQ(rest.IsEndOfArchive() ? 0 : rest.ReadSmallValue(), 'x');
    EXPECT_TRUE(rest.IsEndOfArchive());
}

TEST(Archive, LosesNothingWhenTheFileThrowsInTheMiddleOfATransfer) {
    CApplicationFile file;
    const auto failOnce = [&](auto transfer) {
        file.fault = ERROR_READ_FAULT;
        EXPECT_EQ(FailureOf(transfer), FileFailure(file.fault, "app"));
        file.fault = ERROR_SUCCESS;
        transfer();
    };
    Int64 first = 1;
    int second = 2;
    CArchive storing(&file, CArchive::Storing, kSmallBuffer);
    storing << first;
    failOnce([&] { storing << second; });
    storing.Close();
    file.SeekToBegin();
    CArchive loading(&file, CArchive::Loading, kSmallBuffer);
    loading >> first;
    failOnce([&] { loading >> second; });
    EXPECT_EQ(BytesOf("app"), Bytes("\1\0\0\0\0\0\0\0\2\0\0\0", 12));
    EXPECT_EQ(second, 2);
}

TEST(Archive, ReportsAFullDiskOnceUnlessItIsAbortedOrUnwinding) {
    TARNKIT_TEST_NEEDS(kFullDevice);
    CFile full(u"/dev/full", CFile::ForWriting);
    const auto failureAfter = [&](void (*action)(CArchive&)) {
        return FailureOf([&] {
            CArchive archive(&full, CArchive::Storing);
            archive << 1;
            action(archive);
        });
    };
    const auto close = [](CArchive& archive) { EXPECT_EQ(FailureOf([&] { archive.Close(); }), kDiskFull); };
    EXPECT_EQ(failureAfter([](CArchive&) {}), kDiskFull);
    EXPECT_EQ(failureAfter(close), "");
    EXPECT_EQ(failureAfter([](CArchive& archive) { archive.Abort(); }), "");
    EXPECT_EQ(failureAfter([](CArchive&) { ThrowFileException(ERROR_CRC, u"other"); }),
              FileFailure(ERROR_CRC, "other"));
}

TEST(Archive, AssertsThatEveryTransferHasAFileAndTheRightDirection) {
    int number = 1;
    const auto assertionsOf = [&](CArchive& archive) {
        return FailureOf([&] { archive >> number; }) + FailureOf([&] { archive.Skip(1); }) + "|" +
               FailureOf([&] { archive << number; }) + FailureOf([&] { archive.Write(&number, 1); });
    };
    CApplicationFile file(Bytes(9, '\x01'));
    for (auto direction : {CArchive::Loading, CArchive::Storing}) {
        CArchive archive(&file, direction, kSmallBuffer);
        archive.SerializeSmallValue(number); // the buffer is in use now
        EXPECT_EQ(assertionsOf(archive), archive.IsLoading() ? "|assertionassertion" : "assertionassertion|");
        archive.Close();
        EXPECT_EQ(assertionsOf(archive), "assertionassertion|assertionassertion");
        BeginStaticPart(); // assertions return
        archive >> number;
        EndStaticPart();
        EXPECT_EQ(number, 0);
    }
    SetErrorFlag(false);
    EXPECT_EQ(FailureOf([&] { CArchive(&file, CArchive::Loading, 8); }), "assertion");
}

TEST(Archive, ReadsLinesThatEndInCrLfOrLfOrTheEndOfTheFile) {
    const Bytes longLine(600, 'x');
    // The lines that can be read, each followed by "|", then what ends the reading.
    const std::pair<Bytes, std::string> rows[] = {{"a\r\nb", "a|b|"},
                                                  {"a\n\nb\n", "a||b|"},
                                                  {"a\rb", "ERR_BAD_TEXT_FILE"},
                                                  {Bytes("a\0b", 3), "ERR_BAD_TEXT_FILE"},
                                                  {"a\r", kEndOfFile},
                                                  {longLine, longLine + "|"}};
    for (const auto& [bytes, expected] : rows) {
        CString line, lines;
        const std::string failure = failureOfLoading(bytes, [&](CArchive& archive) {
            while (archive.ReadString(line))
                lines += line + "|";
        });
        EXPECT_EQ(lines.Ptr() + failure, expected);
    }
    const Bytes wide = stored([](CArchive& archive) { archive.WriteUnicodeString(u"ж", true); });
    EXPECT_EQ(wide, Bytes("\x36\x04\r\0\n\0", 6));
    CUnicodeString line;
    failureOfLoading(wide, [&](CArchive& archive) { EXPECT_TRUE(archive.ReadUnicodeString(line)); });
    EXPECT_EQ(line, u"ж");
    failureOfLoading(Bytes(2000, 'x'), [&](CArchive& archive) {
        CRefusingManager manager;
        CMemoryManagerSwitcher switching(&manager);
        EXPECT_FALSE(manager.TryWith(0, [&] { archive.ReadUnicodeString(line); }));
    });
    EXPECT_EQ(line, u"") << "what it was before is gone whatever fails";
}

void serializeDocument(CArchive& archive) {
    int count = 300;
    CString name = "name";
    CUnicodeString title = u"A title longer than the buffer";
    bool isDraft = true;
    archive.SerializeVersion(2);
    archive.SerializeSmallValue(count);
    if (archive.IsStoring())
        archive << name << title << isDraft;
    else
        archive >> name >> title >> isDraft;
}

TEST(Archive, LoadsOrRefusesEveryTruncatedAndBitFlippedDocument) {
    const Bytes good = stored(serializeDocument);
    for (std::size_t size = 0; size <= good.size(); size++)
        EXPECT_EQ(failureOfLoading(good.substr(0, size), serializeDocument),
                  size < good.size() ? kEndOfFile : "");
    std::set<std::string> failures;
    for (std::size_t bit = 0; bit < good.size() * 8; bit++) {
        Bytes bad = good;
        bad[bit / 8] = static_cast<char>(bad[bit / 8] ^ 1 << bit % 8);
        failures.insert(failureOfLoading(bad, serializeDocument));
    }
    EXPECT_EQ(failures, (std::set{""s, kEndOfFile, "ERR_BAD_ARCHIVE"s, "ERR_BAD_ARCHIVE_VERSION"s}));
}

TEST(Archive, WorksBeyond32BitPositions) {
    CUnicodeString text(u'z', 20000);
    CFile file(NameOf(std::filesystem::absolute("far")), CFile::ForReadingAndWriting | CFile::Create);
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
