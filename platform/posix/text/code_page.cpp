#include "platform/posix/text/code_page.h"

#include "platform/platform.h"
#include "platform/posix/memory/allocator.h"

#include <iconv.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace Tarn::Platform::Posix {
namespace {

struct CodePageName {
    UINT number;
    const char* name; // as iconv knows it
};

// Ordered by number.
constexpr CodePageName kCodePageNames[] = {
    {437, "CP437"},          {737, "CP737"},         {775, "CP775"},        {850, "CP850"},
    {852, "CP852"},          {855, "CP855"},         {857, "CP857"},        {858, "IBM858"},
    {860, "CP860"},          {861, "CP861"},         {862, "CP862"},        {863, "CP863"},
    {864, "CP864"},          {865, "CP865"},         {866, "CP866"},        {869, "CP869"},
    {874, "CP874"},          {932, "CP932"},         {936, "CP936"},        {949, "CP949"},
    {950, "CP950"},          {1250, "CP1250"},       {1251, "CP1251"},      {1252, "CP1252"},
    {1253, "CP1253"},        {1254, "CP1254"},       {1255, "CP1255"},      {1256, "CP1256"},
    {1257, "CP1257"},        {1258, "CP1258"},       {1361, "JOHAB"},       {10000, "MACINTOSH"},
    {10007, "MAC-CYRILLIC"}, {20127, "US-ASCII"},    {20866, "KOI8-R"},     {20932, "EUC-JP"},
    {20936, "EUC-CN"},       {20949, "EUC-KR"},      {21866, "KOI8-U"},     {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"},   {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"}, {28595, "ISO-8859-5"},
    {28596, "ISO-8859-6"},   {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"}, {28599, "ISO-8859-9"},
    {28603, "ISO-8859-13"},  {28605, "ISO-8859-15"},
};

// What the platform's tables have for bytes that a code page leaves open.
struct OpenBytes {
    UINT number;
    unsigned char first;
    unsigned char last;
    char16_t unit; // of the first byte, the others follow
};

constexpr OpenBytes kOpenBytes[] = {
    {857, 0xD5, 0xD5, 0xF8BB},  {857, 0xE7, 0xE7, 0xF8BC},  {857, 0xF2, 0xF2, 0xF8BD},
    {874, 0xDB, 0xDE, 0xF8C1},  {874, 0xFC, 0xFF, 0xF8C5},  {932, 0xA0, 0xA0, 0xF8F0},
    {932, 0xFD, 0xFF, 0xF8F1},  {936, 0xFF, 0xFF, 0xF8F5},  {949, 0xFF, 0xFF, 0xF8F7},
    {950, 0xFF, 0xFF, 0xF8F8},  {1253, 0xAA, 0xAA, 0xF8F9}, {1253, 0xD2, 0xD2, 0xF8FA},
    {1253, 0xFF, 0xFF, 0xF8FB}, {1255, 0xCA, 0xCA, 0x05BA}, {1255, 0xD9, 0xDF, 0xF88D},
    {1255, 0xFB, 0xFC, 0xF894}, {1255, 0xFF, 0xFF, 0xF896}, {1257, 0xA1, 0xA1, 0xF8FC},
    {1257, 0xA5, 0xA5, 0xF8FD},
};
// Elsewhere an open byte is its own control character or a private character, so that text survives.
constexpr unsigned kLastControl = 0x9F;
constexpr char16_t kPrivateBytes = 0xF700;

// Pairs that a code page leaves to its users. They follow each other through the private characters; in an
// area with gaps only the pairs do that no other character has.
struct UserDefined {
    UINT number;
    unsigned char firstLead;
    unsigned char lastLead;
    unsigned char firstTrail;
    unsigned char lastTrail;
    char16_t unit;
    bool hasGaps = false;
};

constexpr UserDefined kUserDefined[] = {
    {936, 0xAA, 0xAF, 0xA1, 0xFE, 0xE000}, {936, 0xF8, 0xFE, 0xA1, 0xFE, 0xE234},
    {936, 0xA1, 0xA7, 0x40, 0xA0, 0xE4C6}, {936, 0xA2, 0xFE, 0x40, 0xFE, 0xE766, true},
    {949, 0xC9, 0xC9, 0xA1, 0xFE, 0xE000}, {949, 0xFE, 0xFE, 0xA1, 0xFE, 0xE05E},
    {950, 0xFA, 0xFE, 0x40, 0xFE, 0xE000}, {950, 0x8E, 0xA0, 0x40, 0xFE, 0xE311},
    {950, 0x81, 0x8D, 0x40, 0xFE, 0xEEB8},
};

// Characters of two pairs that are written as another one than `iconv` prefers.
constexpr struct {
    UINT number;
    char16_t unit;
    unsigned short bytes;
} kPreferred[] = {{950, 0x2550, 0xF9F9}, {950, 0x255E, 0xF9E9}, {950, 0x2561, 0xF9EB}, {950, 0x256A, 0xF9EA}};

constexpr UINT kJapanese = 932;
constexpr UINT kTraditionalChinese = 950;
constexpr char16_t kKatakanaMiddleDot = 0x30FB; // the platform's default character of 932
constexpr unsigned kFirstTrail = 0x30;

constinit std::atomic<CodePage*> loadedPages[std::size(kCodePageNames)] = {};

const CodePageName* findName(UINT number) {
    const CodePageName* name = std::lower_bound(std::begin(kCodePageNames), std::end(kCodePageNames), number,
                                                [](const CodePageName& a, UINT b) { return a.number < b; });
    return name != std::end(kCodePageNames) && name->number == number ? name : nullptr;
}

const char* unicodeName() { return std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE"; }

enum class Reading { kCharacter, kUndefined, kIncomplete };

/// Reads exactly one unit out of all `count` bytes.
Reading readOne(iconv_t converter, const unsigned char* bytes, std::size_t count, char16_t* unit) {
    char in[2];
    std::memcpy(in, bytes, count);
    char16_t out[4];
    char* from = in;
    char* to = reinterpret_cast<char*>(out);
    std::size_t fromLeft = count;
    std::size_t toLeft = sizeof(out);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1))
        return errno == EINVAL ? Reading::kIncomplete : Reading::kUndefined;
    // A converter that composes letters with the marks after them holds its last letter back.
    iconv(converter, nullptr, nullptr, &to, &toLeft);
    if (fromLeft != 0 || sizeof(out) - toLeft != sizeof(char16_t))
        return Reading::kUndefined;
    *unit = out[0];
    return Reading::kCharacter;
}

/// The bytes that a converter to a code page prefers for a unit; 0 when there are none.
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
    page = load(number, name->name);
    CodePage* before = nullptr;
    if (page != nullptr &&
        !slot.compare_exchange_strong(before, page, std::memory_order_release, std::memory_order_acquire)) {
        Delete(page);
        page = before;
    }
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
        if (page.number != 20127 && sameCodeset(codeset, page.name))
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
    iconv_close(converter);
    if (read && page->addUserDefined(number)) {
        page->fillUndefined(number);
        page->encoded = static_cast<unsigned short*>(std::calloc(kUnits, sizeof(unsigned short)));
        iconv_t back = iconv_open(name, unicodeName());
        if (page->encoded != nullptr && back != reinterpret_cast<iconv_t>(-1)) {
            page->invert(back);
            iconv_close(back);
            page->addLookAlikes(number);
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
    for (unsigned trail = kFirstTrail; trail <= 0xFF; trail++) {
        const unsigned char bytes[] = {lead, static_cast<unsigned char>(trail)};
        if (readOne(converter, bytes, 2, &table[trail]) != Reading::kCharacter)
            table[trail] = kNone;
    }
    return true;
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

void CodePage::fillUndefined(UINT number) {
    if (number == kJapanese)
        defaultUnit = kKatakanaMiddleDot;
    for (const OpenBytes& run : kOpenBytes)
        if (run.number == number)
            for (unsigned byte = run.first; byte <= run.last; byte++)
                if (single[byte] == kNone && pairs[byte] == nullptr)
                    single[byte] = static_cast<char16_t>(run.unit + (byte - run.first));
    for (unsigned byte = 0x80; byte <= 0xFF; byte++)
        if (single[byte] == kNone && pairs[byte] == nullptr)
            single[byte] = static_cast<char16_t>(byte <= kLastControl ? byte : kPrivateBytes + byte);
}

void CodePage::invert(void* converter) {
    auto add = [&](char16_t unit, unsigned bytes) {
        if (unit == kNone)
            return;
        if (encoded[unit] == 0) {
            encoded[unit] = static_cast<unsigned short>(bytes);
        } else if (unsigned preferred = preferredBytes(converter, unit); preferred != 0) {
            encoded[unit] = static_cast<unsigned short>(preferred);
        }
    };
    for (unsigned byte = 1; byte <= 0xFF; byte++)
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

} // namespace Tarn::Platform::Posix
