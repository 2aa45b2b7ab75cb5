// The registry's tool as a user runs it, and its files as others read them.
#include "tests/files/support.h"

#include <tarnkit/byte_order.h>
#include <tarnkit/registry_key.h>

namespace Tarn {
namespace {

// Where other processes find the key that is HKEY_CURRENT_USER here.
std::string userKey() {
    const std::string registry = std::getenv("TARNKIT_REGISTRY");
    return "HKEY_CURRENT_USER\\" + (registry[0] == '/' ? "" : registry + "\\");
}

std::string said; // the output of the last run

int tarnreg(const std::string& arguments) {
    const CProgramRun run = RunProgram("\"" TARNREG "\" --language 0 " + arguments);
    said = run.output;
    std::erase(said, '\r');
    return run.exitCode;
}

// The key of these tests, and one below it, as an argument.
std::string key(const std::string& below = "") { return "\"" + userKey() + "Tarnreg" + below + "\""; }

Bytes utf16(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t unit : text)
        bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    return bytes;
}

// Windows adds to a text the terminator that it finds behind the data.
constexpr char kNoTerminator[] = "xx";

struct CModelValue {
    DWORD type;
    Bytes data;
    bool operator==(const CModelValue&) const = default;
};

// A value whose data are given as a file has them.
CModelValue inMemory(DWORD type, Bytes data) {
    TurnLittleEndian(type, data.data(), data.size());
    return {type, data};
}
using CModel = std::map<std::u16string, std::map<std::u16string, CModelValue>>; // values of keys, by path

class RegistryTool : public FreshFolder {
protected:
    RegistryTool() {
        fs::current_path(folder);
        SetEnvironment("TARNKIT_ACP", "1252");
        user.Open(HKEY_CURRENT_USER, u"");
        user.DeleteSubKey(u"Tarnreg");
    }
    ~RegistryTool() override {
        SetEnvironment("TARNKIT_ACP", nullptr);
        user.DeleteSubKey(u"Tarnreg");
        fs::current_path(folder.parent_path());
    }

    static void write(const CModel& model) {
        for (const auto& [path, values] : model) {
            CRegistryKey opened(false);
            opened.Open(HKEY_CURRENT_USER, path.c_str());
            for (const auto& [name, value] : values)
                EXPECT_TRUE(opened.SetValue(name.c_str(), value.type, (value.data + kNoTerminator).data(),
                                            static_cast<int>(value.data.size())));
        }
    }
    static CModel read(const std::u16string& path = u"Tarnreg") {
        CModel model;
        CRegistryKey opened(true);
        opened.Open(HKEY_CURRENT_USER, path.c_str());
        if (!opened.IsValid())
            return model;
        CArray<CUnicodeString> names;
        opened.GetValueNames(names);
        auto& values = model[path];
        for (const CUnicodeString& name : names) {
            CModelValue value{opened.GetValueType(name), Bytes(65536, ' ')};
            value.data.resize(static_cast<std::size_t>(opened.QueryValue(name, value.data.data(), 65536)));
            values.emplace(name.Ptr(), value);
        }
        opened.GetSubKeys(names);
        for (const CUnicodeString& name : names)
            model.merge(read(path + u"\\" + name.Ptr()));
        return model;
    }

    CRegistryKey user{false};
};

std::mt19937 engine{20260502};
int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(engine); }

// `isPlain` leaves out what the editors of Wine write otherwise than it is: line breaks, and data that do not
// have the form of their type.
std::u16string randomText(bool isPlain, bool isAscii) {
    static constexpr std::u16string_view kUnits = u"aB\"\\ ;=@[]-,0\u00e4\u0416\u4e16";
    static constexpr const char16_t* kLineBreaks[] = {u"\r\n", u"\r\n", u"\n", u"\r"};
    std::u16string text;
    for (int length = below(90); length > 0; length--)
        if (below(60) == 0 && !isPlain)
            text += kLineBreaks[below(4)];
        else
            text += kUnits[static_cast<std::size_t>(below(isAscii ? 13 : 16))];
    return text + (isAscii || below(2) == 0 ? u"" : u"\U0001F600");
}

