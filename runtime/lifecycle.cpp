#include "catalogue/resource_registry.h"
#include "errors/application.h"
#include "errors/reporting.h"
#include "platform/platform.h"
#include "runtime/registered_modules.h"

#include <tarnkit/file_system.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/memory_manager.h>
#include <tarnkit/messages.h>
#include <tarnkit/registry_key.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/temp_file.h>
#include <tarnkit/text_of_values.h>

namespace Tarn {

namespace {

constexpr char16_t kSource[] = u"Tarnkit";
constexpr char16_t kCompanyKey[] = u"Software\\Velmora";
constexpr char16_t kCompanyFolder[] = u"Velmora";

constexpr char16_t kWrongVersion[] =
    u"%0 was built for version %1 of Tarnkit and cannot run with version %2, which is loaded.";

constinit int initializationCount = 0;
constinit HINSTANCE executableImage = nullptr; // the executable, which we loaded as a data file

// The steps of `Initialize`. -----------------------------------------------------------------------------

void readMemorySwitches() {
    CMemorySwitches switches = GetMemorySwitches();
    switches.breakOnMemoryException = ReadLibraryFlag(u"BreakOnMemoryException", false);
    switches.traceSystemMemoryBlocks = ReadLibraryFlag(u"TraceSystemMemoryBlocks", false);
    switches.enableHeapSwitching = ReadLibraryFlag(u"EnableHeapSwitching", true);
    switches.systemMemoryBlockOffset =
        ReadLibraryNumber(u"SystemMemoryBlockOffset", CMemorySwitches().systemMemoryBlockOffset, 16);
    SetMemorySwitches(switches);
    // Administrators may also set "SetLocale" (default 1); nothing here depends on it.
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
    for (const auto type : {Common, User, Local})
        FileSystem::SetApplicationDataPath(type, path);
}

void setRegistrySections(const char16_t* userSection, const char16_t* machineSection) {
    const CUnicodeString defaultSection = CUnicodeString(kCompanyKey) + u'\\' + getProgramName();
    SetUserRegistrySection(userSection != nullptr ? userSection : defaultSection.Ptr());
    SetMachineRegistrySection(machineSection != nullptr ? machineSection : defaultSection.Ptr());
}

// Adds the library and the program, wherever the application's own modules are in the order.
void addResourceModules() {
    AddResourceLibrary(GetModuleOfAddress(&initializationCount));
    executableImage = Platform::LoadLibraryExW(FileSystem::GetEXEFileName(), LOAD_LIBRARY_AS_DATAFILE);
    const bool isClient =
        executableImage != nullptr && Platform::GetProcAddressW(executableImage, kClientMarker) != nullptr;
    if (isClient)
        AddResourceProgramModule(executableImage);
    // On systems where loading the executable as a data file returns the process's own module, it is
    // registered already.
    const HINSTANCE instance = FindApplicationInstance();
    if (instance != nullptr && !(isClient && executableImage == instance))
        AddResourceProgramModule(instance);
    SetUpLanguages();
}

void setTemporaryFolder() {
    const CUnicodeString folder = ReadMachineSwitch(u"Temp", u"");
    if (!folder.IsEmpty())
        TempFile::SetTemporaryDir(folder);
}

bool start(const char16_t* userSection, const char16_t* machineSection) {
    const TLibraryState state = GetLibraryState();
    if (state != TLibraryState::neverInitialized && state != TLibraryState::cleanedUp) {
        GenAssert(kSource, 122);
        return false;
    }
    SetThrowingEnabled(true);
    SetLibraryState(TLibraryState::initializing);
    readMemorySwitches();
    setApplicationDataPaths();
    setRegistrySections(userSection, machineSection);
    addResourceModules();
    setTemporaryFolder();
    SetLibraryState(TLibraryState::initialized);
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

// 851 is 8.51.
CUnicodeString versionText(int version) { return Format(u"%d.%02d", version / 100, version % 100); }

} // namespace

bool Initialize(const char16_t* userRegistrySection, const char16_t* machineRegistrySection) {
    if (++initializationCount > 1)
        return IsTarnkitInitialized() && InitializeModules();

    const bool wasThrowing = IsThrowingEnabled();
    bool isStarted = false;
    const bool isComplete =
        RunAndShowFailure([&] { isStarted = start(userRegistrySection, machineRegistrySection); });
    SetThrowingEnabled(wasThrowing);
    if (!isComplete || !isStarted)
        SetLibraryState(TLibraryState::failed);
    return IsTarnkitInitialized();
}

void Clean() {
    if (initializationCount > 0)
        initializationCount--;
    if (initializationCount > 0 || !IsTarnkitInitialized())
        return;
    {
        CThrowingSwitcher throwing(true);
        RunAndShowFailure(saveUndefinedMessages);
        ReleaseModules();
        RunAndShowFailure(TempFile::Reset);
        RunAndShowFailure(FileSystem::ResetPaths);
    }
    SetLibraryState(TLibraryState::cleanedUp);
    releaseResources();
    Platform::ReleaseRegistry();
}

void TerminateTarnkit() {
    releaseResources();
    ForgetModules();
    ReleaseApplicationTexts();
    CMessage::CleanUp();
    FileSystem::ResetPaths();
}

[[gnu::used]] static void (*const libraryObjects)() = LinkLibraryObjects;

int GetTarnkitVersion() { return kTarnkitVersion; }

void RequireTarnkitVersion(int builtFor, HINSTANCE module) {
    if (builtFor == kTarnkitVersion)
        return;
    const CUnicodeString name = FileSystem::GetName(FileSystem::GetModuleFileNameW(module));
    const CUnicodeString wanted = versionText(builtFor), loaded = versionText(kTarnkitVersion);
    // Modules register themselves before there is a catalogue, too.
    GenAssertInWords(u"TarnkitStatic", 79,
                     IsTarnkitInitialized() && WRONG_LIBRARY_VERSION.IsDefined()
                         ? WRONG_LIBRARY_VERSION.SubstParam(name, wanted, loaded)
                         : CUnicodeString(kWrongVersion).SubstParam(name, wanted, loaded));
}

HINSTANCE GetModuleOfAddress(const void* address) { return Platform::GetModuleHandleFromAddress(address); }

} // namespace Tarn
