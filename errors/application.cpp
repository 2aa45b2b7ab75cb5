#include "errors/application.h"

#include "memory/late_object.h"

#include <tarnkit/failures.h>
#include <tarnkit/layout.h>
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

struct CTexts {
    CUnicodeString title;
    CUnicodeString userSection;
    CUnicodeString machineSection;
};

constinit TLibraryState libraryState = TLibraryState::neverInitialized;
constinit bool isThrowing = true;
constinit HINSTANCE applicationInstance = nullptr;
constinit HWND mainWindow = nullptr;
constinit CLateObject<CTexts> texts;
constinit CThreadRecord threadFlags(sizeof(CThreadFlags));

CThreadFlags* findThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Find()); }
CThreadFlags* obtainThreadFlags() { return static_cast<CThreadFlags*>(threadFlags.Get()); }

} // namespace

TLibraryState GetLibraryState() { return libraryState; }
void SetLibraryState(TLibraryState state) { libraryState = state; }
bool IsTarnkitInitialized() { return libraryState == TLibraryState::initialized; }

HINSTANCE FindApplicationInstance() { return applicationInstance; }

void ReleaseApplicationTexts() { texts.Release(); }

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
    // Copies the characters: any thread may show messages, and strings must not be shared between threads.
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

} // namespace Tarn