CModelValue randomValue(bool isPlain, bool isAscii) {
    const auto bytes = [](int size) {
        Bytes data;
        for (; size > 0; size--)
            data += static_cast<char>(below(256));
        return data;
    };
    static constexpr DWORD kTypes[] = {REG_NONE, REG_BINARY, REG_LINK, 8, 0x12345, 0xFFFF0001};
    switch (below(7)) {
    case 0:
        return {REG_DWORD, bytes(4)};
    case 1:
        return {REG_QWORD, bytes(8)};
    case 2:
        return inMemory(REG_EXPAND_SZ, utf16(randomText(isPlain, isAscii) + u'\0'));
    case 3:
        return inMemory(REG_MULTI_SZ, utf16(u"x" + randomText(true, isAscii) + u'\0' + u"y" + u'\0' + u'\0'));
    case 4:
        return {kTypes[below(isPlain ? 2 : 6)], bytes(below(200))};
    case 5:
        if (!isPlain) // any bytes under any type, as far as the version can express it
            return {static_cast<DWORD>(isAscii ? 3 + below(4) : below(12)), bytes(below(3) * below(40))};
        [[fallthrough]];
    default:
        return inMemory(REG_SZ, utf16(randomText(isPlain, isAscii) + u'\0'));
    }
}

CModel randomModel(bool isPlain, bool isAscii) {
    CModel model{{u"Tarnreg", {}}};
    for (int keys = 1 + below(6); keys > 0; keys--) {
        std::u16string path = std::next(model.begin(), below(static_cast<int>(model.size())))->first + u"\\k";
        for (const char16_t unit : randomText(true, isAscii).substr(0, 20))
            path += unit == u'\\' ? u'_' : unit;
        auto& values = model[path];
        for (int count = below(6); count > 0; count--) {
            const std::u16string text = randomText(isPlain, isAscii);
            // distinct in every case, and in an order that does not depend on it
            const std::u16string name =
                below(5) == 0 ? u"" : std::u16string(1, static_cast<char16_t>(u'0' + count)) + text;
            values[name] = randomValue(isPlain, isAscii);
        }
    }
    return model;
}

TEST_F(RegistryTool, ExportsAndImportsRandomTreesWithoutALoss) {
    for (int round = 0; round < 12; round++) {
        const bool isVersion4 = round % 3 == 2;
        CModel model = randomModel(false, isVersion4);
        model[u"Tarnreg"][u"no text"] = {REG_SZ, {}};
        write(model);
        const std::string option = isVersion4 ? " --format 4" : "";
        ASSERT_EQ(tarnreg("export -f " + key() + " a.reg" + option), 0) << said;
        user.DeleteSubKey(u"Tarnreg");
        ASSERT_EQ(tarnreg("import a.reg"), 0) << said << BytesOf("a.reg");
        ASSERT_EQ(read(), model) << BytesOf("a.reg");
        ASSERT_EQ(tarnreg("export -f " + key() + " b.reg" + option), 0) << said;
        EXPECT_EQ(BytesOf("a.reg"), BytesOf("b.reg"));
        user.DeleteSubKey(u"Tarnreg");
    }
}

TEST_F(RegistryTool, WritesWhatTheSystemsEditorsWriteAndReadsIt) {
    TARNKIT_TEST_NEEDS(kRegistryEditors);
    for (int round = 0; round < 6; round++) {
        const CModel model = randomModel(true, false);
        write(model);
        ASSERT_EQ(tarnreg("export -f " + key() + " ours.reg"), 0) << said;
        ASSERT_EQ(RunProgram("reg export " + key() + " theirs.reg /y").exitCode, 0);
        ASSERT_EQ(RunProgram("regedit /E editor.reg " + key()).exitCode, 0);
        EXPECT_EQ(BytesOf("ours.reg"), BytesOf("theirs.reg"));
        EXPECT_EQ(BytesOf("ours.reg"), BytesOf("editor.reg"));
        for (const char* import :
             {"\"" TARNREG "\" import theirs.reg", "reg import ours.reg", "regedit /S ours.reg"}) {
            user.DeleteSubKey(u"Tarnreg");
            ASSERT_EQ(RunProgram(import).exitCode, 0);
            EXPECT_EQ(read(), model) << import;
        }
        user.DeleteSubKey(u"Tarnreg");
    }
}

