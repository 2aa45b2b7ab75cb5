#include "runtime/registered_modules.h"

#include "catalogue/resource_registry.h"
#include "memory/late_object.h"
#include "memory/process_mutex.h"
#include "platform/fork.h"
#include "platform/platform.h"

#include <tarnkit/array.h>
#include <tarnkit/layout.h>
#include <tarnkit/lifecycle.h>
#include <tarnkit/resource_modules.h>
#include <tarnkit/thread_storage.h>

#include <mutex>
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

// Protects the records. A module registers itself while the system loads it, so this is never held while
// modules are loaded or asked for an address, or their code runs.
constinit CProcessMutex recordsMutex;
constinit CLateObject<CModuleRecords> registeredModules;

// Changed under `moduleMutex`.
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

// The place of the module's record, or -1. Under `recordsMutex`.
int findRecord(HINSTANCE module) {
    const CModuleRecords& records = registeredModules.Get();
    for (int i = 0; i < records.Size(); i++)
        if (records[i].module == module)
            return i;
    return -1;
}

// Under `recordsMutex`.
CModuleRecord& obtainRecord(HINSTANCE module) {
    int index = findRecord(module);
    if (index < 0) {
        index = registeredModules->Size();
        registeredModules->Add({module, 0, nullptr, nullptr, false, false});
    }
    return registeredModules.Get()[index];
}

int numberOfRecords() {
    const std::lock_guard guard(recordsMutex);
    return registeredModules->Size();
}

