#include "tests/support/capabilities.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <windows.h>

namespace Tarn {

namespace {

bool isWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

bool writesReadOnlyFiles() {
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("tarnkit-" + std::to_string(GetCurrentProcessId()));
    std::ofstream(file) << "x";
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_READONLY);
    const bool isWritten = std::ofstream(file).is_open();
    SetFileAttributesW(file.c_str(), FILE_ATTRIBUTE_NORMAL);
    std::filesystem::remove(file);
    return isWritten;
}

} // namespace

const CCapability kDocumentedCalls{isWine() ? "Wine differs here" : nullptr};
const CCapability kReadOnlyFiles{writesReadOnlyFiles() ? "Wine lets root write them" : nullptr};

const CCapability kFullDevice{"no device here is always full"};
const CCapability kSymbolicLinks{"links need a special right"};
const CCapability kLocaleFromEnvironment{"the locale is the user's in the registry"};
const CCapability kTraceOutput{"what is traced goes to a debugger"};
const CCapability kRestartsItself{nullptr};
const CCapability kRegistryEditors{nullptr};
const CCapability kFork{"processes are not copied here"};

} // namespace Tarn