TEST_F(RegistryTool, WritesAFileOfWindowsAsItWasRead) {
    Bytes file = BytesOf(WINDOWS_REG_FILE);
    const Bytes root = utf16(u"HKEY_CURRENT_USER\\");
    Bytes ourRoot;
    for (const char unit : userKey())
        ourRoot += {unit, '\0'};
    for (std::size_t at = 0; (at = file.find(root, at)) != file.npos; at += ourRoot.size())
        file.replace(at, root.size(), ourRoot);
    WriteBytes("in.reg", file);
    write({{u"Tarnreg\\Old\\Older", {}}, {u"Tarnreg\\Application", {{u"Gone", {REG_SZ, {}}}}}});
    ASSERT_EQ(tarnreg("import in.reg"), 0) << said;
    ASSERT_EQ(tarnreg("export " + key() + " out.reg"), 0) << said;
    const std::size_t end = file.find(utf16(u"; What an export never has."));
    ASSERT_NE(end, file.npos);
    EXPECT_EQ(BytesOf("out.reg"), file.substr(0, end));
}

// Windows writes a line break as it is, Wine's editors as escapes, tarnreg the bytes, which all of them read.
TEST_F(RegistryTool, ReadsTheLineBreaksOfEveryEditor) {
    const CModel model = {{u"Tarnreg", {{u"v", inMemory(REG_SZ, utf16({u"a\r\n\"b\\\r\n\0", 9}))}}}};
    const std::string head = "Windows Registry Editor Version 5.00\r\n\r\n[" + userKey() + "Tarnreg]\r\n";
    for (const char* line : {"\"v\"=\"a\r\n\\\"b\\\\\r\n\"", "\"v\"=\"a\\r\\n\\\"b\\\\\\r\\n\"",
                             "\"v\"=hex(1):61,00,0d,00,0a,00,22,00,62,00,5c,00,0d,00,0a,00,00,00"}) {
        user.DeleteSubKey(u"Tarnreg");
        WriteBytes("in.reg", head + line);
        EXPECT_EQ(tarnreg("import in.reg"), 0) << said;
        EXPECT_EQ(read(), model) << line;
    }
    if (!kRegistryEditors)
        return;
    ASSERT_EQ(RunProgram("regedit /E editor.reg " + key()).exitCode, 0);
    user.DeleteSubKey(u"Tarnreg");
    EXPECT_EQ(tarnreg("import editor.reg"), 0) << said;
    EXPECT_EQ(read(), model);
}

TEST_F(RegistryTool, ReadsEverythingThatAFileMayContain) {
    const std::string root = userKey() + "Tarnreg";
    write({{u"Tarnreg\\Old\\Older", {{u"v", {REG_SZ, {}}}}}, {u"Tarnreg", {{u"gone", {REG_SZ, {}}}}}});
    for (const char* header : {"Windows Registry Editor Version 5.00",
                               "\xEF\xBB\xBFWindows Registry Editor Version 5.00 ", "REGEDIT4"}) {
        const bool isVersion4 = *header == 'R';
        WriteBytes(
            "in.reg",
            header + ("\n\n; a comment\n  [" + root + "] ; another\r\n@=\"line\r\nbreak \\n\\\"\\\\\"\n") +
                "\"a;]=\"  = dword:FF ; why\n\"b\"=hex:1,02,\\ ; more\r\n  ; still more\r\n  fF,\\\n\t00\n" +
                "\"gone\"=-\n\"m\"=hex(7):" + (isVersion4 ? "41,00,00" : "41,00,00,00,00,00") + "\n[-" +
                root + "\\Old]\n[-" + root + "\\Never]\n[hkcu" + root.substr(17) +
                "\\[x]\\y]\n\"e\"=hex(b):");
        ASSERT_EQ(tarnreg("import in.reg"), 0) << said;
        const CModel expected = {{u"Tarnreg",
                                  {{u"", inMemory(REG_SZ, utf16({u"line\r\nbreak \n\"\\\0", 16}))},
                                   {u"a;]=", inMemory(REG_DWORD, {'\xFF', 0, 0, 0})},
                                   {u"b", {REG_BINARY, {1, 2, '\xFF', 0}}},
                                   {u"m", inMemory(REG_MULTI_SZ, utf16({u"A\0\0", 3}))}}},
                                 {u"Tarnreg\\[x]", {}},
                                 {u"Tarnreg\\[x]\\y", {{u"e", {REG_QWORD, {}}}}}};
        EXPECT_EQ(read(), expected);
        user.DeleteSubKey(u"Tarnreg");
    }
}

