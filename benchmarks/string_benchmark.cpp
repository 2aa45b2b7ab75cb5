// Texts: copying, comparing, searching, appending and converting.
#include "malloc_memory.h"

#include <tarnkit/hashing.h>
#include <tarnkit/unicode_string.h>

#include <QString>
#include <QStringConverter>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <unicode/ucnv.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace {

using Tarn::CString;
using Tarn::CUnicodeString;
using StandardString = MallocString<char16_t>;

void check(bool isEqual, const char* what) {
    if (isEqual)
        return;
    std::fprintf(stderr, "The results of %s differ.\n", what);
    std::exit(1);
}

QString qString(const std::u16string& text) { return QString::fromStdU16String(text); }
CUnicodeString tarnString(const std::u16string& text) { return CUnicodeString(text.c_str()); }
StandardString standardString(const std::u16string& text) { return {text.begin(), text.end()}; }

std::u16string repeated(const std::u16string& part, int length) {
    std::u16string text;
    while (text.size() < static_cast<std::size_t>(length))
        text += part;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

template<class Work>
void measureAt(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(work());
    });
}

// A pair of benchmarks that do `work` with a text of either library.
template<class First, class Second>
void compete(const std::string& name, const char* peer, First ours, Second theirs) {
    measureAt(name + "/CUnicodeString", ours);
    measureAt(name + "/" + peer, theirs);
}

// Objects that live as long as the program, because the benchmarks run after they were registered.
template<class T>
const T& kept(T value) {
    return *new T(std::move(value));
}

void registerCopies() {
    const std::u16string text(100, u'x');
    const auto& ours = kept(tarnString(text));
    const auto& theirs = kept(standardString(text));
    compete(
        "copy", "std::u16string",
        [&ours] {
            CUnicodeString copy(ours);
            benchmark::DoNotOptimize(&copy);
            return 0;
        },
        [&theirs] {
            StandardString copy(theirs);
            benchmark::DoNotOptimize(&copy);
            return 0;
        });
}

void registerComparisons() {
    const std::u16string text = repeated(u"Comparing one text with another. ", 200);
    const std::pair<const char*, std::u16string> others[] = {
        {"equal", text}, {"longer", text + u'x'}, {"last-unit", text.substr(0, 199) + u'!'}};
    const auto& ours = kept(tarnString(text));
    const auto& theirs = kept(qString(text));
    for (const auto& [kind, other] : others) {
        const auto& ourOther = kept(tarnString(other));
        const auto& theirOther = kept(qString(other));
        check((ours == ourOther) == (theirs == theirOther), kind);
        check((ours < ourOther) == (theirs < theirOther), kind);
        compete(
            std::string("==/") + kind, "QString", [&] { return ours == ourOther; },
            [&] { return theirs == theirOther; });
        compete(
            std::string("order/") + kind, "QString", [&] { return ours < ourOther; },
            [&] { return theirs < theirOther; });
    }
    const std::pair<const char*, std::u16string> alphabets[] = {
        {"ascii", u"Comparing texts "}, {"cyrillic", u"Сравнение текстов "}, {"cjk", u"比較文字列漢字"}};
    for (const auto& [kind, part] : alphabets) {
        const std::u16string mixed = repeated(part, 200);
        const auto& ourMixed = kept(tarnString(mixed));
        const auto& theirMixed = kept(qString(mixed));
        const auto& ourLower = kept([&] {
            CUnicodeString lower = ourMixed;
            lower.MakeLower();
            return lower;
        }());
        // Where nothing changes, the peer would return the same text.
        const auto& theirLower = kept(QString(theirMixed.toLower().constData(), theirMixed.size()));
        check(qString(ourLower.Ptr()) == theirLower, "toLower");
        compete(
            std::string("no-case/") + kind, "QString", [&] { return ourMixed.CompareNoCase(ourLower) == 0; },
            [&] { return theirMixed.compare(theirLower, Qt::CaseInsensitive) == 0; });
        compete(
            std::string("upper/") + kind, "QString",
            [&] {
                CUnicodeString upper = ourLower;
                upper.MakeUpper();
                return upper.GetAt(0);
            },
            [&] { return theirLower.toUpper().at(0); });
    }
}

