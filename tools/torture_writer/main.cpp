// Stores one number after the other, until somebody kills it, for scripts/torture:
//
//     torture_writer ini|registry write PLACE    stores the next number and prints it when it is stored
//     torture_writer ini|registry read PLACE     prints the number stored; fails unless it is there as a
//     whole
//
// The place is an INI file or a key of the registry. Each number is stored many times over, so that half of
// what was written would not do.
#include <tarnkit/tarnkit.h>

#include <cstdio>
#include <cstring>
#include <string>

using namespace Tarn;

namespace {

constexpr int kCopies = 300;

CUnicodeString copyName(int copy) { return Format(u"copy %d", copy); }

class CPlace {
public:
    virtual ~CPlace() noexcept(false) = default;
    virtual bool Store(int number) = 0;
    /// The number that every copy holds; -1 if they differ.
    virtual int Read() = 0;
};

class CIniPlace : public CPlace {
public:
    explicit CIniPlace(const CUnicodeString& name) : file(name) {}

    bool Store(int number) override {
        for (int i = 0; i < kCopies; i++)
            file.SetString(u"Numbers", copyName(i), UnicodeStr(number, 10));
        file.Save();
        return true;
    }
    int Read() override {
        const CUnicodeString first = file.GetString(u"Numbers", copyName(0), u"");
        for (int i = 1; i < kCopies; i++)
            if (file.GetString(u"Numbers", copyName(i), u"") != first)
                return -1;
        int number;
        return first.Value(number, 10) ? number : -1;
    }

private:
    CIniFile file;
};

class CRegistryPlace : public CPlace {
public:
    explicit CRegistryPlace(const CUnicodeString& name) : key(false) { key.Open(HKEY_CURRENT_USER, name); }

    bool Store(int number) override {
        CUnicodeString text;
        for (int i = 0; i < kCopies; i++)
            text += UnicodeStr(number, 10) + u' ';
        return key.SetStringValue(u"Numbers", text);
    }
    int Read() override {
        const CUnicodeString text = key.QueryStringValue(u"Numbers", u"");
        const CUnicodeString first = text.Left(text.Strcspn(u" "));
        CUnicodeString whole;
        for (int i = 0; i < kCopies; i++)
            whole += first + u' ';
        int number;
        return text == whole && first.Value(number, 10) ? number : -1;
    }

private:
    CRegistryKey key;
};

int use(CPlace& place, bool writes) {
    int number = place.Read();
    if (!writes) {
        std::printf("%d\n", number);
        return number < 0 ? 1 : 0;
    }
    // Nothing is buffered: who reads the output knows what was stored when this process was killed.
    for (std::setvbuf(stdout, nullptr, _IONBF, 0); place.Store(++number);)
        std::printf("%d\n", number);
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const bool writes = std::strcmp(argv[2], "write") == 0;
    const CUnicodeString name = CString(argv[3]).CreateUnicodeString();
    try {
        if (std::strcmp(argv[1], "registry") == 0) {
            CRegistryPlace place(name);
            return use(place, writes);
        }
        CIniPlace place(name);
        return use(place, writes);
    } catch (CException* e) {
        std::fprintf(stderr, "%s\n", e->MessageText().CreateString(65001).Ptr());
        e->Delete();
        return 1;
    }
}