TEST_F(RegistryTool, RefusesABadFileWithItsLineAndImportsNothing) {
    const std::string head = "REGEDIT4\n[" + userKey() + "Tarnreg]\n\"good\"=\"x\"\n";
    const std::pair<std::string, const char*> cases[] = {
        {"", "bad.reg:1: The first line is neither"},
        {"REGEDIT5\n" + head, "bad.reg:1: The first line is neither"},
        {"REGEDIT4\n\n\"a\"=\"x\"\n" + head, "bad.reg:3: The value belongs to no key."},
        {head + "[HKEY_NOWHERE\\a]\n", "bad.reg:4: This is no key"},
        {head + "[" + userKey() + "a\\\\b]\n", "bad.reg:4: This is no key"},
        {head + "[-HKEY_CURRENT_USER]\n", "bad.reg:4: This is no key"},
        {head + "[" + userKey() + std::string(256, 'k') + "]\n", "bad.reg:4: This is no key"},
        {head + "[" + userKey() + "a\n", "bad.reg:4: This is no key"},
        {head + "[" + userKey() + "a] b\n", "bad.reg:4: Something follows"},
        {head + "[-" + userKey() + "Tarnreg\\a]\n\"b\"=\"c\"", "bad.reg:5: The value belongs to no key."},
        {head + "good\n", "bad.reg:4: The line begins neither a key nor a value."},
        {head + "\"a\" \"b\"\n", "bad.reg:4: The name of the value is not followed by"},
        {head + "\"a\"=\"b\nc\nd\n", "bad.reg:4: The closing quotation mark is missing."},
        {head + "\"a\"=\"C:\\b\"\n", "bad.reg:4: A backslash in a text must be doubled."},
        {head + "\"a\"=\"b\"c\"\n", "bad.reg:4: Something follows"},
        {head + "\"a\"=dword:123456789\n", "bad.reg:4: The data are not understood."},
        {head + "\"a\"=dword:\n", "bad.reg:4: The data are not understood."},
        {head + "\"a\"=hex(:00\n", "bad.reg:4: The data are not understood."},
        {head + "\"a\"=hex:00,\\\n  01,0g\n", "bad.reg:5: Something follows"},
        {head + "\"a\"=hex:00,\\\n  01,g\n", "bad.reg:5: The data are not understood."},
        {head + "\"a\"=oct:7\n", "bad.reg:4: The data are not understood."},
        {head + "\"" + std::string(16384, 'v') + "\"=\"\"\n",
         "bad.reg:4: The name of the value is too long."},
        {"\xFF\xFE" + utf16(u"REGEDIT4\n") + "[", "bad.reg:1: Bytes that are no text."},
        {"\xEF\xBB\xBF" + head + "\"\xC3\"=-", "bad.reg:1: Bytes that are no text."},
        {head + Bytes("\"a\"=\"\0\"", 8), "bad.reg:4: Bytes that are no text."}};
    for (const auto& [bytes, reason] : cases) {
        WriteBytes("bad.reg", bytes);
        EXPECT_EQ(tarnreg("import bad.reg"), 3) << reason;
        EXPECT_TRUE(Contains(said, reason)) << said << "not: " << reason;
        EXPECT_TRUE(Contains(said, "Nothing was imported."));
        EXPECT_EQ(read(), CModel());
    }
}

