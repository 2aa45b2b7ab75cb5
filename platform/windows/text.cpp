// Code pages and case mapping.
#include "platform/platform.h"
#include "platform/windows/text16.h"

namespace Tarn::Platform {

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

void CharUpperBuffW(char16_t* text, DWORD size) { ::CharUpperBuffW(wide(text), size); }

void CharLowerBuffW(char16_t* text, DWORD size) { ::CharLowerBuffW(wide(text), size); }

} // namespace Tarn::Platform
