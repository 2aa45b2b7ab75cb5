#include "catalogue/resource_registry.h"
#include "memory/late_object.h"
#include "platform/platform.h"
#include "runtime/registered_modules.h"

#include <tarnkit/file_system.h>
#include <tarnkit/layout.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/temp_file.h>
#include <tarnkit/thread_storage.h>

namespace Tarn {

/// What is kept for each thread.
struct CThreadFlags {
    unsigned char hasFailed;
    unsigned char isInsideStaticPart;
};
TARNKIT_LAYOUT(CThreadFlags, 2, hasFailed, isInsideStaticPart);

namespace {

constexpr char16_t kSource[] = u"Tarnkit";
constexpr char16_t kDefaultTitle[] = u"Tarnkit";
constexpr char16_t kCompanyKey[] = u"Software\\Velmora";
constexpr char16_t kLibraryKey[] = u"Software\\Velmora\\Tarnkit";
constexpr char16_t kCompanyFolder[] = u"Velmora";

enum class TState { neverInitialized, initializing, initialized, failed, cleanedUp };

struct CTexts {
    CUnicodeString title;
    CUnicodeString userSection;
    CUnicodeString machineSection;
};

constinit TState state = TState::neverInitialized;
constinit int initializationCount = 0;
constinit bool isThrowing = true;
constinit HINSTANCE applicationInstance = nullptr;
constinit HINSTANCE executableImage = nullptr; // the executable as a data file, a load of ours
constinit HWND mainWindow = nullptr;
constinit CLateObject<CTexts> texts;
constinit CThreadRecord threadFlags(sizeof(CThreadFlags));

CThreadFlags* findThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Find()); }
CThreadFlags* obtainThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Get()); }

CUnicodeString readSwitch(HKEY root, const char16_t* valueName, const char16_t* defaultValue) {
    const DWORD lastError = Platform::GetLastError();
    CUnicodeString result;
    {
        CRegistryKey key(true);
        key.Open(root, kLibraryKey);
        result = key.QueryStringValue(valueName, defaultValue);
    }
    Platform::SetLastError(lastError);
    return result;
}

// The steps of `Initialize`. -----------------------------------------------------------------------------

void readMemorySwitches() {
    CMemorySwitches switches = GetMemorySwitches();
    switches.breakOnMemoryException = ReadLibraryFlag(u"BreakOnMemoryException", false);
    switches.traceSystemMemoryBlocks = ReadLibraryFlag(u"TraceSystemMemoryBlocks", false);
    switches.enableHeapSwitching = ReadLibraryFlag(u"EnableHeapSwitching", true);
    switches.systemMemoryBlockOffset =
        ReadLibraryNumber(u"SystemMemoryBlockOffset", CMemorySwitches().systemMemoryBlockOffset, 16);
    SetMemorySwitches(switches);
    // "SetLocale" (default 1) is part of the set that administrators know; nothing here depends on it.
}

CUnicodeString getProgramName() { return FileSystem::GetName(FileSystem::GetEXEFileName()); }

void setApplicationDataPaths() {
    if (IsWindows2000()) {
        FileSystem::SetRelativeApplicationDataPath(
            FileSystem::MergePath(FileSystem::AddPathSeparator(kCompanyFolder), getProgramName()));
        return;
    }
    const CUnicodeString path =
        FileSystem::GetDrivePath(FileSystem::GetModuleFileNameW(GetApplicationInstance()));
    using enum FileSystem::TApplicationDataPathType;
    for (const auto type : {User, Common, Local})
        FileSystem::SetApplicationDataPath(type, path);
}

void setRegistrySections(const char16_t* userSection, const char16_t* machineSection) {
    const CUnicodeString defaultSection = CUnicodeString(kCompanyKey) + u'\\' + getProgramName();
    SetUserRegistrySection(userSection != nullptr ? userSection : defaultSection.Ptr());
    SetMachineRegistrySection(machineSection != nullptr ? machineSection : defaultSection.Ptr());
}

