// Writes what travels between machines, and checks on another machine that it has arrived, for
// scripts/exchange:
//
//     exchanger write archive|text|ini|registry|hashes FILE
//     exchanger read archive|text|ini|registry|hashes FILE
//
// The values are random, and the same on every machine. The registry is the user's; FILE is only a name for
// it.
#include <tarnkit/standard_path.h>
#include <tarnkit/tarnkit.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <tuple>

using namespace Tarn;

namespace {

constexpr int kRounds = 300;
constexpr unsigned kUtf8 = 65001;

/// Random values of all kinds. The engine's numbers are the same everywhere, unlike those of distributions.
/// Nothing may depend on the order in which a call evaluates its arguments; braces evaluate theirs from left
/// to right.
class CRandom {
public:
    unsigned Number(unsigned below) { return static_cast<unsigned>(engine() % below); }
    template<class T>
    T Any() {
        return static_cast<T>(static_cast<UInt64>(engine()) << 32 | engine());
    }
    /// Neither infinite nor without a value.
    double Real() {
        const int mantissa = Any<int>();
        return std::ldexp(mantissa, static_cast<int>(Number(1800)) - 900);
    }
    /// Letters of several scripts, and characters of two units.
    CUnicodeString Text() {
        static constexpr char16_t kFirst[] = {u'a', u'\u00E0', u'\u0430', u'\u4E00', u'\uFF71'};
        CUnicodeString text;
        for (unsigned left = Number(40); left > 0; left--) {
            const unsigned kind = Number(std::size(kFirst) + 1);
            if (kind < std::size(kFirst))
                text += static_cast<char16_t>(kFirst[kind] + Number(20));
            else
                text += u"\U0001F600";
        }
        return text;
    }

private:
    std::mt19937 engine;
};

[[noreturn]] void fail(const char* what, int round) {
    std::fprintf(stderr, "%s of round %d has not arrived.\n", what, round);
    throw 1;
}

auto archived(CRandom& random) {
    return std::tuple{
        random.Number(2) != 0,
        random.Any<char>(),
        random.Any<unsigned char>(),
        random.Any<char16_t>(),
        random.Any<short>(),
        random.Any<unsigned>(),
        random.Any<Int64>(),
        random.Any<UInt64>(),
        static_cast<float>(random.Any<short>()) / 64,
        random.Real(),
        random.Text(),
        random.Text().CreateString(kUtf8),
        rational{random.Any<short>(), 1 + static_cast<int>(random.Number(999))},
        CTimeSpan::CreateFromTimeUnits(random.Any<int>()),
        CTime::CreateFromTimeGmt(1601 + static_cast<int>(random.Number(8000)), 2, 3, 4, 5, 6, 7, 8)};
}

void writeArchive(const CUnicodeString& name, CRandom& random) {
    CFile file(name, CFile::ForWriting | CFile::Create);
    CArchive archive(&file, CArchive::Storing, 512);
    for (int i = 0; i < kRounds; i++)
        std::apply([&](const auto&... values) { (archive << ... << values); }, archived(random));
    archive.Close();
    file.Close();
}

void readArchive(const CUnicodeString& name, CRandom& random) {
    CFile file(name, CFile::ForReading);
    CArchive archive(&file, CArchive::Loading, 512);
    for (int i = 0; i < kRounds; i++) {
        const auto expected = archived(random);
        std::remove_const_t<decltype(expected)> found;
        std::apply([&](auto&... values) { (archive >> ... >> values); }, found);
        if (found != expected)
            fail("The archive", i);
    }
}

CArray<CUnicodeString> lines(CRandom& random) {
    CArray<CUnicodeString> all;
    for (int i = 0; i < kRounds; i++)
        all.Add(random.Text());
    return all;
}

/// The same text in both orders of bytes and in UTF-8.
void writeTexts(const CUnicodeString& name, CRandom& random) {
    const CArray<CUnicodeString> all = lines(random);
    CFile::WriteText(name, all);
    CFile::WriteANSIText(name + u".utf8", all, kUtf8);
    std::ifstream stream(ToStandardPath(name), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(stream), {});
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    std::ofstream(ToStandardPath(name + u".swapped"), std::ios::binary) << bytes;
}

void readTexts(const CUnicodeString& name, CRandom& random) {
    const CArray<CUnicodeString> expected = lines(random);
    for (const CUnicodeString ending : {u"", u".utf8", u".swapped"}) {
        CArray<CUnicodeString> found;
        CFile::ReadText(name + ending, found, kUtf8);
        for (int i = 0; i < kRounds; i++)
            if (i >= found.Size() || found[i] != expected[i])
                fail("The text", i);
    }
}

CUnicodeString section(int round) { return Format(u"Section %d", round % 7); }
CUnicodeString key(int round) { return Format(u"Schlüssel %d", round); }

void writeIniFile(const CUnicodeString& name, CRandom& random) {
    CIniFile file(name, CIniFile::MayBeMissing);
    for (int i = 0; i < kRounds; i++)
        file.SetString(section(i), key(i), random.Text());
    file.Save();
}

void readIniFile(const CUnicodeString& name, CRandom& random) {
    const CIniFile file(name);
    for (int i = 0; i < kRounds; i++)
        if (file.GetString(section(i), key(i), u"?") != random.Text())
            fail("The setting", i);
}

/// The number and the bytes of a round's value; numbers have this machine's order of bytes in memory.
struct CRegistryData {
    explicit CRegistryData(CRandom& random)
        : text(random.Text()), number(random.Any<DWORD>()), large(random.Any<UInt64>()),
          bytes(random.Text().CreateString(kUtf8)) {}
    CUnicodeString text;
    DWORD number;
    UInt64 large;
    CString bytes;
};

constexpr char16_t kKey[] = u"Exchange\\\u0416";

void writeRegistry(const CUnicodeString&, CRandom& random) {
    CRegistryKey values(false);
    values.Open(HKEY_CURRENT_USER, kKey);
    bool isDone = true;
    for (int i = 0; i < kRounds; i++) {
        const CRegistryData data(random);
        const CUnicodeString name = key(i);
        isDone = isDone && values.SetStringValue(name + u" text", data.text) &&
                 values.SetValue(name + u" number", REG_DWORD, &data.number, sizeof data.number) &&
                 values.SetValue(name + u" large", REG_QWORD, &data.large, sizeof data.large) &&
                 values.SetValue(name + u" bytes", REG_BINARY, data.bytes.Ptr(), data.bytes.GetLength());
    }
    if (!isDone || !values.Flush())
        fail("The registry", 0);
}

void readRegistry(const CUnicodeString&, CRandom& random) {
    CRegistryKey values(true);
    values.Open(HKEY_CURRENT_USER, kKey);
    for (int i = 0; i < kRounds; i++) {
        const CRegistryData data(random);
        const CUnicodeString name = key(i);
        DWORD number = 0;
        UInt64 large = 0;
        char bytes[1000] = {};
        const bool isRight =
            values.QueryStringValue(name + u" text", u"?") == data.text &&
            values.QueryValue(name + u" number", &number, sizeof number) == sizeof number &&
            values.QueryValue(name + u" large", &large, sizeof large) == sizeof large &&
            values.QueryValue(name + u" bytes", bytes, sizeof bytes) == data.bytes.GetLength() &&
            number == data.number && large == data.large && bytes == data.bytes;
        if (!isRight)
            fail("The value", i);
    }
}

CArray<CString> hashes(CRandom& random) {
    CArray<CString> all;
    for (int i = 0; i < kRounds; i++) {
        const CUnicodeString text = random.Text();
        const CString bytes = text.CreateString(kUtf8);
        all.Add(Format("%d %d %d %d %d %d", HashKey(text), HashKey(bytes),
                       HashMemoryBlock(bytes.Ptr(), bytes.GetLength()), HashKey(static_cast<char>(i)),
                       HashKey(-static_cast<long>(i)), HashKey(i * -123'456'789'012)));
    }
    return all;
}

void writeHashes(const CUnicodeString& name, CRandom& random) { CFile::WriteANSIText(name, hashes(random)); }

void readHashes(const CUnicodeString& name, CRandom& random) {
    CArray<CString> found;
    CFile::ReadANSIText(name, found);
    const CArray<CString> expected = hashes(random);
    for (int i = 0; i < kRounds; i++)
        if (i >= found.Size() || found[i] != expected[i])
            fail("The hash value", i);
}

const struct {
    const char* name;
    void (*write)(const CUnicodeString&, CRandom&);
    void (*read)(const CUnicodeString&, CRandom&);
} kKinds[] = {{"archive", writeArchive, readArchive},
              {"text", writeTexts, readTexts},
              {"ini", writeIniFile, readIniFile},
              {"registry", writeRegistry, readRegistry},
              {"hashes", writeHashes, readHashes}};

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    try {
        FileSystem::ChangeToWorkingDir();
        CUnicodeString name = FileSystem::FromNative(argv[3]);
        FileSystem::MakeFullPath(name);
        CRandom random;
        for (const auto& kind : kKinds)
            if (std::strcmp(argv[2], kind.name) == 0) {
                (std::strcmp(argv[1], "write") == 0 ? kind.write : kind.read)(name, random);
                return 0;
            }
        return 2;
    } catch (CException* e) {
        std::fprintf(stderr, "%s\n", e->MessageText().CreateString(kUtf8).Ptr());
        e->Delete();
        return 1;
    } catch (int result) {
        return result;
    }
}
