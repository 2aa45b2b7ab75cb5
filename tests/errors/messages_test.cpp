#include "tests/errors/reports.h"

#include <optional>

namespace Tarn {
namespace {

using CNames = CArray<CUnicodeString>;

CMessage MSG_UNKNOWN_HERE(u"MSG_UNKNOWN_HERE", 5);

class Messages : public StartedForReports {};

TEST_F(Messages, HaveTheIdsAndTextsOfTheCatalogue) {
    const CMessage last(u"MSG_PRESUME", 0), none(u"msg_presume", 0);
    EXPECT_EQ(MessageID(ERR_BAD_ARCHIVE), 4097);
    EXPECT_EQ(MessageID(last), 4138);
    EXPECT_EQ(MessageID(none), 0) << "case matters";
    EXPECT_EQ(last.UnicodeStr(), u"Internal Program Error:\nPresumption failed: (%0)\n%1, %2.");
    CNames names;
    CMessage::GetDefinedMessages(names);
    EXPECT_EQ(names.Size(), 57);
    CUnicodeString buttons;
    for (int button = 0; button <= IDCONTINUE + 1; button++)
        buttons += MessageBoxButtonText(button) + u"|";
    EXPECT_EQ(buttons, u"|OK|Cancel|Abort|Retry|Ignore|Yes|No|||Try Again|Continue||");
}

TEST_F(Messages, TakeTheirParametersAndKeepThemWhereTheyAreUndefined) {
    EXPECT_EQ(MSG_UNKNOWN_HERE.UnicodeStr(1), u"MSG_UNKNOWN_HERE");
    EXPECT_EQ(MSG_UNKNOWN_HERE.SubstParam(u"%1"), u"MSG_UNKNOWN_HERE %1");
    EXPECT_EQ(MSG_UNKNOWN_HERE.SubstParam(u"a", u"", u"c", u"d"), u"MSG_UNKNOWN_HERE a  c d");
    EXPECT_EQ(ERR_BAD_INI_FILE.SubstParam(u"%1", u"7"), u"%1 is corrupted (line 7).");
    EXPECT_EQ(ERR_BAD_INI_FILE.SubstParam(CNames{u"f", u"7", u"8"}), u"f is corrupted (line 7).");
}

TEST_F(Messages, AreListedWhileTheyLive) {
    // Objects are destroyed in any order: from the head of the list, its middle and its end.
    for (const int first : {0, 1, 2}) {
        std::optional<CMessage> messages[] = {std::nullopt, std::nullopt, std::nullopt};
        for (auto& message : messages)
            message.emplace(&message == &messages[1] ? u"M1" : u"M0", 0);
        CNames names;
        CMessage::GetUndefinedMessages(names);
        EXPECT_EQ(names, (CNames{u"M0", u"M1", u"MSG_UNKNOWN_HERE"})) << "each name once, ascending";
        messages[first].reset();
        CMessage::GetUndefinedMessages(names);
        EXPECT_EQ(names.Has(u"M1"), first != 1);
        EXPECT_TRUE(names.Has(u"M0") && names.Has(u"MSG_UNKNOWN_HERE"));
    }
}

TEST_F(Messages, AreSavedForTheTranslators) {
    const CMessage used(u"MSG_HELP_NO_HELP_FILE", 0);
    const CUnicodeString file = TempFile::New(u"msg");
    for (int i = 0; i < 2; i++)
        SaveUndefinedMessages(file); // rewrites the file each time
    EXPECT_EQ(UnitsOf(file),
              u"\uFEFFMSG_UNKNOWN_HERE\r\n********** Unused messages ********\r\nERR_CANT_LOAD_MODULE\r\n"
              u"ERR_NOT_ENOUGH_BITMAP_MEMORY\r\nMSG_COMMDLG_BUFFER_TOO_SMALL\r\nMSG_COMMDLG_GENERIC_ERROR\r\n"
              u"MSG_COMMDLG_INVALID_FILENAME\r\nMSG_COMMDLG_RES_NOT_FOUND\r\nMSG_HELP_CANT_RUN_HELP\r\n");
    const CMessage odd(u"\"\n\\\u00E4", 0);
    SaveUndefinedMessagesAsPo(file);
    const std::string bytes = UnitsOf<char>(file);
    EXPECT_TRUE(
        bytes.starts_with("msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n"
                          "msgid \"\\\"?\\\\\xC3\xA4\"\nmsgstr \"\"\n\n"
                          "msgid \"MSG_UNKNOWN_HERE\"\nmsgstr \"\"\n\n# Unused:\n# ERR_CANT_LOAD_MODULE\n"))
        << bytes;
}

TEST(MessagesBeforeTheStart, AreUndefined) {
    CNames names;
    CMessage::GetUnusedMessages(names);
    EXPECT_TRUE(names.IsEmpty());
    EXPECT_EQ(ERR_BAD_ARCHIVE.SubstParam(u"f"), u"ERR_BAD_ARCHIVE f");
}

} // namespace
} // namespace Tarn