void registerSearches() {
    const std::u16string text = repeated(u"Where does it stand? ", 1000) + u"Zebra crossing";
    const auto& ours = kept(tarnString(text));
    const auto& theirs = kept(qString(text));
    check(ours.Find(u'Z') == theirs.indexOf(u'Z'), "find");
    compete(
        "find/unit", "QString", [&] { return ours.Find(u'Z'); }, [&] { return theirs.indexOf(u'Z'); });
    const auto& theirWanted = kept(QString("Zebra"));
    compete(
        "find/text", "QString", [&] { return ours.Find(u"Zebra"); },
        [&] { return theirs.indexOf(theirWanted); });

    const std::u16string many(100'000, u'a');
    const std::u16string wanted = std::u16string(2000, u'a') + u'b';
    const auto& ourMany = kept(tarnString(many));
    const auto& ourHard = kept(tarnString(wanted));
    const auto& theirMany = kept(qString(many));
    const auto& theirHard = kept(qString(wanted));
    check(ourMany.Find(ourHard) == theirMany.indexOf(theirHard), "find");
    compete(
        "find/hard", "QString", [&] { return ourMany.Find(ourHard); },
        [&] { return theirMany.indexOf(theirHard); });
}

// A text in the place of another one of the same length, and back.
void registerReplacements() {
    const std::u16string text = repeated(u"Where does it stand? ", 1000);
    auto& ours = *new CUnicodeString(tarnString(text));
    auto& theirs = *new QString(qString(text));
    static const CUnicodeString ourParts[] = {u"Zebra crossing", u"Crossing zebra"};
    static const QString theirParts[] = {"Zebra crossing", "Crossing zebra"};
    constexpr int kPlace = 500;
    static const int length = ourParts[0].GetLength();
    static const auto replace = [](auto& whole, const auto& part) {
        if constexpr (std::is_same_v<decltype(whole), CUnicodeString&>)
            whole.StrReplace(kPlace, length, part);
        else
            whole.replace(kPlace, length, part);
    };
    replace(ours, ourParts[0]);
    replace(theirs, theirParts[0]);
    check(qString(ours.Ptr()) == theirs, "replace");
    const auto both = [](auto& whole, const auto& parts) {
        replace(whole, parts[1]);
        replace(whole, parts[0]);
        return whole[kPlace];
    };
    compete(
        "replace", "QString", [&ours, both] { return both(ours, ourParts); },
        [&theirs, both] { return both(theirs, theirParts); });
}

// Our hash is prescribed, so the results differ.
void registerHashes() {
    for (const int length : {20, 200}) {
        const auto& text = kept(repeated(u"Text to be hashed. ", length));
        compete(
            "hash/" + std::to_string(length), "std::hash", [&] { return HashKey(text.c_str()); },
            [&] { return std::hash<std::u16string_view>()(text.c_str()); });
    }
}

void registerAppends() {
    for (const int count : {1000, 1'000'000}) {
        const std::string size = std::to_string(count);
        compete(
            "append-units/" + size, "QString",
            [count] {
                CUnicodeString text;
                for (int i = 0; i < count; i++)
                    text += static_cast<char16_t>('a' + i % 26);
                return text.GetLength();
            },
            [count] {
                QString text;
                for (int i = 0; i < count; i++)
                    text += QChar('a' + i % 26);
                return text.size();
            });
        const auto& ourPart = kept(CUnicodeString(u"ten units."));
        const auto& theirPart = kept(QString("ten units."));
        compete(
            "append-texts/" + size, "QString",
            [count, &ourPart] {
                CUnicodeString text;
                for (int i = 0; i < count; i += 10)
                    text += ourPart;
                return text.GetLength();
            },
            [count, &theirPart] {
                QString text;
                for (int i = 0; i < count; i += 10)
                    text += theirPart;
                return text.size();
            });
    }
    measureAt("append-bytes/CString", [] {
        CString text;
        for (int i = 0; i < 1'000'000; i++)
            text += static_cast<char>('a' + i % 26);
        return text.GetLength();
    });
    measureAt("append-bytes/GString", [] {
        GString* const text = g_string_new(nullptr);
        for (int i = 0; i < 1'000'000; i++)
            g_string_append_c(text, static_cast<char>('a' + i % 26));
        const auto length = text->len;
        g_string_free(text, TRUE);
        return length;
    });
}

// Conversions both ways of texts of 20 and of 2,000 units, by ICU's converters.
void registerConversions() {
    const struct {
        const char* name;
        unsigned codePage;
        const char* converter;
        std::u16string part;
    } cases[] = {{"utf8-ascii", 65001, "UTF-8", u"Plain text of ASCII "},
                 {"utf8-cyrillic", 65001, "UTF-8", u"Текст по-русски, и "},
                 {"utf8-cjk", 65001, "UTF-8", u"漢字とかなの文章。"},
                 {"1251", 1251, "windows-1251", u"Текст по-русски, и "},
                 {"932", 932, "ibm-943_P15A-2003", u"漢字とかなの文章。"}};
    for (const auto& each : cases)
        for (const int length : {20, 2000}) {
            const std::string name = std::string(each.name) + "/" + std::to_string(length);
            const std::u16string text = repeated(each.part, length);
            const auto& ours = kept(tarnString(text));
            const auto& ourBytes = kept(ours.CreateString(each.codePage));
            check(ourBytes.CreateUnicodeString(each.codePage) == ours, each.name);
            const unsigned page = each.codePage;
            if (each.codePage == 65001) {
                const auto& theirs = kept(qString(text));
                const auto& theirBytes = kept(theirs.toUtf8());
                check(theirBytes == ourBytes.Ptr(), each.name);
                compete(
                    "to/" + name, "QString", [&ours, page] { return ours.CreateString(page).GetLength(); },
                    [&] { return theirs.toUtf8().size(); });
                compete(
                    "from/" + name, "QString",
                    [&ourBytes, page] { return ourBytes.CreateUnicodeString(page).GetLength(); },
                    [&] { return QString::fromUtf8(theirBytes).size(); });
                measureAt("from/" + name + "/GLib", [&theirBytes] {
                    glong units = 0;
                    g_free(g_utf8_to_utf16(theirBytes.data(), theirBytes.size(), nullptr, &units, nullptr));
                    return units;
                });
                continue;
            }
            UErrorCode error = U_ZERO_ERROR;
            UConverter* const converter = ucnv_open(each.converter, &error);
            check(U_SUCCESS(error), "opening a converter");
            const auto& theirs = kept(text);
            const auto encode = [converter, &theirs] {
                UErrorCode code = U_ZERO_ERROR;
                MallocString<char> bytes(2 * theirs.size() + 2, '\0');
                bytes.resize(static_cast<std::size_t>(
                    ucnv_fromUChars(converter, bytes.data(), static_cast<int>(bytes.size()), theirs.data(),
                                    static_cast<int>(theirs.size()), &code)));
                return bytes;
            };
            const auto& theirBytes = kept(encode());
            check(theirBytes.c_str() == std::string_view(ourBytes.Ptr()), each.name);
            compete(
                "to/" + name, "ICU", [&ours, page] { return ours.CreateString(page).GetLength(); },
                [encode] { return encode().size(); });
            compete(
                "from/" + name, "ICU",
                [&ourBytes, page] { return ourBytes.CreateUnicodeString(page).GetLength(); },
                [converter, &theirBytes] {
                    UErrorCode code = U_ZERO_ERROR;
                    StandardString units(theirBytes.size() + 1, u'\0');
                    units.resize(static_cast<std::size_t>(
                        ucnv_toUChars(converter, units.data(), static_cast<int>(units.size()),
                                      theirBytes.data(), static_cast<int>(theirBytes.size()), &code)));
                    return units.size();
                });
        }
}

[[maybe_unused]] const bool areRegistered = [] {
    registerCopies();
    registerComparisons();
    registerSearches();
    registerReplacements();
    registerHashes();
    registerAppends();
    registerConversions();
    return true;
}();

} // namespace
