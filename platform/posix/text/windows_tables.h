/// \file
/// The known code pages, and where their tables on Windows differ from those of `iconv`.
///
/// To add a code page: add its number and `iconv`'s name for it to `kCodePageNames` and to the pages that
/// tools/compare_ports compares. scripts/compare-ports then shows how it differs from Windows; the
/// differences belong in the tables below or, for the units that it lacks, in look_alikes.cpp.
#pragma once

#include "platform/posix/text/code_page.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace Tarn::Platform::Posix {

struct CodePageName {
    UINT number;
    const char* name; // as iconv knows it
};

/// In ascending order of the numbers.
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

static_assert(std::is_sorted(std::begin(kCodePageNames), std::end(kCodePageNames),
                             [](const CodePageName& a, const CodePageName& b) {
                                 return a.number < b.number;
                             }));

/// Consecutive bytes or pairs that Windows reads as other characters than `iconv`.
struct OtherCharacters {
    UINT number;
    unsigned short first;      // byte or pair; a pair has its lead byte in the upper half
    std::u16string_view units; // U+FFFF is `CodePage::kNone`: Windows has no character there
};

constexpr OtherCharacters kOtherCharacters[] = {
    {864, 0x25, u"%"},
    {1361, 0x5C, u"\\"},
    {1361, 0xD9E8, u"\uFFFF"},
    // Old letters of Hangul.
    {1361, 0xDAD4,
     u"\u115F\u1114\u1115\u11C7\u11C8\u11CC\u11CE\u11D3\u11D7\u11D9\u111C\u11DD\u11DF\u111D\u111E\u1120"
     u"\u1122\u1123\u1127\u1128\u112B\u112C\u112D\u112E\u112F\u1132\u1136\u1140\u1147\u114C\u1145\u1146"
     u"\u1157\u1158\u1159\u1184\u1185\u1188\u1191\u1192\u1194\u119E\u11A1"},
    {10000, 0xBD, u"\u2126"},
    {10000, 0xC6, u"\u2206"},
    {10000, 0xF0, u"\uF8FF"},
    {10007, 0xA2, u"\u00A2"},
    {10007, 0xB6, u"\u2202"},
    {20932, 0x8F, u"\u008F"},
    {20932, 0xA0, u"\uFFFF"},
    {20932, 0xA237, u"~"},
    {20949, 0xAD, u"\uFFFF\uFFFF\uFFFF"},
    {20949, 0xC9, std::u16string_view(u"\0", 1)},
    {20949, 0xFE, u"\uFFFF\uFFFF"},
    {20949, 0xA2E8, u"\uFFFF"},
    {21866, 0xAE, u"\u045E"},
    {21866, 0xBE, u"\u040E"},
    {28597, 0xA1, u"\u02BD\u02BC"},
    {28597, 0xA4, u"\uFFFF\uFFFF"},
    {28597, 0xAA, u"\uFFFF"},
    {28598, 0xAF, u"\u203E"},
    {28598, 0xFD, u"\uFFFF\uFFFF"},
};

/// Bytes that a code page does not define: those from `first` to `last` become the units from `unit` on.
struct OpenBytes {
    UINT number;
    unsigned char first;
    unsigned char last;
    char16_t unit;
};

constexpr OpenBytes kOpenBytes[] = {
    {857, 0xD5, 0xD5, 0xF8BB},   {857, 0xE7, 0xE7, 0xF8BC},   {857, 0xF2, 0xF2, 0xF8BD},
    {874, 0xDB, 0xDE, 0xF8C1},   {874, 0xFC, 0xFF, 0xF8C5},   {932, 0xA0, 0xA0, 0xF8F0},
    {932, 0xFD, 0xFF, 0xF8F1},   {936, 0xFF, 0xFF, 0xF8F5},   {949, 0xFF, 0xFF, 0xF8F7},
    {950, 0xFF, 0xFF, 0xF8F8},   {1253, 0xAA, 0xAA, 0xF8F9},  {1253, 0xD2, 0xD2, 0xF8FA},
    {1253, 0xFF, 0xFF, 0xF8FB},  {1255, 0xCA, 0xCA, 0x05BA},  {1255, 0xD9, 0xDF, 0xF88D},
    {1255, 0xFB, 0xFC, 0xF894},  {1255, 0xFF, 0xFF, 0xF896},  {1257, 0xA1, 0xA1, 0xF8FC},
    {1257, 0xA5, 0xA5, 0xF8FD},  {864, 0xA6, 0xFF, 0xF8BE},   {1361, 0xD4, 0xFF, 0xF8EC},
    {20127, 0x80, 0xFF, 0x0000}, {20932, 0xA0, 0xA0, 0xF8F0}, {20932, 0xFF, 0xFF, 0xF8F3},
    {20949, 0xA0, 0xFF, 0xF8E6}, {28593, 0xA1, 0xFF, 0xF7F5}, {28596, 0xA1, 0xFF, 0xF7C8},
    {28597, 0xA1, 0xFF, 0xF7C2}, {28598, 0xA1, 0xFF, 0xF79C},
};
/// Other undefined bytes become the control character with the same code up to this one, and private
/// characters above it, so that text survives a round trip.
constexpr unsigned kLastControl = 0x9F;
constexpr char16_t kPrivateBytes = 0xF700;

/// Pairs that a code page leaves to its users. They become consecutive private characters; in an area with
/// gaps, pairs that already have a character are skipped.
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
    {936, 0xAA, 0xAF, 0xA1, 0xFE, 0xE000},   {936, 0xF8, 0xFE, 0xA1, 0xFE, 0xE234},
    {936, 0xA1, 0xA7, 0x40, 0xA0, 0xE4C6},   {936, 0xA2, 0xFE, 0x40, 0xFE, 0xE766, true},
    {949, 0xC9, 0xC9, 0xA1, 0xFE, 0xE000},   {949, 0xFE, 0xFE, 0xA1, 0xFE, 0xE05E},
    {950, 0xFA, 0xFE, 0x40, 0xFE, 0xE000},   {950, 0x8E, 0xA0, 0x40, 0xFE, 0xE311},
    {950, 0x81, 0x8D, 0x40, 0xFE, 0xEEB8},   {1361, 0xD8, 0xD8, 0x31, 0x7E, 0xE000},
    {1361, 0xD8, 0xD8, 0x91, 0xFE, 0xE04E},  {20932, 0xF5, 0xFE, 0xA1, 0xFE, 0xE000},
    {20932, 0xF5, 0xFE, 0x21, 0x7E, 0xE3AC},
};

/// Characters with several pairs for which Windows writes a different pair than `iconv`.
constexpr struct {
    UINT number;
    char16_t unit;
    unsigned short bytes;
} kPreferred[] = {{950, 0x2550, 0xF9F9}, {950, 0x255E, 0xF9E9}, {950, 0x2561, 0xF9EB}, {950, 0x256A, 0xF9EA}};

} // namespace Tarn::Platform::Posix
