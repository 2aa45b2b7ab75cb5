#include "tests/files/support.h"
#include "tests/support/system.h"

using namespace Tarn;

namespace {

class FileTest : public FolderTest {};

constexpr unsigned kNewFile = CFile::ForReadingAndWriting | CFile::Exclusive | CFile::Create;

TEST(FileFlags, AreDecodedForThePlatform) {
    for (unsigned share : {0u, 1u, 2u, 3u})
        EXPECT_EQ(CFile::ShareMode(0x10 + share * 0x10), share);
    EXPECT_EQ(CFile::CreateMode(CFile::KeepContents), OPEN_EXISTING);
    for (unsigned badFlags : {0x3u, 0x50u})
        EXPECT_EQ(FailureOf([&] { CFile(u"file", badFlags); }), "assertion");
}

TEST_F(FileTest, OpensAsItsFlagsSayOrStaysAsItWas) {
    WriteBytes(folder / "file", "old");
    CFile reader(u"file", CFile::ForReading | CFile::DenyWrite);
    CFile file;
    EXPECT_EQ(FailureOf([&] { file.Open(u"file", kNewFile); }), FileFailure(ERROR_SHARING_VIOLATION, "file"));
    EXPECT_TRUE(!file.IsOpen() && file.GetFileName().IsEmpty());
    reader.CloseMapped();
    file.OpenForMapping(u"file", CFile::ForWriting | CFile::Create | CFile::KeepContents);
    EXPECT_EQ(file.GetLength(), 3);
    EXPECT_EQ(FailureOf([&] { file.Open(u"other", kNewFile); }), "assertion");
    EXPECT_EQ(file.UnicodeName(), Full("file"));
}

TEST_F(FileTest, TransfersBytesAndLittleEndianRecords) {
    CFile file(u"file", CFile::ForReadingAndWriting | CFile::DenyNone | CFile::Create);
    file.WriteByte(1);
    file.WriteWord(0x0302);
    file.WriteDWord(0x87654321);
    EXPECT_EQ(BytesOf(folder / "file"), "\x01\x02\x03\x21\x43\x65\x87");
    file.SeekToBegin();
    EXPECT_EQ(file.ReadByte() + file.ReadWord(), 0x0303);
    EXPECT_EQ(file.ReadDWord(), 0x87654321u);
    EXPECT_EQ(FailureOf([&] { file.ReadByte(); }), FileFailure(CFileException::endOfFile, "file"));
    file.SetLength(2);
    file.SetLength(5);
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(FailureOf([&] { file.SetLength(-1); }), "assertion");
    file.Close();
    EXPECT_EQ(BytesOf(folder / "file"), Bytes("\x01\x02\0\0\0", 5));
    char byte;
    EXPECT_EQ(file.Read(&byte, 0), 0);
    EXPECT_EQ(FailureOf([&] { file.Read(&byte, 1); }), "assertion");
}

TEST_F(FileTest, ReachesPositionsBeyond32Bits) {
    constexpr Int64 kLowHalfAllOnes = 0x1FFFFFFFF;
    CFile file(u"file", kNewFile);
    EXPECT_EQ(FailureOf([&] { file.Seek(-1, CBaseFile::Begin); }), FileFailure(ERROR_NEGATIVE_SEEK, "file"));
    EXPECT_EQ(file.Seek(kLowHalfAllOnes, CBaseFile::Begin), kLowHalfAllOnes);
    EXPECT_EQ(FailureOf([&] { file.GetPosition(); }), "assertion");
    EXPECT_EQ(FailureOf([&] { file.Seek(-1, CBaseFile::Current); }),
              FileFailure(CFileException::badSeek, "file"));
    file.WriteByte(7);
    EXPECT_EQ(file.GetLength64(), kLowHalfAllOnes);
    EXPECT_EQ(FailureOf([&] { file.GetLength(); }), "assertion");
}

TEST_F(FileTest, HasOneOwnerAndIsMovedNotCopied) {
    CFile file(u"file", kNewFile);
    CFile other(u"other", kNewFile);
    EXPECT_FALSE(CFile(file).IsOpen());
    other = CFile(std::move(file));
    EXPECT_FALSE(file.IsOpen());
    CFile(u"other", kNewFile).WriteByte('o'); // closed when the target was assigned to
    EXPECT_EQ(other.UnicodeName(), Full("file"));
    other.WriteByte('f');
    other = file;
    EXPECT_FALSE(other.IsOpen());
    EXPECT_EQ(BytesOf(folder / "file"), "f");
}

TEST_F(FileTest, ReportsAFailedCloseUnlessItIsAbortedOrUnwinding) {
    const auto failureAfter = [](void (*action)(CFile&)) {
        return FailureOf([&] {
            CFile file(u"file", kNewFile);
            CloseBehindItsOwner(file.Handle(), PathOf(file.UnicodeName()));
            action(file);
        });
    };
    const std::string failure = FileFailure(ERROR_INVALID_HANDLE, "file");
    EXPECT_EQ(failureAfter([](CFile&) {}), failure);
    EXPECT_EQ(failureAfter([](CFile& file) { file.Close(); }), failure);
    EXPECT_EQ(failureAfter([](CFile& file) { file.Abort(); }), "");
    EXPECT_EQ(failureAfter([](CFile&) { ThrowFileException(ERROR_CRC, u"other"); }),
              FileFailure(ERROR_CRC, "other"));
}

} // namespace