TEST_F(RegistryTool, KnowsFilesByTheirBytesAndShowsTheirNamesAsTheSystemDoes) {
    const bool anyBytes = sizeof(fs::path::value_type) == 1; // else names are not bytes
    const std::string name = anyBytes ? "\xFC.reg" : "u.reg", shown = anyBytes ? "\uFFFD.reg" : "u.reg";
    if (anyBytes)
        for (const char* words : {" Path C:\\\\\xFC/a", " \xFC x", "\\\\\xFC Path x"}) {
            EXPECT_EQ(tarnreg("set " + key() + words), 2) << said;
            EXPECT_TRUE(Contains(said, "Bytes that are no text.")) << said;
        }
    EXPECT_EQ(tarnreg("set " + key()), 0);
    EXPECT_EQ(tarnreg("export " + key() + " " + name), 0) << said;
    EXPECT_TRUE(fs::exists(name));
    EXPECT_EQ(tarnreg("import " + name), 0) << said;
    EXPECT_EQ(tarnreg("export " + key() + " " + name), 3);
    EXPECT_TRUE(Contains(said, shown + " exists")) << said;
    WriteBytes(name, "x");
    EXPECT_EQ(tarnreg("import " + name), 3);
    EXPECT_TRUE(Contains(said, shown + ":1: ")) << said;
}

