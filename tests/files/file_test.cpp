#include "tests/files/support.h"

#include <tarnkit/file.h>

#include <climits>
#include <cstring>
#include <unistd.h>

using namespace Tarn;

namespace {

class FileTest : public FolderTest {};

constexpr unsigned kNewFile = CFile::ForReadingAndWriting | CFile::Exclusive | CFile::Create;

TEST(FileFlags, AreDecodedForThePlatform) {
    const auto isBad = [](auto decode) { return FailureOf(decode).kind == u"assertion in File"; };
    EXPECT_EQ(CFile::AccessMode(0x1010), 0x80000000u);
    EXPECT_EQ(CFile::AccessMode(1), 0x40000000u);
    EXPECT_EQ(CFile::AccessMode(2), 0xC0000000u);
    const unsigned long shares[] = {0, 0, 1, 2, 3};
    for (unsigned i = 0; i < 5; i++)
        EXPECT_EQ(CFile::ShareMode(i << 4 | 0x2002), shares[i]);
    EXPECT_EQ(CFile::CreateMode(0x1000), 2u);
    EXPECT_EQ(CFile::CreateMode(0x3000), 4u);
    EXPECT_EQ(CFile::CreateMode(0x2000), 3u);
    EXPECT_TRUE(isBad([] { CFile::AccessMode(3); }));
    for (unsigned share : {0x50u, 0x60u, 0x70u})
        EXPECT_TRUE(isBad([=] { CFile::ShareMode(share); }));
}

TEST_F(FileTest, OpensWhatItsFlagsSayAndTellsWhyNot) {
    WriteBytes(folder / "file", "old");
    WriteBytes(folder / "readonly", "old");
    SetReadOnly(folder / "readonly");
    CFile file;
    const auto codeOfOpening = [&](const char16_t* name, unsigned flags) {
        const CFailure failure = FailureOf([&] { file.Open(name, flags); });
        EXPECT_FALSE(file.IsOpen());
        EXPECT_TRUE(file.GetFileName().IsEmpty());
        EXPECT_EQ(std::filesystem::path(failure.name), folder / std::filesystem::path(name));
        return failure.code;
    };
    EXPECT_EQ(codeOfOpening(u"missing", CFile::ForReading), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(codeOfOpening(u"missing/file", kNewFile), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(codeOfOpening(u"readonly", kNewFile), ERROR_ACCESS_DENIED);
    EXPECT_EQ(codeOfOpening(u"", CFile::ForReading | CFile::Create) != 0, true);
    for (unsigned flags : {3u, 0x50u})
        EXPECT_EQ(FailureOf([&] { file.Open(u"file", flags); }).kind, u"assertion in File");
    EXPECT_TRUE(file.GetFileName().IsEmpty());

    CFile reader(u"file", CFile::ForReading | CFile::DenyWrite);
    EXPECT_EQ(codeOfOpening(u"file", kNewFile), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(BytesOf(folder / "file"), "old") << "emptied before the share check";
    file.Open(u"file", CFile::ForReading | CFile::DenyWrite);
    EXPECT_EQ(file.UnicodeName(), Full("file"));
    EXPECT_EQ(FailureOf([&] { file.Open(u"other", kNewFile); }).kind, u"assertion in File");
    EXPECT_EQ(file.UnicodeName(), Full("file"));
    file.Close();
    reader.Close();

    file.Open(u"file", CFile::ForWriting | CFile::Create | CFile::KeepContents);
    EXPECT_EQ(file.GetLength(), 3);
    file.Abort();
    file.Open(u"file", kNewFile);
    EXPECT_EQ(file.GetLength(), 0);
    file.Close();
    file.OpenForMapping(u"file", CFile::ForReading);
    EXPECT_NE(file.Handle(), INVALID_HANDLE_VALUE);
    file.CloseMapped();
    EXPECT_FALSE(file.IsOpen());
    CFile attributed(u"attributed", kNewFile, FILE_ATTRIBUTE_READONLY);
    EXPECT_NE(FileSystem::GetAttributes(u"attributed") & FILE_ATTRIBUTE_READONLY, 0u);
}

TEST_F(FileTest, TransfersBytesAndLittleEndianRecords) {
    CFile file(u"file", kNewFile);
    file.WriteByte(1);
    file.WriteWord(0x0302);
    file.WriteDWord(0x87654321);
    file.Write("xyz", 3);
    file.Flush();
    EXPECT_EQ(BytesOf(folder / "file"), Bytes("\x01\x02\x03\x21\x43\x65\x87xyz"));
    file.SeekToBegin();
    EXPECT_EQ(file.ReadByte(), 1);
    EXPECT_EQ(file.ReadWord(), 0x0302);
    EXPECT_EQ(file.ReadDWord(), 0x87654321u);
    char bytes[4];
    EXPECT_EQ(file.Read(bytes, 4), 3); // short at the end
    EXPECT_EQ(file.Read(bytes, 4), 0);
    file.Seek(-3, CBaseFile::End);
    const CFailure failure = FailureOf([&] { file.ReadRecord(bytes, 4); });
    EXPECT_EQ(failure.kind, kEndOfFile);
    EXPECT_EQ(failure.name, TextOf(Full("file")));
    if constexpr (sizeof(long) > 4) {
        EXPECT_EQ(FailureOf([&] { file.WriteDWord(ULONG_MAX); }).kind, u"assertion in File");
    }
    file.SetLength(2);
    EXPECT_EQ(file.GetPosition(), 2);
    file.Seek(-1, CBaseFile::Current);
    file.SetLength(5);
    EXPECT_EQ(file.GetPosition(), 5);
    file.Close();
    EXPECT_EQ(BytesOf(folder / "file"), Bytes("\x01\x02\0\0\0", 5));
}

TEST_F(FileTest, AssertsOnMisuse) {
    CFile file;
    char byte = 0;
    EXPECT_EQ(file.Read(&byte, 0), 0);
    const auto misuse = [&](auto action) { EXPECT_EQ(FailureOf(action).kind, u"assertion in File"); };
    misuse([&] { file.Read(&byte, 1); });
    misuse([&] { file.Write(&byte, 1); });
    misuse([&] { file.Seek(0, CBaseFile::Begin); });
    misuse([&] { file.GetPosition(); });
    misuse([&] { file.GetLength64(); });
    misuse([&] { file.SetLength(0); });
    misuse([&] { file.Flush(); });
    file.Open(u"file", kNewFile);
    misuse([&] { file.Read(nullptr, 1); });
    misuse([&] { file.Write(&byte, -1); });
    misuse([&] { file.SetLength(-1); });
}

TEST_F(FileTest, ReachesPositionsBeyond32Bits) {
    constexpr Int64 kLowHalfAllOnes = 0x1FFFFFFFF;
    CFile file(u"file", kNewFile);
    EXPECT_EQ(FailureOf([&] { file.Seek(-1, CBaseFile::Begin); }).kind, kBadSeek);
    EXPECT_EQ(file.Seek(kLowHalfAllOnes, CBaseFile::Begin), kLowHalfAllOnes);
    EXPECT_EQ(file.GetPosition64(), kLowHalfAllOnes);
    EXPECT_EQ(FailureOf([&] { file.GetPosition(); }).kind, u"assertion in File");
    EXPECT_EQ(FailureOf([&] { file.Seek(1, CBaseFile::Current); }).kind, kBadSeek);
    file.Seek(kLowHalfAllOnes - 1, CBaseFile::Begin);
    file.WriteByte(7);
    EXPECT_EQ(file.GetLength64(), kLowHalfAllOnes);
    EXPECT_EQ(FailureOf([&] { file.GetLength(); }).kind, u"assertion in File");
    file.SetLength(Int64{10});
    EXPECT_EQ(file.GetLength(), 10);
    EXPECT_EQ(file.GetPosition(), 10);
}

TEST_F(FileTest, HasOneOwnerAndIsMovedNotCopied) {
    CFile file(u"file", kNewFile);
    file.WriteByte('a');
    CFile copy(file);
    EXPECT_FALSE(copy.IsOpen());
    CFile moved(std::move(file));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.GetFileName().IsEmpty());
    moved.WriteByte('b');
    CFile other(u"other", kNewFile);
    other = std::move(moved);
    EXPECT_EQ(other.UnicodeName(), Full("file"));
    CFile(u"other", kNewFile).WriteByte('o'); // closed when the target was assigned to
    copy = other;
    EXPECT_FALSE(copy.IsOpen());
    CFile& self = other;
    other = self;
    EXPECT_TRUE(other.IsOpen());
    other = copy;
    EXPECT_FALSE(other.IsOpen());
    EXPECT_EQ(BytesOf(folder / "file"), "ab");
    EXPECT_EQ(BytesOf(folder / "other"), "o");
}

TEST_F(FileTest, ReportsAFullDisk) {
    CFile file(u"/dev/full", CFile::ForWriting);
    const CFailure failure = FailureOf([&] { file.Write("x", 1); });
    EXPECT_EQ(failure.kind, kDiskFull);
    EXPECT_EQ(failure.code, ERROR_DISK_FULL);
    EXPECT_EQ(failure.name, u"/dev/full");
}

// Closes the file's descriptor behind its owner's back.
void closeUnderneath(const CFile& file) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry, ignored).u16string() == TextOf(file.UnicodeName())) {
            close(std::stoi(entry.path().filename().string()));
            return;
        }
    }
}

TEST_F(FileTest, ReportsAFailedCloseUnlessItIsAbortedOrUnwinding) {
    const auto open = [](CFile& file) {
        file.Open(u"file", kNewFile);
        closeUnderneath(file);
    };
    CFile file;
    open(file);
    EXPECT_EQ(CodeOf([&] { file.Close(); }), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(file.IsOpen());
    open(file);
    file.Abort();
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(CodeOf([&] {
                  CFile local;
                  open(local);
              }),
              ERROR_INVALID_HANDLE);
    EXPECT_EQ(FailureOf([&] {
                  CFile local;
                  open(local);
                  GenAssert(u"unwinding", 1);
              }).kind,
              u"assertion in unwinding");
}

} // namespace