// The library itself, asked last for names; then the executable.
void addResourceModules() {
    GetResourceRegistry().AddFirstModule(GetModuleOfAddress(&state));
    executableImage = Platform::LoadLibraryExW(FileSystem::GetEXEFileName(), LOAD_LIBRARY_AS_DATAFILE);
    const bool isClient =
        executableImage != nullptr && Platform::GetProcAddressW(executableImage, kClientMarker) != nullptr;
    if (isClient)
        AddResourceModule(executableImage);
    // Where a data file of the executable is the process itself, it is registered already.
    if (applicationInstance != nullptr && !(isClient && executableImage == applicationInstance))
        AddResourceModule(applicationInstance);
    GetResourceRegistry().CompleteSetUp();
}

void setTemporaryFolder() {
    const CUnicodeString folder = ReadMachineSwitch(u"Temp", u"");
    if (!folder.IsEmpty())
        TempFile::SetTemporaryDir(folder);
}

bool start(const char16_t* userSection, const char16_t* machineSection) {
    if (state != TState::neverInitialized && state != TState::cleanedUp) {
        GenAssert(kSource, 122);
        return false;
    }
    SetThrowingEnabled(true);
    state = TState::initializing;
    readMemorySwitches();
    setApplicationDataPaths();
    setRegistrySections(userSection, machineSection);
    addResourceModules();
    setTemporaryFolder();
    state = TState::initialized;
    return InitializeModules();
}

// The steps of `Clean` and `TerminateTarnkit`. -----------------------------------------------------------

void saveUndefinedMessages() {
    if (!ReadLibraryFlag(u"SaveUndefinedMessages", false))
        return;
    CUnicodeString fileName = FileSystem::GetEXEFileName();
    FileSystem::ReplaceExt(fileName, u".txt");
    SaveUndefinedMessages(fileName);
}

void releaseResources() {
    ReleaseResourceModules();
    if (executableImage != nullptr)
        Platform::FreeLibrary(executableImage);
    executableImage = nullptr;
}

// The system below. --------------------------------------------------------------------------------------

OSVERSIONINFOW getVersion(long assertionLine) {
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    static_assert(sizeof(version) == 276);
    if (!Platform::GetVersionExW(&version))
        GenAssert(kSource, assertionLine);
    return version;
}

// Whether the version is above `major`, or is `major` with at least this minor number.
bool isAtLeast(const OSVERSIONINFOW& version, DWORD major, DWORD minor) {
    return version.dwMajorVersion > major ||
           (version.dwMajorVersion == major && version.dwMinorVersion >= minor);
}

bool isHandheldOfType(const char16_t* type) {
    constexpr DWORD kHandheldPlatform = 3;
    constexpr UINT kGetPlatformType = 257;
    constexpr UINT kBufferSize = 40;
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    Platform::GetVersionExW(&version);
    char16_t platformType[kBufferSize / sizeof(char16_t)] = {};
    return version.dwPlatformId == kHandheldPlatform &&
           Platform::SystemParametersInfoW(kGetPlatformType, kBufferSize, platformType) &&
           CUnicodeString(platformType) == type;
}

} // namespace

bool Initialize(const char16_t* userRegistrySection, const char16_t* machineRegistrySection) {
    if (++initializationCount > 1)
        return state == TState::initialized && InitializeModules();

    const bool wasThrowing = IsThrowingEnabled();
    bool isStarted = false;
    const bool isComplete =
        RunAndShowFailure([&] { isStarted = start(userRegistrySection, machineRegistrySection); });
    SetThrowingEnabled(wasThrowing);
    if (!isComplete || !isStarted)
        state = TState::failed;
    return state == TState::initialized;
}

void Clean() {
    if (initializationCount > 0)
        initializationCount--;
    if (initializationCount > 0 || state != TState::initialized)
        return;
    {
        CThrowingSwitcher throwing(true);
        RunAndShowFailure(saveUndefinedMessages);
        ReleaseModules();
        RunAndShowFailure(TempFile::Reset);
        RunAndShowFailure(FileSystem::ResetPaths);
    }
    state = TState::cleanedUp;
    releaseResources();
}

void TerminateTarnkit() {
    releaseResources();
    ForgetModules();
    texts.Release();
    CMessage::CleanUp();
    FileSystem::ResetPaths();
}

bool IsTarnkitInitialized() { return state == TState::initialized; }

int GetTarnkitVersion() { return kTarnkitVersion; }

HINSTANCE GetModuleOfAddress(const void* address) { return Platform::GetModuleHandleFromAddress(address); }