TEST_F(RegistryTool, AnswersCommandsWithOutputAndExitCode) {
    const struct {
        int exitCode;
        std::string arguments, output;
    } steps[] = {
        {1, "query " + key(), "tarnreg: The key " + userKey() + "Tarnreg does not exist.\n"},
        {0, "set " + key(), ""},
        {0, "set " + key("\\A") + " text \"two words\"", ""},
        {0, "set " + key("\\A") + " --default -t expand_sz -- --x", ""},
        {0, "set " + key("\\A") + " list -t REG_MULTI_SZ a b", ""},
        {0, "set " + key("\\A") + " number --type=dword 0xFFffFFff", ""},
        {0, "set " + key("\\A\\B") + " big -t qword 18446744073709551615", ""},
        {0, "set " + key("\\A\\B") + " bytes -t binary 00ff", ""},
        {0, "set " + key("\\A\\B") + " odd -t 0x99 0a", ""},
        {2, "set " + key("\\A") + " number -t dword 4294967296",
         "tarnreg: These are no data for a value of type REG_DWORD.\n"},
        {2, "set " + key("\\A") + " bytes -t binary 0",
         "tarnreg: These are no data for a value of type REG_BINARY.\n"},
        {2, "set " + key("\\A") + " x -t text y",
         "tarnreg: \"text\" is no type of a value, such as REG_SZ or REG_DWORD.\n"},
        {0, "query " + key(), userKey() + "Tarnreg\n" + userKey() + "Tarnreg\\A\n"},
        {0, "query " + key("\\A") + " number",
         userKey() + "Tarnreg\\A\n    number    REG_DWORD    0xffffffff\n"},
        {0, "query " + key("\\A") + " TEXT --data", "two words\n"},
        {0, "query " + key("\\A") + " list --data", "a\\0b\n"},
        {0, "query " + key("\\A") + " -d", userKey() + "Tarnreg\\A\n    (Default)    REG_EXPAND_SZ    --x\n"},
        {0, "query -r " + key("\\A\\B"),
         userKey() + "Tarnreg\\A\\B\n    big    REG_QWORD    0xffffffffffffffff\n"
                     "    bytes    REG_BINARY    00ff\n    odd    0x99    0a\n"},
        {1, "query " + key("\\A") + " none",
         "tarnreg: The key " + userKey() + "Tarnreg\\A has no value none.\n"},
        {0, "copy " + key("\\A") + " " + key("\\C"), ""},
        {1, "copy " + key("\\D") + " " + key("\\C"),
         "tarnreg: The key " + userKey() + "Tarnreg\\D does not exist.\n"},
        {0, "query " + key("\\C\\B") + " bytes --data", "00ff\n"},
        {3, "delete " + key("\\A"),
         "tarnreg: " + userKey() +
             "Tarnreg\\A has sub-keys and was not deleted. --recursive deletes them, too.\n"},
        {0, "delete " + key("\\A") + " list", ""},
        {1, "delete " + key("\\A") + " list",
         "tarnreg: The key " + userKey() + "Tarnreg\\A has no value list.\n"},
        {0, "delete -r " + key("\\A"), ""},
        {1, "delete -r " + key("\\A"), "tarnreg: The key " + userKey() + "Tarnreg\\A does not exist.\n"},
        {2, "delete -r HKCU", "tarnreg: HKEY_CURRENT_USER as a whole can be neither deleted nor replaced.\n"},
        {2, "query \"HKXX\\a\"",
         "tarnreg: \"HKXX\\a\" is no name of a key, such as HKEY_CURRENT_USER\\Software\\Example.\n"},
        {0, "export " + key("\\C") + " c.reg", ""},
        {3, "export " + key("\\C") + " c.reg",
         "tarnreg: c.reg exists and was not replaced. --force replaces it.\n"},
        {1, "export " + key("\\D") + " d.reg",
         "tarnreg: The key " + userKey() + "Tarnreg\\D does not exist.\n"},
        {2, "export " + key("\\C") + " d.reg --format 3",
         "tarnreg: The option --format 3 is not understood. `tarnreg --help` lists all.\n"},
        {2, "query --force " + key(),
         "tarnreg: The option --force is not understood. `tarnreg --help` lists all.\n"},
        {2, "", "tarnreg: This is no command as `tarnreg --help` describes it.\n"},
        {2, "copy " + key(), "tarnreg: This is no command as `tarnreg --help` describes it.\n"},
        {2, "frobnicate", "tarnreg: This is no command as `tarnreg --help` describes it.\n"},
        {0, "--version", "tarnreg " TARNREG_VERSION "\n"}};
    for (const auto& step : steps) {
        EXPECT_EQ(tarnreg(step.arguments), step.exitCode) << step.arguments;
        EXPECT_EQ(said, step.output) << step.arguments;
    }
    EXPECT_EQ(tarnreg("--help"), 0);
    EXPECT_TRUE(Contains(said, "  import FILE ") && Contains(said, "The exit code is 0"));
    EXPECT_EQ(tarnreg("import missing.reg"), 3);
    EXPECT_FALSE(fs::exists("d.reg"));
    for (const char* language : {"1", "2"})
        EXPECT_TRUE(tarnreg(std::string("--language ") + language + " --help") == 0 &&
                    !Contains(said, "MSG_"));
    write({{u"Tarnreg", {{u"\u4e16", {REG_SZ, {}}}}}});
    EXPECT_EQ(tarnreg("export " + key() + " d.reg --format 4"), 3);
    EXPECT_TRUE(Contains(said, "This version of .reg files cannot express") && !fs::exists("d.reg")) << said;
}

TEST_F(RegistryTool, PrintsChangesThatCanBeImported) {
    write({{u"Tarnreg\\Old\\Older", {{u"a", {REG_SZ, {}}}}}});
    EXPECT_EQ(tarnreg("watch --timeout 0 " + key()), 1);
    EXPECT_EQ(said, "");
    EXPECT_EQ(tarnreg("watch --timeout 1 " + key("\\None")), 1);
    EXPECT_EQ(tarnreg("watch --timeout x " + key()), 2);
    std::thread writer([this] {
        std::this_thread::sleep_for(std::chrono::seconds(3)); // until it watches
        CRegistryKey opened(false);
        opened.Open(user, u"Tarnreg\\Old");
        opened.SetStringValue(u"new", u"a\r\n");
    });
    EXPECT_EQ(tarnreg("watch --once --timeout 30 " + key()), 0);
    writer.join();
    EXPECT_EQ(said, "[" + userKey() + "Tarnreg\\Old]\n\"new\"=hex(1):61,00,0d,00,0a,00,00,00\n\n");
}

