#include "tests/files/support.h"
#include "tests/support/capabilities.h"

#include <tarnkit/file.h>

using namespace Tarn;

namespace {

class FileStatusTest : public FolderTest {
protected:
    static CFileStatus statusOf(const char16_t* name) {
        CFileStatus status;
        CFile::GetStatus(name, status);
        return status;
    }
    static bool isReadOnly(const CFileStatus& status) {
        return (status.Attributes & FILE_ATTRIBUTE_READONLY) != 0;
    }
};

// Each with a unit that is no whole microsecond.
const CTime kLongAgo =
    CTime::CreateFromTimeGmt(1953, 3, 4, 5, 6, 7, 8, 9) + CTimeSpan::CreateFromTimeUnits(1);
const CTime kLater =
    CTime::CreateFromTimeGmt(2024, 2, 29, 23, 59, 59, 999, 999) - CTimeSpan::CreateFromTimeUnits(1);

TEST_F(FileStatusTest, IsTheSameByNameAndOfTheOpenFile) {
    WriteBytes(folder / "File", "12345");
    const CFileStatus byName = statusOf(u"File");
    EXPECT_EQ(byName.FullName, Full("File"));
    EXPECT_EQ(byName.Size, 5);
    EXPECT_FALSE(isReadOnly(byName));
    CFileStatus ofOpen;
    const CFile file(u"File", CFile::ForReading | CFile::DenyNone);
    file.GetStatus(ofOpen);
    EXPECT_EQ(ofOpen.FullName, byName.FullName);
    EXPECT_EQ(ofOpen.Size, byName.Size);
    EXPECT_EQ(ofOpen.Attributes, byName.Attributes);
    EXPECT_EQ(ofOpen.CreationTime, byName.CreationTime);
    EXPECT_EQ(ofOpen.ModificationTime, byName.ModificationTime);
    const CTime now = CTime::GetCurrentTime();
    const CTimeSpan minute(0, 0, 1, 0, 0, 0);
    EXPECT_TRUE(byName.ModificationTime > now - minute && byName.ModificationTime < now + minute);
    std::filesystem::create_directory(folder / "dir");
    EXPECT_NE(statusOf(u"dir").Attributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
}

TEST_F(FileStatusTest, SetsTimesAndAttributesInOneCallAlsoOfAReadOnlyFile) {
    WriteBytes(folder / "file", "12345");
    CFileStatus status = statusOf(u"file");
    const CFileStatus fresh = status;
    status.ModificationTime = kLongAgo;
    status.AccessTime = kLater;
    status.Attributes |= FILE_ATTRIBUTE_READONLY;
    CFile::SetStatus(u"file", status);
    EXPECT_EQ(statusOf(u"file").ModificationTime, kLongAgo);
    EXPECT_EQ(statusOf(u"file").AccessTime, kLater);
    EXPECT_TRUE(isReadOnly(statusOf(u"file")));
    status = fresh;
    status.ModificationTime = kLater;
    status.AccessTime = CTime::CreateZeroTime(); // is left alone
    CFile::SetStatus(u"file", status);
    EXPECT_EQ(statusOf(u"file").ModificationTime, kLater);
    EXPECT_EQ(statusOf(u"file").AccessTime, kLater);
    EXPECT_FALSE(isReadOnly(statusOf(u"file")));
    EXPECT_EQ(BytesOf(folder / "file"), "12345");
}

TEST_F(FileStatusTest, WithoutTimesChangesAttributesOnlyOfAReadOnlyFile) {
    WriteBytes(folder / "file", "12345", true);
    CFileStatus status;
    status.Attributes = FILE_ATTRIBUTE_NORMAL;
    CFile::SetStatus(u"file", status);
    EXPECT_FALSE(isReadOnly(statusOf(u"file")));
    status.Attributes = FILE_ATTRIBUTE_READONLY;
    CFile::SetStatus(u"file", status);
    EXPECT_FALSE(isReadOnly(statusOf(u"file")));
}

TEST_F(FileStatusTest, NamesTheFileThatFails) {
    CFileStatus status;
    status.ModificationTime = kLater;
    const auto get = [&](const char16_t* name) { return FailureOf([&] { CFile::GetStatus(name, status); }); };
    const auto set = [&](const char16_t* name) { return FailureOf([&] { CFile::SetStatus(name, status); }); };
    EXPECT_EQ(get(u"none"), FileFailure(ERROR_FILE_NOT_FOUND, "none"));
    EXPECT_EQ(get(u"none/file"), FileFailure(ERROR_PATH_NOT_FOUND, "file"));
    EXPECT_EQ(set(u"none"), FileFailure(ERROR_FILE_NOT_FOUND, "none"));
    EXPECT_EQ(FailureOf([&] { CFile().GetStatus(status); }), "assertion");
    CFile file(u"file", CFile::ForWriting | CFile::Create | CFile::DenyNone);
    EXPECT_EQ(set(u"file"), FileFailure(ERROR_SHARING_VIOLATION, "file")) << "somebody writes it";
    file.Close();
    if (kReadOnlyFiles) {
        status.Attributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
        WriteBytes(folder / "file", "1", true);
        EXPECT_EQ(set(u"file"), FileFailure(ERROR_ACCESS_DENIED, "file")) << "read-only before and after";
    }
}

} // namespace
