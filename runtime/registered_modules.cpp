#include "runtime/registered_modules.h"

#include "catalogue/resource_registry.h"
#include "memory/late_object.h"
#include "platform/platform.h"
#include "runtime/static_constructors.h"

#include <tarnkit/array.h>
#include <tarnkit/layout.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/thread_storage.h>

#include <utility>

namespace Tarn {

struct CModuleRecord {
    using TFunction = void (*)();

    HINSTANCE module;
    int references; ///< loads by `LoadDLL`, which `ReleaseModules` releases
    TFunction init;
    TFunction term;
    bool isInitialized;
    bool hasAnnouncedItself; ///< otherwise the record only counts references
};
TARNKIT_LAYOUT(CModuleRecord, 20, module, references, init, term, isInitialized, hasAnnouncedItself);

namespace {

using CModuleRecords = CArray<CModuleRecord, ProcessHeapPolicy>;

constinit CLateObject<CModuleRecords> registeredModules;
constinit CLateObject<CArray<HINSTANCE, ProcessHeapPolicy>> rejectedModules; // that are still loaded
constinit bool areModulesBeingReleased = false;

// A load in progress on the calling thread. Loads nest: a static object may load another module.
struct CModuleLoad {
    CModuleLoad* outer = nullptr;
    bool hasFailed = false;
};
constinit CThreadRecord innermostLoad{sizeof(CModuleLoad*)};

class CModuleLoadScope {
public:
    CModuleLoadScope() : innermost(static_cast<CModuleLoad**>(innermostLoad.Get())) {
        if (innermost != nullptr)
            load.outer = std::exchange(*innermost, &load);
    }
    ~CModuleLoadScope() {
        if (innermost != nullptr)
            *innermost = load.outer;
    }

    CModuleLoadScope(const CModuleLoadScope&) = delete;
    CModuleLoadScope& operator=(const CModuleLoadScope&) = delete;