// Damages a store in random places: whatever is left comes back as it was, and the old file stays.
TEST_F(RegistryTool, RepairsWhatCanBeReadOfADamagedStore) {
    if (kRegistryEditors) {
        EXPECT_EQ(tarnreg("check"), 3);
        EXPECT_TRUE(Contains(said, "by the system itself")) << said;
        return;
    }
    const Bytes outer = std::getenv("TARNKIT_REGISTRY");
    SetEnvironment("TARNKIT_REGISTRY", (folder / "store").string().c_str());
    EXPECT_EQ(tarnreg("check user"), 0);
    EXPECT_TRUE(Contains(said, "user.db does not exist")) << said;
    Bytes file = "Windows Registry Editor Version 5.00\n";
    std::map<std::string, std::string> model; // what a query of one value prints
    for (int i = 0; i < 300; i++) {
        const std::string path = "HKEY_CURRENT_USER\\k" + std::to_string(i % 20) + "\\k" + std::to_string(i);
        const std::string text(static_cast<std::size_t>(i % 50 == 0 ? 9000 : i % 90),
                               static_cast<char>('a' + i % 26));
        file += "[" + path + "]\n\"v" + std::to_string(i) + "\"=\"" + text + "\"\n";
        model["v" + std::to_string(i)] = text;
    }
    WriteBytes("in.reg", file);
    ASSERT_EQ(tarnreg("import in.reg"), 0) << said;
    ASSERT_EQ(tarnreg("check"), 0) << said;
    EXPECT_TRUE(Contains(said, "/user.db is sound: 320 keys, 300 values.")) << said;
    ASSERT_EQ(tarnreg("repair user"), 0) << said;
    EXPECT_TRUE(Contains(said, "is sound") && !fs::exists("store/user.db.damaged")) << said;
    const Bytes sound = BytesOf("store/user.db");
    std::size_t mostLost = 0;
    for (int round = 0; round < 12; round++) {
        // a page in the middle, the first one, that at the top of the values, the head of the file
        Bytes damaged = sound;
        const std::size_t pages = sound.size() / 4096;
        const std::size_t page = round == 0 ? 0
                                 : round == 1
                                     ? 4
                                     : 1 + static_cast<std::size_t>(below(static_cast<int>(pages) - 1));
        const std::size_t size = round % 2 == 0 || round == 1 ? 4096 : 64;
        for (std::size_t i = 0; i < size; i++)
            damaged[page * 4096 + i] = static_cast<char>(below(256));
        RemoveFolder("store");
        fs::create_directories("store");
        WriteBytes("store/user.db", damaged);
        const int checked = tarnreg("check user");
        ASSERT_EQ(tarnreg("repair user"), 0) << said;
        if (checked == 0)
            continue; // a free page
        EXPECT_TRUE(Contains(said, "user.db is new")) << said;
        EXPECT_EQ(BytesOf("store/user.db.damaged"), damaged);
        ASSERT_EQ(tarnreg("check user"), 0) << "round " << round << said;
        ASSERT_EQ(tarnreg("query -r HKCU"), 0) << said;
        std::size_t found = 0;
        for (const auto& [name, text] : model)
            found += Contains(said, "    " + name + "    REG_SZ    " + text + "\n");
        mostLost = std::max(mostLost, model.size() - found);
        ASSERT_EQ(tarnreg("set \"HKCU\\k1\" new"), 0) << said;
    }
    EXPECT_GT(mostLost, 0u);
    EXPECT_LT(mostLost, 60u); // what one page holds, and no more
    SetEnvironment("TARNKIT_REGISTRY", outer.c_str());
}

} // namespace
} // namespace Tarn
