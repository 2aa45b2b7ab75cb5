#include "tests/files/support.h"
#include "tests/support/capabilities.h"
#include "tools/tarnmsg/plural_rule.h"

#include <regex>
#include <tuple>

namespace Tarn {
namespace {

std::string said; // the output of the last run of the compiler

bool run(const std::string& commandLine) {
    const CProgramRun result = RunProgram(commandLine);
    said = result.output;
    std::erase(said, '\r'); // the line ends of the system
    return result.exitCode == 0;
}

bool compile(const std::string& arguments) { return run("\"" TARNMSG "\" " + arguments); }

std::string entry(const std::string& name, const std::string& text) {
    return "msgid \"" + name + "\"\nmsgstr \"" + text + "\"\n";
}

// A catalogue with one message, which has these plural forms.
std::string plural(const std::string& rule, const std::vector<std::string>& forms) {
    std::string text = "msgid \"\"\nmsgstr \"\"\n\"Language: x\\n\"\n\"Plural-Forms: " + rule +
                       "\\n\"\nmsgid \"A\"\nmsgid_plural \"A\"\n";
    for (std::size_t i = 0; i < forms.size(); i++)
        text += "msgstr[" + std::to_string(i) + "] \"" + forms[i] + "\"\n";
    return text;
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
        {"msgid \"A\"\nmsgid_plural \"As\"\nmsgstr[1] \"x\"\n", "in.po:3: msgstr[1] where msgstr[0] is due"},
        {"msgid \"A\"\nmsgstr[0] \"x\"\n", "in.po:2: msgstr[0] without a preceding msgid_plural"},
        {"msgid \"A\"\nmsgid_plural \"\"\nmsgstr \"x\"\n", "in.po:3: msgstr of an entry with msgid_plural"},
        {"msgid \"A\"\nmsgid_plural \"\"\nmsgstr[0] \"%0\"\n",
         "in.po:1: 'A' has plural forms, but the header"},
        {plural("nplurals=2; plural=n>1;", {"%0", "%1", "x"}),
         "in.po:5: 'A' has 3 plural forms instead of the 2"},
        {plural("nplurals=2; plural=n>1;", {"%1", "x"}), "in.po:5: no plural form of 'A' has the number %0"},
        {plural("nplurals=2; plural=n%;", {"%0", "x"}),
         "in.po:4: Plural-Forms: n, a number or a parenthesis is"},
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
    for (const char* wrong :
         {"missing.po", ".", "--unknown x in.po", "in.po in.po", "in.po --rc", "", "in.po --first-id 0",
          "in.po --first-id=12x", "in.po --check=yes", "in.po --fill"})
        EXPECT_FALSE(compile(wrong)) << wrong;
    const std::pair<const char*, const char*> answers[] = {{"--help", "--original FILE.po"},
                                                           {"in.po --version", "tarnmsg 8."}};
    for (const auto& [option, answer] : answers)
        EXPECT_TRUE(compile(option) && Contains(said, answer)) << said;
}

TEST(ManualPages, HaveEveryOption) {
    for (const auto& [program, page] : {std::pair(TARNMSG, "tarnmsg"), std::pair(TARNREG, "tarnreg")}) {
        const Bytes manual = BytesOf(fs::path(TARNKIT_TOOLS) / page / (std::string(page) + ".1"));
        ASSERT_TRUE(run(std::string("\"") + program + "\" --help"));
        const std::regex option("--[a-z-]+");
        int count = 0;
        for (std::sregex_iterator found(said.begin(), said.end(), option), end; found != end;
             ++found, count++)
            EXPECT_TRUE(Contains(manual, std::regex_replace(found->str(), std::regex("-"), "\\-")))
                << found->str();
        EXPECT_GT(count, 8);
    }
}

TEST(MessageCompiler, ReportsEveryErrorOfAFileOnce) {
    WriteBytes("in.po", "junk\nmore junk\n" + entry("A", "\\q") + "msgid \"B\" x\nmsgstr \"b\"\n" +
                            entry("C", "c") + "\"on\" x\nmsgctxt \"D\nmsgid \"Some text\"\nmsgstr \"d\"\n" +
                            entry("E", "\\377") + "msgid \"F\"\nmsgstr \"f\"\nmsgstr \"f\"\n# \xFF\n" +
                            entry("G G", "") + "#. tarnmsg: what\nmsgctxt \"H\"\n");
    EXPECT_FALSE(compile("in.po"));
    EXPECT_EQ(said, "in.po:1: unknown keyword 'junk'\nin.po:4: unknown escape \\q\n"
                    "in.po:5: text outside quotation marks\nin.po:9: text outside quotation marks\n"
                    "in.po:10: the string has no closing quotation mark\n"
                    "in.po:14: escapes that do not form UTF-8\n"
                    "in.po:17: msgstr without a preceding msgid\nin.po:18: bytes that are not UTF-8\n"
                    "in.po:21: unknown remark 'what' after tarnmsg:\n"
                    "in.po:22: msgctxt without a following msgid\n"
                    "in.po:19: the name 'G G' is not an identifier\n");
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

TEST(MessageCompiler, CountsChecksAndFillsATranslation) {
    WriteBytes("en.po", entry("A", "%0 %1") + entry("B", "b") + entry("C", "%2") + entry("D", "d"));
    WriteBytes("de.po", entry("A", "%1") + "#, fuzzy\n" + entry("B", "be") +
                            "# tarnmsg: other placeholders\nmsgctxt \"C\"\nmsgid \"%1\"\nmsgstr \"%3\"\n");
    EXPECT_TRUE(compile("--original en.po de.po --statistics"));
    EXPECT_EQ(said, "de.po: 2 translated messages, 1 fuzzy message, 1 untranslated message.\n");
    EXPECT_FALSE(compile("--original=en.po de.po --check"));
    EXPECT_EQ(said,
              "de.po:2: the translation of 'A' lacks %0\nde.po:7: warning: the original of 'C' has changed\n"
              "de.po:1: warning: 1 message without translation: D\n"
              "de.po:1: warning: 1 message with a fuzzy translation: B\n");
    ASSERT_TRUE(compile("--original en.po de.po --fill --posix out.cpp"));
    for (const char* text : {R"({1, u"%1", 2})", R"({2, u"b", 1})", R"({3, u"%3", 2})", R"({4, u"d", 1})"})
        EXPECT_TRUE(Contains(BytesOf("out.cpp"), text)) << text;
    // Without the original its texts are those beside the contexts, and all of a template's.
    WriteBytes("de.pot", "msgctxt \"A\"\nmsgid \"%0\"\nmsgstr \"a\"\n");
    EXPECT_TRUE(compile("de.pot --check --posix out.cpp") && Contains(BytesOf("out.cpp"), R"(u"%0", 2})"));
    std::filesystem::rename("de.pot", "de.po");
    EXPECT_FALSE(compile("de.po --check"));
    EXPECT_EQ(said, "de.po:3: the translation of 'A' lacks %0\n");
}

// The rules as gettext has them, and the forms in words.
struct CLanguageRule {
    const char* rule;
    int (*form)(int n);
};

const CLanguageRule kRules[] = {
    {"nplurals=1; plural=0;", [](int) { return 0; }},                     // ja
    {"nplurals=2; plural=n != 1;", [](int n) { return n == 1 ? 0 : 1; }}, // en, de
    {"nplurals=2; plural=(n > 1)", [](int n) { return n < 2 ? 0 : 1; }},  // fr
    {"nplurals=3; plural=n%10==1 && n%100!=11 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || n%100>=20) ? "
     "1 : 2;", // ru
     [](int n) {
         const std::string digits = "0" + std::to_string(n);
         const char tens = *(digits.end() - 2), ones = digits.back();
         return tens == '1' ? 2 : ones == '1' ? 0 : ones >= '2' && ones <= '4' ? 1 : 2;
     }},
    {"nplurals=3; plural=(n==1 ? 0 : n%10>=2 && n%10<=4 && (n%100<10 || n%100>=20) ? 1 : 2);", // pl
     [](int n) {
         const std::string digits = "0" + std::to_string(n);
         const char tens = *(digits.end() - 2), ones = digits.back();
         return n == 1 ? 0 : tens != '1' && ones >= '2' && ones <= '4' ? 1 : 2;
     }},
    {"nplurals=3; plural=(n==1) ? 0 : (n>=2 && n<=4) ? 1 : 2;", // cs
     [](int n) { return n == 0 || n > 4 ? 2
                        : n == 1        ? 0
                                        : 1; }},
    {"nplurals=4; plural=(n%100==1 ? 0 : n%100==2 ? 1 : n%100==3 || n%100==4 ? 2 : 3);", // sl
     [](int n) {
         while (n >= 100)
             n -= 100;
         return n == 0 || n > 4 ? 3 : n < 3 ? n - 1 : 2;
     }},
    {"nplurals=5; plural=n==1 ? 0 : n==2 ? 1 : (n>2 && n<7) ? 2 :(n>6 && n<11) ? 3 : 4;", // ga
     [](int n) {
         return n == 1 ? 0 : n == 2 ? 1 : n >= 3 && n <= 6 ? 2 : n >= 7 && n <= 10 ? 3 : 4;
     }},
    {"nplurals=3; plural=(n%10==1 && n%100!=11 ? 0 : n != 0 ? 1 : 2);", // lv
     [](int n) { return n == 0                            ? 2
                        : n / 10 % 10 != 1 && n % 10 == 1 ? 0
                                                          : 1; }},
    {"nplurals=6; plural=n==0 ? 0 : n==1 ? 1 : n==2 ? 2 : n%100>=3 && n%100<=10 ? 3 : n%100>=11 ? 4 "
     ": 5;", // ar
     [](int n) {
         const int rest = n - n / 100 * 100;
         return n < 3 ? n : rest < 3 ? 5 : rest > 10 ? 4 : 3;
     }},
    // Not of a language: what binds how, and operators that no language uses.
    {"plural = !n + 2*3 - 6/2%2 - 4 == 2 || n<=1&&!!n; nplurals = 2", [](int n) { return n < 2 ? 1 : 0; }},
    {"nplurals=3;plural=n>=10-3-2 ? n<6 : n*0+2", [](int n) { return n < 5    ? 2
                                                                     : n == 5 ? 1
                                                                              : 0; }},
};

TEST(PluralRule, GivesTheFormForEveryNumber) {
    for (const auto& [text, form] : kRules) {
        const tarnmsg::PluralRule rule = tarnmsg::PluralRule::Parse(text);
        for (int n = 0; n <= 1000; n++)
            ASSERT_EQ(rule.FormOf(static_cast<unsigned>(n)), form(n)) << text << n;
    }
    EXPECT_EQ(tarnmsg::PluralRule::Parse("nplurals=2; plural=n>2000 ? n : 0").FormOf(3000), 1)
        << "the last one";
}

TEST(PluralRule, IsRefusedWhereItIsWrong) {
    const auto nested = [](int depth) {
        return "nplurals=2; plural=" + std::string(depth, '(') + "n>1" + std::string(depth, ')');
    };
    std::string longOne = "nplurals=2; plural=0";
    for (int i = 0; i < 300; i++)
        longOne += "*n";
    const std::tuple<std::string, std::size_t, const char*> refusals[] = {
        {"", 0, "there is no nplurals="},
        {"nplurals=2;", 0, "there is no plural="},
        {"nplurals=x; plural=0;", 9, "the number after nplurals= is missing"},
        {"nplurals=0; plural=0;", 9, "nplurals is not a number from 1 to 16"},
        {"nplurals=99999999999999999999; plural=0;", 29, "the number after nplurals= is too large"},
        {"nplurals=2; plural=n 1", 21, "an operator or a semicolon is missing"},
        {"nplurals=2; plural=n = 1", 21, "an operator or a semicolon is missing"},
        {"nplurals=2; plural=(n>1", 23, "a closing parenthesis is missing"},
        {"nplurals=2; plural=n ? 1;", 24, "the colon after '?' is missing"},
        {"nplurals=2; plural=n>1 || ;", 26, "n, a number or a parenthesis is missing"},
        {"nplurals=2; plural=m", 19, "n, a number or a parenthesis is missing"},
        {"nplurals=2; plural=1/0", 22, "only a number other than 0 can divide"},
        {"nplurals=2; plural=1%n", 22, "only a number other than 0 can divide"},
        {"nplurals=2; plural=n==7 ? 2 : 0;", 31, "the form for 7 is not below nplurals"},
        {nested(50), 69, "the rule is nested too deeply"},
        {longOne, 220, "the rule is too long"}};
    for (const auto& [text, position, message] : refusals)
        try {
            tarnmsg::PluralRule::Parse(text);
            ADD_FAILURE() << text;
        } catch (const tarnmsg::PluralRule::Error& error) {
            EXPECT_EQ(std::pair(error.position, error.message), std::pair(position, std::string(message)))
                << text;
        }
    EXPECT_EQ(tarnmsg::PluralRule::Parse(nested(49)).FormOf(2), 1);
}

TEST(MessageCompiler, GivesPluralFormsIdsBehindAllNames) {
    WriteBytes("en.po", plural("nplurals=2; plural=n!=1;", {"one", "%0"}) + entry("B", "b"));
    const std::string russian = kRules[3].rule;
    WriteBytes("ru.po", plural(russian, {"%0 a", "%0 b", "%0 c"}) + entry("C", "c"));
    ASSERT_TRUE(compile("--original en.po ru.po --fill --posix out.cpp --rc out.rc --windows win.cpp"));
    for (const char* part : {"{1, u\"%0 c\", 4},", "{2, u\"b\", 1},", "{3, u\"c\", 1},", "{4, u\"%0 a\", 4},",
                             "{5, u\"%0 b\", 4},", "{3, formOf0},", "{1, 0, 4, 0},", "kVersion, 5, strings}"})
        EXPECT_TRUE(Contains(BytesOf("out.cpp"), part)) << part;
    EXPECT_TRUE(Contains(BytesOf("out.rc"), "    5 L\"%0 b\"\n") &&
                Contains(BytesOf("win.cpp"), "___TarnkitPlurals"));
    // What is filled in keeps its own rule.
    WriteBytes("ru.po", plural(russian, {"", "", ""}));
    ASSERT_TRUE(compile("--original en.po ru.po --fill --posix out.cpp"));
    EXPECT_TRUE(Contains(BytesOf("out.cpp"), "{2, formOf0},"));
    // A form for many numbers needs the number; one that is for a single number does not.
    WriteBytes("ru.po", plural(russian, {"one", "%0 b", "%0 c"}));
    EXPECT_FALSE(compile("--original en.po ru.po --check"));
    EXPECT_TRUE(Contains(said, "ru.po:7: the translation of 'A' lacks %0\n")) << said;
    WriteBytes("pl.po", plural(kRules[4].rule, {"one", "%0 b", "%0 c"}));
    EXPECT_TRUE(compile("--original en.po pl.po --check")) << said;
    WriteBytes("ja.po", entry("A", "x"));
    EXPECT_FALSE(compile("--original en.po ja.po --check")) << "a text for all numbers";
    // The template has both forms, and tells how many a language has.
    ASSERT_TRUE(compile("extract --original en.po --translation pl.po"));
    EXPECT_TRUE(Contains(said, "msgctxt \"A\"\nmsgid \"one\"\nmsgid_plural \"%0\"\nmsgstr[0] \"one\"\n"))
        << said;
    WriteBytes("a.cpp", "");
    ASSERT_TRUE(compile("extract --original en.po a.cpp --output a.pot"));
    EXPECT_TRUE(Contains(BytesOf("a.pot"), "nplurals=INTEGER") &&
                Contains(BytesOf("a.pot"), "msgstr[1] \"\"\n"));
    EXPECT_TRUE(compile("a.pot --posix out.cpp") && Contains(BytesOf("out.cpp"), "{1, u\"%0\", 2}")) << said;
}

const char kTexts[] = "# Copyright\nmsgid \"\"\nmsgstr \"Project-Id-Version: Party 1\\n\"\n"
                      "# %0 is a name\nmsgid \"ERR_A\"\nmsgstr \"%0\\nis \\\"here\\\"\"\n";
// Names that are objects, and texts that are none.
const char kSource[] = R"sources(
CMessage a(u"ERR_" u"A", 0), b{u"ERR_B", 1}; // "%0 \"b\"\n"
const Tarn::CError list[] = {{u"ERR_C", 0}, {uR"(ERR_D)", 0}, Tarn::CError(u"ERR_E", f(u"NO"))};
auto p = std::make_unique<CError>(u"ERR_F", 1'0);
TWO(x(1, 2), ERR_G, u"NO") TWO(, u"ERR_H") TWO()
#define TWO(a, b) CMessage b(u ## #b, 0)
class CError : public CMessage { CError(const char16_t* t) : CMessage(t, 0) { g(u"NO"); } };
CMessage& get(CMessage& m) { return h(u"NO"), m; } // "NO"
// CMessage c(u"NO", 0);
/* CMessage d(u"NO", 0); */ const char* s = "CMessage e(u\"NO\", 0)" R"x(" CMessage e(u"NO", 0))x"; char c = '"';
CMessage narrow("NO");
CMessage last(u"ERR_A", 0)sources";

TEST(MessageCompiler, FindsTheMessageObjectsOfSources) {
    WriteBytes("a.cpp", kSource);
    ASSERT_TRUE(compile("extract a.cpp --macro TWO:2 --output names.po")) << said;
    const std::string names = BytesOf("names.po");
    EXPECT_FALSE(Contains(names, "NO\""));
    for (const char* part :
         {"\n#: a.cpp:2\n#: a.cpp:12\nmsgid \"ERR_A\"\nmsgstr \"\"\n",
          "\nmsgid \"ERR_B\"\nmsgstr \"%0 \\\"b\\\"\\n\"\n", "#: a.cpp:3\nmsgid \"ERR_C\"\n", "\"ERR_D\"\n",
          "\"ERR_E\"\n", "#: a.cpp:4\nmsgid \"ERR_F\"\n", "#: a.cpp:5\nmsgid \"ERR_G\"\n", "\"ERR_H\"\n"})
        EXPECT_TRUE(Contains(names, part)) << part << names;
}

TEST(MessageCompiler, MakesATemplateOfSourcesAndTexts) {
    WriteBytes("a.cpp", "CError a(u\"ERR_A\", 0);\nCError b(u\"ERR_AB\", 0); CError c(u\"ERR C\", 0);");
    WriteBytes("en.po", kTexts + entry("ERR_Z", "z"));
    EXPECT_FALSE(compile("extract --original en.po a.cpp --unused --output t.pot"));
    EXPECT_EQ(said, "a.cpp:2: the name 'ERR C' is not an identifier\n"
                    "a.cpp:2: 'ERR_AB' has no text; is 'ERR_A' meant?\n"
                    "en.po:7: warning: no source uses 'ERR_Z'\n");
    EXPECT_FALSE(std::filesystem::exists("t.pot"));
    WriteBytes("a.cpp", "CError a(u\"ERR_A\", 0);\nCError b(u\"ERR_AB\", 0);");
    ASSERT_TRUE(compile("extract --original en.po a.cpp --undefined more.po --output t.pot"));
    EXPECT_TRUE(Contains(BytesOf("more.po"), "\n#: a.cpp:2\nmsgid \"ERR_AB\"\nmsgstr \"\"\n"));
    const std::string pot = BytesOf("t.pot");
    EXPECT_TRUE(Contains(pot, "Party 1\\n") && !Contains(pot, "ERR_AB")) << pot;
    EXPECT_TRUE(Contains(pot, "\n#. %0 is a name\n#: a.cpp:1\nmsgctxt \"ERR_A\"\n"
                              "msgid \"\"\n\"%0\\n\"\n\"is \\\"here\\\"\"\nmsgstr \"\"\n"))
        << pot;

    // A translation by names becomes one that translators know, and loses nothing.
    WriteBytes("de.po", "# Mine\nmsgid \"\"\nmsgstr \"Language: de\\n\"\n# Note\n" + entry("ERR_A", "%0 da") +
                            "msgctxt \"ERR_Z\"\nmsgid \"y\"\nmsgstr \"zett\"\n" + entry("OLD", "alt") +
                            "#~ msgid \"OLDER\"\n#~ msgstr \"\"\n");
    ASSERT_TRUE(compile("extract --original en.po --translation de.po"));
    EXPECT_EQ(said,
              "# Mine\nmsgid \"\"\nmsgstr \"Language: de\\n\"\n\n# Note\n#. %0 is a name\nmsgctxt \"ERR_A\"\n"
              "msgid \"\"\n\"%0\\n\"\n\"is \\\"here\\\"\"\nmsgstr \"%0 da\"\n\n#, fuzzy\nmsgctxt \"ERR_Z\"\n"
              "msgid \"z\"\nmsgstr \"zett\"\n\n#~ msgid \"OLD\"\n#~ msgstr \"alt\"\n\n#~ msgid \"OLDER\"\n"
              "#~ msgstr \"\"\n");
    for (const char* wrong :
         {"extract", "extract a.cpp --macro X", "extract a.cpp --undefined x", "extract no.cpp"})
        EXPECT_FALSE(compile(wrong)) << wrong;
}

/// gettext's programs can be run.
const CCapability kGettext{*TARNKIT_GETTEXT == '\0' ? "they are not there, or not this system's" : nullptr};

bool gettext(const std::string& commandLine) { return run(TARNKIT_GETTEXT "/" + commandLine); }

struct CTranslations {
    std::string folder, source, changed; // where the originals and their names are; one of the names

    friend void PrintTo(const CTranslations& translations, std::ostream* out) { *out << translations.folder; }
};

class RoundTripWithGettext : public testing::TestWithParam<std::tuple<CTranslations, const char*>> {};

TEST_P(RoundTripWithGettext, KeepsTheTextsAndFindsWhatIsNew) {
    TARNKIT_TEST_NEEDS(kGettext);
    const auto& [translations, code] = GetParam();
    const std::string folder = TARNKIT_SOURCES "/" + translations.folder + "/",
                      language = code + std::string(".po");
    const std::string extract =
        "extract --macro TARNKIT_MESSAGE:2 --original en.po --output new.pot " + folder + translations.source;
    for (const std::string& name : {std::string("en.po"), language})
        std::filesystem::copy_file(folder + name, name, std::filesystem::copy_options::overwrite_existing);
    ASSERT_TRUE(compile(extract) && compile("--posix out.cpp --original en.po " + language)) << said;
    const std::string before = BytesOf("out.cpp");
    // Nothing changes when nothing has changed.
    ASSERT_TRUE(gettext("msgmerge -q -U " + language + " new.pot")) << said;
    EXPECT_TRUE(gettext("msgfmt --check -o out.mo " + language) && said.empty()) << said;
    EXPECT_TRUE(compile("--check --posix out.cpp --original en.po " + language) && said.empty()) << said;
    EXPECT_TRUE(BytesOf("out.cpp") == before);

    std::string original = BytesOf("en.po") + "\n" + entry("MSG_NEW", "Quite another matter altogether.");
    const std::string text = "msgstr \"";
    original.insert(original.find(text, original.find('"' + translations.changed + '"')) + text.size(),
                    "Now: ");
    WriteBytes("en.po", original);
    EXPECT_TRUE(compile("--check --original en.po " + language));
    EXPECT_TRUE(Contains(said, "warning: the original of '" + translations.changed + "' has changed\n"))
        << said;
    ASSERT_TRUE(compile(extract) && gettext("msgmerge -q -U " + language + " new.pot")) << said;
    EXPECT_TRUE(compile("--check --original en.po " + language));
    EXPECT_TRUE(Contains(said, "1 message without translation: MSG_NEW\n") &&
                Contains(said, "1 message with a fuzzy translation: " + translations.changed + "\n"))
        << said;
}

INSTANTIATE_TEST_SUITE_P(
    Project, RoundTripWithGettext,
    testing::Combine(testing::Values(CTranslations{"examples/notebook", "messages.cpp",
                                                   "ERR_NOTEBOOK_BAD_COLOR"},
                                     CTranslations{"catalogue", "library_messages.cpp", "ERR_BAD_TEXT_FILE"},
                                     CTranslations{"tools/tarnreg", "messages.cpp", "MSG_TARNREG_NO_KEY"}),
                     testing::Values("de", "ru")));

TEST(MessageCompiler, TakesUpWhatMsginitBegins) {
    TARNKIT_TEST_NEEDS(kGettext);
    ASSERT_TRUE(compile("extract --original " TARNKIT_SOURCES
                        "/examples/notebook/en.po --output new.pot " TARNKIT_SOURCES
                        "/examples/notebook/messages.cpp"));
    for (const std::string language : {"ar", "en", "ja", "pl", "ru"}) {
        ASSERT_TRUE(gettext("msginit --no-translator -l " + language + " -i new.pot -o " + language + ".po"));
        EXPECT_TRUE(compile("--statistics --original new.pot " + language + ".po"));
        EXPECT_TRUE(Contains(said, language == "en" ? " 0 untranslated" : ": 0 translated")) << said;
    }
}

} // namespace
} // namespace Tarn