    bool HasFailed() const { return load.hasFailed; }

private:
    CModuleLoad** innermost; // null if there is no memory for the thread's record
    CModuleLoad load;
};

CModuleLoad* findInnermostLoad() {
    auto** load = static_cast<CModuleLoad**>(innermostLoad.Find());
    return load == nullptr ? nullptr : *load;
}

CModuleRecord* findRecord(HINSTANCE module) {
    for (CModuleRecord& record : registeredModules.Get())
        if (record.module == module)
            return &record;
    return nullptr;
}

CModuleRecord& obtainRecord(HINSTANCE module) {
    if (CModuleRecord* record = findRecord(module))
        return *record;
    registeredModules->Add({module, 0, nullptr, nullptr, false, false});
    return registeredModules->Last();
}

// The full path of the file that the name refers to; empty if the system's search finds none.
CUnicodeString resolveLibraryPath(const char16_t* name) {
    CUnicodeString path;
    DWORD size = MAX_PATH;
    for (;;) {
        const DWORD length = Platform::SearchLibraryPathW(name, size, path.GetBuffer(static_cast<int>(size)));
        if (length < size) {
            path.ReleaseBuffer(static_cast<int>(length));
            return path;
        }
        size *= 2;
    }
}

// Leaves the last error as the load left it.
HINSTANCE loadLibrary(const char16_t* name) {
    const CUnicodeString path = resolveLibraryPath(name);
    if (path.IsEmpty())
        return Platform::LoadLibraryW(name);
    CUnicodeString lowerCasePath = path;
    lowerCasePath.MakeLower();
    // Where case matters, the lower-case spelling may be the name of another file.
    const bool isPathFirst = Platform::AreFileNamesCaseSensitive();
    HINSTANCE module = Platform::LoadLibraryW(isPathFirst ? path : lowerCasePath);
    return module != nullptr ? module : Platform::LoadLibraryW(isPathFirst ? lowerCasePath : path);
}

// A library that is loaded while the modules are being terminated, for example for a text in another
// language, must not initialise them again. One that the static objects of another module load is initialised
// with that module, when its objects are built.
void initializeIfStarted() {
    const DWORD lastError = Platform::GetLastError();
    if (IsTarnkitInitialized() && !areModulesBeingReleased && !IsLoadingModule())
        InitializeModules();
    Platform::SetLastError(lastError);
}

bool isClient(HINSTANCE module) { return Platform::GetProcAddressW(module, kClientMarker) != nullptr; }

// An address inside the module that shows later whether it is still loaded; null if none is known.
const void* findLandmark(const CModuleRecord& record) {
    if (const auto marker = Platform::GetProcAddressW(record.module, kClientMarker))
        return reinterpret_cast<const void*>(marker);
    return reinterpret_cast<const void*>(record.init != nullptr ? record.init : record.term);
}

bool isLoaded(HINSTANCE module, const void* landmark) {
    return landmark != nullptr && Platform::GetModuleHandleFromAddress(landmark) == module;
}

// The search starts again after each call of a module's function, which may load, register or release others.
CModuleRecord* findFirstUninitialized() {
    for (CModuleRecord& record : registeredModules.Get())
        if (!record.isInitialized)
            return &record;
    return nullptr;
}

CModuleRecord* findLastInitialized() {
    for (int i = registeredModules->Size() - 1; i >= 0; i--)
        if (registeredModules.Get()[i].isInitialized)
            return &registeredModules.Get()[i];
    return nullptr;
}

void terminateModules() {
    while (CModuleRecord* record = findLastInitialized()) {
        record->isInitialized = false;
        if (record->term != nullptr)
            RunAndShowFailure(record->term);
    }
}

// Releases the references of the record at `index` and returns whether to keep the record.
bool releaseReferences(int index) {
    const CModuleRecord record = registeredModules.Get()[index];
    registeredModules.Get()[index].references = 0;
    // Determined now, because the module may be gone afterwards.
    const bool wasClient = isClient(record.module);
    const void* landmark = findLandmark(record);
    for (int i = 0; i < record.references; i++)
        Platform::FreeLibrary(record.module);
    if (record.references > 0)
        ForgetUnloadedResources(record.module);
    return wasClient && isLoaded(record.module, landmark);
}

// A landmark for each record; null if its module is not loaded now. None if there is no memory for them.
CArray<const void*> findLandmarks() {
    CArray<const void*> landmarks;
    try {
        for (const CModuleRecord& record : registeredModules.Get()) {
            const void* landmark = findLandmark(record);
            landmarks.Add(isLoaded(record.module, landmark) ? landmark : nullptr);
        }
    } catch (CMemoryException* e) {
        e->Delete();
        landmarks.DeleteAll();
    }
    return landmarks;
}

void forgetRecord(int index) {
    ForgetResources(registeredModules.Get()[index].module);
    registeredModules->DeleteAt(index);
}

// Unloads a module whose static objects could not be built, and removes what was registered for it and for
// the modules that were loaded and unloaded with it. A module that the system does not unload (on POSIX one
// with a unique symbol, for example) is remembered, since its objects will not be built at a second load
// either.
void rejectModule(HINSTANCE module) {
    rejectedModules->Add(module);
    const CArray<const void*> landmarks = findLandmarks();
    const auto marker = reinterpret_cast<const void*>(Platform::GetProcAddressW(module, kClientMarker));
    Platform::FreeLibrary(module);
    if (!isLoaded(module, marker))
        rejectedModules->DeleteLast();
    for (int i = landmarks.Size() - 1; i >= 0; i--)
        if (landmarks[i] != nullptr && !isLoaded(registeredModules.Get()[i].module, landmarks[i]))
            forgetRecord(i);
    if (const CModuleRecord* record = findRecord(module))
        forgetRecord(static_cast<int>(record - registeredModules->Ptr()));
    ForgetResources(module);
}

// Loads a library; null if it does not exist or its static objects cannot be built.
HINSTANCE loadWhole(const char16_t* name) {
    HINSTANCE module;
    bool hasFailed;
    {
        const CModuleLoadScope load;
        module = loadLibrary(name);
        hasFailed = load.HasFailed();
    }
    const bool wasRejected = module != nullptr && rejectedModules->Has(module);
    if (module == nullptr || (!hasFailed && !wasRejected))
        return module;
    if (wasRejected)
        Platform::FreeLibrary(module);
    else
        rejectModule(module);
    Platform::SetLastError(ERROR_DLL_INIT_FAILED);
    return nullptr;
}

} // namespace

bool IsLoadingModule() { return findInnermostLoad() != nullptr; }

bool HasModuleLoadFailed() {
    const CModuleLoad* load = findInnermostLoad();
    return load != nullptr && load->hasFailed;
}

void FailModuleLoad() {
    if (CModuleLoad* load = findInnermostLoad())
        load->hasFailed = true;
}

bool InitializeModules() {
    while (CModuleRecord* record = findFirstUninitialized()) {
        record->isInitialized = true;
        if (record->init != nullptr && !RunAndShowFailure(record->init))
            return false;
    }
    return true;
}

void ReleaseModules() {
    areModulesBeingReleased = true;
    terminateModules();
    for (int i = registeredModules->Size() - 1; i >= 0; i--)
        if (!releaseReferences(i))
            registeredModules->DeleteAt(i);
    areModulesBeingReleased = false;
}

void ForgetModules() {
    registeredModules.Release();
    rejectedModules.Release();
}

void RegisterModule(HINSTANCE module, void (*init)(), void (*term)()) {
    CModuleRecord& record = obtainRecord(module);
    if (record.hasAnnouncedItself) {
        if (record.init != init)
            GenAssert(u"Tarnkit", 286);
        if (record.term != term)
            GenAssert(u"Tarnkit", 287);
        return;
    }
    record.init = init;
    record.term = term;
    record.isInitialized = false;
    record.hasAnnouncedItself = true;
}

HINSTANCE LoadDLL(const char16_t* name) {
    if (name == nullptr) {
        GenAssert(u"ResourceInfo", __LINE__);
        return nullptr;
    }
    HINSTANCE module = loadWhole(name);
    if (module == nullptr)
        return nullptr;
    obtainRecord(module).references++;
    initializeIfStarted();
    return module;
}

HINSTANCE LoadOwnedLibrary(const char16_t* name) {
    HINSTANCE module = LoadDLL(name);
    // The caller owns this load; the record stays while the module is loaded or registered.
    if (CModuleRecord* record = module == nullptr ? nullptr : findRecord(module))
        record->references--;
    return module;
}

void FreeOwnedLibrary(HINSTANCE module) {
    CModuleRecord* record = findRecord(module);
    const void* landmark = record == nullptr ? nullptr : findLandmark(*record);
    Platform::FreeLibrary(module);
    record = findRecord(module);
    if (record != nullptr && record->references == 0 &&
        !(record->hasAnnouncedItself && isLoaded(module, landmark)))
        registeredModules->DeleteAt(static_cast<int>(record - registeredModules->Ptr()));
}

} // namespace Tarn
