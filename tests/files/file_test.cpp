#include "tests/files/support.h"

#include <tarnkit/file.h>

#include <unistd.h>

using namespace Tarn;

namespace {

class FileTest : public FolderTest {};

constexpr unsigned kNewFile = CFile::ForReadingAndWriting | CFile::Exclusive | CFile::Create;

TEST(FileFlags, AreDecodedForThePlatform) {
    EXPECT_EQ(CFile::AccessMode(0x1010), 0x80000000u);
    EXPECT_EQ(CFile::AccessMode(1), 0x40000000u);
    EXPECT_EQ(CFile::AccessMode(2), 0xC0000000u);
    const unsigned long shares[] = {0, 0, 1, 2, 3};
    for (unsigned i = 0; i < 5; i++)
        EXPECT_EQ(CFile::ShareMode(i << 4 | 0x2002), shares[i]);
    const unsigned long creations[] = {3, 2, 3, 4};
    for (unsigned i = 0; i < 4; i++)
        EXPECT_EQ(CFile::CreateMode(i << 12), creations[i]);
}

TEST_F(FileTest, OpensWhatItsFlagsSayAndTellsWhyNot) {
    WriteBytes(folder / "file", "old");
    WriteBytes(folder / "readonly", "old", true);
    CFile reader(u"file", CFile::ForReading | CFile::DenyWrite);
    CFile file;
    const std::tuple<const char16_t*, unsigned, DWORD> rows[] = {
        {u"missing", CFile::ForReading, ERROR_FILE_NOT_FOUND},
        {u"missing/file", kNewFile, ERROR_PATH_NOT_FOUND},
        {u"readonly", kNewFile, ERROR_ACCESS_DENIED},
        {u"file", kNewFile, ERROR_SHARING_VIOLATION},
        {u"file", 3, 0},
        {u"file", 0x50, 0}};
    for (const auto& [name, flags, code] : rows) {
        const CFailure failure = FailureOf([&, n = name, f = flags] { file.Open(n, f); });
        EXPECT_EQ(failure.code, code);
        EXPECT_EQ(failure.name, code == 0 ? Path("File") : folder / Path(name));
        EXPECT_FALSE(file.IsOpen());
        EXPECT_TRUE(file.GetFileName().IsEmpty());
    }
    EXPECT_EQ(BytesOf(folder / "file"), "old") << "emptied before the share check";
    file.Open(u"file", CFile::ForReading | CFile::DenyWrite);
    EXPECT_EQ(KindOf([&] { file.Open(u"other", kNewFile); }), "assertion");
    EXPECT_EQ(file.UnicodeName(), Full("file"));
    file.CloseMapped();
    reader.Close();
    file.Open(u"file", CFile::ForWriting | CFile::Create | CFile::KeepContents);
    EXPECT_EQ(file.GetLength(), 3);
    file.Close();
    file.OpenForMapping(u"file", kNewFile, FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(file.GetLength(), 0);
}

TEST_F(FileTest, TransfersBytesAndLittleEndianRecords) {
    CFile file(u"file", kNewFile);
    file.WriteByte(1);
    file.WriteWord(0x0302);
    file.WriteDWord(0x87654321);
    file.Write("xyz", 3);
    file.Flush();
    EXPECT_EQ(BytesOf(folder / "file"), "\x01\x02\x03\x21\x43\x65\x87xyz");
    file.SeekToBegin();
    EXPECT_EQ(file.ReadByte(), 1);
    EXPECT_EQ(file.ReadWord(), 0x0302);
    EXPECT_EQ(file.ReadDWord(), 0x87654321u);
    char bytes[4];
    EXPECT_EQ(file.Read(bytes, 4), 3); // short at the end
    const CFailure failure = FailureOf([&] { file.ReadRecord(bytes, 4); });
    EXPECT_EQ(failure.kind, kEndOfFile);
    EXPECT_EQ(failure.name, folder / "file");
    file.SetLength(2);
    file.SetLength(5);
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(KindOf([&] { file.SetLength(-1); }), "assertion");
    file.Close();
    EXPECT_EQ(BytesOf(folder / "file"), Bytes("\x01\x02\0\0\0", 5));
    EXPECT_EQ(file.Read(bytes, 0), 0);
    EXPECT_EQ(KindOf([&] { file.Read(bytes, 1); }), "assertion");
}

TEST_F(FileTest, ReachesPositionsBeyond32Bits) {
    constexpr Int64 kLowHalfAllOnes = 0x1FFFFFFFF;
    CFile file(u"file", kNewFile);
    EXPECT_EQ(KindOf([&] { file.Seek(-1, CBaseFile::Begin); }), kBadSeek);
    EXPECT_EQ(file.Seek(kLowHalfAllOnes, CBaseFile::Begin), kLowHalfAllOnes);
    EXPECT_EQ(file.GetPosition64(), kLowHalfAllOnes);
    EXPECT_EQ(KindOf([&] { file.GetPosition(); }), "assertion");
    EXPECT_EQ(KindOf([&] { file.Seek(-1, CBaseFile::Current); }), kBadSeek); // too far for the 32-bit call
    file.WriteByte(7);
    EXPECT_EQ(file.GetLength64(), kLowHalfAllOnes);
    EXPECT_EQ(KindOf([&] { file.GetLength(); }), "assertion");
}

TEST_F(FileTest, HasOneOwnerAndIsMovedNotCopied) {
    CFile file(u"file", kNewFile);
    CFile copy(file);
    EXPECT_FALSE(copy.IsOpen());
    CFile moved(std::move(file));
    EXPECT_FALSE(file.IsOpen());
    CFile other(u"other", kNewFile);
    other = std::move(moved);
    CFile(u"other", kNewFile).WriteByte('o'); // closed when the target was assigned to
    EXPECT_EQ(other.UnicodeName(), Full("file"));
    other.WriteByte('f');
    copy = other;
    EXPECT_FALSE(copy.IsOpen());
    other = copy;
    EXPECT_FALSE(other.IsOpen());
    EXPECT_EQ(BytesOf(folder / "file"), "f");
}

// Closes the file's descriptor behind its owner's back.
void closeUnderneath(const CFile& file) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry, ignored) == PathOf(file.UnicodeName())) {
            close(std::stoi(entry.path().filename().string()));
            return;
        }
    }
}

TEST_F(FileTest, ReportsAFailedCloseUnlessItIsAbortedOrUnwinding) {
    const auto openAndSpoil = [](CFile& file) {
        file.Open(u"file", kNewFile);
        closeUnderneath(file);
    };
    CFile file;
    openAndSpoil(file);
    EXPECT_EQ(CodeOf([&] { file.Close(); }), ERROR_INVALID_HANDLE);
    openAndSpoil(file);
    file.Abort();
    EXPECT_FALSE(file.IsOpen());
    const auto failWith = [&](void (*action)()) {
        return CodeOf([&] {
            CFile local;
            openAndSpoil(local);
            action();
        });
    };
    EXPECT_EQ(failWith([] {}), ERROR_INVALID_HANDLE);
    EXPECT_EQ(failWith([] { ThrowFileException(ERROR_CRC, u"other"); }), ERROR_CRC);
}

} // namespace
