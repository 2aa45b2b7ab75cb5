#include "platform/posix/text/code_page.h"

#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"
#include "platform/posix/support/c_library.h"
#include "platform/posix/text/windows_tables.h"

#include <iconv.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <string_view>
#include <utility>

namespace Tarn::Platform::Posix {
namespace {

constexpr UINT kJapanese = 932;
constexpr UINT kTraditionalChinese = 950;
constexpr UINT kJohab = 1361;
constexpr UINT kAscii = 20127;
constexpr UINT kEucJapanese = 20932;
constexpr char16_t kKatakanaMiddleDot = 0x30FB; // the default character of the Japanese pages on Windows
constexpr unsigned kFirstTrail = 0x30;
constexpr unsigned kBytes = 0x100;

constinit std::atomic<CodePage*> loadedPages[std::size(kCodePageNames)] = {};

const CodePageName* findName(UINT number) {
    const CodePageName* name = std::lower_bound(std::begin(kCodePageNames), std::end(kCodePageNames), number,
                                                [](const CodePageName& a, UINT b) { return a.number < b; });
    return name != std::end(kCodePageNames) && name->number == number ? name : nullptr;
}

const char* unicodeName() { return std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE"; }

enum class Reading { kCharacter, kUndefined, kIncomplete };

/// Reads exactly one unit out of all `count` bytes.
Reading readOne(iconv_t converter, const void* bytes, std::size_t count, char16_t* unit) {
    char in[3];
    std::memcpy(in, bytes, count);
    char16_t out[4];
    char* from = in;
    char* to = reinterpret_cast<char*>(out);
    std::size_t fromLeft = count;
    std::size_t toLeft = sizeof(out);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1))
        return errno == EINVAL ? Reading::kIncomplete : Reading::kUndefined;
    // A converter that composes letters with the marks after them withholds its last letter.
    iconv(converter, nullptr, nullptr, &to, &toLeft);
    if (fromLeft != 0 || sizeof(out) - toLeft != sizeof(char16_t))
        return Reading::kUndefined;
    *unit = out[0];
    return Reading::kCharacter;
}

/// Reads pairs of bytes in one call, up to the first that is no character. Returns how many there are; -1 if
/// they do not become a unit each.
int readRun(iconv_t converter, char* pairs, std::size_t count, char16_t* units) {
    char* from = pairs;
    char* to = reinterpret_cast<char*>(units);
    std::size_t fromLeft = 2 * count;
    std::size_t toLeft = sizeof(char16_t) * count;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    iconv(converter, &from, &fromLeft, &to, &toLeft);
    iconv(converter, nullptr, nullptr, &to, &toLeft);
    const auto read = from - pairs;
    return read == to - reinterpret_cast<char*>(units) ? static_cast<int>(read / 2) : -1;
}

/// The bytes that a converter to a code page prefers for a unit; 0 if there are none.
unsigned preferredBytes(iconv_t converter, char16_t unit) {
    char* from = reinterpret_cast<char*>(&unit);
    std::size_t fromLeft = sizeof(unit);
    unsigned char out[4] = {};
    char* to = reinterpret_cast<char*>(out);
    std::size_t toLeft = sizeof(out);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1))
        return 0;
    std::size_t count = sizeof(out) - toLeft;
    return count == 1 ? out[0] : count == 2 ? static_cast<unsigned>(out[0] << 8 | out[1]) : 0;
}

bool sameCodeset(const char* codeset, const char* name) {
    auto skip = [](const char* text) {
        while (*text == '-' || *text == '_' || *text == '.')
            text++;
        return text;
    };
    auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
    for (codeset = skip(codeset), name = skip(name); *codeset != '\0' || *name != '\0';
         codeset = skip(codeset + 1), name = skip(name + 1))
        if (upper(*codeset) != upper(*name))
            return false;
    return true;
}

} // namespace

bool CodePage::IsKnown(UINT number) { return findName(number) != nullptr; }