HINSTANCE GetApplicationInstance() {
    if (applicationInstance == nullptr)
        GenAssert(kSource, 601);
    return applicationInstance;
}

void SetApplicationInstance(HINSTANCE instance) {
    if (applicationInstance != nullptr) {
        GenAssert(kSource, 595);
        return;
    }
    applicationInstance = instance;
}

void BeginStaticPart() {
    if (CThreadFlags* flags = obtainThreadFlags())
        flags->isInsideStaticPart = 1;
}

void EndStaticPart() {
    if (CThreadFlags* flags = findThreadFlags())
        flags->isInsideStaticPart = 0;
}

bool IsInsideStaticPart() {
    const CThreadFlags* flags = findThreadFlags();
    return flags != nullptr && flags->isInsideStaticPart != 0;
}

bool GetErrorFlag() {
    const CThreadFlags* flags = findThreadFlags();
    return flags != nullptr && flags->hasFailed != 0;
}

void SetErrorFlag(bool isSet) {
    if (CThreadFlags* flags = isSet ? obtainThreadFlags() : findThreadFlags())
        flags->hasFailed = isSet;
}

bool IsThrowingEnabled() { return isThrowing; }
void SetThrowingEnabled(bool isEnabled) { isThrowing = isEnabled; }

bool IsAppTitleDefined() { return texts.Exists() && !texts->title.IsEmpty(); }
CUnicodeString GetAppTitle() {
    // A body of its own: messages are shown on any thread, and strings are not shared between threads.
    return IsAppTitleDefined() ? texts->title.Ptr() : kDefaultTitle;
}
void SetAppTitle(const CUnicodeString& title) { texts->title = title; }

HWND GetMainWindow() { return mainWindow; }
void SetMainWindow(HWND window) { mainWindow = window; }

CUnicodeString GetUserRegistrySection() {
    if (!IsTarnkitInitialized())
        GenAssert(kSource, 341);
    return texts->userSection;
}

CUnicodeString GetMachineRegistrySection() {
    if (!IsTarnkitInitialized())
        GenAssert(kSource, 347);
    return texts->machineSection;
}

void SetUserRegistrySection(const char16_t* section) {
    if (section == nullptr) {
        GenAssert(kSource, 355);
        return;
    }
    texts->userSection = section;
}

void SetMachineRegistrySection(const char16_t* section) {
    if (section == nullptr) {
        GenAssert(kSource, 363);
        return;
    }
    texts->machineSection = section;
}

CUnicodeString ReadLibrarySwitch(const char16_t* valueName, const char16_t* defaultValue) {
    return readSwitch(HKEY_CURRENT_USER, valueName, defaultValue);
}

CUnicodeString ReadMachineSwitch(const char16_t* valueName, const char16_t* defaultValue) {
    return readSwitch(HKEY_LOCAL_MACHINE, valueName, defaultValue);
}

int ReadLibraryNumber(const char16_t* valueName, int defaultValue, int radix) {
    int value;
    return ReadLibrarySwitch(valueName, u"").Value(value, radix) ? value : defaultValue;
}

bool ReadLibraryFlag(const char16_t* valueName, bool defaultValue) {
    return ReadLibraryNumber(valueName, defaultValue) != 0;
}

bool IsWindows95() { return getVersion(900).dwPlatformId == VER_PLATFORM_WIN32_WINDOWS; }

bool IsWindows98() {
    const OSVERSIONINFOW version = getVersion(908);
    return version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS && isAtLeast(version, 4, 10);
}

bool IsWindowsME() {
    const OSVERSIONINFOW version = getVersion(917);
    return version.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS && isAtLeast(version, 4, 90);
}

bool IsWindowsNT() { return getVersion(926).dwPlatformId == VER_PLATFORM_WIN32_NT; }

bool IsWindows2000() {
    const OSVERSIONINFOW version = getVersion(934);
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT && version.dwMajorVersion >= 5;
}

bool IsWindowsXP() {
    const OSVERSIONINFOW version = getVersion(942);
    return version.dwPlatformId == VER_PLATFORM_WIN32_NT && isAtLeast(version, 5, 1);
}

bool IsPocketPC2000() { return isHandheldOfType(u"Palm PC2"); }
bool IsPocketPC2002() { return isHandheldOfType(u"PocketPC"); }

} // namespace Tarn
