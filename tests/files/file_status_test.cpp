#include "tests/files/support.h"

using namespace Tarn;

namespace {

class FileStatusTest : public FolderTest {
protected:
    FileStatusTest() { WriteBytes(folder / "File", "12345"); }

    static CFileStatus statusOf(const char16_t* name) {
        CFileStatus status;
        CFile::GetStatus(name, status);
        return status;
    }
    // Without what differs between systems: the time of creation and attributes other than read-only.
    static auto fieldsOf(const CFileStatus& s) {
        return std::tuple(s.FullName, s.Size, s.ModificationTime, s.AccessTime,
                          s.Attributes & FILE_ATTRIBUTE_READONLY);
    }
};

// Neither is a whole number of microseconds.
const CTime kLongAgo = CTime::CreateZeroTime() + CTimeSpan::CreateFromTimeUnits(0x018B000012345679);
const CTime kLater = CTime::CreateZeroTime() + CTimeSpan::CreateFromTimeUnits(0x01DA6B0089ABCDEF);

TEST_F(FileStatusTest, IsTheSameByNameAndFromTheOpenFile) {
    const CFileStatus byName = statusOf(u"File");
    EXPECT_EQ(byName.FullName, Full("File"));
    EXPECT_EQ(byName.Size, 5);
    const CTime now = CTime::GetCurrentTime();
    const CTimeSpan minute(0, 0, 1, 0, 0, 0);
    EXPECT_TRUE(byName.ModificationTime > now - minute && byName.ModificationTime < now + minute);
    CFileStatus ofOpen;
    CFile(u"File", CFile::ForReading | CFile::DenyNone).GetStatus(ofOpen);
    EXPECT_TRUE(fieldsOf(ofOpen) == fieldsOf(byName) && ofOpen.CreationTime == byName.CreationTime);
    std::filesystem::create_directory(folder / "dir");
    EXPECT_NE(statusOf(u"dir").Attributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
}

TEST_F(FileStatusTest, SetsTimesAndAttributesInOneCallEvenForAReadOnlyFile) {
    CFileStatus status = statusOf(u"File");
    status.ModificationTime = kLongAgo;
    status.AccessTime = kLater;
    status.Attributes = FILE_ATTRIBUTE_READONLY;
    CFile::SetStatus(u"File", status);
    EXPECT_TRUE(fieldsOf(statusOf(u"File")) == fieldsOf(status));
    status.ModificationTime = kLater;
    status.AccessTime = CTime::CreateZeroTime();
    status.Attributes = FILE_ATTRIBUTE_NORMAL;
    CFile::SetStatus(u"File", status);
    status.AccessTime = kLater; // was left unchanged
    EXPECT_TRUE(fieldsOf(statusOf(u"File")) == fieldsOf(status));
}

TEST_F(FileStatusTest, WithoutTimesChangesTheAttributesOnlyIfTheFileIsReadOnly) {
    WriteBytes(folder / "File", "12345", true);
    CFileStatus status;
    for (const DWORD attributes : {FILE_ATTRIBUTE_NORMAL, FILE_ATTRIBUTE_READONLY}) {
        status.Attributes = attributes;
        CFile::SetStatus(u"File", status);
        EXPECT_EQ(statusOf(u"File").Attributes & FILE_ATTRIBUTE_READONLY, 0u);
    }
}

TEST_F(FileStatusTest, NamesTheFileThatFails) {
    CFileStatus status;
    status.ModificationTime = kLater;
    const auto set = [&](const char16_t* name) { return FailureOf([&] { CFile::SetStatus(name, status); }); };
    EXPECT_EQ(FailureOf([] { statusOf(u"none/x"); }), FileFailure(ERROR_PATH_NOT_FOUND, "x"));
    EXPECT_EQ(FailureOf([&] { CFile().GetStatus(status); }), "assertion");
    EXPECT_EQ(set(u"none"), FileFailure(ERROR_FILE_NOT_FOUND, "none"));
    CFile file(u"File", CFile::ForWriting | CFile::DenyNone);
    EXPECT_EQ(set(u"File"), FileFailure(ERROR_SHARING_VIOLATION, "File")) << "the file is open for writing";
}

} // namespace