const CodePage* CodePage::Get(UINT number) {
    const CodePageName* name = findName(number);
    if (name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::atomic<CodePage*>& slot = loadedPages[name - kCodePageNames];
    CodePage* page = slot.load(std::memory_order_acquire);
    if (page != nullptr)
        return page;
    const CLibraryGuard guard(cLibraryLock);
    page = slot.load(std::memory_order_relaxed);
    if (page == nullptr)
        slot.store(page = load(number, name->name), std::memory_order_release);
    return page;
}

UINT CodePage::FromCodeset(const char* codeset) {
    static constexpr CodePageName kOtherNames[] = {
        {CP_UTF8, "UTF-8"}, {932, "SHIFT_JIS"}, {932, "SJIS"},    {932, "WINDOWS-31J"},
        {936, "GBK"},       {936, "GB18030"},   {936, "GB2312"},  {949, "EUC-KR"},
        {949, "UHC"},       {950, "BIG5"},      {874, "TIS-620"}, {950, "BIG5-HKSCS"},
    };
    for (const CodePageName& other : kOtherNames)
        if (sameCodeset(codeset, other.name))
            return other.number;
    for (const CodePageName& page : kCodePageNames)
        if (page.number != kAscii && sameCodeset(codeset, page.name))
            return page.number;
    return 0;
}

CodePage* CodePage::load(UINT number, const char* name) {
    iconv_t converter = iconv_open(unicodeName(), name);
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        SetLastError(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    CodePage* page = New<CodePage>();
    bool read = page != nullptr && page->readFrom(converter);
    if (read && number == kEucJapanese)
        page->addSupplementaryKanji(converter);
    iconv_close(converter);
    if (read && page->addUserDefined(number)) {
        page->replaceOthers(number);
        page->fillUndefined(number);
        page->encoded = static_cast<unsigned short*>(std::calloc(kUnits, sizeof(unsigned short)));
        iconv_t back = iconv_open(name, unicodeName());
        if (page->encoded != nullptr && back != reinterpret_cast<iconv_t>(-1)) {
            page->invert(number, back);
            iconv_close(back);
            page->addLookAlikes(number);
            page->findStraight();
            return page;
        }
        if (back != reinterpret_cast<iconv_t>(-1))
            iconv_close(back);
    }
    Delete(page);
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

CodePage::~CodePage() {
    for (char16_t* pair : pairs)
        std::free(pair);
    std::free(encoded);
}

bool CodePage::readFrom(void* converter) {
    asciiCompatible = true;
    for (unsigned value = 0; value <= 0xFF; value++) {
        auto byte = static_cast<unsigned char>(value);
        Reading reading = readOne(converter, &byte, 1, &single[value]);
        if (reading != Reading::kCharacter)
            single[value] = kNone;
        if (reading == Reading::kIncomplete && !readPairs(converter, byte))
            return false;
        if (value < 0x80 && single[value] != value)
            asciiCompatible = false;
    }
    return true;
}

bool CodePage::readPairs(void* converter, unsigned char lead) {
    char16_t* table = pairTable(lead);
    if (table == nullptr)
        return false;
    char bytes[2 * kBytes];
    for (unsigned trail = 0; trail < kBytes; trail++) {
        bytes[2 * trail] = static_cast<char>(lead);
        bytes[2 * trail + 1] = static_cast<char>(trail);
    }
    bool areInRuns = true;
    for (unsigned trail = kFirstTrail; trail < kBytes; trail++) {
        if (areInRuns) {
            const int run = readRun(converter, bytes + 2 * trail, kBytes - trail, table + trail);
            areInRuns = run >= 0;
            trail += areInRuns ? static_cast<unsigned>(run) : 0;
            if (trail == kBytes)
                break;
        }
        if (readOne(converter, bytes + 2 * trail, 2, &table[trail]) != Reading::kCharacter)
            table[trail] = kNone;
    }
    return true;
}

/// EUC writes the characters of JIS X 0212 in three bytes. Windows omits the first, 0x8F, and clears the top
/// bit of the last.
void CodePage::addSupplementaryKanji(void* converter) {
    for (unsigned lead = 0xA1; lead <= 0xFE; lead++)
        for (unsigned trail = 0x21; trail <= 0x7E && pairs[lead] != nullptr; trail++) {
            const unsigned char bytes[] = {0x8F, static_cast<unsigned char>(lead),
                                           static_cast<unsigned char>(trail | 0x80)};
            if (readOne(converter, bytes, sizeof(bytes), &pairs[lead][trail]) != Reading::kCharacter)
                pairs[lead][trail] = kNone;
        }
}

char16_t* CodePage::pairTable(unsigned char lead) {
    if (pairs[lead] == nullptr) {
        pairs[lead] = static_cast<char16_t*>(std::malloc(256 * sizeof(char16_t)));
        if (pairs[lead] == nullptr)
            return nullptr;
        std::fill_n(pairs[lead], 256, kNone);
        single[lead] = kNone;
        doubleByte = true;
    }
    return pairs[lead];
}

bool CodePage::addUserDefined(UINT number) {
    for (const UserDefined& area : kUserDefined) {
        if (area.number != number)
            continue;
        char16_t unit = area.unit;
        for (unsigned lead = area.firstLead; lead <= area.lastLead; lead++) {
            char16_t* table = pairTable(static_cast<unsigned char>(lead));
            if (table == nullptr)
                return false;
            for (unsigned trail = area.firstTrail; trail <= area.lastTrail; trail++) {
                if (trail == 0x7F || (number == kTraditionalChinese && trail >= 0x80 && trail <= 0xA0))
                    continue;
                const bool isOpen = table[trail] == kNone;
                if (isOpen)
                    table[trail] = unit;
                if (isOpen || !area.hasGaps)
                    unit++;
            }
        }
    }
    return true;
}

void CodePage::replaceOthers(UINT number) {
    for (const OtherCharacters& run : kOtherCharacters) {
        if (run.number != number)
            continue;
        unsigned bytes = run.first;
        for (const char16_t unit : run.units) {
            if (bytes <= 0xFF) {
                single[bytes] = unit;
                std::free(std::exchange(pairs[bytes], nullptr));
            } else if (char16_t* table = pairs[bytes >> 8]) {
                table[bytes & 0xFF] = unit;
            }
            bytes++;
        }
    }
    if (number == kJohab)
        addLettersOfHangul();
}

/// A pair of code page 1361 has five bits for each letter of a syllable. Windows reads a single letter, which
/// has fillers in place of the other two, as one of the letters that combine into syllables.
void CodePage::addLettersOfHangul() {
    struct Letters {
        unsigned fillers;
        unsigned shift;
        std::string_view codes; // of the letters, in the order of Unicode
        char16_t first;
    };
    static constexpr Letters kLetters[] = {
        {0x8041, 10, "\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20\21\22\23\24", 0x1100},
        {0x8401, 5, "\3\4\5\6\7\12\13\14\15\16\17\22\23\24\25\26\27\32\33\34\35", 0x1161},
        {0x8440, 0, "\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20\21\23\24\25\26\27\30\31\32\33\34\35", 0x11A8},
    };
    for (const Letters& letters : kLetters)
        for (std::size_t i = 0; i < letters.codes.size(); i++) {
            const unsigned bytes = letters.fillers | static_cast<unsigned>(letters.codes[i]) << letters.shift;
            if (pairs[bytes >> 8] != nullptr)
                pairs[bytes >> 8][bytes & 0xFF] = static_cast<char16_t>(letters.first + i);
        }
}

void CodePage::fillUndefined(UINT number) {
    if (number == kJapanese || number == kEucJapanese)
        defaultUnit = kKatakanaMiddleDot;
    const auto isOpen = [this](unsigned byte) { return single[byte] == kNone && pairs[byte] == nullptr; };
    for (const OpenBytes& run : kOpenBytes) {
        char16_t unit = run.unit;
        for (unsigned byte = run.first; run.number == number && byte <= run.last; byte++)
            if (isOpen(byte))
                single[byte] = unit++;
    }
    for (unsigned byte = 0x80; byte <= 0xFF; byte++)
        if (isOpen(byte))
            single[byte] = static_cast<char16_t>(byte <= kLastControl ? byte : kPrivateBytes + byte);
}

void CodePage::invert(UINT number, void* converter) {
    const auto add = [&](char16_t unit, unsigned bytes) {
        // Some code pages read other bytes as NUL, too.
        if (unit == kNone || unit == 0)
            return;
        if (encoded[unit] == 0) {
            encoded[unit] = static_cast<unsigned short>(bytes);
        } else if (unsigned preferred = preferredBytes(converter, unit); preferred != 0) {
            encoded[unit] = static_cast<unsigned short>(preferred);
        }
    };
    for (unsigned byte = 1; byte <= 0xFF; byte++)
        if (number != kEucJapanese || byte < 0x80) // its other single bytes can be read but are not written
            add(single[byte], byte);
    for (unsigned lead = 0; lead <= 0xFF; lead++)
        if (pairs[lead] != nullptr)
            for (unsigned trail = 0; trail <= 0xFF; trail++)
                add(pairs[lead][trail], lead << 8 | trail);
}

void CodePage::addLookAlikes(UINT number) {
    for (const auto& preferred : kPreferred)
        if (preferred.number == number)
            encoded[preferred.unit] = preferred.bytes;
    const LookAlikes* table;
    for (unsigned index = 0; (table = LookAlikesOf(number, index)) != nullptr; index++)
        for (std::size_t i = 0; i < table->units.size(); i++)
            if (unsigned short& bytes = encoded[table->units[i]]; bytes == 0)
                bytes = encoded[table->characters[i]];
}

void CodePage::findStraight() {
    for (unsigned value = 0; value <= 0xFF; value++) {
        const auto byte = static_cast<unsigned char>(value);
        if (!IsLead(byte) && single[byte] != kNone && IsValid(single[byte], byte))
            straight[byte] = single[byte];
    }
}

} // namespace Tarn::Platform::Posix
