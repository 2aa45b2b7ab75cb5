#include "tests/files/support.h"

#include <tarnkit/archive.h>
#include <tarnkit/text_of_values.h>

using namespace Tarn;

namespace {

class FileTest : public FolderTest {};

constexpr unsigned kNewFile = CFile::ForReadingAndWriting | CFile::Exclusive | CFile::Create;

TEST(FileFlags, AreTranslatedForTheSystem) {
    EXPECT_EQ(CFile::ShareMode(CFile::Exclusive), 0u);
    EXPECT_EQ(CFile::ShareMode(CFile::DenyWrite), FILE_SHARE_READ);
    EXPECT_EQ(CFile::ShareMode(CFile::DenyRead), FILE_SHARE_WRITE);
    EXPECT_EQ(CFile::CreateMode(CFile::KeepContents), OPEN_EXISTING);
    for (unsigned badFlags :
         {CFile::ForWriting | CFile::ForReadingAndWriting, CFile::Exclusive | CFile::DenyNone})
        EXPECT_EQ(FailureOf([&] { CFile(u"file", badFlags); }), "assertion");
}

TEST_F(FileTest, OpensAsItsFlagsSayOrIsLeftUnchanged) {
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
    EXPECT_EQ(file.ReadByte(), 1);
    EXPECT_EQ(file.ReadWord(), 0x0302);
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

constexpr int kAdded = 20;

// Adds what `make` returns for each number to containers that grow, then removes their first element and
// calls `check` for each remaining element with its number.
void inContainers(auto make, auto check) {
    CArray<decltype(make(0))> array;
    std::vector<decltype(make(0))> vector;
    for (int i = 0; i < kAdded; i++) {
        array.Add(make(i));
        vector.push_back(make(kAdded + i));
    }
    array.DeleteAt(0);
    vector.erase(vector.begin());
    int number = 0;
    for (auto& element : array)
        check(++number, element);
    for (auto& element : vector)
        check(++number + 1, element);
}

TEST_F(FileTest, IsMovedByContainersAsMemoryFilesAndArchivesAre) {
    inContainers([](int i) { return CFile(UnicodeStr(i, 10), kNewFile); },
                 [this](int i, CFile& file) {
                     EXPECT_EQ(file.GetFileName(), Full(std::to_string(i).c_str()));
                     EXPECT_TRUE(file.IsOpen());
                 });
    CArray<CMemoryFile> files(2 * kAdded);
    const auto makeFile = [](int i) {
        CMemoryFile file;
        file.Write(&i, sizeof i);
        return file;
    };
    inContainers(makeFile, [&](int i, CMemoryFile& file) {
        EXPECT_EQ(std::memcmp(file.GetBufferPtr(), &i, sizeof i), 0);
        files[i] = std::move(file);
    });
    const auto makeArchive = [&](int i) {
        CArchive archive(&files[i], CArchive::Storing);
        archive << i;
        return archive;
    };
    inContainers(makeArchive, [](int, CArchive& archive) { EXPECT_NE(archive.GetFile(), nullptr); });
    for (int i = 0; i < 2 * kAdded; i++) // the removed files had no contents before the archives'
        EXPECT_EQ(files[i].GetLength(), i % kAdded == 0 ? 4 : 8) << i;
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
