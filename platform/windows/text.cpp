// Code pages and case mapping.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

namespace {

constexpr char16_t kFirstSurrogate = 0xD800;

/// Some versions of Windows also map surrogate pairs; this leaves them unchanged on all versions.
template<class Map>
void mapWithoutSurrogates(char16_t* text, DWORD size, Map map) {
    for (DWORD end = 0, start = 0; start < size; start = end + 1) {
        for (end = start; end < size && (text[end] & 0xF800) != kFirstSurrogate;)
            end++;
        map(wide(text + start), end - start);
    }
}

} // namespace

UINT GetACP() { return ::GetACP(); }

UINT GetOEMCP() { return ::GetOEMCP(); }

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int size, char16_t* result,
                        int resultSize) {
    return ::MultiByteToWideChar(codePage, flags, text, size, wide(result), resultSize);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* text, int size, char* result,
                        int resultSize, const char* defaultChar, BOOL* usedDefault) {
    return ::WideCharToMultiByte(codePage, flags, wide(text), size, result, resultSize, defaultChar,
                                 usedDefault);
}

void CharUpperBuffW(char16_t* text, DWORD size) { mapWithoutSurrogates(text, size, ::CharUpperBuffW); }

void CharLowerBuffW(char16_t* text, DWORD size) { mapWithoutSurrogates(text, size, ::CharLowerBuffW); }

} // namespace Tarn::Platform
