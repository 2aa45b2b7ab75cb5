#include <tarnkit/ini_file.h>

#include "tests/errors/reports.h"
#include "tests/files/support.h"

#include <stdexcept>
#include <vector>

using namespace Tarn;

namespace {

class IniFile : public FolderTest {
protected:
    IniFile() { EXPECT_TRUE(Initialize(nullptr, nullptr)); }
    ~IniFile() override { Clean(); }

    const Path path = folder / "settings.ini";

    /// Calls `action` with an INI file of these bytes and returns the file's bytes afterwards.
    std::u16string afterwards(const Bytes& bytes, auto action) const {
        WriteBytes(path, bytes);
        {
            CIniFile file(NameOf(path));
            action(file);
        }
        return UnitsOf(NameOf(path));
    }
};

} // namespace

TEST_F(IniFile, FindsValuesByNamesWithoutRegardToCaseAndSpace) {
    WriteBytes(path, "first= 1 \r\n\n[Main]\r  Key = Value \n;x=1\n//x=2\n/x=3\n[ A ]\n\tk ==[v] \n=empty\n"
                     "[MAIN]\nkey\t=Later\n[Unused]\n[x=y]\n[\t]\nlast=9");
    const CIniFile file(NameOf(path));
    const CUnicodeString cases[][3] = {
        {u"", u"FIRST", u"1"}, {u" main", u"KEY ", u"Later"}, {u"main", u"/X", u"3"}, {u"main", u"x", u"-"},
        {u"a", u"K", u"=[v]"}, {u"A", u" ", u"empty"},        {u" ", u"last", u"9"},  {u"x=y", u"k", u"-"}};
    for (auto& [section, key, value] : cases) {
        EXPECT_EQ(file.GetString(section, key, u"-"), value) << PathOf(key);
        EXPECT_EQ(file.HasKey(section, key), value != CUnicodeString(u"-"));
    }
    EXPECT_TRUE(file.HasSection(u"main ") && !file.HasSection(u"Unused") && !file.HasSection(u"x=y"));
}

TEST_F(IniFile, SavesInOrderOfCreationAndWithoutComments) {
    const auto change = [](CIniFile& file) {
        const CUnicodeString settings[][3] = {{u"b", u"\u0436", u"1"}, {u"", u"top", u" t "},
                                              {u"gone", u"k", u""},    {u"a", u"k", u"2"},
                                              {u"B", u"K", u"new"},    {u"B", u"\u0416", u"3"}};
        for (auto& [section, key, value] : settings)
            file.SetString(section, key, value);
        file.DeleteKey(u"a", u"K");
        file.DeleteSection(u"GONE");
    };
    const std::u16string expected = u"\uFEFFtop=t\r\n\r\n[B]\r\nK=new\r\n\u0416=3\r\n\r\n[a]\r\n\r\n";
    EXPECT_EQ(afterwards("[B]\n;comment\n k = v", change), expected);
}

TEST_F(IniFile, IsNotWrittenWhenNothingChangedOrItCouldNotBeRead) {
    std::vector<Bytes> files = {";\n[a]\nk=1\n", "[k=1\n//\n[", "\xFF\xFEodd"};
    if (CUnicodeString("=\xE9", 0).IsEmpty())
        files.push_back("=\xE9"); // not valid in the system's code page
    for (const Bytes& bytes : files) {
        afterwards("k=1", [&](CIniFile& file) {
            file.SetString(u"", u"k", u"forgotten when the file is read again");
            WriteBytes(path, bytes);
            const bool isRead = FailureOf([&] { file.Reload(); }) == "";
            CRecordingHandler handler;
            CMessageHandlerSwitcher handling(&handler);
            CThrowingSwitcher showing(false);
            file.DeleteKey(u"a", u"missing");
            file.DeleteSection(u"missing");
            EXPECT_EQ(file.GetString(u"a", u"k", u"-"), isRead ? u"1" : u"-");
            EXPECT_EQ(handler.shown.empty(), isRead);
            if (isRead)
                return;
            EXPECT_EQ(handler.shown[0].text ==
                          NameOf(path).Ptr() + std::u16string(u" is corrupted (line 2)."),
                      bytes[0] == '[');
            file.SetString(u"", u"k", u"2");
            file.Save();
            SetErrorFlag(false);
        });
        EXPECT_EQ(BytesOf(path), bytes);
    }
}

TEST_F(IniFile, ThrowsFileFailures) {
    EXPECT_EQ(FailureOf([] { CIniFile(u"x.ini").Save(); }), FileFailure(ERROR_FILE_NOT_FOUND, "x.ini"));
    WriteBytes(path, "k=1");
    CFile holder(NameOf(path), CFile::ForReading | CFile::DenyWrite);
    const auto change = [&](bool isFailing) {
        CIniFile file(NameOf(path));
        file.SetString(u"", u"k", u"2");
        if (isFailing)
            throw std::runtime_error("another failure");
    };
    EXPECT_EQ(FailureOf([&] { change(false); }), FileFailure(ERROR_SHARING_VIOLATION, path));
    EXPECT_THROW(change(true), std::runtime_error);
}
