#include "tests/files/support.h"

namespace Tarn {
namespace {

std::string said; // the output of the last run of the compiler

bool compile(const std::string& arguments) {
    const CProgramRun run = RunProgram("\"" TARNMSG "\" " + arguments);
    said = run.output;
    std::erase(said, '\r'); // the line ends of the system
    return run.exitCode == 0;
}

std::string entry(const std::string& name, const std::string& text) {
    return "msgid \"" + name + "\"\nmsgstr \"" + text + "\"\n";
}

TEST(MessageCompiler, ShowsNothingThatATerminalWouldObey) {
    WriteBytes("in.po", "msgid \"\x1B[2J\xE2\x80\xAE\xC2\x9B\xC3\xA4\"\nmsgstr \"x\"\n");
    EXPECT_FALSE(compile("in.po"));
    EXPECT_TRUE(Contains(said, "in.po:1: the name '\\x1B[2J\\u202E\\x9B\xC3\xA4' is not an identifier"))
        << said;
}

TEST(MessageCompiler, ReadsEverythingThatACatalogueMayContain) {
    WriteBytes(
        "in.po",
        "\xEF\xBB\xBF# A translator's comment\r\n"
        "#, fuzzy\nmsgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\r\n"
        "\n#. extracted \xD0\x96\n#: source.cpp:12\n#| msgid \"old\"\n"
        "  msgid\t\"ZULU\"   \nmsgstr \"\" \"a\" \"b\"\n\"c\"\n"
        "#, c-format\nmsgid \"\"\n\"AL\"\n\"FA\"\nmsgstr \"\\n\\t\\r\\\\\\\"\\a\\b\\f\\v\\101\\x4a\\'?\"\n"
        "#~ msgid \"GONE\"\n#~ msgstr \"gone\"\n"
        "#, fuzzy\n" +
            entry("FUZZY", "not sure") + entry("UNTRANSLATED", "") +
            entry("_under1", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\\320\\226"));
    ASSERT_TRUE(compile("--posix out.cpp --first-id 65533 in.po"));
    EXPECT_EQ(said, "");
    const std::string source = BytesOf("out.cpp");
    EXPECT_TRUE(
        Contains(source, "    {65533, u\"ALFA\"},\n    {65534, u\"ZULU\"},\n    {65535, u\"_under1\"},\n"));
    EXPECT_TRUE(Contains(source, R"({65533, u"\012\011\015\134\042\007\010\014\013AJ'?", 13})"));
    EXPECT_TRUE(Contains(source, R"({65534, u"abc", 3})"));
    EXPECT_TRUE(Contains(source, R"({65535, u"\u00E4\u20AC\U0001F600\u0416", 5})"));
    for (const char* absent : {"FUZZY", "GONE", "UNTRANSLATED"})
        EXPECT_FALSE(Contains(source, absent));

    ASSERT_TRUE(compile("--rc out.rc --windows win.cpp --first-id 7 --language 1049 in.po"));
    EXPECT_TRUE(Contains(BytesOf("out.rc"), "LANGUAGE 25, 1\n"));
    EXPECT_TRUE(Contains(BytesOf("out.rc"), R"(    9 L"\x00E4\x20AC\xD83D\xDE00\x0416")"));
    EXPECT_TRUE(Contains(BytesOf("win.cpp"), "{9, u\"_under1\"}"));
}

TEST(MessageCompiler, RefusesWithFileAndLineAndLeavesNoOutput) {
    const std::pair<std::string, const char*> refusals[] = {
        {entry("A", "x") + entry("NO NAME", "x"), "in.po:3: the name 'NO NAME' is not an identifier"},
        {entry("A", "x") + "\n" + entry("B", "x") + entry("A", ""),
         "in.po:6: the name 'A' is already defined on line 1"},
        {entry("A", "\xC3"), "in.po:2: bytes that are not UTF-8"},
        {entry("A", "x") + entry("B", "\\303("), "in.po:4: escapes that do not form UTF-8"},
        {entry("A", "\\q"), "in.po:2: unknown escape"},
        {entry("A", "\\0"), "in.po:2: a text cannot hold the NUL"},
        {"msgid \"A\"\nmsgstr \"x\\", "in.po:2: the string has no closing"},
        {"msgid \"A\"\n\nmsgid \"B\"\nmsgstr \"x\"\n", "in.po:1: msgid without a following msgstr"},
        {"msgid \"A\"\nmsgid_plural \"As\"\nmsgstr[0] \"x\"\n", "in.po:2: messages have no plural forms"},
        {entry("", "a header") + entry("", "another"), "in.po:3: a second header; the first is on line 1"},
        {entry("", "Content-Type: text/plain; charset=KOI8-R\\n"), "in.po:2: the charset is 'koi8-r'"},
        {entry("A", "x") + entry("B", "x"), "in.po:3: no id is left for 'B': the largest is 65535"}};
    for (const auto& [catalogue, reason] : refusals) {
        WriteBytes("in.po", catalogue);
        WriteBytes("out.cpp", "as it was");
        EXPECT_FALSE(compile("--posix out.cpp --first-id 65535 in.po")) << reason;
        EXPECT_TRUE(Contains(said, reason)) << said;
        EXPECT_EQ(BytesOf("out.cpp"), "as it was");
    }
    EXPECT_TRUE(compile("--help"));
    EXPECT_TRUE(Contains(said, "--original FILE.po"));
    for (const char* wrong : {"missing.po", ".", "--unknown x in.po", "in.po in.po", "in.po --rc",
                              "in.po --first-id 0", "in.po --first-id 12x"})
        EXPECT_FALSE(compile(wrong)) << wrong;
}

TEST(MessageCompiler, WritesAnOutputCompletelyOrNotAtAll) {
    WriteBytes("in.po", entry("A", "x"));
    std::filesystem::create_directories("folder/out.cpp");
    EXPECT_FALSE(compile("in.po --posix folder/out.cpp"));
    EXPECT_EQ(said, "folder/out.cpp: the file cannot be written\n");
    EXPECT_TRUE(std::filesystem::remove("folder/out.cpp") && std::filesystem::remove("folder"));
}

TEST(MessageCompiler, ComparesATranslationWithItsOriginal) {
    WriteBytes("en.po", entry("A", "%0 %1 100%") + entry("B", "b") + entry("C", "%10 %2147483648"));
    WriteBytes("de.po", entry("C", "%10 %99999999999 %x %") + entry("A", "%01 %0 %0") + entry("D", "%7"));
    ASSERT_TRUE(compile("--posix out.cpp --first-id 10 --original en.po de.po"));
    EXPECT_EQ(said, "de.po:5: warning: the original has no 'D'\n");
    // The ids are those of the original, in every language.
    EXPECT_TRUE(Contains(BytesOf("out.cpp"), "    {10, u\"A\"},\n    {12, u\"C\"},\n    {13, u\"D\"},\n"));

    WriteBytes("de.po", entry("B", "b") + entry("A", "%1\\n%2 %12 %10"));
    EXPECT_FALSE(compile("--posix out2.cpp --original en.po de.po"));
    EXPECT_EQ(said, "de.po:4: the original of 'A' has no %2\nde.po:4: the original of 'A' has no %10\n"
                    "de.po:4: the original of 'A' has no %12\n");
}

} // namespace
} // namespace Tarn
