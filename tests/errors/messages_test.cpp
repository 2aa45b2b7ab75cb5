#include <tarnkit/exceptions.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/messages.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace Tarn {
namespace {

using CNames = CArray<CUnicodeString>;

CMessage MSG_UNKNOWN_HERE(u"MSG_UNKNOWN_HERE", 5);
CError ERR_UNKNOWN_HERE(u"ERR_UNKNOWN_HERE", 0);

class Messages : public testing::Test {
protected:
    Messages() { EXPECT_TRUE(Initialize(nullptr, nullptr)); }
    ~Messages() override { Clean(); }
};

TEST_F(Messages, HaveTheTextsOfTheCatalogue) {
    const struct {
        const char16_t* name;
        int id;
        const char16_t* text;
    } samples[] = {
        {u"CURRENT_LANGUAGE_NAME", 4096, u"English (English)"},
        {u"ERR_CANT_LOAD_DLL", 4101, u"Can't load DLL %0.\n%1"},
        {u"ERR_CANT_WRITE_TO_REGISTRY", 4104, u"Access to Windows registry key %0\\%1\\%2 is prohibited."},
        {u"MSG_ASSERT", 4129, u"Internal Program Error:\nAssertion failed: (%0)\n%1, %2."},
        {u"MSG_PRESUME", 4138, u"Internal Program Error:\nPresumption failed: (%0)\n%1, %2."},
    };
    for (const auto& sample : samples) {
        const CMessage message(sample.name, 0);
        EXPECT_EQ(MessageID(message), sample.id);
        EXPECT_EQ(message.UnicodeStr(), sample.text);
    }
    CNames names;
    CMessage::GetDefinedMessages(names);
    EXPECT_EQ(names.Size(), 43);
    EXPECT_EQ(MessageID(CMessage(u"err_bad_archive", 0)), 0) << "case matters";
    EXPECT_EQ(&ERR_BAD_ARCHIVE.GetMessage(), &ERR_BAD_ARCHIVE);
}

TEST_F(Messages, StandForThemselvesWhereTheyAreUndefined) {
    EXPECT_FALSE(MSG_UNKNOWN_HERE.IsDefined());
    EXPECT_EQ(MSG_UNKNOWN_HERE.UnicodeStr(), u"MSG_UNKNOWN_HERE");
    EXPECT_EQ(MSG_UNKNOWN_HERE.UnicodeStr(1), u"MSG_UNKNOWN_HERE");
    EXPECT_EQ(MSG_UNKNOWN_HERE.SubstParam(u"%1"), u"MSG_UNKNOWN_HERE %1");
    EXPECT_EQ(MSG_UNKNOWN_HERE.SubstParam(u"a", u"", u"c", u"d"), u"MSG_UNKNOWN_HERE a  c d");
    EXPECT_EQ(MSG_UNKNOWN_HERE.SubstParam(CNames()), u"MSG_UNKNOWN_HERE");
    EXPECT_EQ(ERR_BAD_INI_FILE.SubstParam(u"%1", u"7"), u"%1 is corrupted (line 7).");
    EXPECT_EQ(ERR_BAD_INI_FILE.SubstParam(CNames{u"f", u"7", u"8"}), u"f is corrupted (line 7).");
    EXPECT_EQ(ERR_BAD_INI_FILE.SubstParam(u"f"), u"f is corrupted (line ).");
}

TEST_F(Messages, AreListedWhileTheyLive) {
    CNames names;
    CMessage::GetUndefinedMessages(names);
    EXPECT_TRUE(names.Has(u"MSG_UNKNOWN_HERE"));
    EXPECT_TRUE(names.Has(u"ERR_UNKNOWN_HERE"));
    EXPECT_FALSE(names.Has(u"ERR_BAD_ARCHIVE"));

    // Objects leave in any order: from the head of the list, from its middle, from its end.
    for (const int first : {0, 1, 2}) {
        std::optional<CMessage> messages[] = {std::nullopt, std::nullopt, std::nullopt};
        for (auto& message : messages)
            message.emplace(&message == &messages[1] ? u"M1" : u"M0", 0);
        CMessage::GetUndefinedMessages(names);
        EXPECT_EQ(names.Find(u"M1"), names.Find(u"M0") + 1) << "each name once, ascending";
        messages[first].reset();
        CMessage::GetUndefinedMessages(names);
        EXPECT_EQ(names.Has(u"M1"), first != 1);
        EXPECT_TRUE(names.Has(u"M0") && names.Has(u"MSG_UNKNOWN_HERE"));
    }
}

TEST_F(Messages, AreCountedAsUnusedWithoutAnObject) {
    CNames names;
    CMessage::GetUnusedMessages(names);
    EXPECT_EQ(names, (CNames{u"ERR_CANT_LOAD_MODULE", u"ERR_NOT_ENOUGH_BITMAP_MEMORY",
                             u"MSG_COMMDLG_BUFFER_TOO_SMALL", u"MSG_COMMDLG_GENERIC_ERROR",
                             u"MSG_COMMDLG_INVALID_FILENAME", u"MSG_COMMDLG_RES_NOT_FOUND",
                             u"MSG_HELP_CANT_RUN_HELP", u"MSG_HELP_NO_HELP_FILE"}));
    const CMessage used(u"MSG_HELP_NO_HELP_FILE", 0);
    CMessage::GetUnusedMessages(names);
    EXPECT_EQ(names.Size(), 7);
}

TEST_F(Messages, AreSavedForTheTranslators) {
    std::ofstream("list.txt") << std::string(5000, 'x');
    SaveUndefinedMessages((std::filesystem::current_path() / "list.txt").u16string().c_str());
    std::ifstream file("list.txt", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    ASSERT_TRUE(bytes.starts_with("\xFF\xFE"));
    const CUnicodeString saved(reinterpret_cast<const char16_t*>(bytes.data()),
                               static_cast<int>(bytes.size() / 2));
    EXPECT_GE(saved.Find(u"\r\nMSG_UNKNOWN_HERE\r\n"), 0);
    EXPECT_GE(saved.Find(u"\r\n********** Unused messages ********\r\nERR_CANT_LOAD_MODULE\r\n"), 0);
    const CUnicodeString end = u"\r\nMSG_HELP_CANT_RUN_HELP\r\nMSG_HELP_NO_HELP_FILE\r\n";
    EXPECT_EQ(saved.Right(end.GetLength()), end);
    try {
        SaveUndefinedMessages(u"\\no such folder\\list.txt");
        FAIL();
    } catch (CFileException* e) {
        e->Delete();
    }
}

TEST(MessagesBeforeTheStart, AreUndefined) {
    CNames names;
    CMessage::GetUnusedMessages(names);
    EXPECT_TRUE(names.IsEmpty());
    EXPECT_FALSE(ERR_BAD_ARCHIVE.IsDefined());
    EXPECT_EQ(ERR_BAD_ARCHIVE.SubstParam(u"f"), u"ERR_BAD_ARCHIVE f");
}

} // namespace
} // namespace Tarn