CModuleRecord copyOfRecord(int index) {
    const std::lock_guard guard(recordsMutex);
    return registeredModules.Get()[index];
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
    if (module != nullptr)
        return module;
    const DWORD code = Platform::GetLastError();
    module = Platform::LoadLibraryW(isPathFirst ? lowerCasePath : path);
    // That there is no other file does not tell why this one cannot be loaded.
    if (module == nullptr && Platform::GetLastError() == ERROR_MOD_NOT_FOUND)
        Platform::SetLastError(code);
    return module;
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

// Marks the first module that is not initialised as such, or the last one that is as not, and returns its
// record; none is left when the handle is null. Each search is a new one, because a module's function may
// load, register or release others.
CModuleRecord takeFirstUninitialized() {
    const std::lock_guard guard(recordsMutex);
    for (CModuleRecord& record : registeredModules.Get())
        if (!std::exchange(record.isInitialized, true))
            return record;
    return {};
}

CModuleRecord takeLastInitialized() {
    const std::lock_guard guard(recordsMutex);
    for (int i = registeredModules->Size() - 1; i >= 0; i--)
        if (std::exchange(registeredModules.Get()[i].isInitialized, false))
            return registeredModules.Get()[i];
    return {};
}

void terminateModules() {
    for (;;) {
        const CModuleRecord record = takeLastInitialized();
        if (record.module == nullptr)
            return;
        if (record.term != nullptr)
            RunAndShowFailure(record.term);
    }
}

// Releases the references of the record at `index` and returns whether to keep the record.
bool releaseReferences(int index) {
    CModuleRecord record;
    {
        const std::lock_guard guard(recordsMutex);
        record = registeredModules.Get()[index];
        registeredModules.Get()[index].references = 0;
    }
    // Determined now, because the module may be gone afterwards.
    const bool wasClient = isClient(record.module);
    const void* landmark = findLandmark(record);
    for (int i = 0; i < record.references; i++)
        Platform::FreeLibrary(record.module);
    if (record.references > 0)
        ForgetUnloadedResources(record.module);
    return wasClient && isLoaded(record.module, landmark);
}

struct CLandmark {
    HINSTANCE module;
    const void* address;
};

// The modules that are registered and loaded, each with a landmark. None if there is no memory for them.
CArray<CLandmark> findLandmarks() {
    CArray<CLandmark> landmarks;
    try {
        for (int i = 0; i < numberOfRecords(); i++) {
            const CModuleRecord record = copyOfRecord(i);
            if (const void* address = findLandmark(record); isLoaded(record.module, address))
                landmarks.Add({record.module, address});
        }
    } catch (CMemoryException* e) {
        e->Delete();
        landmarks.DeleteAll();
    }
    return landmarks;
}

void forgetModule(HINSTANCE module) {
    ForgetResources(module);
    const std::lock_guard guard(recordsMutex);
    if (const int index = findRecord(module); index >= 0)
        registeredModules->DeleteAt(index);
}

// Unloads a module whose static objects could not be built, and removes what was registered for it and for
// the modules that were loaded and unloaded with it. A module that the system does not unload (on POSIX one
// with a unique symbol, for example) is remembered, since its objects will not be built at a second load
// either.
void rejectModule(HINSTANCE module) {
    rejectedModules->Add(module);
    const CArray<CLandmark> landmarks = findLandmarks();
    const auto marker = reinterpret_cast<const void*>(Platform::GetProcAddressW(module, kClientMarker));
    forgetModule(module); // before it is unloaded: another thread may be looking for a text in it
    Platform::FreeLibrary(module);
    if (!isLoaded(module, marker))
        rejectedModules->DeleteLast();
    for (const CLandmark& landmark : landmarks)
        if (!isLoaded(landmark.module, landmark.address))
            forgetModule(landmark.module);
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

void AttachRegisteredModules() { Platform::KeepUsableAfterFork<recordsMutex>(); }

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
    const std::lock_guard guard(moduleMutex);
    for (;;) {
        const CModuleRecord record = takeFirstUninitialized();
        if (record.module == nullptr)
            return true;
        // After the last `Clean`, somebody may have unloaded a module that was kept.
        if (record.init != nullptr &&
            Platform::GetModuleHandleFromAddress(reinterpret_cast<const void*>(record.init)) == nullptr)
            forgetModule(record.module);
        else if (record.init != nullptr && !RunAndShowFailure(record.init))
            return false;
    }
}

void ReleaseModules() {
    const std::lock_guard guard(moduleMutex);
    areModulesBeingReleased = true;
    terminateModules();
    for (int i = numberOfRecords() - 1; i >= 0; i--)
        if (!releaseReferences(i)) {
            const std::lock_guard recordsGuard(recordsMutex);
            registeredModules->DeleteAt(i);
        }
    areModulesBeingReleased = false;
}

void ForgetModules() {
    const std::lock_guard guard(recordsMutex);
    registeredModules.Release();
    rejectedModules.Release();
}

void RegisterModule(HINSTANCE module, void (*init)(), void (*term)()) {
    CModuleRecord known;
    {
        const std::lock_guard guard(recordsMutex);
        CModuleRecord& record = obtainRecord(module);
        known = record;
        if (!record.hasAnnouncedItself) {
            record.init = init;
            record.term = term;
            record.isInitialized = false;
            record.hasAnnouncedItself = true;
        }
    }
    if (!known.hasAnnouncedItself)
        return;
    if (known.init != init)
        GenAssert(u"Tarnkit", 286);
    if (known.term != term)
        GenAssert(u"Tarnkit", 287);
}

HINSTANCE LoadDLL(const char16_t* name) {
    if (name == nullptr) {
        GenAssert(u"ResourceInfo", __LINE__);
        return nullptr;
    }
    const std::lock_guard guard(moduleMutex);
    HINSTANCE module = loadWhole(name);
    if (module == nullptr)
        return nullptr;
    {
        const std::lock_guard recordsGuard(recordsMutex);
        obtainRecord(module).references++;
    }
    initializeIfStarted();
    return module;
}

HINSTANCE LoadOwnedLibrary(const char16_t* name) {
    HINSTANCE module = LoadDLL(name);
    // The caller owns this load; the record stays while the module is loaded or registered.
    const std::lock_guard guard(recordsMutex);
    if (const int index = module == nullptr ? -1 : findRecord(module); index >= 0)
        registeredModules.Get()[index].references--;
    return module;
}

void FreeOwnedLibrary(HINSTANCE module) {
    const std::lock_guard guard(moduleMutex);
    CModuleRecord known{};
    {
        const std::lock_guard recordsGuard(recordsMutex);
        if (const int index = findRecord(module); index >= 0)
            known = registeredModules.Get()[index];
    }
    const void* landmark = known.module == nullptr ? nullptr : findLandmark(known);
    Platform::FreeLibrary(module);
    const bool isStillLoaded = isLoaded(module, landmark);
    const std::lock_guard recordsGuard(recordsMutex);
    const int index = findRecord(module);
    if (index < 0)
        return;
    const CModuleRecord& record = registeredModules.Get()[index];
    if (record.references == 0 && !(record.hasAnnouncedItself && isStillLoaded))
        registeredModules->DeleteAt(index);
}

} // namespace Tarn
