#include <tarnkit/ini_file.h>

#include "tests/errors/reports.h"
#include "tests/files/support.h"
#include "tests/threads/threads.h"

#include <array>

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
    EXPECT_EQ(afterwards("[a]\nk=1", [](CIniFile& file) { file.DeleteKey(u"a", u"k"); }),
              u"\uFEFF[a]\r\n\r\n");
    EXPECT_EQ(afterwards("[a]\nk=1", [](CIniFile& file) { file.DeleteSection(u"a"); }), u"\uFEFF");
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

TEST_F(IniFile, ReadsUtf8WithAMarkAndNeverOverwritesWhatItCouldNotRead) {
    EXPECT_EQ(afterwards("\xEF\xBB\xBF[\xC3\xA9]\n\xE2\x82\xAC= \xC3\xBC",
                         [](CIniFile& file) {
                             EXPECT_EQ(file.GetString(u"\u00C9", u"\u20AC", u"-"), u"\u00FC");
                             file.Save();
                         }),
              u"\uFEFF[\u00E9]\r\n\u20AC=\u00FC\r\n\r\n");
    for (const Bytes& damaged : {Bytes("\xEF\xBB\xBF;\xE9\nk=1"), Bytes("k=1\n\0\0", 6),
                                 Bytes("\xFF\xFEk\0=\0"
                                       "1\0\n\0\0\0",
                                       12)}) {
        afterwards(damaged, [](CIniFile& file) {
            EXPECT_EQ(file.GetString(u"", u"k", u"-"), u"1");
            EXPECT_EQ(FailureOf([&] { file.Save(); }), "ERR_BAD_TEXT_FILE");
        });
        EXPECT_EQ(BytesOf(path), damaged);
    }
}

TEST_F(IniFile, IsReadAndSavedByMoreThanOneAtATime) {
    WriteBytes(path, "k=1");
    std::string failures[2];
    std::atomic<bool> isDone = false;
    RunOnThreads(2, [&](int index) {
        for (int i = 0; index == 0 ? i < 60 : !isDone; i++)
            failures[index] += FailureOf([&] {
                CIniFile file(NameOf(path));
                EXPECT_NE(file.GetString(u"", u"k", u"-"), u"-");
                if (index == 0)
                    file.Save();
                else // a saver gives up after 0.3 s without a gap
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
            });
        isDone = true;
    });
    EXPECT_EQ(failures[0] + failures[1], "");
}

TEST_F(IniFile, BeginsAFileOnlyIfItMayBeMissing) {
    const auto use = [&](CIniFile::TPresence presence, const CUnicodeString& name) {
        return FailureOf([&] {
            CIniFile file(name, presence);
            EXPECT_EQ(file.GetString(u"a", u"k", u"-"), u"-");
            EXPECT_FALSE(std::filesystem::exists(path)) << "nothing to save yet";
            file.SetString(u"a", u"k", u"1");
        });
    };
    EXPECT_EQ(use(CIniFile::MustExist, NameOf(path)), FileFailure(ERROR_FILE_NOT_FOUND, path));
    EXPECT_EQ(use(CIniFile::MayBeMissing, Full("no/file")),
              FileFailure(ERROR_PATH_NOT_FOUND, folder / "no" / "file"));
    EXPECT_EQ(use(CIniFile::MayBeMissing, NameOf(path)), "");
    EXPECT_EQ(UnitsOf(NameOf(path)), u"\uFEFF[a]\r\nk=1\r\n\r\n");
}

// What is refused is tried in a file that nobody checked: there it must not come back.
TEST_F(IniFile, StoresExactlyWhatItCanReadBack) {
    static constexpr std::u16string_view kUnits(u"A=;/[] \t\r\n\v\f\u2028\u2029\u0085\u00A0\uFEFF\xD800\0",
                                                20);
    std::mt19937 random(1);
    const auto text = [&] {
        std::u16string units(random() % 4, u'a');
        for (char16_t& unit : units)
            if (random() % 3 != 0)
                unit = kUnits[random() % kUnits.size()];
        CUnicodeString result;
        std::copy(units.begin(), units.end(), result.GetBuffer(static_cast<int>(units.size())));
        result.ReleaseBuffer(static_cast<int>(units.size()));
        return result;
    };
    const auto trimmed = [](CUnicodeString value) {
        value.Trim();
        return value;
    };
    const Path other = folder / "unchecked.ini";
    const auto comesBack = [&](const CUnicodeString& section, const CUnicodeString& key,
                               const CUnicodeString& value) {
        CFile::WriteText(NameOf(other), (trimmed(section).IsEmpty() ? u"" : u"[" + section + u"]\r\n") + key +
                                            u"=" + value + u"\r\n[\r]");
        const CIniFile file(NameOf(other));
        bool isSame = false;
        FailureOf([&] { isSame = file.HasKey(section, key) && file.GetString(section, key, u"-") == value; });
        return isSame;
    };
    int refused = 0;
    for (int round = 0; round < 60; round++) {
        std::vector<std::array<CUnicodeString, 3>> stored;
        CIniFile file(Full("new.ini"), CIniFile::MayBeMissing);
        for (int i = 0; i < 20; i++) {
            const CUnicodeString section = text(), key = text(), value = trimmed(text());
            const std::string failure = FailureOf([&] { file.SetString(section, key, value); });
            if (failure.empty())
                stored.push_back({section, key, value});
            else
                refused += !comesBack(section, key, value) && failure.starts_with("REFUSED_INI_") ? 1 : 10000;
        }
        file.Save();
        const CIniFile saved(Full("new.ini"));
        for (const auto& [section, key, value] : stored)
            EXPECT_EQ(saved.GetString(section, key, u"-"), file.GetString(section, key, u"-"));
    }
    EXPECT_TRUE(refused > 300 && refused < 1000) << refused;
}
